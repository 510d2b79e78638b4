#include "desktop/help/help_window.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QPushButton>
#include <QShortcut>
#include <QToolBar>
#include <QVBoxLayout>
#include <QWebEnginePage>
#include <QWebEngineProfile>
#include <QWebEngineSettings>
#include <QWebEngineView>
#include <QWizard>

#include "platform/folders.h"
#include "workspace/help.h"

namespace vantorel {
namespace fs = std::filesystem;

class HelpWindow::Page : public QWebEnginePage {
public:
    Page(QWebEngineProfile* profile, HelpWindow& window)
        : QWebEnginePage(profile, &window), m_window(window) {}

protected:
    bool acceptNavigationRequest(const QUrl& url, NavigationType type, bool) override {
        // What the window loads itself (a page, Back, Forward) goes; a click only to a page.
        return type != NavigationTypeLinkClicked ||
               FollowedInHelp(m_window.m_helpFolder, url.scheme().toStdString(),
                              fs::path(url.toLocalFile().toStdString()));
    }

private:
    HelpWindow& m_window;
};

HelpWindow::HelpWindow(fs::path helpFolder, QWidget* parent)
    : QWidget(parent, Qt::Window),
      m_helpFolder(std::move(helpFolder)),
      m_profile(new QWebEngineProfile(this)),
      m_view(new QWebEngineView) {
    setObjectName("helpWindow");
    setWindowTitle("Vantorel Help");
    setAttribute(Qt::WA_DeleteOnClose);
    // The pages are our own and need no script; they leave nothing on disk.
    QWebEngineSettings* settings = m_profile->settings();
    settings->setAttribute(QWebEngineSettings::JavascriptEnabled, false);
    settings->setAttribute(QWebEngineSettings::PluginsEnabled, false);
    settings->setAttribute(QWebEngineSettings::LocalContentCanAccessRemoteUrls, false);
    m_view->setPage(new Page(m_profile, *this));
    connect(m_view, &QWebEngineView::titleChanged, this,
            [this](const QString& title) { setWindowTitle("Vantorel Help - " + title); });

    auto* tools = new QToolBar;
    tools->addAction(QIcon(":/desktop/icons/back.svg"), "Back", m_view, &QWebEngineView::back);
    tools->addAction(QIcon(":/desktop/icons/forward.svg"), "Forward", m_view,
                     &QWebEngineView::forward);
    tools->addAction("Contents", this, [this] { ShowPage(HelpPageOf(HelpSubject::Overview)); });
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(tools);
    layout->addWidget(m_view);
    resize(760, 640);
}

HelpWindow::~HelpWindow() {
    // The page goes before the profile it was made with.
    delete m_view->page();
}

void HelpWindow::ShowPage(std::string_view page) {
    const fs::path file = m_helpFolder / page;
    std::error_code error;
    if (fs::is_regular_file(file, error))
        m_view->setUrl(QUrl::fromLocalFile(QString::fromStdString(file.string())));
    else
        m_view->setHtml(QString::fromStdString(MissingHelpPage(file)));
}

HelpWindow& ShowHelp(QWidget& from, std::string_view page) {
    QWidget* owner = from.window();
    auto* help = owner->findChild<HelpWindow*>(QString(), Qt::FindDirectChildrenOnly);
    if (!help)
        help = new HelpWindow(ProgramDataFolder() / "Help", owner);
    help->ShowPage(page);
    help->show();
    help->raise();
    help->activateWindow();
    return *help;
}

void OfferHelp(QDialog& dialog, std::string_view page) {
    auto show = [&dialog, page = std::string(page)] { ShowHelp(dialog, page); };
    auto* key = new QShortcut(QKeySequence::HelpContents, &dialog);
    QObject::connect(key, &QShortcut::activated, &dialog, show);
    if (auto* wizard = qobject_cast<QWizard*>(&dialog)) {
        wizard->setOption(QWizard::HaveHelpButton);
        QObject::connect(wizard, &QWizard::helpRequested, &dialog, show);
    } else if (auto* buttons = dialog.findChild<QDialogButtonBox*>()) {
        QObject::connect(buttons->addButton(QDialogButtonBox::Help), &QPushButton::clicked, &dialog,
                         show);
    }
}

}  // namespace vantorel
