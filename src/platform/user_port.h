#pragma once
// The one narrow way the core speaks to the user. The desktop program shows message boxes, a
// command-line run writes lines to the error log, the tests record what was said.

#include <string>

namespace vantorel {

enum class Icon { Warning, Question, Information, Error };

struct Notice {
    std::string text;
    std::string caption;
    Icon icon = Icon::Warning;

    bool operator==(const Notice&) const = default;
};

class UserPort {
public:
    virtual ~UserPort() = default;
    // Shows a message and waits until the user has read it.
    virtual void tell(const Notice& notice) = 0;
    // Asks a Yes/No question; true means Yes.
    virtual bool ask(const Notice& question) = 0;
    // Long operations report how far they are; total 0 clears the counter.
    virtual void progress(int processed, int total) = 0;
};

}  // namespace vantorel
