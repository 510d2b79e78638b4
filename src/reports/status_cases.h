#pragma once
// The test cases behind one status of a status report: a click on a slice of its pie, a line
// of its legend or a row of its table lists them. They are found by the report's own walk,
// over the suites the report was made over and through the filter it used, as they stand now
// (a test case whose status changed since the report was made is listed under its new one).

#include <cstddef>
#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "reports/report_base.h"

namespace vantorel {

struct StatusCase {
    std::filesystem::path document;  // the project test case's document
    std::string id;                  // its name, without ".vtl"
    std::string suite;               // "Parent/Child" below "Project Test Cases"
    std::string title;               // <test_title>, unescaped
};

// What heads the list: how many test cases have the status now.
std::string StatusCasesCaption(const std::string& status, std::size_t count);

// The project test cases of the report's status row (StatusRows order: a status of the list,
// or in a summary-form report a meaning), by suite and identifier, ignoring case. The report is
// read again, its project, filter and suites resolved in the database the report lies in; the walk
// steps the progress counter and ends early when stop is requested. None after telling the user why
// not (the report, its project or its filter can't be found, the walk failed), or when stopped.
std::optional<std::vector<StatusCase>> ListStatusCases(const std::filesystem::path& report,
                                                       std::size_t row, ReportContext context,
                                                       std::stop_token stop = {});

}  // namespace vantorel
