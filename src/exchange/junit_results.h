#pragma once
// Test results in the JUnit XML dialect that pytest, CTest, GoogleTest, Maven and Gradle
// write: a <testsuites> (or a lone <testsuite>) holding <testsuite> elements, each holding
// <testcase name= classname= time=> with a <failure>, <error> or <skipped> child when the test
// didn't pass, and perhaps <system-out>. Read by a small XML parser of our own: elements,
// attributes, text, CDATA, comments, processing instructions and the predefined and numeric
// entities; a DOCTYPE, like anything else no test runner writes, is refused.

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

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

// Where and why a file is no JUnit results file: line and column from 1 (the line alone for
// a dialect fault).
struct JUnitFault {
    std::size_t line = 0, column = 0;
    std::string reason;
};

// The results bytes (UTF-8) hold, in file order, or the first fault.
std::variant<std::vector<JUnitResult>, JUnitFault> ParseJUnit(std::string_view bytes);

}  // namespace vantorel
