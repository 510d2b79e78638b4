// Typing into a rich-text field of 250,000 characters with spell checking on: the longest time
// the window's thread is kept from the next event by one keystroke (the key handled, the
// changed block checked and painted), for a field of many paragraphs and for one that is a
// single paragraph, and the time the field takes to show the text with its first check.
// Figures are printed one a line.
//
//   vantorel_bench_spelling

#include <QApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>
#include <algorithm>
#include <cstdio>

#include "desktop/widgets/rich_text_edit.h"
#include "desktop/widgets/spelling.h"
#include "platform/user_port.h"

namespace {

class SilentPort : public vantorel::UserPort {
public:
    void tell(const vantorel::Notice&) override {}
    bool ask(const vantorel::Notice&) override { return false; }
    void progress(int, int) override {}
};

// Prose of about length characters, a few words misspelt, a paragraph every paragraph
// characters (none when 0).
QString Prose(int length, int paragraph) {
    static const char* const kWords[] = {
        "the",       "tester",  "opens",     "login",   "page",       "and",     "enters",
        "a",         "valid",   "password",  "then",    "checks",     "that",    "account",
        "summary",   "appears", "within",    "seconds", "recieved",   "error",   "message",
        "when",      "network", "connexion", "drops",   "retry",      "button",  "should",
        "restore",   "session", "without",   "losing",  "entered",    "data",    "expected",
        "result",    "screen",  "shows",     "balance", "accurately", "teh",     "report",
        "describes", "steps",   "clearly",   "for",     "every",      "release", "candidate"};
    constexpr int kCount = sizeof kWords / sizeof kWords[0];
    QString text;
    text.reserve(length + 64);
    unsigned seed = 12345;
    int sinceBreak = 0;
    while (text.size() < length) {
        seed = seed * 1103515245 + 12345;
        text += kWords[(seed >> 8) % kCount];
        sinceBreak += 8;
        if (paragraph > 0 && sinceBreak >= paragraph) {
            text += ".\n";
            sinceBreak = 0;
        } else {
            text += ' ';
        }
    }
    return text;
}

struct Figures {
    double showMs = 0;
    double longestKeyMs = 0;
    double medianKeyMs = 0;
    int underlined = 0;
};

Figures Measure(const QString& text, vantorel::SpellChecker* checker, vantorel::UserPort& port) {
    Figures figures;
    vantorel::RichTextEdit edit;
    edit.resize(700, 500);
    edit.show();
    if (checker)
        new vantorel::FieldSpelling(&edit, *checker, true, port);
    QApplication::processEvents();

    QElapsedTimer timer;
    timer.start();
    edit.setPlainText(text);
    QApplication::processEvents();
    figures.showMs = static_cast<double>(timer.nsecsElapsed()) / 1e6;

    QTextCursor middle(edit.document());
    middle.setPosition(static_cast<int>(text.size() / 2));
    edit.setTextCursor(middle);
    edit.ensureCursorVisible();
    edit.setFocus();
    QApplication::processEvents();

    std::vector<double> keys;
    const QString typed = "the testre recieved a new buid of teh page ";
    for (int round = 0; round < 3; ++round) {
        for (QChar c : typed) {
            timer.restart();
            QTest::keyClick(&edit, c.toLatin1());
            QApplication::processEvents();
            keys.push_back(static_cast<double>(timer.nsecsElapsed()) / 1e6);
        }
    }
    std::sort(keys.begin(), keys.end());
    figures.longestKeyMs = keys.back();
    figures.medianKeyMs = keys[keys.size() / 2];
    for (QTextBlock block = edit.document()->begin(); block.isValid(); block = block.next())
        for (const QTextLayout::FormatRange& range : block.layout()->formats())
            figures.underlined +=
                range.format.underlineStyle() == QTextCharFormat::SpellCheckUnderline;
    return figures;
}

}  // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QTemporaryDir data;
    const std::shared_ptr<vantorel::SpellChecker> shared =
        vantorel::SharedSpellChecker(data.path().toStdString());
    vantorel::SpellChecker* checker = shared.get();
    if (!checker) {
        std::fprintf(stderr, "no spelling dictionary is installed\n");
        return 1;
    }
    SilentPort port;
    std::printf("spelling dictionary %s\n", checker->Language().c_str());
    struct Run {
        const char* name;
        int paragraph;
        vantorel::SpellChecker* checker;
    };
    // The same field without checking shows what the text edit itself costs.
    for (const Run& run :
         {Run{"paragraphs of 500", 500, checker}, Run{"paragraphs of 500, unchecked", 500, nullptr},
          Run{"one paragraph", 0, checker}, Run{"one paragraph, unchecked", 0, nullptr}}) {
        const Figures figures = Measure(Prose(250000, run.paragraph), run.checker, port);
        std::printf(
            "250,000-character field, %-28s: shown %8.1f ms, keystroke median %7.2f ms, "
            "longest %7.2f ms, %d words underlined\n",
            run.name, figures.showMs, figures.medianKeyMs, figures.longestKeyMs,
            figures.underlined);
    }
    return 0;
}
