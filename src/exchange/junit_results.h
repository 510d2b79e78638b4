#pragma once
// Test results in the JUnit XML dialect that pytest, CTest, GoogleTest, Maven and Gradle
// write: a <testsuites> (or a lone <testsuite>) holding <testsuite> elements, each holding
// <testcase name= classname= time=> with a <failure>, <error> or <skipped> child when the test
// didn't pass, and perhaps <system-out>. Read through the XML reader users' files go through.

#include <cstddef>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "exchange/xml_reader.h"

namespace vantorel {

enum class JUnitOutcome { Passed, Failed, Skipped };

struct JUnitResult {
    std::string suite;      // the enclosing <testsuite>'s name
    std::string className;  // classname=
    std::string name;       // name=
    double seconds = 0;     // time=
    JUnitOutcome outcome = JUnitOutcome::Passed;
    bool error = false;     // an <error> rather than a <failure>
    std::string message;    // message= of the failure, error or skip, then its text
    std::string timestamp;  // the suite's timestamp=, "yyyy-mm-ddThh:mm:ss..." when given
    std::size_t line = 0;   // where the <testcase> begins
};

// The largest results file read: those of large suites run to tens of megabytes.
inline constexpr std::size_t kJUnitResultsMax = std::size_t{512} << 20;

// The results bytes (UTF-8) hold, in file order, or the first fault. A <testcase> without a
// name is a result with an empty name, which matches no test case.
std::variant<std::vector<JUnitResult>, XmlFault> ParseJUnit(std::string_view bytes);

}  // namespace vantorel
