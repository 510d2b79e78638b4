#include "reports/list_reports.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <map>
#include <mutex>
#include <utility>

#include "documents/field_tables.h"
#include "storage/atomic_save.h"
#include "storage/file_layer.h"
#include "storage/file_reading.h"
#include "storage/tagged_document.h"

namespace vantorel {
namespace {

constexpr std::array<ListColumn, kListColumnCount> kColumns{{
    {"ID", "<id>"},
    {"Suite", ""},
    {"Title", "<test_title>"},
    {"Status", "<test_status>"},
    {"Priority", "<priority>"},
    {"Type", "<test_type>"},
    {"Phase", "<test_phase>"},
    {"Testers", "<testers>"},
    {"Attempts", "<test_attempts>"},
    {"Last Attempt", "<last_attempt_date>"},
    {"Expected Duration", "<test_duration>"},
    {"Actual Duration", "<actual_duration>"},
    {"Version Tested", "<version_tested>"},
    {"Build Tested", "<build_tested>"},
    {"Fault Reports", "<fault_report_id>"},
    {"Requirements", "<requirement>"},
}};

// Where a document lies below the project folder, "/" separated.
std::string RelativePath(const std::filesystem::path& file, const std::filesystem::path& project) {
    return file.lexically_relative(project).generic_string();
}

// A value as it was before RowSource::WriteKept.
std::string FromKeptForm(std::string value) {
    Unescape(value, std::string::npos);
    return value;
}

// Every occurrence of tag, each read whole and given back from its kept form: an escaped rich
// text may be far longer than any one field.
std::vector<std::string> KeptElements(const XMLParse& document, std::string_view tag) {
    std::vector<std::string> elements;
    try {
        for (auto match = document.FindNextTag(tag, 0, std::string::npos); match;
             match = document.FindNextTag(tag, match->end, std::string::npos))
            elements.push_back(FromKeptForm(std::move(match->value)));
    } catch (const TagError&) {
    }
    return elements;
}

constexpr std::string_view kRowTag = "<test_case>";
constexpr std::string_view kRowEnd = "</test_case>";
// A test case whose element is longer than this is taken for a damaged report: no document
// can give one that long, even with every character escaped.
constexpr std::size_t kRowElementMax = 8 * kDocumentSizeMax;
constexpr std::size_t kReadBlock = 1 << 16;

}  // namespace

// The rows of a report, put back into walk order as the threads finish their chunks, and
// written to an unnamed file in the report's folder. A thread whose chunk is far ahead of
// the next one to be written waits while too much is held, so the rows held stay bounded
// however unevenly the threads go.
class RowSpool {
public:
    explicit RowSpool(const std::filesystem::path& folder) {
        m_fd = ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
        if (m_fd < 0) {
            // Not every file system has unnamed files; a named one is unlinked at once (a
            // crash between the two leaves a temporary name the sweep removes).
            std::string name = (folder / (std::string(kSaveTempPrefix) + "rows-XXXXXX")).string();
            m_fd = ::mkostemp(name.data(), O_CLOEXEC);
            if (m_fd >= 0)
                ::unlink(name.c_str());
        }
        if (m_fd < 0)
            m_error = errno;
    }
    ~RowSpool() {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    RowSpool(const RowSpool&) = delete;
    RowSpool& operator=(const RowSpool&) = delete;

    // Hands over the elements of the documents from first to end (not included) of the walk,
    // count of them taken.
    void Put(std::size_t first, std::size_t end, std::string elements, std::size_t count) {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return first == m_next || m_held < kHeldMax || m_abandoned; });
        if (m_abandoned)
            return;
        m_held += elements.size();
        m_waiting.emplace(first, Chunk{end, std::move(elements), count});
        while (!m_waiting.empty() && m_waiting.begin()->first == m_next) {
            Chunk chunk = std::move(m_waiting.begin()->second);
            m_waiting.erase(m_waiting.begin());
            m_held -= chunk.elements.size();
            if (!m_error && m_fd >= 0)
                m_error = SystemFiles().WriteAll(m_fd, chunk.elements);
            m_next = chunk.end;
            m_count += chunk.count;
        }
        m_changed.notify_all();
    }

    // The walk ends early: nobody waits for chunks that will never come.
    void Abandon() {
        std::lock_guard lock(m_mutex);
        m_abandoned = true;
        m_changed.notify_all();
    }

    std::size_t Count() const { return m_count; }

    // Moves every element, in walk order, to the end of save: what is copied leaves the spool.
    void MoveTo(PiecewiseSave& save) {
        if (m_error) {
            save.Fail(m_error);
            return;
        }
        // A megabyte a call: a details report of 100,000 test cases is some 280 MB.
        std::string block(std::size_t{1} << 20, '\0');
        for (off_t at = 0;;) {
            const ssize_t got = ::pread(m_fd, block.data(), block.size(), at);
            if (got < 0 && errno == EINTR)
                continue;
            if (got < 0) {
                save.Fail(errno);
                return;
            }
            if (got == 0)
                return;
            save.Write(std::string_view(block.data(), static_cast<std::size_t>(got)));
            // What was copied is let go at once: the report's pages reuse the memory the
            // spool's held, rather than twice the rows being held until the end.
            (void)::fallocate(m_fd, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, at, got);
            at += got;
        }
    }

private:
    // Chunks held for rows still to come, in bytes, before threads further ahead wait.
    static constexpr std::size_t kHeldMax = std::size_t{16} << 20;
    struct Chunk {
        std::size_t end;
        std::string elements;
        std::size_t count;
    };

    int m_fd = -1;
    int m_error = 0;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::map<std::size_t, Chunk> m_waiting;
    std::size_t m_next = 0;
    std::size_t m_held = 0;
    std::size_t m_count = 0;
    bool m_abandoned = false;
};

namespace {

// One thread's share of a row report: the elements of the documents of its current chunk.
class RowTally : public DocumentTally {
public:
    RowTally(const RowReport& report, std::filesystem::path project,
             std::shared_ptr<RowSpool> spool, std::span<const std::string_view> tags,
             void (RowReport::*write)(RowSource&, const std::string&, XMLParse&) const)
        : m_report(report),
          m_project(std::move(project)),
          m_spool(std::move(spool)),
          m_write(write),
          m_source(tags) {
        m_elements.OpenWrite(m_project);
    }

    bool Take(const XMLParse& document, std::size_t, const std::filesystem::path& folder,
              std::string_view name) override {
        m_source.Scan(document);
        (m_report.*m_write)(m_source, RelativePath(folder / name, m_project), m_elements);
        ++m_count;
        return true;
    }

    void EndChunk(std::size_t first, std::size_t end) override {
        m_spool->Put(first, end, m_elements.TakeWritten(), std::exchange(m_count, 0));
    }

    void Abandon() override { m_spool->Abandon(); }

    // The spool holds what the threads wrote; there is nothing to add up.
    void Merge(DocumentTally&) override {}

private:
    const RowReport& m_report;
    std::filesystem::path m_project;
    std::shared_ptr<RowSpool> m_spool;
    void (RowReport::*m_write)(RowSource&, const std::string&, XMLParse&) const;
    RowSource m_source;
    XMLParse m_elements;  // never committed: only its written text is taken
    std::size_t m_count = 0;
};

}  // namespace

std::string SuiteOfPath(const std::string& path) {
    const auto first = path.find('/'), last = path.rfind('/');
    return first < last ? path.substr(first + 1, last - first - 1) : std::string();
}

RowSource::RowSource(std::span<const std::string_view> tags) : m_index(tags) {}

void RowSource::Scan(const XMLParse& document) {
    m_document = &document;
    m_index.Scan(document.Text());
}

// A report holds values as their documents store them: rich text in CDATA, list text as
// typed, whole history blocks. Any of them may hold what reads as a tag, so each is escaped
// as a whole, without a length limit, and no value can end its element or its test case
// early; the reader unescapes it back to exactly what was written.
void RowSource::WriteKept(XMLParse& out, std::string_view tag, std::string_view value) {
    m_kept.clear();
    AppendEscaped(m_kept, value);
    out.WriteTag(tag, m_kept);
}

const std::array<ListColumn, kListColumnCount>& ListColumns() {
    return kColumns;
}

RowReport::RowReport(ReportKind kind, ReportContext context)
    : ReportBaseClass(kind, std::move(context)) {}

RowReport::~RowReport() = default;

std::optional<Notice> RowReport::InitStats() {
    m_spool = std::make_shared<RowSpool>(ReportFolder());
    return std::nullopt;
}

std::unique_ptr<DocumentTally> RowReport::NewTally() const {
    return std::make_unique<RowTally>(*this, Request().projectFolder, m_spool, RowTags(),
                                      &RowReport::WriteRow);
}

void RowReport::FinishStats(std::unique_ptr<DocumentTally>) {}

std::size_t RowReport::RowCount() const {
    return m_spool->Count();
}

void RowReport::WriteBody(PiecewiseSave& save) const {
    m_spool->MoveTo(save);
}

TCListReport::TCListReport(ReportContext context)
    : RowReport(ReportKind::List, std::move(context)) {}

void TCListReport::WriteReport(XMLParse& document) const {
    const auto& shown = Request().listColumns;
    std::string flags;
    for (bool on : shown)
        flags += on ? '1' : '0';
    document.WriteTag("<columns>", flags);
    for (std::size_t column = 0; column < kListColumnCount; ++column)
        if (shown[column])
            document.WriteTag("<column_heading>", kColumns[column].heading);
    document.WriteTag("<num_test_cases>", std::to_string(RowCount()));
}

std::vector<std::string_view> TCListReport::RowTags() const {
    std::vector<std::string_view> tags;
    for (const ListColumn& column : kColumns)
        tags.push_back(column.tag);
    return tags;
}

void TCListReport::WriteRow(RowSource& document, const std::string& path, XMLParse& out) const {
    const auto& shown = Request().listColumns;
    out.WriteOpenTag(kRowTag);
    document.WriteKept(out, "<path>", path);
    for (std::size_t column = 0; column < kListColumnCount; ++column)
        if (shown[column])
            document.WriteKept(out, "<cell>",
                               kColumns[column].tag.empty() ? Escaped(SuiteOfPath(path))
                                                            : document.Stored(column));
    out.WriteCloseTag(kRowTag);
}

TCFullReport::TCFullReport(ReportContext context)
    : RowReport(ReportKind::Details, std::move(context)) {}

void TCFullReport::WriteReport(XMLParse& document) const {
    document.WriteTag("<num_test_cases>", std::to_string(RowCount()));
}

std::vector<std::string_view> TCFullReport::RowTags() const {
    std::vector<std::string_view> tags;
    for (const FieldDescriptor& field : FieldRows(PrjTestCaseFields()))
        tags.push_back(field.tag);
    return tags;
}

void TCFullReport::WriteRow(RowSource& document, const std::string& path, XMLParse& out) const {
    out.WriteOpenTag(kRowTag);
    document.WriteKept(out, "<path>", path);
    std::size_t which = 0;
    for (const FieldDescriptor& field : FieldRows(PrjTestCaseFields()))
        document.WriteKept(out, field.tag, document.Stored(which++));
    // Every history block, as ReadRepeated finds them, without a copy of each.
    const std::string_view text = document.Document().Text();
    std::string_view block;
    for (std::size_t end = 0; FindTagValue(text, "<history_entry>", block, end, &end, true) == 0;)
        document.WriteKept(out, "<history_entry>", block.substr(0, kFieldValueMax - 1));
    out.WriteCloseTag(kRowTag);
}

ReportRowReader::~ReportRowReader() {
    if (m_fd >= 0)
        ::close(m_fd);
}

bool ReportRowReader::ReadMore() {
    if (m_atEnd || m_fd < 0)
        return false;
    // What was read is dropped first, so the buffer holds one test case and a block.
    m_buffer.erase(0, m_at);
    m_at = 0;
    const std::size_t had = m_buffer.size();
    m_buffer.resize(had + kReadBlock);
    ssize_t got;
    do
        got = ::read(m_fd, m_buffer.data() + had, kReadBlock);
    while (got < 0 && errno == EINTR);
    m_buffer.resize(had + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    // NUL bytes read as spaces, as in any document.
    std::replace(m_buffer.begin() + static_cast<std::ptrdiff_t>(had), m_buffer.end(), '\0', ' ');
    if (got <= 0)
        m_atEnd = true;
    return got > 0;
}

bool ReportRowReader::Open(const std::filesystem::path& path, ReportKind kind) {
    m_kind = kind;
    if (OpenRegularFile(path, m_fd, kReportDocumentSizeMax) != 0)
        return false;
    std::size_t rows;
    while ((rows = m_buffer.find(kRowTag)) == std::string::npos && m_buffer.size() < kReadBlock * 4)
        if (!ReadMore())
            break;
    m_at = std::min(rows, m_buffer.size());
    m_head.LoadText(m_buffer.substr(0, m_at));
    m_header = ReadReportHeader(m_head);
    return m_header.reportType == KindInfo(kind).reportType;
}

bool ReportRowReader::Next(ReportedTestCase& testCase) {
    std::size_t begin, end;
    for (;;) {
        begin = m_buffer.find(kRowTag, m_at);
        end = begin == std::string::npos ? begin : m_buffer.find(kRowEnd, begin);
        if (end != std::string::npos)
            break;
        if (m_buffer.size() - m_at > kRowElementMax || !ReadMore())
            return false;
    }
    XMLParse row;
    row.LoadText(m_buffer.substr(begin + kRowTag.size(), end - begin - kRowTag.size()));
    m_at = end + kRowEnd.size();
    testCase.order = m_rows++;
    const std::vector<std::string> paths = KeptElements(row, "<path>");
    testCase.path = paths.empty() ? std::string() : paths.front();
    testCase.values.clear();
    if (m_kind == ReportKind::List) {
        testCase.values = KeptElements(row, "<cell>");
    } else {
        // Each tag is there once: no kept value holds a "<" of its own.
        for (const FieldDescriptor& field : FieldRows(PrjTestCaseFields())) {
            std::vector<std::string> found = KeptElements(row, field.tag);
            testCase.values.push_back(found.empty() ? std::string() : std::move(found.front()));
        }
        for (std::string& block : KeptElements(row, "<history_entry>"))
            testCase.values.push_back(std::move(block));
    }
    return true;
}

std::optional<ListReportData> ReadListReport(const std::filesystem::path& path) {
    ReportRowReader reader;
    if (!reader.Open(path, ReportKind::List))
        return std::nullopt;
    ListReportData data;
    data.header = reader.Header();
    reader.Head().GetTag("<columns>", data.columns);
    data.headings = ReadRepeated(reader.Head(), "<column_heading>");
    for (ReportedTestCase row; reader.Next(row);)
        data.rows.push_back(std::move(row));
    return data;
}

std::optional<DetailsReportData> ReadDetailsReport(const std::filesystem::path& path) {
    ReportRowReader reader;
    if (!reader.Open(path, ReportKind::Details))
        return std::nullopt;
    DetailsReportData data;
    data.header = reader.Header();
    for (ReportedTestCase testCase; reader.Next(testCase);)
        data.testCases.push_back(std::move(testCase));
    return data;
}

}  // namespace vantorel
