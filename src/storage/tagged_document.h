#pragma once
// XMLParse: one tagged document. Every item of a database is a flat XML-looking text that is
// read by plain substring search, not by an XML parser: the first occurrence of a tag wins,
// repeated elements are visited with FindNextTag, and a document is always written whole.
//
// Writing never touches the file until Commit: OpenWrite collects the new text and Commit
// saves it through a temporary file and a rename, so a failure half-way leaves the old
// document as it was.

#include <cstdio>
#include <filesystem>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "storage/atomic_save.h"
#include "storage/field_values.h"
#include "storage/file_layer.h"
#include "storage/file_reading.h"
#include "storage/io_result.h"
#include "storage/text_conversions.h"

namespace vantorel {

inline constexpr std::string_view kDocumentDeclaration =
    "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n";
inline constexpr std::size_t kTagNameMax = 256;

// Raised by the strict readers and the writers. Codes: 1 nothing loaded or no file open,
// 2 a tag not of the form <...>, 3 opening tag missing, 4 closing tag missing, 5 no '>' after
// the opening tag, 6 empty value, 7 no '>' after the closing tag.
class TagError : public std::runtime_error {
public:
    explicit TagError(int code);
    int code() const { return m_code; }

private:
    int m_code;
};

// A value found by FindTag and where the search for the next occurrence goes on.
struct TagMatch {
    std::string value;
    std::size_t end = 0;  // just past the closing tag
};

enum class LoadMode {
    Fill,      // put the value into the control
    ReadOnly,  // fill, then make the control read-only
    Leave,     // leave the control alone
};

// GetTag's search on any text, without copying: 0 and a view of the value of the first
// occurrence of tag at or after from (with end just past its closing tag), or GetTag's code.
// With allowEmpty an empty value is a value, as for the strict readers.
int FindTagValue(std::string_view text, std::string_view tag, std::string_view& value,
                 std::size_t from = 0, std::size_t* end = nullptr, bool allowEmpty = false);

// "</name>" for "<name>", cut at kTagNameMax - 1 characters as the readers form it.
std::string ClosingTag(std::string_view tag);

// The values of a fixed set of tags in one text after a single pass over it: for a walk that
// reads the same fields of thousands of documents, where a search per field would read each
// text again and again. Every answer is the one FindTagValue gives from the start of the text.
class TagIndex {
public:
    // The tags whose values will be asked for, by their place in this list.
    explicit TagIndex(std::span<const std::string_view> tags);
    // Notes where each tag and its closing tag first occur in text, which must outlive the
    // answers.
    void Scan(std::string_view text);
    // FindTagValue(text, tags[which], value) for the text of the last Scan.
    int Value(std::size_t which, std::string_view& value) const;
    // The value of tags[which] as GetTag gives it: cut to a field's length, empty when the
    // tag is missing or its element is cut short.
    std::string_view Stored(std::size_t which) const;

private:
    struct Wanted {
        std::string_view tag;
        bool indexed = false;  // else a tag the one-pass scan can't answer for: searched
        std::size_t openSlot = 0, closeSlot = 0;
    };
    std::size_t SlotOf(std::string token);
    static std::size_t Hash(std::string_view token);
    // The slot of a token looked for, or npos for any other.
    std::size_t Lookup(std::string_view token) const;

    std::vector<Wanted> m_wanted;
    std::vector<std::string> m_tokens;  // the "<...>" tokens looked for, by slot
    // Slots by a cheap hash of the token, open addressing: a scan looks up every token of
    // every document, so this is its inner loop.
    std::vector<std::size_t> m_table;
    std::vector<std::size_t> m_first;  // by slot: where the token first occurs, or npos
    std::string_view m_text;
};

class XMLParse;
// The raw values of every occurrence of tag, in document order; a cut-short element ends them.
std::vector<std::string> ReadRepeated(const XMLParse& document, std::string_view tag);

class XMLParse {
public:
    explicit XMLParse(FileLayer& files = SystemFiles());
    ~XMLParse();
    XMLParse(const XMLParse&) = delete;
    XMLParse& operator=(const XMLParse&) = delete;

    // Opening and loading. Each returns 0 on success. Only a regular file no larger than
    // kDocumentSizeMax is opened (storage/file_reading.h): anything else is unreadable.
    // OpenRead gives the error number, or the reading layer's own codes.
    int OpenRead(const std::filesystem::path& path, bool writable = false,
                 std::size_t maxSize = kDocumentSizeMax);
    // The bulk read for walks over thousands of small documents: one read of the whole file,
    // of the size the file had when opened. The code is OpenRead's. maxSize raises the cap for
    // the few files that are no item (report documents).
    int OpenFastRead(const std::filesystem::path& path, std::size_t maxSize = kDocumentSizeMax);
    // The same for a document named relative to an open folder, which spares the system the
    // walk down the whole path for every document of a folder. A link is not read through.
    int OpenFastRead(int folderFd, const char* name);
    // Starts a new text for the file; nothing is written until Commit. Keeps a loaded text,
    // so a document can be loaded, patched and flushed back.
    int OpenWrite(const std::filesystem::path& path);
    int OpenWide(const std::filesystem::path& path);
    int Load();  // NUL bytes become spaces
    int LoadWide();
    // Uses text as the loaded document, as if read from a file.
    void LoadText(std::string_view text);
    // Closes the file and drops the loaded text and any uncommitted writing.
    void Close();

    bool IsLoaded() const { return m_loaded; }
    const std::string& Text() const { return m_text; }

    // The everyday reader: 0 and the value (at most length - 1 bytes), or a code 1-6 and an
    // empty value.
    int GetTag(std::string_view tag, std::string& value, std::size_t length = kFieldValueMax) const;
    // GetTag on a UTF-16 document; the value comes back as UTF-8, empty on any failure.
    void GetTagWide(std::string_view tag, std::string& value,
                    std::size_t length = kFieldValueMax) const;
    // The strict readers: an empty value is a value; failures raise TagError.
    TagMatch FindTag(std::string_view tag, std::size_t length = kFieldValueMax) const;
    // As FindTag, searching from `from` (the end of the previous match); nullopt when there
    // is no further occurrence, so a loop visits every repeated element in order.
    std::optional<TagMatch> FindNextTag(std::string_view tag, std::size_t from,
                                        std::size_t length = kFieldValueMax) const;

    // The field's value as pages and reports show it. 1 when length is 0, 2 when the tag
    // can't be read (value empty), 0 otherwise; types below 11 read nothing.
    int ReadField(const FieldDescriptor& field, std::string& value,
                  std::size_t length = kFieldValueMax) const;
    // Fills a control from the document. A missing tag leaves the control as it was; the
    // read-only step of LoadMode::ReadOnly applies all the same. Returns whether a value was
    // read.
    bool LoadField(const FieldDescriptor& field, FieldControl& control, LoadMode mode) const;

    // Writers (after OpenWrite). Failures raise TagError: 1 no file open, 2 bad tag form.
    int WriteHeader();
    // <tag>value</tag>; with no value at all only <tag> (how a block is opened). CR LF after
    // it when newline is set.
    void WriteTag(std::string_view tag, std::optional<std::string_view> value, bool newline = true);
    void WriteOpenTag(std::string_view tag, bool newline = true);
    void WriteCloseTag(std::string_view tag);
    void WriteField(const FieldDescriptor& field, std::string_view value);
    // Writes a control's content. A password control that still shows the mask keeps the
    // value of the document loaded before OpenWrite.
    void SaveField(const FieldDescriptor& field, const FieldControl& control,
                   const PasswordEncoder& encodePassword);
    // UTF-16 little-endian text, with a byte-order mark when asked; for the configuration file.
    void WriteWide(std::string_view utf8, bool byteOrderMark = false);
    // Saves what was written to the file given to OpenWrite and closes it: over that file, or
    // for NewOnly only while its name is free.
    IoResult Commit(SavePlacement placement = SavePlacement::Replace);
    // Hands over what was written since OpenWrite or the last call, and goes on writing: for
    // a document saved in pieces.
    std::string TakeWritten();

    // Patching the loaded text; Flush then makes it the text to be written.
    void ReplaceTag(std::string_view tag, std::string_view newValue);
    void InsertAfterTag(std::string_view anchorTag, std::string_view newTag,
                        std::string_view value);
    void AppendHistoryEntry(std::string_view blockText);
    int Flush();

    // Rewrites an item document in its standard form: the declaration, the root block, every
    // value field of the table in table order (one that can't be read as an empty element),
    // the closing tag. Rows below FT_TEXT hold no value and are skipped; a row with controlId
    // -1 ends the table. Gives up quietly, leaving the file as it was, when the file can't be
    // read or replaced after the retries of RewriteWithRetries.
    static bool RewriteInStandardForm(const std::filesystem::path& path, std::string_view rootTag,
                                      std::span<const FieldDescriptor> fields,
                                      FileLayer& files = SystemFiles());

    // Gives the document at path a new <id> (escaped here) and saves it.
    static IoResult SetDocumentId(const std::filesystem::path& path, std::string_view newId,
                                  FileLayer& files = SystemFiles());

private:
    struct Span {
        std::size_t valueBegin = 0, valueEnd = 0, closeEnd = 0;
    };
    // The search every reader shares: 0 and the span of the first occurrence at or after
    // from, or the code of GetTag (7 when strict and the closing tag has no '>').
    int Locate(std::string_view tag, std::size_t from, Span& span, bool allowEmpty) const;
    void RequireWriting(std::string_view tag) const;
    void CloseStream();

    FileLayer& m_files;
    int m_fd = -1;
    std::optional<std::size_t> m_fastReadSize;  // the size at an OpenFastRead
    bool m_readWhole = false;  // an OpenFastRead of a folder's document: m_text holds it
    bool m_wide = false;
    bool m_loaded = false;
    std::string m_text;
    std::u16string m_wideText;
    std::optional<std::filesystem::path> m_writePath;
    std::string m_pending;
};

}  // namespace vantorel
