#pragma once
// The port of command-line runs: nobody is there to click, so every notice becomes one line of
// "error_log.txt" in the data folder and the same line on stderr, and questions take their
// safe answer.

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <mutex>
#include <string>

#include "platform/user_port.h"

namespace vantorel {

class BatchPort : public UserPort {
public:
    // questionAnswer is what every question gets: No unless a switch of the run says otherwise.
    // A log that has grown past logSizeMax is moved aside to "<name>.old" (replacing the one
    // before) before a line is added, so scheduled runs never fill the disk.
    BatchPort(std::filesystem::path errorLog, std::ostream& errorStream,
              bool questionAnswer = false, std::uintmax_t logSizeMax = kErrorLogSizeMax);

    static constexpr std::uintmax_t kErrorLogSizeMax = 1024 * 1024;

    void tell(const Notice& notice) override;
    bool ask(const Notice& question) override;
    void progress(int processed, int total) override;

    // The line written for a notice at the given local time, e.g.
    // "3-Mar-2026 14:05:09 Invalid database path, the file does not exist: /x\n". A multi-line
    // text is folded onto the one line so that each notice stays one line of the log.
    static std::string FormatLine(const std::string& text, const struct tm& localTime);

private:
    void WriteLine(const std::string& text);

    std::filesystem::path m_errorLog;
    std::ostream& m_errorStream;
    bool m_questionAnswer;
    std::uintmax_t m_logSizeMax;
    std::mutex m_mutex;  // one line at a time, whichever thread tells
};

}  // namespace vantorel
