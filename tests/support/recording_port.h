#pragma once
// A port for tests: it records every notice and question and answers questions from a script,
// so that a test can assert on the exact caption and text the user would have seen. Like every
// port it may be called from several threads at once; the records are read once the operation
// under test has ended.

#include <deque>
#include <mutex>
#include <optional>
#include <stop_token>
#include <vector>

#include "platform/user_port.h"

namespace vantorel {

class RecordingPort : public UserPort {
public:
    // Answers for the coming questions, in order. A question with no scripted answer is
    // answered No and counted in unscriptedQuestions.
    void ScriptAnswers(std::initializer_list<bool> answers);
    // Plays the user who clicks Cancel half-way: the first progress call that reports at
    // least processed documents requests a stop from source.
    void CancelAtProgress(int processed, std::stop_source source);

    void tell(const Notice& notice) override;
    bool ask(const Notice& question) override;
    void progress(int processed, int total) override;

    std::vector<Notice> notices;    // what was told, in order
    std::vector<Notice> questions;  // what was asked, in order
    std::vector<std::pair<int, int>> progressSteps;
    int unscriptedQuestions = 0;

private:
    std::mutex m_mutex;
    std::deque<bool> m_answers;
    std::optional<std::pair<int, std::stop_source>> m_cancelAt;
};

}  // namespace vantorel
