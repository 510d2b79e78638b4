#pragma once
// The imports of a command line: test cases from CSV ("/m FILE /d DB" with "/l Suite" or
// "/p Project [/t Suite]", "/preset TOOL" for another test manager's columns) and JUnit results
// ("/j FILE /d DB /p Project [/k id|requirement| title] [/v VERSION] [/b BUILD] [/dryrun]
// [/again]") and TestLink exports ("/testlink FILE /d DB /l Suite [/prefix P] [/goodrows]
// [/dryrun]"). Every message goes through the port (error_log.txt and stderr); what was imported is
// printed on stdout for a script.

#include <stop_token>

#include "platform/user_port.h"
#include "reports/command_line.h"

namespace vantorel {

// 0 when every row of the file became a test case; 1 when the file or any row was refused
// (with "/goodrows" the good rows are written all the same), or the run was stopped; 2 for a
// preset it doesn't know.
int RunCommandLineCsvImport(const CommandLine& commandLine, UserPort& port,
                            std::stop_token stop = {});

// 0 when every matched result was recorded (or, with "/dryrun", would be) and the changes are
// printed; 1 when the file was refused, a test case was open for editing or a save failed.
// Results that match no test case are listed and leave the status 0.
int RunCommandLineJUnitImport(const CommandLine& commandLine, UserPort& port,
                              std::stop_token stop = {});

// 0 when every test case of the TestLink export was imported (or, with "/dryrun", would be);
// 1 when the file or any test case was refused ("/goodrows" writes the good ones all the same).
int RunCommandLineTestLinkImport(const CommandLine& commandLine, UserPort& port,
                                 std::stop_token stop = {});

}  // namespace vantorel
