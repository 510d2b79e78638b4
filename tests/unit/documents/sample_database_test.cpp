// The bundled sample database is what new users learn from: every document in it must read
// back whole.
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "documents/custom_cfg.h"
#include "documents/field_tables.h"
#include "documents/history.h"
#include "storage/tagged_document.h"
#include "support/recording_port.h"

namespace vantorel {
namespace {

const std::filesystem::path kSample = VANTOREL_SAMPLE_DB;

std::span<const FieldDescriptor> TableOf(const std::string& text) {
    static const std::pair<const char*, std::span<const FieldDescriptor>> kRoots[] = {
        {"<project_test_case>", PrjTestCaseFields()},
        {"<test_case>", TestCaseFields()},
        {"<test_suite>", TestSuiteFields()},
        {"<project>", ProjectFields()},
        {"<test_config>", TestCfgFields()},
        {"<test_resource>", TestResourceFields()},
        {"<tester>", TesterFields()}};
    for (const auto& [root, table] : kRoots)
        if (text.find(root) != std::string::npos)
            return table;
    return {};
}

TEST(SampleDatabase, EveryDocumentReadsBackWithNoMissingField) {
    RecordingPort port;
    CustomCfg custom;
    custom.Read(kSample, port, "anywhere");
    EXPECT_TRUE(port.notices.empty());
    EXPECT_EQ(custom.StatusCount(), 5u);

    std::map<std::string, int> documents;
    std::set<int> meanings;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(kSample)) {
        const std::string extension = entry.path().extension().string();
        if (extension != ".vtl" && extension != ".tgp")
            continue;
        XMLParse doc;
        ASSERT_EQ(doc.OpenRead(entry.path()), 0);
        ASSERT_EQ(doc.Load(), 0);
        if (entry.path().parent_path().filename() == "Filters") {
            EXPECT_NO_THROW(doc.FindTag("<CBMapIndex>")) << entry.path();
            ++documents["filter"];
            continue;
        }
        auto table = TableOf(doc.Text());
        ASSERT_FALSE(table.empty()) << entry.path();
        for (const FieldDescriptor& row : FieldRows(table))
            EXPECT_NO_THROW(doc.FindTag(row.tag)) << entry.path() << " " << row.tag;
        ++documents[std::string(table[0].placeholderStem)];

        if (table.data() == PrjTestCaseFields().data()) {
            std::vector<HistoryBlock> history = LoadHistoryBlocks(doc);
            ASSERT_FALSE(history.empty()) << entry.path();
            EXPECT_FALSE(history.front().update);
            for (std::size_t i = 1; i < history.size(); ++i)
                EXPECT_LE(history[i - 1].when, history[i].when) << entry.path();
            auto meaning = custom.MeaningOf(history.back().newStatus);
            ASSERT_TRUE(meaning) << entry.path();
            meanings.insert(*meaning);
        }
    }
    EXPECT_EQ(documents["ID"], 30 + 19);  // library and project test cases share the stem
    EXPECT_GE(documents["TGID"], 5);
    EXPECT_EQ(documents["PRJID"], 2);
    EXPECT_EQ(documents["TESTERID"], 3);
    EXPECT_EQ(documents["filter"], 2);
    EXPECT_EQ(meanings.size(), 5u);
}

}  // namespace
}  // namespace vantorel
