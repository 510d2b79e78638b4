#pragma once
// The exports of a command line: the web export in web mode ("/w /d DB /p Project /c style
// /e DIR") and the CSV export ("/x FILE /d DB" with "/p Project [/t Suite | /i ListReport]" or
// "/l Suite") and the TestLink export ("/exporttestlink FILE /d DB /l Suite").
// The database is only read, the project found as for a report, and the output written
// without a question, over an earlier export in the same place.

#include <filesystem>
#include <stop_token>

#include "platform/user_port.h"
#include "render/charts.h"
#include "reports/command_line.h"
#include "storage/field_values.h"

namespace vantorel {

// 0 when the site was written ("Web export completed successfully" is told and the project
// page's path printed), else 1 after "Error during web export, project has not been exported".
// A stop ends it as a cancelled export.
int RunCommandLineWebExport(const CommandLine& commandLine, UserPort& port, ChartPainter* charts,
                            const std::filesystem::path& stylesRoot, const CalendarDate& today,
                            std::stop_token stop = {});

// 0 when the CSV file was written ("CSV export completed successfully" is told and the file's
// path printed), else 1 after the reason was told. A stop ends it as a cancelled export.
int RunCommandLineCsvExport(const CommandLine& commandLine, UserPort& port,
                            std::stop_token stop = {});

// 0 when the TestLink file was written (its count told, its path printed), else 1 after the
// reason was told.
int RunCommandLineTestLinkExport(const CommandLine& commandLine, UserPort& port,
                                 std::stop_token stop = {});

}  // namespace vantorel
