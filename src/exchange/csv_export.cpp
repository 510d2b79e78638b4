#include "exchange/csv_export.h"

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

#include "documents/field_tables.h"
#include "reports/list_reports.h"
#include "storage/atomic_save.h"
#include "storage/file_reading.h"
#include "storage/item_listing.h"
#include "storage/tagged_document.h"
#include "storage/text_conversions.h"

namespace vantorel {
namespace {

namespace fs = std::filesystem;

// The character an entity names (&name; or &#number; or &#xhex;) as ISO-8859-1, or none for
// a name HTML editors don't write.
std::optional<char> EntityCharacter(std::string_view entity) {
    if (entity == "amp")
        return '&';
    if (entity == "lt")
        return '<';
    if (entity == "gt")
        return '>';
    if (entity == "quot")
        return '"';
    if (entity == "apos")
        return '\'';
    // A spreadsheet cell has no use for a space that doesn't break.
    if (entity == "nbsp")
        return ' ';
    if (entity.size() < 2 || entity[0] != '#')
        return std::nullopt;
    const bool hex = entity[1] == 'x' || entity[1] == 'X';
    const std::string_view digits = entity.substr(hex ? 2 : 1);
    if (digits.empty() || digits.size() > 7)
        return std::nullopt;
    unsigned long code = 0;
    for (const char c : digits) {
        int digit = -1;
        if (c >= '0' && c <= '9')
            digit = c - '0';
        else if (hex && c >= 'a' && c <= 'f')
            digit = c - 'a' + 10;
        else if (hex && c >= 'A' && c <= 'F')
            digit = c - 'A' + 10;
        if (digit < 0)
            return std::nullopt;
        code = code * (hex ? 16 : 10) + static_cast<unsigned long>(digit);
    }
    return code <= 0xFF ? static_cast<char>(code) : '?';
}

std::optional<std::size_t> Refuse(UserPort& port, const std::string& text) {
    port.tell({text, std::string(kCsvExportCaption), Icon::Warning});
    return std::nullopt;
}

// The file being written: rows come in ISO-8859-1 and go out in the file's encoding, after
// the byte-order mark for UTF-8.
class CsvOutput {
public:
    CsvOutput(const fs::path& target, CsvEncoding encoding)
        : m_save(target), m_utf8(encoding == CsvEncoding::Utf8WithBom) {
        if (m_utf8)
            m_save.Write(kUtf8ByteOrderMark);
    }
    void Row(const std::vector<std::string>& fields) { Write(Encoded(CsvRow(fields))); }
    // A row joined by CsvRow in the file's encoding; safe on any thread.
    std::string Encoded(std::string row) const { return m_utf8 ? Latin1ToUtf8(row) : row; }
    void Write(std::string_view encodedRow) { m_save.Write(encodedRow); }
    // Tells a stop or a failed write; true when the file is in place.
    bool Finish(const std::stop_token& stop, UserPort& port) {
        if (stop.stop_requested()) {
            Refuse(port, "The export to CSV was cancelled, nothing has been exported");
            return false;
        }
        if (const IoResult saved = m_save.Commit(); !saved.ok()) {
            Refuse(port, "The CSV file could not be written: " + saved.message);
            return false;
        }
        return true;
    }

private:
    PiecewiseSave m_save;
    bool m_utf8;
};

std::string Caption(const FieldDescriptor& field) {
    return std::string(field.longHeading.empty() ? field.shortHeading : field.longHeading);
}

}  // namespace

Notice CsvExportDoneNotice(std::size_t rows) {
    return {"CSV export completed successfully: " + std::to_string(rows) + " rows written",
            std::string(kCsvExportCaption), Icon::Information};
}

Notice CsvReplaceQuestion(const fs::path& target) {
    return {"The file \"" + target.string() + "\" already exists.\nDo you want to replace it?",
            std::string(kCsvExportCaption), Icon::Question};
}

namespace {

// The field as RFC 4180 writes it, put at the end of row.
void AppendCsvField(std::string& row, std::string_view value) {
    // A plain loop: find_first_of would call memchr once for every character.
    const bool quoted = std::any_of(value.begin(), value.end(), [](char c) {
        return c == ',' || c == '"' || c == '\r' || c == '\n';
    });
    if (!quoted) {
        row.append(value);
        return;
    }
    row += '"';
    // Each quote is doubled: the text up to and with it, then the quote once more.
    for (std::size_t at = 0; at < value.size();) {
        const std::size_t quote = value.find('"', at);
        if (quote == std::string_view::npos) {
            row.append(value.substr(at));
            break;
        }
        row.append(value.substr(at, quote + 1 - at));
        row += '"';
        at = quote + 1;
    }
    row += '"';
}

}  // namespace

std::string CsvField(std::string_view value) {
    std::string field;
    AppendCsvField(field, value);
    return field;
}

std::string CsvRow(const std::vector<std::string>& fields) {
    std::size_t size = 2;
    for (const std::string& field : fields)
        size += field.size() + 3;
    std::string row;
    row.reserve(size);
    for (std::size_t i = 0; i < fields.size(); ++i) {
        if (i > 0)
            row += ',';
        AppendCsvField(row, fields[i]);
    }
    row += "\r\n";
    return row;
}

std::string RichTextAsPlainText(std::string_view html) {
    std::string text(html);
    BreaksToNewlines(text);
    std::string plain;
    plain.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        // Text up to the next tag or entity goes over in one piece.
        std::size_t plainEnd = i;
        while (plainEnd < text.size() && text[plainEnd] != '<' && text[plainEnd] != '&')
            ++plainEnd;
        plain.append(text, i, plainEnd - i);
        if (plainEnd == text.size())
            break;
        i = plainEnd;
        const char c = text[i];
        if (c == '<') {
            const std::size_t close = text.find('>', i);
            if (close == std::string::npos) {
                plain.append(text, i);
                break;
            }
            i = close;
        } else if (c == '&') {
            const std::size_t semicolon = text.find(';', i);
            const std::optional<char> character =
                semicolon == std::string::npos
                    ? std::nullopt
                    : EntityCharacter(std::string_view(text).substr(i + 1, semicolon - i - 1));
            if (character) {
                plain += *character;
                i = semicolon;
            } else {
                plain += c;
            }
        }
    }
    // A paragraph's own break at either end is no line of the text, as an editor trims it.
    const std::size_t first = plain.find_first_not_of('\n');
    if (first == std::string::npos)
        return {};
    return plain.substr(first, plain.find_last_not_of('\n') - first + 1);
}

std::string CsvValue(FieldType type, std::string_view stored, CsvRichText richText) {
    switch (type) {
        case FT_TEXT:
        case FT_LIST_TEXT:
            return Unescaped(std::string(stored));
        case FT_RICH_TEXT: {
            std::string html(stored);
            // A value too long to unwrap can't occur: unwrapping only shortens it.
            (void)StripCData(html, html.size() + 1);
            return richText == CsvRichText::Html ? html : RichTextAsPlainText(html);
        }
        case FT_DATE: {
            const std::optional<CalendarDate> date = ParseStoredDate(stored);
            if (!date)
                return {};
            char text[16];
            std::snprintf(text, sizeof text, "%04d-%02d-%02d", date->year % 10000,
                          date->month % 100, date->day % 100);
            return text;
        }
        case FT_TIME:
            return ParseStoredTime(stored) ? std::string(stored) : std::string{};
        default:
            return std::string(stored);
    }
}

namespace {

// The rows of an export, made on worker threads from chunks of test cases handed out as the
// walk lists them, and written in listing order by the thread that walks, which alone speaks
// to the port. The walk of a large tree takes a while of its own, so the reading does not wait
// for it to end.
class RowPipeline {
public:
    RowPipeline(std::span<const FieldDescriptor> fields, const CsvExportRequest& request,
                CsvOutput& output, UserPort& port)
        : m_fields(fields), m_request(request), m_output(output), m_port(port) {
        for (const FieldDescriptor& field : fields)
            m_tags.push_back(field.tag);
        const unsigned threads = std::clamp(std::thread::hardware_concurrency(), 1u, 4u);
        for (unsigned t = 0; t < threads; ++t)
            m_workers.emplace_back([this] { Work(); });
    }
    ~RowPipeline() { Abandon(); }
    RowPipeline(const RowPipeline&) = delete;
    RowPipeline& operator=(const RowPipeline&) = delete;

    // Takes the test cases named in folder, in this order, writes the rows that are ready,
    // and tells whether the walk is to go on.
    bool Add(const fs::path& folder, std::vector<std::string> names) {
        if (!GoOn())
            return false;
        if (!names.empty()) {
            // Folder names are UTF-8 on Linux; documents speak ISO-8859-1 until the row is
            // written.
            const CaseFolder& held = m_folders.emplace_back(CaseFolder{
                folder, folder == m_request.folder
                            ? std::string{}
                            : Latin1FromName(
                                  folder.lexically_relative(m_request.folder).generic_string())});
            for (std::string& name : names) {
                m_pending.push_back({&held, std::move(name)});
                if (m_pending.size() == kChunk)
                    Publish();
            }
        }
        return WriteReady(false) && GoOn();
    }

    // Whether the walk is to go on: not after a refusal or a stop.
    bool GoOn() const { return !m_refused && !m_request.stop.stop_requested(); }

    // Ends the listing and writes every row (those made before a stop): the number written,
    // or none after the user was told of the first test case that could not be read.
    std::optional<std::size_t> Finish() {
        if (m_refused)
            return std::nullopt;
        Publish();
        {
            std::lock_guard lock(m_mutex);
            m_listingDone = true;
        }
        m_work.notify_all();
        if (!WriteReady(true))
            return std::nullopt;
        return m_written;
    }

private:
    static constexpr std::size_t kChunk = 256;
    static constexpr std::size_t kHeldMax = std::size_t{16} << 20;  // bytes of rows
    struct CaseFolder {
        fs::path path;
        std::string suite;  // relative to the exported folder, "/" between levels; ISO-8859-1
    };
    struct Case {
        const CaseFolder* folder;
        std::string name;
    };
    struct Chunk {
        std::vector<Case> cases;
        std::string rows;  // encoded, in order
        int failure = 0;   // the reading layer's code for the case at failedAt
        std::size_t failedAt = 0;
        bool done = false;
    };

    void Publish() {
        if (m_pending.empty())
            return;
        m_listed += m_pending.size();
        {
            std::lock_guard lock(m_mutex);
            m_chunks.emplace_back().cases = std::move(m_pending);
        }
        m_pending.clear();
        m_work.notify_one();
    }

    // Writes the chunks that are done, in order, up to the first that is not (with
    // untilAllDone, waits for every chunk); false once a test case could not be read.
    bool WriteReady(bool untilAllDone) {
        for (;;) {
            std::unique_lock lock(m_mutex);
            if (untilAllDone)
                m_done.wait(lock, [this] {
                    return m_nextToWrite == m_chunks.size() || m_chunks[m_nextToWrite].done ||
                           m_request.stop.stop_requested();
                });
            if (m_nextToWrite == m_chunks.size() || !m_chunks[m_nextToWrite].done)
                return true;
            Chunk& chunk = m_chunks[m_nextToWrite++];
            lock.unlock();
            if (chunk.failure != 0) {
                m_refused = true;
                Abandon();
                const Case& unreadable = chunk.cases[chunk.failedAt];
                Refuse(m_port, "The test case \"" +
                                   (unreadable.folder->path / unreadable.name).string() +
                                   "\" could not be read (" + ReadFailureText(chunk.failure) +
                                   "), nothing has been exported");
                return false;
            }
            m_output.Write(chunk.rows);
            m_written += chunk.cases.size();
            // Moved out to go now: assigning an empty chunk would keep the rows' buffer.
            const std::size_t written = std::exchange(chunk, {}).rows.size();
            {
                std::lock_guard relock(m_mutex);
                m_held -= written;
            }
            m_work.notify_all();
            m_port.progress(static_cast<int>(m_written), static_cast<int>(m_listed));
        }
    }

    // Stops the workers, leaving the chunks not yet made.
    void Abandon() {
        {
            std::lock_guard lock(m_mutex);
            m_abandoned = true;
        }
        m_work.notify_all();
        m_workers.clear();  // joins them
    }

    void Work() {
        XMLParse document;
        HeldFolder folder;
        BatchDocumentReader batch;
        TagIndex index(m_tags);
        std::vector<std::string> fieldsOfRow;
        for (;;) {
            Chunk* chunk = nullptr;
            {
                std::unique_lock lock(m_mutex);
                // Rows made ahead of the file are held in memory: past kHeldMax only the next
                // chunk to be written is taken, so memory stays bounded however far the
                // workers run ahead of the writing.
                m_work.wait(lock, [this] {
                    const bool waiting = m_nextToMake < m_chunks.size();
                    return m_abandoned || (m_listingDone && !waiting) ||
                           (waiting && (m_held <= kHeldMax || m_nextToMake == m_nextToWrite));
                });
                if (m_abandoned || m_nextToMake == m_chunks.size())
                    return;
                // A deque keeps each chunk where it is while others are added.
                chunk = &m_chunks[m_nextToMake++];
            }
            MakeRows(*chunk, document, folder, batch, index, fieldsOfRow);
            {
                std::lock_guard lock(m_mutex);
                chunk->done = true;
                m_held += chunk->rows.size();
            }
            m_done.notify_all();
        }
    }

    void MakeRows(Chunk& chunk, XMLParse& document, HeldFolder& folder, BatchDocumentReader& batch,
                  TagIndex& index, std::vector<std::string>& fieldsOfRow) const {
        ReadInBatches(
            batch, folder, std::span<const Case>(chunk.cases),
            [&](std::size_t at, std::optional<std::string_view> read) {
                if (m_request.stop.stop_requested())
                    return false;
                const Case& testCase = chunk.cases[at];
                int code = 0;
                if (read) {
                    document.LoadText(*read);
                } else {
                    const int folderFd = folder.Descriptor(testCase.folder, testCase.folder->path);
                    code = folderFd < 0 ? folder.Error()
                                        : document.OpenFastRead(folderFd, testCase.name.c_str());
                    if (code == 0)
                        code = document.Load();
                }
                if (code != 0) {
                    document.Close();
                    chunk.failure = code;
                    chunk.failedAt = at;
                    return false;
                }
                fieldsOfRow.clear();
                fieldsOfRow.push_back(testCase.folder->suite);
                index.Scan(document.Text());
                for (std::size_t column = 0; column < m_fields.size(); ++column)
                    fieldsOfRow.push_back(CsvValue(m_fields[column].type, index.Stored(column),
                                                   m_request.options.richText));
                document.Close();
                chunk.rows += m_output.Encoded(CsvRow(fieldsOfRow));
                return true;
            });
    }

    const std::span<const FieldDescriptor> m_fields;
    std::vector<std::string_view> m_tags;
    const CsvExportRequest& m_request;
    CsvOutput& m_output;
    UserPort& m_port;

    // The walking thread's own.
    std::deque<CaseFolder> m_folders;
    std::vector<Case> m_pending;
    std::size_t m_listed = 0, m_written = 0;
    bool m_refused = false;

    std::mutex m_mutex;
    std::condition_variable m_work, m_done;
    std::deque<Chunk> m_chunks;
    std::size_t m_nextToMake = 0, m_nextToWrite = 0;
    std::size_t m_held = 0;  // bytes of rows made and not yet written
    bool m_listingDone = false, m_abandoned = false;
    std::vector<std::jthread> m_workers;  // last, so they are joined before the rest goes
};

}  // namespace

std::optional<std::size_t> ExportTestCasesCsv(const CsvExportRequest& request, UserPort& port) {
    std::error_code error;
    if (!fs::is_directory(request.folder, error))
        return Refuse(port, "The suite \"" + request.folder.string() +
                                "\" was not found, nothing has been exported");

    const std::span<const FieldDescriptor> fields = FieldRows(
        request.source == CsvSource::LibraryTestCases ? TestCaseFields() : PrjTestCaseFields());
    CsvOutput output(request.target, request.options.encoding);
    std::vector<std::string> row{std::string(kSuiteColumnCaption)};
    for (const FieldDescriptor& field : fields)
        row.push_back(Caption(field));
    output.Row(row);

    RowPipeline rows(fields, request, output, port);
    const auto listFolder = [&](const fs::path& root) {
        WalkItems(root, [&](const fs::path& folder, ItemListing& listing) {
            // Suites and test cases in name order, so an export of the same tree is the same
            // file whatever order the file system lists it in.
            std::sort(listing.folders.begin(), listing.folders.end());
            std::sort(listing.documents.begin(), listing.documents.end(),
                      [](const FolderEntry& a, const FolderEntry& b) { return a.name < b.name; });
            std::vector<std::string> names;
            for (FolderEntry& document : listing.documents)
                names.push_back(std::move(document.name));
            return rows.Add(folder, std::move(names));
        });
    };
    if (request.items.empty()) {
        listFolder(request.folder);
    } else {
        for (auto item = request.items.begin(); item != request.items.end() && rows.GoOn();
             ++item) {
            if (fs::is_directory(*item, error))
                listFolder(*item);
            else
                rows.Add(item->parent_path(), {item->filename().string()});
        }
    }
    const std::optional<std::size_t> written = rows.Finish();
    port.progress(0, 0);
    if (!written || !output.Finish(request.stop, port))
        return std::nullopt;
    return written;
}

std::optional<std::size_t> ExportListReportCsv(const fs::path& report, const fs::path& target,
                                               const CsvOptions& options, UserPort& port,
                                               std::stop_token stop) {
    ReportRowReader reader;
    if (!reader.Open(report, ReportKind::List))
        return Refuse(port, "The report \"" + report.stem().string() +
                                "\" can't be exported: " + report.string() +
                                " is not a list report that can be read, nothing has been "
                                "exported");
    // The report names the columns it shows; each cell is read as the field its column shows.
    std::string flags;
    reader.Head().GetTag("<columns>", flags);
    std::vector<FieldType> types;
    for (std::size_t column = 0; column < flags.size() && column < kListColumnCount; ++column)
        if (flags[column] == '1') {
            const FieldDescriptor* field =
                FindField(PrjTestCaseFields(), ListColumns()[column].tag);
            types.push_back(field ? field->type : FT_TEXT);
        }
    CsvOutput output(target, options.encoding);
    output.Row(ReadRepeated(reader.Head(), "<column_heading>"));
    std::size_t rows = 0;
    std::vector<std::string> row;
    for (ReportedTestCase testCase; !stop.stop_requested() && reader.Next(testCase); ++rows) {
        row.clear();
        for (std::size_t cell = 0; cell < testCase.values.size(); ++cell)
            row.push_back(CsvValue(cell < types.size() ? types[cell] : FT_TEXT,
                                   testCase.values[cell], options.richText));
        output.Row(row);
    }
    if (!output.Finish(stop, port))
        return std::nullopt;
    return rows;
}

}  // namespace vantorel
