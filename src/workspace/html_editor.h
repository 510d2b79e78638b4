#pragma once
// The bridge to an external HTML editor for the rich-text fields: the field's text goes into
// the working file "tmpVantorelHtml.html" of the temporary folder, the editor command of the
// options is started on it, and when the file changes the user is asked whether the field
// takes the edited text. What the user is told when the file or the editor fails, and the
// question, are decided here; the window only starts the process and watches the file.

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "platform/user_port.h"

namespace vantorel {

struct ConfigSettings;

inline constexpr std::string_view kEditInHtmlEditor = "Edit in HTML editor";
// Why "Edit in HTML editor" is greyed: where to set the editor.
inline constexpr std::string_view kUnsetHtmlEditorHint =
    "No HTML editor is set: set one in Settings / Options";

// The editor command the options hold; empty when none is set.
const std::string& HtmlEditorCommand(const ConfigSettings& settings);

// What goes into the working file for a field's text (UTF-8, line feeds for its line breaks):
// a page the editor can open, the line breaks as "<br>".
std::string WorkFileText(std::string_view fieldText);
// The field's text from what the editor left in the working file: the body of a whole page,
// its "<br>" back as line feeds and the file's own line ends dropped, as UTF-8 (a file that is
// not UTF-8 is read as ISO-8859-1).
std::string FieldTextOf(std::string_view fileText);

// Writes fieldText as the working file, created anew. False after telling port which of
// "create", "open" or "write" failed; the field keeps its text either way.
bool WriteWorkFile(const std::filesystem::path& file, std::string_view fieldText, UserPort& port);
// The field's text from the working file; none after telling port it could not be read.
std::optional<std::string> ReadWorkFile(const std::filesystem::path& file, UserPort& port);

// Told when the editor's program could not be started.
Notice HtmlEditorStartFailure();
// Asked when the editor changed the working file: Yes takes its text into the field.
Notice TakeEditedTextQuestion(std::string_view fieldCaption);

}  // namespace vantorel
