#include "platform/batch_port.h"

#include <cstdio>
#include <ctime>
#include <ostream>

#include "platform/clock_text.h"

namespace vantorel {

BatchPort::BatchPort(std::filesystem::path errorLog, std::ostream& errorStream, bool questionAnswer,
                     std::uintmax_t logSizeMax)
    : m_errorLog(std::move(errorLog)),
      m_errorStream(errorStream),
      m_questionAnswer(questionAnswer),
      m_logSizeMax(logSizeMax) {}

std::string BatchPort::FormatLine(const std::string& text, const struct tm& localTime) {
    std::string folded;
    folded.reserve(text.size());
    for (char c : text) {
        if (c == '\r')
            continue;
        if (c == '\n') {
            if (!folded.empty() && folded.back() != ' ')
                folded += ' ';
            continue;
        }
        folded += c;
    }
    while (!folded.empty() && folded.back() == ' ')
        folded.pop_back();

    char time[16];
    std::snprintf(time, sizeof time, "%02d:%02d:%02d", localTime.tm_hour, localTime.tm_min,
                  localTime.tm_sec);
    return DisplayDate(localTime.tm_year + 1900, localTime.tm_mon + 1, localTime.tm_mday) + " " +
           time + " " + folded + "\n";
}

void BatchPort::WriteLine(const std::string& text) {
    std::time_t now = std::time(nullptr);
    struct tm local {};
    localtime_r(&now, &local);
    std::string line = FormatLine(text, local);
    std::lock_guard lock(m_mutex);
    std::error_code error;
    if (std::filesystem::file_size(m_errorLog, error) > m_logSizeMax && !error)
        std::filesystem::rename(m_errorLog, m_errorLog.string() + ".old", error);
    // Opened and closed for every line, so the log is complete whenever the run ends.
    if (std::FILE* log = std::fopen(m_errorLog.c_str(), "ab")) {
        std::fwrite(line.data(), 1, line.size(), log);
        std::fclose(log);
    }
    m_errorStream << line << std::flush;
}

void BatchPort::tell(const Notice& notice) {
    WriteLine(notice.text);
}

bool BatchPort::ask(const Notice& question) {
    WriteLine(question.text);
    return m_questionAnswer;
}

void BatchPort::progress(int, int) {}

}  // namespace vantorel
