#include "workspace/html_editor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>

#include "documents/item_editor.h"
#include "storage/text_conversions.h"
#include "workspace/config.h"

namespace vantorel {
namespace {

constexpr std::string_view kPageHead =
    "<html>\n<head><meta charset=\"utf-8\"><title>Vantorel</title></head>\n<body>\n";
constexpr std::string_view kPageTail = "\n</body>\n</html>\n";

enum class WorkFileStep { Create, Open, Write, Read };

void TellWorkFileFault(WorkFileStep step, const std::filesystem::path& file, UserPort& port) {
    static constexpr std::string_view kFaults[] = {
        "Unable to create temporary html file at;\n\"%s\"\nPlease check directory exists and "
        "you have write permission.",
        "Unable to open temporary html file at;\n\"%s\"\nPlease check directory exists and you "
        "have write permission.",
        "Unable to write to temporary html file at;\n\"%s\"\nPlease check directory exists and "
        "you have write permission.",
        "Unable to read from temporary html file at;\n\"%s\"\nPlease check directory exists and "
        "you have read permission.",
    };
    static constexpr std::string_view kCaptions[] = {
        "Unable to create file.", "Unable to open file.", "Unable to write to file.",
        "Unable to read from file."};
    const auto index = static_cast<std::size_t>(step);
    port.tell({FillMessage(kFaults[index], {file.string()}), std::string(kCaptions[index]),
               Icon::Warning});
}

// The length of a "<br>", "<br/>" or "<br />" tag at the start of lower, 0 when there is none.
std::size_t BreakTagAt(std::string_view lower) {
    if (!lower.starts_with("<br"))
        return 0;
    std::size_t end = 3;
    while (end < lower.size() && (lower[end] == ' ' || lower[end] == '/'))
        ++end;
    return end < lower.size() && lower[end] == '>' ? end + 1 : 0;
}

}  // namespace

const std::string& HtmlEditorCommand(const ConfigSettings& settings) {
    return settings.htmlEditorPath;
}

std::string WorkFileText(std::string_view fieldText) {
    std::string page(kPageHead);
    for (char c : fieldText) {
        if (c == '\n')
            page += "<br>\n";
        else if (c != '\r')
            page.push_back(c);
    }
    page += kPageTail;
    return page;
}

std::string FieldTextOf(std::string_view fileText) {
    std::string text = IsValidUtf8(fileText) ? std::string(fileText) : Latin1ToUtf8(fileText);
    std::string lower = LowerCase(text);
    if (const std::size_t body = lower.find("<body"); body != std::string::npos) {
        const std::size_t start = lower.find('>', body);
        const std::size_t end = lower.rfind("</body");
        if (start != std::string::npos) {
            const std::size_t stop = end == std::string::npos || end < start ? text.size() : end;
            text = text.substr(start + 1, stop - start - 1);
            lower = lower.substr(start + 1, stop - start - 1);
        }
    }
    // Line ends in the file are layout of its source; the breaks are its "<br>" tags.
    std::string field;
    for (std::size_t i = 0; i < text.size();) {
        if (const std::size_t tag = BreakTagAt(std::string_view(lower).substr(i))) {
            field.push_back('\n');
            i += tag;
            while (i < text.size() && (text[i] == '\r' || text[i] == '\n'))
                ++i;
            continue;
        }
        if (text[i] == '\r' || text[i] == '\n') {
            if (!field.empty() && field.back() != ' ' && field.back() != '\n')
                field.push_back(' ');
            ++i;
            continue;
        }
        field.push_back(text[i++]);
    }
    const std::size_t first = field.find_first_not_of(' ');
    if (first == std::string::npos)
        return {};
    field.erase(0, first);
    field.erase(field.find_last_not_of(' ') + 1);
    return field;
}

namespace {

// The working file's folder must be one nobody else can write to (this user's, or the
// system's): where others can, a link planted under the file's name would send the field's
// text into another file, or hand the dialog another file's text.
bool FolderIsThisUsers(const std::filesystem::path& file) {
    struct stat folder {};
    const std::filesystem::path parent = file.parent_path().empty() ? "." : file.parent_path();
    return ::stat(parent.c_str(), &folder) == 0 &&
           (folder.st_uid == ::getuid() || folder.st_uid == 0) &&
           (folder.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

}  // namespace

bool WriteWorkFile(const std::filesystem::path& file, std::string_view fieldText, UserPort& port) {
    if (!FolderIsThisUsers(file)) {
        TellWorkFileFault(WorkFileStep::Create, file, port);
        return false;
    }
    // A working file left from before is written over, never followed where a link leads; one
    // that can't be is told apart from a folder where none can be made.
    int descriptor = ::open(file.c_str(), O_WRONLY | O_TRUNC | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor < 0 && errno == ENOENT)
        descriptor =
            ::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    else if (descriptor < 0) {
        TellWorkFileFault(WorkFileStep::Open, file, port);
        return false;
    }
    if (descriptor < 0) {
        TellWorkFileFault(WorkFileStep::Create, file, port);
        return false;
    }
    const std::string page = WorkFileText(fieldText);
    std::size_t written = 0;
    while (written < page.size()) {
        const ssize_t step = ::write(descriptor, page.data() + written, page.size() - written);
        if (step < 0 && errno == EINTR)
            continue;
        if (step <= 0)
            break;
        written += static_cast<std::size_t>(step);
    }
    const bool closed = ::close(descriptor) == 0;
    if (written < page.size() || !closed) {
        TellWorkFileFault(WorkFileStep::Write, file, port);
        return false;
    }
    return true;
}

std::optional<std::string> ReadWorkFile(const std::filesystem::path& file, UserPort& port) {
    const int descriptor = ::open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    std::string content;
    bool failed = descriptor < 0;
    while (!failed) {
        char buffer[65536];
        const ssize_t step = ::read(descriptor, buffer, sizeof buffer);
        if (step < 0 && errno == EINTR)
            continue;
        if (step < 0)
            failed = true;
        if (step <= 0)
            break;
        content.append(buffer, static_cast<std::size_t>(step));
    }
    if (descriptor >= 0)
        ::close(descriptor);
    if (failed) {
        TellWorkFileFault(WorkFileStep::Read, file, port);
        return std::nullopt;
    }
    return FieldTextOf(content);
}

Notice HtmlEditorStartFailure() {
    return {"VantorelHTMLEdit.exe open failed, please check it exists in the Vantorel directory.",
            "Unable to open VantorelHTMLEdit.", Icon::Warning};
}

Notice TakeEditedTextQuestion(std::string_view fieldCaption) {
    return {"The HTML editor has changed the text of \"" + std::string(fieldCaption) +
                "\".\nDo you want to put the edited text into the field?",
            std::string(kEditInHtmlEditor), Icon::Question};
}

}  // namespace vantorel
