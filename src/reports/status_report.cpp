#include "reports/status_report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "documents/test_group.h"
#include "filters/filter.h"
#include "storage/tagged_document.h"
#include "storage/text_conversions.h"

namespace vantorel {
namespace {

class StatusTally : public DocumentTally {
public:
    explicit StatusTally(const CustomCfg& custom) : m_custom(custom) {
        sums.perStatus.assign(custom.StatusCount(), 0);
    }

    bool Take(const XMLParse& document, std::size_t, const std::filesystem::path&,
              std::string_view) override {
        const std::int64_t expected = Minutes(document, "<test_duration>");
        const std::int64_t actual = Minutes(document, "<actual_duration>");
        ++sums.totalTests;
        sums.totalTestTime += expected;

        if (document.GetTag("<test_status>", m_value) != 0)
            return false;
        Unescape(m_value);
        const std::optional<std::size_t> status = m_custom.ResolveStatus(m_value);
        if (!status)
            return false;  // counted in the totals only, and its lock is not looked at
        ++sums.perStatus[*status];
        const int meaning = m_custom.MeaningAt(*status);
        ++sums.perMeaning[meaning];
        switch (meaning) {
            case SM_PASS:
                sums.expectedPassedTime += expected;
                sums.expendedTime += actual > 0 ? actual : expected;
                sums.attemptedExpectedTime += expected;
                ++sums.attemptedCount;
                break;
            case SM_FAIL:
                sums.failedTime += actual > 0 ? actual : expected;
                sums.attemptedExpectedTime += expected;
                ++sums.attemptedCount;
                break;
            case SM_OTHER:
            case SM_POSTPONED:
                if (actual > 0) {
                    sums.otherTime += actual;
                    sums.attemptedExpectedTime += expected;
                    ++sums.attemptedCount;
                }
                break;
            default:
                break;
        }
        return true;
    }

    void Merge(DocumentTally& other) override {
        const StatusSums& more = static_cast<StatusTally&>(other).sums;
        for (std::size_t i = 0; i < sums.perStatus.size(); ++i)
            sums.perStatus[i] += more.perStatus[i];
        for (int i = 0; i < kMeaningCount; ++i)
            sums.perMeaning[i] += more.perMeaning[i];
        sums.totalTests += more.totalTests;
        sums.totalTestTime += more.totalTestTime;
        sums.expectedPassedTime += more.expectedPassedTime;
        sums.expendedTime += more.expendedTime;
        sums.failedTime += more.failedTime;
        sums.otherTime += more.otherTime;
        sums.attemptedExpectedTime += more.attemptedExpectedTime;
        sums.attemptedCount += more.attemptedCount;
    }

    StatusSums sums;

private:
    // A duration that can't be read, or is empty, counts as 0 minutes.
    std::int64_t Minutes(const XMLParse& document, std::string_view tag) {
        return document.GetTag(tag, m_value) == 0 ? DurationMinutes(m_value) : 0;
    }

    const CustomCfg& m_custom;
    std::string m_value;
};

}  // namespace

StatusFigures DeriveStatusFigures(const StatusSums& sums) {
    StatusFigures figures;
    figures.sums = sums;
    figures.totalAttemptedTime = sums.expendedTime + sums.failedTime + sums.otherTime;
    // The guard looks at the passed tests' minutes, not at the divisor: no passed minutes, no
    // extrapolation. Hand-edited negative durations can still cancel the divisor out, and no
    // figure goes past what the report can store.
    const double predicted = sums.attemptedExpectedTime != 0
                                 ? std::trunc(static_cast<double>(figures.totalAttemptedTime) /
                                              static_cast<double>(sums.attemptedExpectedTime) *
                                              static_cast<double>(sums.totalTestTime))
                                 : 0.0;
    constexpr double kStorable = 9.0e18;  // below 2^63, where an int64 ends
    figures.predictedTime =
        sums.expectedPassedTime != 0 && sums.attemptedExpectedTime != 0
            ? static_cast<std::int64_t>(std::clamp(predicted, -kStorable, kStorable))
            : sums.totalTestTime;
    figures.averagePerAttemptedTest =
        sums.attemptedCount != 0 ? figures.totalAttemptedTime / sums.attemptedCount : 0;
    figures.averagePerPlannedTest = sums.totalTests != 0 ? sums.totalTestTime / sums.totalTests : 0;
    figures.perCentTimeUsed =
        sums.totalTestTime != 0
            ? static_cast<float>(static_cast<double>(figures.totalAttemptedTime) /
                                 static_cast<double>(sums.totalTestTime) * 100.0)
            : 0.0f;
    figures.perCentComplete =
        sums.totalTests != 0 ? static_cast<float>(static_cast<double>(sums.perMeaning[SM_PASS]) /
                                                  static_cast<double>(sums.totalTests) * 100.0)
                             : 0.0f;
    return figures;
}

StatusReport::StatusReport(ReportContext context)
    : ReportBaseClass(ReportKind::Status, std::move(context)) {}

std::unique_ptr<DocumentTally> StatusReport::NewTally() const {
    return std::make_unique<StatusTally>(Context().custom);
}

void StatusReport::FinishStats(std::unique_ptr<DocumentTally> tally) {
    m_figures = DeriveStatusFigures(static_cast<StatusTally&>(*tally).sums);
}

void StatusReport::WriteReport(XMLParse& document) const {
    const CustomCfg& custom = Context().custom;
    auto number = [&document](std::string_view tag, std::int64_t value) {
        document.WriteTag(tag, std::to_string(value));
    };
    auto perCent = [&document](std::string_view tag, float value) {
        char text[64];
        std::snprintf(text, sizeof text, "%0.2f", static_cast<double>(value));
        document.WriteTag(tag, text);
    };
    number("<num_series>", static_cast<std::int64_t>(custom.StatusCount()));
    for (std::size_t i = 0; i < custom.StatusCount(); ++i) {
        std::string text = custom.Status(i).text.substr(0, kStatusTextWidth);
        Escape(text);
        document.WriteTag("<report_string>", text);
    }
    for (std::size_t i = 0; i < custom.StatusCount(); ++i)
        number("<report_colours>", custom.ReportColourOf(MeaningSlot(custom.MeaningAt(i))));
    for (std::int64_t count : m_figures.sums.perStatus)
        number("<series_value>", count);
    number("<total_test_time>", m_figures.sums.totalTestTime);
    number("<expended_test_time>", m_figures.sums.expendedTime);
    number("<expected_test_time>", m_figures.sums.expectedPassedTime);
    number("<total_predicted_test_time>", m_figures.predictedTime);
    number("<total_failed_time>", m_figures.sums.failedTime);
    number("<total_attempted_time>", m_figures.totalAttemptedTime);
    number("<total_number_tests>", m_figures.sums.totalTests);
    number("<average_time_per_attempted_test>", m_figures.averagePerAttemptedTest);
    number("<average_time_per_planned_test>", m_figures.averagePerPlannedTest);
    perCent("<per_tests_complete>", m_figures.perCentComplete);
    perCent("<per_time_used>", m_figures.perCentTimeUsed);
    // The suites are kept so that the test cases behind a status can be listed later from the
    // same walk.
    if (!Request().wholeProject) {
        const std::filesystem::path cases =
            Request().projectFolder / std::string(kProjectTestCasesFolder);
        for (const SuiteChoice& suite : Request().suites) {
            document.WriteTag("<report_suite>",
                              Escaped(suite.folder.lexically_relative(cases).generic_string()));
            document.WriteTag("<report_sub_suites>", suite.includeSubSuites ? "Yes" : "No");
        }
    }
}

std::optional<StatusReportData> ReadStatusReport(const std::filesystem::path& path) {
    XMLParse document;
    StatusReportData data;
    const bool full = LoadReportDocument(path, ReportKind::Status, document, data.header);
    data.summaryForm = !full && document.IsLoaded() && data.header.reportType.empty() &&
                       HoldsTag(document, "<tests_passed>");
    if (!full && !data.summaryForm)
        return std::nullopt;
    auto number = [&document](std::string_view tag) {
        std::string value;
        document.GetTag(tag, value);
        return std::atoll(value.c_str());
    };
    if (data.summaryForm) {
        // One count per meaning, in the order of the meanings.
        static constexpr std::string_view kCounts[kMeaningCount] = {
            "<tests_passed>", "<tests_failed>", "<tests_not_yet_attempt>", "<tests_other_state>",
            "<tests_postponed>"};
        for (int meaning = 0; meaning < kMeaningCount; ++meaning) {
            data.statuses.emplace_back(MeaningName(meaning));
            data.counts.push_back(number(kCounts[meaning]));
        }
    } else {
        ReadSeriesCaptions(document, data.statuses, data.colours);
        for (const std::string& count : ReadRepeated(document, "<series_value>"))
            data.counts.push_back(std::atoll(count.c_str()));
    }
    data.totalTestTime = number("<total_test_time>");
    data.expendedTime = number("<expended_test_time>");
    data.expectedPassedTime = number("<expected_test_time>");
    data.predictedTime = number("<total_predicted_test_time>");
    data.failedTime = number("<total_failed_time>");
    data.totalAttemptedTime = number("<total_attempted_time>");
    data.totalTests = number("<total_number_tests>");
    data.averagePerAttemptedTest = number("<average_time_per_attempted_test>");
    data.averagePerPlannedTest = number("<average_time_per_planned_test>");
    document.GetTag("<per_tests_complete>", data.perCentComplete);
    document.GetTag("<per_time_used>", data.perCentTimeUsed);
    const std::vector<std::string> suites = ReadRepeated(document, "<report_suite>");
    const std::vector<std::string> subSuites = ReadRepeated(document, "<report_sub_suites>");
    for (std::size_t suite = 0; suite < suites.size(); ++suite)
        data.suites.push_back(
            {Unescaped(suites[suite]), suite >= subSuites.size() || subSuites[suite] != "No"});
    return data;
}

}  // namespace vantorel
