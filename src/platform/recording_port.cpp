#include "platform/recording_port.h"

namespace vantorel {

void RecordingPort::ScriptAnswers(std::initializer_list<bool> answers) {
    m_answers.insert(m_answers.end(), answers.begin(), answers.end());
}

void RecordingPort::tell(const Notice& notice) {
    notices.push_back(notice);
}

bool RecordingPort::ask(const Notice& question) {
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
    progressSteps.emplace_back(processed, total);
}

}  // namespace vantorel
