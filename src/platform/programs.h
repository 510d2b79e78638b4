#pragma once
// Starting another program from a command line the user typed in the options: split into
// words as a shell would at its simplest, and started without waiting for it.

#include <string>
#include <string_view>
#include <vector>

namespace vantorel {

// Words separated by white space; double quotes keep white space inside a word and are dropped,
// and three quotes in a row stand for one quote character.
std::vector<std::string> SplitCommandLine(std::string_view command);

// Starts the first word as a program (looked up on $PATH when it has no slash) with the others
// as its arguments, in a session of its own, and returns at once; false when it could not be
// started. The program keeps running after ours ends.
bool StartDetachedProgram(const std::vector<std::string>& words);

}  // namespace vantorel
