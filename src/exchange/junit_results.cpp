#include "exchange/junit_results.h"

#include <charconv>

#include "storage/text_conversions.h"

namespace vantorel {
namespace {

double Seconds(const std::string& text) {
    double seconds = 0;
    std::from_chars(text.data(), text.data() + text.size(), seconds);
    return seconds > 0 ? seconds : 0;
}

void CollectSuite(const XmlElement& suite, const std::string& timestamp,
                  std::vector<JUnitResult>& results) {
    const std::string own = suite.Attribute("timestamp");
    const std::string& stamp = own.empty() ? timestamp : own;
    for (const XmlElement& child : suite.children) {
        if (child.name == "testsuite") {
            CollectSuite(child, stamp, results);
            continue;
        }
        if (child.name != "testcase")
            continue;
        JUnitResult result;
        result.suite = suite.Attribute("name");
        result.className = child.Attribute("classname");
        result.name = child.Attribute("name");
        result.seconds = Seconds(child.Attribute("time"));
        result.timestamp = stamp;
        result.line = child.line;
        // GoogleTest marks a disabled test "notrun" and writes nothing inside it.
        if (child.Attribute("status") == "notrun")
            result.outcome = JUnitOutcome::Skipped;
        std::string output;
        for (const XmlElement& detail : child.children) {
            if (detail.name == "system-out")
                output = Trimmed(detail.text);
            const bool failure = detail.name == "failure" || detail.name == "error";
            if (!failure && detail.name != "skipped")
                continue;
            // A failure outweighs a skip written beside it.
            if (result.outcome == JUnitOutcome::Failed)
                continue;
            result.outcome = failure ? JUnitOutcome::Failed : JUnitOutcome::Skipped;
            result.error = detail.name == "error";
            const std::string text = Trimmed(detail.text);
            result.message = Trimmed(detail.Attribute("message"));
            if (!text.empty() && text != result.message)
                result.message += (result.message.empty() ? "" : "\n") + text;
        }
        // CTest's failures carry no message: what the test printed tells why.
        if (result.outcome == JUnitOutcome::Failed && result.message.empty())
            result.message = output;
        results.push_back(std::move(result));
    }
}

}  // namespace

std::variant<std::vector<JUnitResult>, XmlFault> ParseJUnit(std::string_view bytes) {
    // Results files are a few levels deep: one nested deeper is no results file.
    auto read = ReadXml(bytes, {.maxBytes = kJUnitResultsMax, .maxDepth = 64});
    if (XmlFault* fault = std::get_if<XmlFault>(&read))
        return std::move(*fault);
    const XmlElement& root = std::get<XmlElement>(read);
    if (root.name != "testsuites" && root.name != "testsuite")
        return XmlFault{root.line, 1,
                        "the root element is <" + root.name +
                            ">, not the <testsuites> or <testsuite> of JUnit results"};
    std::vector<JUnitResult> results;
    if (root.name == "testsuite") {
        CollectSuite(root, {}, results);
    } else {
        for (const XmlElement& child : root.children)
            if (child.name == "testsuite")
                CollectSuite(child, root.Attribute("timestamp"), results);
    }
    return results;
}

}  // namespace vantorel
