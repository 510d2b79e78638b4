#include "support/recording_port.h"

namespace vantorel {

void RecordingPort::ScriptAnswers(std::initializer_list<bool> answers) {
    std::lock_guard lock(m_mutex);
    m_answers.insert(m_answers.end(), answers.begin(), answers.end());
}

void RecordingPort::CancelAtProgress(int processed, std::stop_source source) {
    std::lock_guard lock(m_mutex);
    m_cancelAt.emplace(processed, std::move(source));
}

void RecordingPort::tell(const Notice& notice) {
    std::lock_guard lock(m_mutex);
    notices.push_back(notice);
}

bool RecordingPort::ask(const Notice& question) {
    std::lock_guard lock(m_mutex);
    questions.push_back(question);
    if (m_answers.empty()) {
        ++unscriptedQuestions;
        return false;
    }
    bool answer = m_answers.front();
    m_answers.pop_front();
    return answer;
}

void RecordingPort::progress(int processed, int total) {
    std::lock_guard lock(m_mutex);
    progressSteps.emplace_back(processed, total);
    if (m_cancelAt && processed >= m_cancelAt->first)
        m_cancelAt->second.request_stop();
}

}  // namespace vantorel
