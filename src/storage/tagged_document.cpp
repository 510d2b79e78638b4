#include "storage/tagged_document.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "storage/atomic_save.h"
#include "storage/file_reading.h"

namespace vantorel {
namespace {

bool IsTagForm(std::string_view tag) {
    return tag.size() >= 2 && tag.size() < kTagNameMax && tag.front() == '<' && tag.back() == '>';
}

// The closing tag is built in a buffer of kTagNameMax bytes, so for the longest tags it loses
// its '>' and the strict readers report code 7.
template <typename Char>
std::basic_string<Char> ClosingTag(std::basic_string_view<Char> tag) {
    std::basic_string<Char> closing;
    closing += Char('<');
    closing += Char('/');
    closing.append(tag.substr(1));
    if (closing.size() > kTagNameMax - 1)
        closing.resize(kTagNameMax - 1);
    return closing;
}

// Where needle first occurs in text at or after from. Narrow documents are searched with
// memmem, which skips ahead far better than a search that stops at every '<'.
template <typename Char>
std::size_t Find(std::basic_string_view<Char> text, std::basic_string_view<Char> needle,
                 std::size_t from) {
    if constexpr (sizeof(Char) == 1) {
        if (from > text.size())
            return text.npos;
        const void* hit =
            ::memmem(text.data() + from, text.size() - from, needle.data(), needle.size());
        return hit ? static_cast<std::size_t>(static_cast<const Char*>(hit) - text.data())
                   : text.npos;
    } else {
        return text.find(needle, from);
    }
}

struct Located {
    int code = 0;
    std::size_t valueBegin = 0, valueEnd = 0, closeEnd = 0;
};

template <typename Char>
Located LocateIn(std::basic_string_view<Char> text, std::basic_string_view<Char> tag,
                 std::size_t from, bool allowEmpty) {
    Located found;
    std::size_t open = Find(text, tag, from);
    if (open == text.npos)
        return {3};
    const auto closing = ClosingTag(tag);
    std::size_t close = Find(text, std::basic_string_view<Char>(closing), from);
    if (close == text.npos)
        return {4};
    std::size_t gt = text.find(Char('>'), open);
    if (gt == text.npos)
        return {5};
    found.valueBegin = gt + 1;
    if (close < found.valueBegin || (close == found.valueBegin && !allowEmpty))
        return {6};
    found.valueEnd = close;
    std::size_t closeGt = text.find(Char('>'), close);
    if (closeGt == text.npos)
        return {7};
    found.closeEnd = closeGt + 1;
    return found;
}

}  // namespace

int FindTagValue(std::string_view text, std::string_view tag, std::string_view& value,
                 std::size_t from, std::size_t* end, bool allowEmpty) {
    value = {};
    if (!IsTagForm(tag))
        return 2;
    const Located found = LocateIn<char>(text, tag, std::min(from, text.size()), allowEmpty);
    if (found.code)
        return found.code;
    value = text.substr(found.valueBegin, found.valueEnd - found.valueBegin);
    if (end)
        *end = found.closeEnd;
    return 0;
}

std::string ClosingTag(std::string_view tag) {
    return ClosingTag<char>(tag);
}

TagIndex::TagIndex(std::span<const std::string_view> tags) {
    // A token is a '<' and the first '>' after it, so a tag can be found as a token only when
    // its sole '>' is its last character; a closing tag cut at kTagNameMax loses that '>'.
    m_tokens.reserve(2 * tags.size());
    for (const std::string_view tag : tags) {
        Wanted wanted{tag};
        // Only a tag has a closing tag; FindTagValue answers for anything else (and refuses it).
        std::string closing = IsTagForm(tag) ? ClosingTag<char>(tag) : std::string();
        wanted.indexed =
            !closing.empty() && tag.find('>') == tag.size() - 1 && closing.back() == '>';
        if (wanted.indexed) {
            wanted.openSlot = SlotOf(std::string(tag));
            wanted.closeSlot = SlotOf(std::move(closing));
        }
        m_wanted.push_back(wanted);
    }
    // At most a quarter full, so a lookup of a token not wanted mostly ends at its first probe.
    std::size_t size = 16;
    while (size < 4 * m_tokens.size())
        size *= 2;
    m_table.assign(size, std::string_view::npos);
    for (std::size_t slot = 0; slot < m_tokens.size(); ++slot) {
        std::size_t at = Hash(m_tokens[slot]) & (size - 1);
        while (m_table[at] != std::string_view::npos)
            at = (at + 1) & (size - 1);
        m_table[at] = slot;
    }
    m_first.assign(m_tokens.size(), std::string_view::npos);
}

std::size_t TagIndex::SlotOf(std::string token) {
    const auto known = std::find(m_tokens.begin(), m_tokens.end(), token);
    if (known != m_tokens.end())
        return static_cast<std::size_t>(known - m_tokens.begin());
    m_tokens.push_back(std::move(token));
    return m_tokens.size() - 1;
}

std::size_t TagIndex::Hash(std::string_view token) {
    // Tokens are at least "<>"; their length and the characters after '<' and before '>' tell
    // the field tags apart well enough.
    const auto byte = [&](std::size_t at) {
        return static_cast<std::size_t>(static_cast<unsigned char>(token[at]));
    };
    const std::size_t size = token.size();
    return (size * 0x9E37u) ^ (byte(1) * 0x85EBu) ^ (byte(size / 2) * 0xC2B2u) ^
           (byte(size - 2) * 0x27D4u);
}

std::size_t TagIndex::Lookup(std::string_view token) const {
    const std::size_t mask = m_table.size() - 1;
    for (std::size_t at = Hash(token) & mask;; at = (at + 1) & mask) {
        const std::size_t slot = m_table[at];
        if (slot == std::string_view::npos || m_tokens[slot] == token)
            return slot;
    }
}

void TagIndex::Scan(std::string_view text) {
    m_text = text;
    std::fill(m_first.begin(), m_first.end(), std::string_view::npos);
    std::size_t missing = m_first.size();
    std::size_t gt = 0;  // a '<' is never where a '>' is, so 0 is before any token's end
    for (std::size_t lt = text.find('<'); lt != text.npos && missing > 0;
         lt = text.find('<', lt + 1)) {
        // The '>' that ended the last token ends this one too when it lies beyond this '<'.
        if (gt <= lt && (gt = text.find('>', lt)) == text.npos)
            break;
        const std::size_t slot = Lookup(text.substr(lt, gt - lt + 1));
        if (slot != text.npos && m_first[slot] == text.npos) {
            m_first[slot] = lt;
            --missing;
        }
    }
}

int TagIndex::Value(std::size_t which, std::string_view& value) const {
    const Wanted& wanted = m_wanted[which];
    if (!wanted.indexed)
        return FindTagValue(m_text, wanted.tag, value);
    value = {};
    const std::size_t open = m_first[wanted.openSlot];
    if (open == m_text.npos)
        return 3;
    const std::size_t close = m_first[wanted.closeSlot];
    if (close == m_text.npos)
        return 4;
    const std::size_t valueBegin = open + wanted.tag.size();
    if (close <= valueBegin)
        return 6;
    value = m_text.substr(valueBegin, close - valueBegin);
    return 0;
}

std::string_view TagIndex::Stored(std::size_t which) const {
    std::string_view value;
    if (Value(which, value) != 0)
        return {};
    return value.substr(0, kFieldValueMax - 1);
}

std::vector<std::string> ReadRepeated(const XMLParse& document, std::string_view tag) {
    std::vector<std::string> values;
    try {
        for (auto match = document.FindNextTag(tag, 0); match;
             match = document.FindNextTag(tag, match->end))
            values.push_back(std::move(match->value));
    } catch (const TagError&) {
    }
    return values;
}

TagError::TagError(int code)
    : std::runtime_error("tagged document error " + std::to_string(code)), m_code(code) {}

XMLParse::XMLParse(FileLayer& files) : m_files(files) {}

XMLParse::~XMLParse() {
    CloseStream();
}

void XMLParse::CloseStream() {
    if (m_fd >= 0)
        ::close(m_fd);
    m_fd = -1;
    m_fastReadSize.reset();
    m_readWhole = false;
}

int XMLParse::OpenRead(const std::filesystem::path& path, bool writable, std::size_t maxSize) {
    CloseStream();
    m_wide = false;
    return OpenRegularFile(path, m_fd, maxSize, writable);
}

int XMLParse::OpenFastRead(const std::filesystem::path& path, std::size_t maxSize) {
    CloseStream();
    m_wide = false;
    std::size_t size = 0;
    if (const int code = OpenRegularFile(path, m_fd, maxSize, false, &size))
        return code;
    m_fastReadSize = size;
    return 0;
}

int XMLParse::OpenFastRead(int folderFd, const char* name) {
    CloseStream();
    m_wide = false;
    m_loaded = false;
    // The whole document at once: Load has nothing left to read.
    if (const int code = ReadDocumentAt(folderFd, name, m_text)) {
        m_text.clear();
        return code;
    }
    m_readWhole = true;
    return 0;
}

int XMLParse::OpenWide(const std::filesystem::path& path) {
    int result = OpenRead(path);
    m_wide = true;
    return result;
}

int XMLParse::OpenWrite(const std::filesystem::path& path) {
    CloseStream();
    m_writePath = path;
    m_pending.clear();
    return 0;
}

int XMLParse::Load() {
    // Read straight into the text, so a parser reused over many documents keeps its buffer.
    m_loaded = false;
    // A folder's document was read whole by its open; another bulk read follows its open at
    // once, so the size taken at the open still holds.
    if (m_readWhole) {
        m_readWhole = false;
    } else if (m_fd < 0 || (m_fastReadSize ? ReadOpenFileOfSize(m_fd, *m_fastReadSize, m_text)
                                           : ReadOpenFile(m_fd, m_text))) {
        m_text.clear();
        return 1;
    }
    if (std::memchr(m_text.data(), '\0', m_text.size()))
        std::replace(m_text.begin(), m_text.end(), '\0', ' ');
    m_loaded = true;
    return 0;
}

int XMLParse::LoadWide() {
    std::string raw;
    if (m_fd < 0 || ReadOpenFile(m_fd, raw))
        return 1;
    m_wideText.clear();
    m_wideText.reserve(raw.size() / 2);
    for (std::size_t i = 0; i + 1 < raw.size(); i += 2) {
        char16_t unit = static_cast<char16_t>(static_cast<unsigned char>(raw[i]) |
                                              (static_cast<unsigned char>(raw[i + 1]) << 8));
        m_wideText += unit == 0 ? u' ' : unit;
    }
    m_loaded = true;
    return 0;
}

void XMLParse::LoadText(std::string_view text) {
    // Into the text's own buffer, so a parser reused over many documents keeps it.
    m_text.assign(text);
    if (std::memchr(m_text.data(), '\0', m_text.size()))
        std::replace(m_text.begin(), m_text.end(), '\0', ' ');
    m_loaded = true;
}

void XMLParse::Close() {
    CloseStream();
    m_loaded = false;
    m_text.clear();
    m_wideText.clear();
    m_writePath.reset();
    m_pending.clear();
}

int XMLParse::Locate(std::string_view tag, std::size_t from, Span& span, bool allowEmpty) const {
    if (!m_loaded)
        return 1;
    if (!IsTagForm(tag))
        return 2;
    Located found = LocateIn<char>(m_text, tag, from, allowEmpty);
    span = {found.valueBegin, found.valueEnd, found.closeEnd};
    return found.code;
}

int XMLParse::GetTag(std::string_view tag, std::string& value, std::size_t length) const {
    value.clear();
    Span span;
    if (int code = Locate(tag, 0, span, false))
        return code;
    std::size_t size = std::min(span.valueEnd - span.valueBegin, length > 0 ? length - 1 : 0);
    if (size == 0)
        return 6;
    value.assign(m_text, span.valueBegin, size);
    return 0;
}

void XMLParse::GetTagWide(std::string_view tag, std::string& value, std::size_t length) const {
    value.clear();
    if (!m_loaded || !IsTagForm(tag))
        return;
    std::u16string wideTag = Utf8ToUtf16(tag);
    Located found = LocateIn<char16_t>(m_wideText, wideTag, 0, false);
    if (found.code)
        return;
    std::size_t size = std::min(found.valueEnd - found.valueBegin, length > 0 ? length - 1 : 0);
    value = Utf16ToUtf8(std::u16string_view(m_wideText).substr(found.valueBegin, size));
}

TagMatch XMLParse::FindTag(std::string_view tag, std::size_t length) const {
    Span span;
    if (int code = Locate(tag, 0, span, true))
        throw TagError(code);
    std::size_t size = std::min(span.valueEnd - span.valueBegin, length > 0 ? length - 1 : 0);
    return {m_text.substr(span.valueBegin, size), span.closeEnd};
}

std::optional<TagMatch> XMLParse::FindNextTag(std::string_view tag, std::size_t from,
                                              std::size_t length) const {
    Span span;
    int code = Locate(tag, std::min(from, m_text.size()), span, true);
    if (code == 3)
        return std::nullopt;
    if (code)
        throw TagError(code);
    std::size_t size = std::min(span.valueEnd - span.valueBegin, length > 0 ? length - 1 : 0);
    return TagMatch{m_text.substr(span.valueBegin, size), span.closeEnd};
}

int XMLParse::ReadField(const FieldDescriptor& field, std::string& value,
                        std::size_t length) const {
    value.clear();
    if (length == 0)
        return 1;
    if (field.type < FT_TEXT)
        return 0;
    std::string stored;
    if (GetTag(field.tag, stored, length) != 0)
        return 2;
    value = DisplayValue(field.type, stored);
    if (value.size() > length - 1)
        value.resize(length - 1);
    return 0;
}

bool XMLParse::LoadField(const FieldDescriptor& field, FieldControl& control, LoadMode mode) const {
    bool read = false;
    if (mode != LoadMode::Leave) {
        std::string stored;
        if (GetTag(field.tag, stored) == 0) {
            ControlFromStored(field.type, stored, control);
            read = true;
        }
    }
    if (mode == LoadMode::ReadOnly &&
        (field.type == FT_TEXT || field.type == FT_RICH_TEXT || field.type == FT_PLAIN_TEXT ||
         field.type == FT_DATE || field.type == FT_TIME))
        control.readOnly = true;
    return read;
}

void XMLParse::RequireWriting(std::string_view tag) const {
    if (!m_writePath)
        throw TagError(1);
    if (!IsTagForm(tag))
        throw TagError(2);
}

int XMLParse::WriteHeader() {
    if (!m_writePath)
        return 1;
    m_pending += kDocumentDeclaration;
    return 0;
}

void XMLParse::WriteTag(std::string_view tag, std::optional<std::string_view> value, bool newline) {
    RequireWriting(tag);
    m_pending += tag;
    if (value) {
        m_pending += *value;
        m_pending += ClosingTag(tag);
    }
    if (newline)
        m_pending += "\r\n";
}

void XMLParse::WriteOpenTag(std::string_view tag, bool newline) {
    WriteTag(tag, std::nullopt, newline);
}

void XMLParse::WriteCloseTag(std::string_view tag) {
    RequireWriting(tag);
    m_pending += ClosingTag(tag);
    m_pending += "\r\n";
}

void XMLParse::WriteField(const FieldDescriptor& field, std::string_view value) {
    switch (field.type) {
        case FT_HEADER:
            if (WriteHeader())
                throw TagError(1);
            return;
        case FT_BLOCK_START:
            WriteOpenTag(field.tag);
            return;
        case FT_TEXT:
        case FT_RICH_TEXT:
        case FT_PLAIN_TEXT:
        case FT_DATE:
        case FT_LIST_TEXT:
        case FT_TIME:
        case FT_YES_NO:
        case FT_PASSWORD:
            WriteTag(field.tag, StoredFromValue(field.type, value.substr(0, kFieldValueMax - 1)));
            return;
    }
}

void XMLParse::SaveField(const FieldDescriptor& field, const FieldControl& control,
                         const PasswordEncoder& encodePassword) {
    std::string previous;
    if (field.type == FT_PASSWORD)
        GetTag(field.tag, previous);
    WriteTag(field.tag, StoredFromControl(field.type, control, previous, encodePassword));
}

void XMLParse::WriteWide(std::string_view utf8, bool byteOrderMark) {
    if (!m_writePath)
        throw TagError(1);
    std::u16string wide = Utf8ToUtf16(utf8);
    if (byteOrderMark)
        wide.insert(wide.begin(), u'\xFEFF');
    for (char16_t unit : wide) {
        m_pending += static_cast<char>(unit & 0xFF);
        m_pending += static_cast<char>(unit >> 8);
    }
}

IoResult XMLParse::Commit(SavePlacement placement) {
    if (!m_writePath)
        return IoResult::Failure(EBADF, "Unable to save: no file is open for writing");
    IoResult result = SaveWholeFile(*m_writePath, m_pending, m_files, placement);
    m_writePath.reset();
    m_pending.clear();
    return result;
}

std::string XMLParse::TakeWritten() {
    return std::exchange(m_pending, {});
}

void XMLParse::ReplaceTag(std::string_view tag, std::string_view newValue) {
    Span span;
    if (int code = Locate(tag, 0, span, true))
        throw TagError(code);
    m_text.replace(span.valueBegin, span.valueEnd - span.valueBegin, newValue);
}

void XMLParse::InsertAfterTag(std::string_view anchorTag, std::string_view newTag,
                              std::string_view value) {
    Span span;
    if (int code = Locate(anchorTag, 0, span, true))
        throw TagError(code);
    if (!IsTagForm(newTag))
        throw TagError(2);
    std::string element(newTag);
    element += value;
    element += ClosingTag(newTag);
    m_text.insert(span.closeEnd, element);
}

void XMLParse::AppendHistoryEntry(std::string_view blockText) {
    static constexpr std::string_view kClose = "</history_entry>";
    std::size_t last = m_text.rfind(kClose);
    if (last == std::string::npos)
        return;
    // A single LF, not CR LF: documents written before have it so, and readers don't care.
    std::string entry = "\n<history_entry>";
    entry += blockText;
    entry += kClose;
    m_text.insert(last + kClose.size(), entry);
}

int XMLParse::Flush() {
    if (!m_writePath)
        return 1;
    m_pending = m_text;
    return 0;
}

bool XMLParse::RewriteInStandardForm(const std::filesystem::path& path, std::string_view rootTag,
                                     std::span<const FieldDescriptor> fields, FileLayer& files) {
    XMLParse document(files);
    if (document.OpenRead(path, true) || document.Load())
        return false;
    document.OpenWrite(path);
    document.WriteHeader();
    document.WriteOpenTag(rootTag);
    std::string value;
    for (const FieldDescriptor& field : fields) {
        if (field.controlId == -1)
            break;
        if (field.type < FT_TEXT)
            continue;
        document.GetTag(field.tag, value);  // unreadable: written as an empty element
        document.WriteTag(field.tag, value);
    }
    document.WriteCloseTag(rootTag);
    return RewriteWithRetries(path, document.m_pending, files);
}

IoResult XMLParse::SetDocumentId(const std::filesystem::path& path, std::string_view newId,
                                 FileLayer& files) {
    XMLParse document(files);
    if (int error = document.OpenRead(path))
        return IoResult::Failure(error,
                                 "Unable to open " + path.string() + ": " + ReadFailureText(error));
    if (document.Load())
        return IoResult::Failure(EIO, "Unable to read " + path.string());
    std::string id(newId);
    Escape(id);
    document.OpenWrite(path);
    try {
        document.ReplaceTag("<id>", id);
    } catch (const TagError&) {
        return IoResult::Failure(EINVAL, "The document " + path.string() + " has no <id> element");
    }
    document.Flush();
    return document.Commit();
}

}  // namespace vantorel
