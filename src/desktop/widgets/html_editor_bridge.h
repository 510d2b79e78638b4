#pragma once
// "Edit in HTML editor" for one rich-text field: the core writes the working file, this starts
// the editor command of the options on it without waiting, watches the file, and asks the user
// (the core's question, through the port) whether the field takes the text whenever the editor
// saves a change. When the editor ends, a last change is offered and the working file goes.

#include <QFileSystemWatcher>
#include <QPointer>
#include <QProcess>
#include <QTimer>
#include <filesystem>
#include <string>

#include "platform/user_port.h"

namespace vantorel {

class RichTextEdit;

class HtmlEditorBridge : public QObject {
    Q_OBJECT
public:
    HtmlEditorBridge(std::filesystem::path workFile, UserPort& port, QObject* parent = nullptr);
    ~HtmlEditorBridge() override;

    // Starts command on field's text; the field's caption names it in the question. False when
    // the working file or the editor failed (told through the port; the field keeps its text)
    // or an editor is already open.
    bool Edit(RichTextEdit& field, const std::string& caption, const QString& command);
    bool Editing() const { return m_process != nullptr; }

signals:
    // The editor ended and its working file is gone.
    void finished();

private:
    void OfferChange();
    void EditorEnded();

    std::filesystem::path m_workFile;
    UserPort& m_port;
    QPointer<RichTextEdit> m_field;
    std::string m_caption;
    std::string m_offered;  // the field's text as the file last held it
    QProcess* m_process = nullptr;
    QFileSystemWatcher m_watcher;
    QTimer m_settle;  // an editor may write a file in several steps
};

}  // namespace vantorel
