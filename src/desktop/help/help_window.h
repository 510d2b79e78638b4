#pragma once
// The help window: the help pages installed with the program, in a web view of its own with
// Back, Forward and Contents. Each window that asks for help (the main window, a dialog) gets a
// help window of its own as its child, so the help of a modal dialog can be read, scrolled and
// followed while the dialog waits, and goes when the dialog goes.

#include <QWidget>
#include <filesystem>
#include <string_view>

class QDialog;
class QWebEngineProfile;
class QWebEngineView;

namespace vantorel {

class HelpWindow : public QWidget {
    Q_OBJECT
public:
    HelpWindow(std::filesystem::path helpFolder, QWidget* parent);
    ~HelpWindow() override;

    // Shows the page of the help folder; a page that isn't installed says so in its place.
    void ShowPage(std::string_view page);
    QWebEngineView& View() { return *m_view; }

private:
    class Page;
    std::filesystem::path m_helpFolder;
    QWebEngineProfile* m_profile;
    QWebEngineView* m_view;
};

// The help window of from's window, made on first use, showing page, raised.
HelpWindow& ShowHelp(QWidget& from, std::string_view page);

// F1 in the dialog and a Help button in its button box (a wizard's own Help button) show page.
void OfferHelp(QDialog& dialog, std::string_view page);

}  // namespace vantorel
