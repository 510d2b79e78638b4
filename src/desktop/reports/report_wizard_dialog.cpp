#include "desktop/reports/report_wizard_dialog.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QRadioButton>
#include <QTreeWidget>
#include <QTreeWidgetItemIterator>
#include <QVBoxLayout>
#include <map>
#include <utility>

#include "desktop/help/help_window.h"
#include "reports/list_reports.h"
#include "workspace/help.h"

namespace vantorel {
namespace {

constexpr char kNoFilter[] = "--No Filter--";
constexpr int kPathRole = Qt::UserRole;

int IdOf(WizardPage page) {
    return static_cast<int>(page);
}

// The last page: Finish only once a report was written.
class GeneratePage : public QWizardPage {
public:
    explicit GeneratePage(std::function<bool()> written) : m_written(std::move(written)) {}
    bool isComplete() const override { return m_written(); }
    void Changed() { emit completeChanged(); }

private:
    std::function<bool()> m_written;
};

QWizardPage* NewPage(WizardPage page) {
    auto* wizardPage = new QWizardPage;
    wizardPage->setTitle(
        QString::fromUtf8(ReportWizard::Title(page).data(),
                          static_cast<qsizetype>(ReportWizard::Title(page).size())));
    wizardPage->setObjectName(QString("wizardPage%1").arg(IdOf(page)));
    return wizardPage;
}

}  // namespace

ReportWizardDialog::ReportWizardDialog(const std::filesystem::path& databaseDir, UserPort& port,
                                       CustomSnapshot custom, const Start& start, QWidget* parent)
    : QWizard(parent),
      m_port(port),
      m_custom(std::move(custom)),
      m_model(databaseDir, {port, *m_custom}) {
    setObjectName("reportWizard");
    setWindowTitle("Report Wizard");
    setOption(QWizard::NoBackButtonOnStartPage);
    setOption(QWizard::HaveCustomButton1);
    setButtonText(QWizard::CustomButton1, "&Next >");
    connect(this, &QWizard::customButtonClicked, this, [this](int which) {
        if (which == QWizard::CustomButton1)
            Generate();
    });
    connect(this, &QWizard::currentIdChanged, this, &ReportWizardDialog::PageChanged);
    OfferHelp(*this, HelpPageOf(HelpSubject::ReportWizard));
    BuildPages();

    // A project chosen in the tree and a report command of the menus: the wizard moves on as
    // far as they take it, each page checked as if the user had clicked Next.
    m_model.project = start.project;
    if (!start.project.empty()) {
        for (int row = 0; row < m_projects->count(); ++row)
            if (m_projects->item(row)->text().toStdString() == start.project)
                m_projects->setCurrentRow(row);
    }
    if (const int filter = m_filters->findData(QString::fromStdString(start.filter));
        !start.filter.empty() && filter >= 0)
        m_filters->setCurrentIndex(filter);
}

ReportWizardDialog::~ReportWizardDialog() {
    if (m_worker.joinable()) {
        m_model.Cancel();
        WaitWithWorkersReleased(m_port, [this] { m_worker.join(); });
    }
}

void ReportWizardDialog::BuildPages() {
    QWizardPage* intro = NewPage(WizardPage::Intro);
    intro->setTitle("Report Wizard");
    auto* introText =
        new QLabel(QString::fromUtf8(ReportWizard::IntroText().data(),
                                     static_cast<qsizetype>(ReportWizard::IntroText().size())));
    introText->setWordWrap(true);
    (new QVBoxLayout(intro))->addWidget(introText);
    setPage(IdOf(WizardPage::Intro), intro);

    QWizardPage* project = NewPage(WizardPage::Project);
    m_projects = new QListWidget;
    m_projects->setObjectName("wizardProjects");
    for (const std::string& name : m_model.Projects())
        m_projects->addItem(QString::fromStdString(name));
    (new QVBoxLayout(project))->addWidget(m_projects);
    setPage(IdOf(WizardPage::Project), project);

    QWizardPage* kinds = NewPage(WizardPage::ReportType);
    auto* kindLayout = new QVBoxLayout(kinds);
    m_kinds = new QButtonGroup(kinds);
    for (ReportKind kind :
         {ReportKind::Progress, ReportKind::Status, ReportKind::List, ReportKind::Details}) {
        const std::string_view title = KindInfo(kind).title;
        auto* button =
            new QRadioButton(QString::fromUtf8(title.data(), static_cast<qsizetype>(title.size())));
        button->setObjectName(QString("wizardKind%1").arg(static_cast<int>(kind)));
        m_kinds->addButton(button, static_cast<int>(kind));
        kindLayout->addWidget(button);
    }
    kindLayout->addStretch();
    setPage(IdOf(WizardPage::ReportType), kinds);

    QWizardPage* filter = NewPage(WizardPage::Filter);
    m_filters = new QComboBox;
    m_filters->setObjectName("wizardFilter");
    m_filters->addItem(kNoFilter, QString());
    for (const std::string& name : m_model.Filters())
        m_filters->addItem(QString::fromStdString(name), QString::fromStdString(name));
    auto* filterLayout = new QVBoxLayout(filter);
    filterLayout->addWidget(m_filters);
    filterLayout->addStretch();
    setPage(IdOf(WizardPage::Filter), filter);

    QWizardPage* suites = NewPage(WizardPage::Suites);
    m_suites = new QTreeWidget;
    m_suites->setObjectName("wizardSuites");
    m_suites->setHeaderHidden(true);
    // Ticking or clearing a suite does the same to its sub-suites; each can then be changed.
    connect(m_suites, &QTreeWidget::itemChanged, this, [](QTreeWidgetItem* item, int column) {
        for (int child = 0; child < item->childCount(); ++child)
            item->child(child)->setCheckState(column, item->checkState(column));
    });
    (new QVBoxLayout(suites))->addWidget(m_suites);
    setPage(IdOf(WizardPage::Suites), suites);

    QWizardPage* columns = NewPage(WizardPage::Columns);
    auto* columnGrid = new QGridLayout(columns);
    for (std::size_t column = 0; column < kListColumnCount; ++column) {
        const std::string_view heading = ListColumns()[column].heading;
        auto* box = new QCheckBox(
            QString::fromLatin1(heading.data(), static_cast<qsizetype>(heading.size())));
        box->setObjectName(QString("wizardColumn%1").arg(column));
        box->setChecked(m_model.columns[column]);
        m_columns.push_back(box);
        columnGrid->addWidget(box, static_cast<int>(column % 8), static_cast<int>(column / 8));
    }
    setPage(IdOf(WizardPage::Columns), columns);

    auto* generate = new GeneratePage([this] { return m_written; });
    generate->setTitle(QString::fromUtf8(ReportWizard::Title(WizardPage::Generate).data()));
    generate->setObjectName(QString("wizardPage%1").arg(IdOf(WizardPage::Generate)));
    auto* generateLayout = new QVBoxLayout(generate);
    m_name = new QLineEdit;
    m_name->setObjectName("wizardReportName");
    m_name->setPlaceholderText("Empty: a new name of the day");
    // Enter after the name generates, as the page's Next does.
    connect(m_name, &QLineEdit::returnPressed, this, [this] { Generate(); });
    m_generateText = new QLabel;
    m_generateText->setObjectName("wizardGenerateText");
    m_generateText->setWordWrap(true);
    generateLayout->addWidget(new QLabel("Report name:"));
    generateLayout->addWidget(m_name);
    generateLayout->addSpacing(12);
    generateLayout->addWidget(m_generateText);
    generateLayout->addStretch();
    setPage(IdOf(WizardPage::Generate), generate);
}

int ReportWizardDialog::nextId() const {
    const int current = currentId();
    if (current == IdOf(WizardPage::Generate))
        return -1;
    // After the model let the user leave the page, it says where to go; before, the buttons
    // only need to know that a page follows. The model itself may be on the worker now.
    return m_nextPage >= 0 ? m_nextPage : current + 1;
}

void ReportWizardDialog::TakeChoices() {
    switch (static_cast<WizardPage>(currentId())) {
        case WizardPage::Project:
            m_model.project = m_projects->currentItem()
                                  ? m_projects->currentItem()->text().toStdString()
                                  : std::string();
            break;
        case WizardPage::ReportType:
            if (m_kinds->checkedId() >= 0)
                m_model.kind = static_cast<ReportKind>(m_kinds->checkedId());
            else
                m_model.kind.reset();
            break;
        case WizardPage::Filter:
            m_model.filter = m_filters->currentData().toString().toStdString();
            break;
        case WizardPage::Suites: {
            std::vector<std::string> ticked;
            for (QTreeWidgetItemIterator it(m_suites, QTreeWidgetItemIterator::Checked); *it; ++it)
                ticked.push_back((*it)->data(0, kPathRole).toString().toStdString());
            m_model.suites = ReportWizard::SuiteChoices(m_suiteList, ticked);
            break;
        }
        case WizardPage::Columns:
            for (std::size_t column = 0; column < m_columns.size(); ++column)
                m_model.columns[column] = m_columns[column]->isChecked();
            break;
        case WizardPage::Generate:
            m_model.name = m_name->text().toStdString();
            break;
        default:
            break;
    }
}

bool ReportWizardDialog::validateCurrentPage() {
    if (currentId() == IdOf(WizardPage::Generate))
        return m_written;
    if (std::exchange(m_pageChecked, false))
        return true;
    if (Busy())
        return false;
    TakeChoices();
    // The model checks the page on the worker; on the way to the suites page it reads them
    // there too.
    OnWorker(
        [this] {
            if (!m_model.Next())
                return false;
            if (m_model.Page() == WizardPage::Suites)
                m_suiteList = m_model.Suites();
            return true;
        },
        [this](bool passed) { PageChecked(passed); });
    return false;
}

void ReportWizardDialog::PageChecked(bool passed) {
    if (std::exchange(m_rejectWhenDone, false)) {
        QWizard::reject();
        return;
    }
    // The buttons as the page has them again.
    emit currentPage()->completeChanged();
    if (!passed)
        return;
    m_pageChecked = true;
    m_nextPage = IdOf(m_model.Page());
    next();
}

void ReportWizardDialog::OnWorker(std::function<bool()> work, std::function<void(bool)> done) {
    for (QWizard::WizardButton which :
         {QWizard::BackButton, QWizard::NextButton, QWizard::CustomButton1})
        button(which)->setEnabled(false);
    // The model belongs to the worker until it posts its end; the window only asks it to stop.
    m_worker = std::thread([this, work = std::move(work), done = std::move(done)] {
        const bool ok = work();
        QMetaObject::invokeMethod(
            this,
            [this, ok, done] {
                m_worker.join();
                done(ok);
            },
            Qt::QueuedConnection);
    });
}

void ReportWizardDialog::FillSuites() {
    if (m_suitesOf == m_model.project && m_suites->topLevelItemCount() > 0)
        return;
    m_suitesOf = m_model.project;
    m_suites->clear();
    std::map<std::string, QTreeWidgetItem*> items;
    // Sorted, so a suite comes before its sub-suites.
    for (const std::string& suite : m_suiteList) {
        const std::size_t slash = suite.rfind('/');
        QTreeWidgetItem* parent =
            slash == std::string::npos ? nullptr : items[suite.substr(0, slash)];
        auto* item = parent ? new QTreeWidgetItem(parent) : new QTreeWidgetItem(m_suites);
        item->setText(0, QString::fromStdString(
                             slash == std::string::npos ? suite : suite.substr(slash + 1)));
        item->setData(0, kPathRole, QString::fromStdString(suite));
        item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
        item->setCheckState(0, Qt::Checked);
        items[suite] = item;
    }
    m_suites->expandAll();
}

void ReportWizardDialog::initializePage(int id) {
    QWizard::initializePage(id);
    if (id == IdOf(WizardPage::Suites))
        FillSuites();
    if (id == IdOf(WizardPage::Generate))
        m_generateText->setText(QString::fromStdString(m_model.PageText()));
}

void ReportWizardDialog::PageChanged(int id) {
    m_nextPage = -1;
    // Back was clicked: the model goes back the same way. While the worker has the model (the
    // first page shows as a report command's start is checked) it is left alone.
    while (!Busy() && IdOf(m_model.Page()) > id && id >= 0)
        m_model.Back();
    // The last page's Next generates; it stands where the other pages have theirs.
    const bool last = id == IdOf(WizardPage::Generate);
    setButtonLayout({QWizard::HelpButton, QWizard::Stretch, QWizard::BackButton,
                     last ? QWizard::CustomButton1 : QWizard::NextButton, QWizard::FinishButton,
                     QWizard::CancelButton});
    button(QWizard::CustomButton1)->setEnabled(!m_written);
}

void ReportWizardDialog::Generate() {
    if (Busy() || m_written)
        return;
    TakeChoices();
    m_model.ReadyToGenerate();
    m_generateText->setText(QString::fromStdString(m_model.GeneratingText()));
    m_name->setEnabled(false);
    m_generating = true;
    OnWorker([this] { return m_model.Next(); }, [this](bool written) { GenerationDone(written); });
}

void ReportWizardDialog::GenerationDone(bool written) {
    m_generating = false;
    m_written = written;
    m_generateText->setText(QString::fromStdString(m_model.PageText()));
    // Finish is enabled first: the wizard sets every button then, and a written report is not
    // left for the pages before.
    static_cast<GeneratePage*>(page(IdOf(WizardPage::Generate)))->Changed();
    button(QWizard::BackButton)->setEnabled(!written);
    button(QWizard::CustomButton1)->setEnabled(!written);
    m_name->setEnabled(!written);
    emit generationEnded(written);
}

void ReportWizardDialog::reject() {
    // Cancel during a generation stops it; the page then says it was cancelled. During a page
    // check, which can't be stopped, the wizard closes when the check ends.
    if (Generating()) {
        m_model.Cancel();
        return;
    }
    if (Busy()) {
        m_rejectWhenDone = true;
        return;
    }
    QWizard::reject();
}

}  // namespace vantorel
