#include "desktop/widgets/html_editor_bridge.h"

#include <QTextDocument>

#include "desktop/widgets/rich_text_edit.h"
#include "platform/programs.h"
#include "workspace/html_editor.h"

namespace vantorel {

HtmlEditorBridge::HtmlEditorBridge(std::filesystem::path workFile, UserPort& port, QObject* parent)
    : QObject(parent), m_workFile(std::move(workFile)), m_port(port) {
    m_settle.setSingleShot(true);
    m_settle.setInterval(150);
    connect(&m_settle, &QTimer::timeout, this, &HtmlEditorBridge::OfferChange);
    auto changed = [this] {
        // An editor that saves by renaming drops the file from the watch: watch it again.
        const QString file = QString::fromStdString(m_workFile.string());
        if (!m_watcher.files().contains(file) && std::filesystem::exists(m_workFile))
            m_watcher.addPath(file);
        m_settle.start();
    };
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, this, changed);
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this, changed);
}

HtmlEditorBridge::~HtmlEditorBridge() {
    if (m_process) {
        // The dialog goes first: the editor may stay open, but nothing answers it any more.
        m_process->disconnect(this);
        m_process->setParent(nullptr);
        connect(m_process, &QProcess::finished, m_process, &QObject::deleteLater);
        std::error_code error;
        std::filesystem::remove(m_workFile, error);
    }
}

bool HtmlEditorBridge::Edit(RichTextEdit& field, const std::string& caption,
                            const QString& command) {
    if (m_process)
        return false;
    const std::string text = field.Edited().toStdString();
    if (!WriteWorkFile(m_workFile, text, m_port))
        return false;
    m_field = &field;
    m_caption = caption;
    m_offered = FieldTextOf(WorkFileText(text));

    QStringList words;
    for (const std::string& word : SplitCommandLine(command.toStdString()))
        words << QString::fromStdString(word);
    if (words.isEmpty()) {
        m_port.tell(HtmlEditorStartFailure());
        return false;
    }
    const QString program = words.takeFirst();
    words << QString::fromStdString(m_workFile.string());
    m_process = new QProcess(this);
    m_process->setProcessChannelMode(QProcess::ForwardedChannels);
    connect(m_process, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart) {
            m_port.tell(HtmlEditorStartFailure());
            EditorEnded();
        }
    });
    connect(m_process, &QProcess::finished, this, [this] {
        m_settle.stop();
        OfferChange();
        EditorEnded();
    });
    m_watcher.addPath(QString::fromStdString(m_workFile.string()));
    m_watcher.addPath(QString::fromStdString(m_workFile.parent_path().string()));
    m_process->start(program, words);
    return true;
}

void HtmlEditorBridge::OfferChange() {
    if (!m_field || !m_process)
        return;
    const bool ended = m_process->state() == QProcess::NotRunning;
    // While the editor runs, a file caught between its removal and its new copy is not yet a
    // change; once it has ended, a file that can't be read is a fault.
    if (!ended && !std::filesystem::exists(m_workFile))
        return;
    const std::optional<std::string> text = ReadWorkFile(m_workFile, m_port);
    if (!text || *text == m_offered)
        return;
    m_offered = *text;
    if (!m_port.ask(TakeEditedTextQuestion(m_caption)) || !m_field)
        return;
    m_field->ShowStored(QString::fromStdString(*text));
    m_field->document()->setModified(true);
}

void HtmlEditorBridge::EditorEnded() {
    if (!m_process)
        return;
    m_watcher.removePaths(m_watcher.files() + m_watcher.directories());
    m_process->deleteLater();
    m_process = nullptr;
    std::error_code error;
    std::filesystem::remove(m_workFile, error);
    emit finished();
}

}  // namespace vantorel
