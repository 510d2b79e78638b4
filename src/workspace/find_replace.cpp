#include "workspace/find_replace.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "documents/field_tables.h"
#include "documents/item_editor.h"
#include "storage/file_reading.h"
#include "storage/item_listing.h"
#include "storage/tagged_document.h"
#include "storage/text_conversions.h"

namespace vantorel {
namespace fs = std::filesystem;

struct FindPattern::Compiled {
    pcre2_code* code = nullptr;
    ~Compiled() { pcre2_code_free(code); }
};

namespace {

constexpr std::string_view kFindCaption = "Find";

std::string EngineMessage(int error) {
    std::array<PCRE2_UCHAR, 256> text{};
    pcre2_get_error_message(error, text.data(), text.size());
    return reinterpret_cast<const char*>(text.data());
}

// The typed text as a pattern matching it literally: every ASCII character that is not a
// letter or a digit escaped, which PCRE2 always takes as itself.
std::string LiteralPattern(std::string_view text) {
    std::string pattern;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80 && !std::isalnum(byte))
            pattern += '\\';
        pattern += c;
    }
    return pattern;
}

// A literal of ASCII that holds none of these characters is found in a document's raw text
// wherever it is found in one of its values: escaping, CDATA and tags only ever add such
// characters, and only a character beyond ASCII may stand in a value as a numeric entity.
bool LiteralDecidedByRawText(const FindOptions& options) {
    return !options.regularExpression &&
           options.text.find_first_of("&<>\"';#\r\n") == std::string::npos &&
           std::ranges::all_of(options.text,
                               [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// Where a thread's matches land: only the whole match is read, so one pair does for any
// pattern (a pattern with groups then answers 0, "matched, groups not kept", rather than a
// count), and one block per thread spares an allocation for every field of every document.
pcre2_match_data* MatchData() {
    thread_local const std::unique_ptr<pcre2_match_data, decltype(&pcre2_match_data_free)> data(
        pcre2_match_data_create(1, nullptr), &pcre2_match_data_free);
    return data.get();
}

std::optional<char32_t> EntityCharacter(std::string_view entity) {
    static const std::map<std::string_view, char32_t> kNamed = {
        {"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}, {"nbsp", 0xA0}};
    if (entity.size() > 1 && entity[0] == '#') {
        const bool hex = entity[1] == 'x' || entity[1] == 'X';
        const std::string digits(entity.substr(hex ? 2 : 1));
        if (digits.empty() || digits.size() > 6)
            return std::nullopt;
        char* end = nullptr;
        const long code = std::strtol(digits.c_str(), &end, hex ? 16 : 10);
        if (*end != '\0' || code <= 0)
            return std::nullopt;
        return static_cast<char32_t>(code);
    }
    const auto named = kNamed.find(entity);
    return named == kNamed.end() ? std::nullopt : std::optional(named->second);
}

std::string OnOneLine(std::string_view latin1) {
    std::string line(latin1);
    std::ranges::replace_if(
        line, [](char c) { return c == '\n' || c == '\r' || c == '\t'; }, ' ');
    return Latin1ToUtf8(line);
}

// The match with up to kAround characters either side, as one line.
std::string ContextOf(std::string_view text, const FindPattern::Match& match) {
    constexpr std::size_t kAround = 40;
    const std::size_t from = match.begin > kAround ? match.begin - kAround : 0;
    const std::size_t to = std::min(text.size(), match.end + kAround);
    return (from > 0 ? "..." : "") + OnOneLine(text.substr(from, to - from)) +
           (to < text.size() ? "..." : "");
}

}  // namespace

std::variant<std::shared_ptr<const FindPattern>, Notice> FindPattern::Make(
    const FindOptions& options) {
    if (options.text.empty())
        return Notice{"Type the text to find.", std::string(kFindCaption), Icon::Warning};
    if (const std::string character = FirstCharacterLatin1CantHold(options.text);
        !character.empty())
        return Notice{FillMessage("No test case can hold the character \"%s\": documents are "
                                  "kept in ISO-8859-1, which has no such character.",
                                  {character}),
                      std::string(kFindCaption), Icon::Warning};
    const std::string text = Latin1FromName(options.text);
    std::string pattern = options.regularExpression ? text : LiteralPattern(text);
    if (options.wholeWord)
        pattern = "\\b(?:" + pattern + ")\\b";
    int error = 0;
    PCRE2_SIZE offset = 0;
    pcre2_code* code =
        pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(),
                      options.matchCase ? 0 : PCRE2_CASELESS, &error, &offset, nullptr);
    if (!code)
        return Notice{FillMessage("The regular expression can't be used: %s (at character %s).",
                                  {EngineMessage(error), std::to_string(offset + 1)}),
                      std::string(kFindCaption), Icon::Warning};
    // Compiled to machine code where the processor allows; the interpreter answers otherwise.
    (void)pcre2_jit_compile(code, PCRE2_JIT_COMPLETE);
    std::shared_ptr<FindPattern> made(new FindPattern(options.regularExpression));
    made->m_rawTextDecides = LiteralDecidedByRawText(options);
    made->m_compiled = std::make_unique<Compiled>();
    made->m_compiled->code = code;
    return std::shared_ptr<const FindPattern>(std::move(made));
}

FindPattern::FindPattern(bool regularExpression) : m_regularExpression(regularExpression) {}

FindPattern::~FindPattern() = default;

std::vector<FindPattern::Match> FindPattern::Matches(std::string_view text) const {
    std::vector<Match> matches;
    pcre2_match_data* data = MatchData();
    const auto* subject = reinterpret_cast<PCRE2_SPTR>(text.data());
    std::size_t from = 0;
    while (from <= text.size() &&
           pcre2_match(m_compiled->code, subject, text.size(), from, 0, data, nullptr) >= 0) {
        const PCRE2_SIZE* found = pcre2_get_ovector_pointer(data);
        if (found[1] > found[0]) {
            matches.push_back({found[0], found[1]});
            from = found[1];
        } else {
            from = found[0] + 1;  // an empty match is no hit
        }
    }
    return matches;
}

bool FindPattern::Finds(std::string_view text) const {
    return pcre2_match(m_compiled->code, reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(), 0,
                       0, MatchData(), nullptr) >= 0;
}

std::string FindPattern::Replacement(std::string_view text, const Match& match,
                                     std::string_view replacement) const {
    if (!m_regularExpression)
        return std::string(replacement);
    std::string out(256, '\0');
    for (;;) {
        PCRE2_SIZE size = out.size();
        const int result = pcre2_substitute(
            m_compiled->code, reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(), match.begin,
            PCRE2_SUBSTITUTE_REPLACEMENT_ONLY | PCRE2_SUBSTITUTE_OVERFLOW_LENGTH, nullptr, nullptr,
            reinterpret_cast<PCRE2_SPTR>(replacement.data()), replacement.size(),
            reinterpret_cast<PCRE2_UCHAR*>(out.data()), &size);
        if (result == PCRE2_ERROR_NOMEMORY) {
            out.resize(size);
            continue;
        }
        if (result < 0)
            throw std::invalid_argument(EngineMessage(result));
        out.resize(size);
        return out;
    }
}

std::vector<FieldDescriptor> FindFields(NodeKind kind) {
    std::vector<FieldDescriptor> fields;
    for (const FieldDescriptor& row :
         kind == TV_PRJ_TEST_DOC ? PrjTestCaseFields() : TestCaseFields())
        if (!row.tag.empty() && (row.type == FT_TEXT || row.type == FT_PLAIN_TEXT ||
                                 row.type == FT_RICH_TEXT || row.type == FT_LIST_TEXT))
            fields.push_back(row);
    return fields;
}

bool ReplaceableField(const FieldDescriptor& field) {
    return field.tag != "<id>" &&
           (field.type == FT_TEXT || field.type == FT_PLAIN_TEXT || field.type == FT_RICH_TEXT);
}

SearchableValue Searchable(FieldType type, std::string_view controlText) {
    SearchableValue value;
    if (type != FT_RICH_TEXT) {
        value.text = controlText;
        return value;
    }
    value.text.reserve(controlText.size());
    value.sourceAt.reserve(controlText.size());
    for (std::size_t at = 0; at < controlText.size();) {
        const char c = controlText[at];
        if (c == '<') {
            if (const std::size_t close = controlText.find('>', at); close != std::string::npos) {
                at = close + 1;
                continue;
            }
        } else if (c == '&') {
            const std::size_t semicolon = controlText.find(';', at);
            if (semicolon != std::string::npos && semicolon - at <= 9)
                if (const auto code =
                        EntityCharacter(controlText.substr(at + 1, semicolon - at - 1));
                    code && *code <= 0xFF) {
                    value.text += static_cast<char>(*code);
                    value.sourceAt.push_back(at);
                    at = semicolon + 1;
                    continue;
                }
        }
        value.text += c;
        value.sourceAt.push_back(at++);
    }
    return value;
}

std::optional<fs::path> FindScopeOf(const TreeNode& node) {
    switch (node.kind) {
        case TV_TEST_ROOT:
        case TV_TEST_SUITE_FLD:
        case TV_PRJ_TEST_FLD:
        case TV_PRJ_SUITE_FLD:
            return node.path;
        case TV_PRJ_PRJ_FLD:
            return node.path / "Project Test Cases";
        case TV_TEST_TEST_DOC:
        case TV_PRJ_TEST_DOC:
            return node.path.parent_path();
        default:
            return std::nullopt;
    }
}

namespace {

// The source range of a match of a searchable value in the control's text.
std::pair<std::size_t, std::size_t> SourceRange(const SearchableValue& value,
                                                std::string_view controlText,
                                                const FindPattern::Match& match) {
    if (value.sourceAt.empty())
        return {match.begin, match.end};
    const std::size_t last = value.sourceAt[match.end - 1];
    // The last character may be an entity: its source ends at the ';'.
    const std::size_t end = controlText[last] == '&' ? controlText.find(';', last) + 1 : last + 1;
    return {value.sourceAt[match.begin], end};
}

bool ContiguousInSource(const SearchableValue& value, std::string_view controlText,
                        const FindPattern::Match& match) {
    if (value.sourceAt.empty())
        return true;
    for (std::size_t at = match.begin + 1; at < match.end; ++at)
        if (SourceRange(value, controlText, {at - 1, at}).second != value.sourceAt[at])
            return false;
    return true;
}

struct Batch {
    std::shared_ptr<const fs::path> folder;
    std::vector<std::string> names;
};

class FindWalk {
public:
    FindWalk(const FindRequest& request, const std::function<void(std::vector<FindHit>)>& found)
        : m_request(request), m_found(found) {}

    FindOutcome Run() {
        std::vector<std::jthread> workers;
        for (unsigned i = 0; i < std::max(1u, m_request.threads); ++i)
            workers.emplace_back([this] { Work(); });
        for (const fs::path& root : Roots())
            List(root);
        {
            std::lock_guard lock(m_mutex);
            m_listingDone = true;
        }
        m_work.notify_all();
        workers.clear();
        std::lock_guard lock(m_mutex);
        m_outcome.stopped = m_request.stop.stop_requested();
        return m_outcome;
    }

private:
    // The database's test cases are in the library and in each project's "Project Test Cases";
    // any other folder is searched whole.
    std::vector<fs::path> Roots() const {
        if (m_request.scope != m_request.database)
            return {m_request.scope};
        std::vector<fs::path> roots{m_request.database / "Test Cases"};
        ItemListing projects;
        if (ListItems(m_request.database / "Projects", projects) == 0)
            for (const std::string& project : projects.folders)
                roots.push_back(m_request.database / "Projects" / project / "Project Test Cases");
        return roots;
    }

    void List(const fs::path& root) {
        constexpr std::size_t kBatch = 64;
        WalkItems(root, [&](const fs::path& folder, ItemListing& listing) {
            if (m_request.stop.stop_requested())
                return false;
            // A project's reports hold no test case.
            std::erase_if(listing.folders,
                          [](const std::string& name) { return name == "Project Reports"; });
            auto held = std::make_shared<const fs::path>(folder);
            Batch batch{held, {}};
            for (FolderEntry& document : listing.documents) {
                batch.names.push_back(std::move(document.name));
                if (batch.names.size() == kBatch) {
                    Publish(std::move(batch));
                    batch = {held, {}};
                }
            }
            if (!batch.names.empty())
                Publish(std::move(batch));
            return true;
        });
    }

    void Publish(Batch batch) {
        {
            std::lock_guard lock(m_mutex);
            m_batches.push_back(std::move(batch));
        }
        m_work.notify_one();
    }

    void Work() {
        XMLParse document;
        HeldFolder folder;
        const bool forReplace = m_request.replacement.has_value();
        Fields library(TV_TEST_TEST_DOC, m_request.tag, forReplace);
        Fields project(TV_PRJ_TEST_DOC, m_request.tag, forReplace);
        for (;;) {
            Batch batch;
            {
                std::unique_lock lock(m_mutex);
                m_work.wait(lock, [this] { return !m_batches.empty() || m_listingDone; });
                if (m_batches.empty() || m_request.stop.stop_requested())
                    return;
                batch = std::move(m_batches.front());
                m_batches.pop_front();
            }
            std::size_t unreadable = 0;
            std::vector<FindHit> hits;
            for (const std::string& name : batch.names) {
                if (m_request.stop.stop_requested())
                    break;
                const int fd = folder.Descriptor(batch.folder.get(), *batch.folder);
                int code = fd < 0 ? folder.Error() : document.OpenFastRead(fd, name.c_str());
                if (code == 0)
                    code = document.Load();
                if (code != 0) {
                    ++unreadable;
                    document.Close();
                    continue;
                }
                const std::string_view text = document.Text();
                if (!m_request.pattern->RawTextDecides() || m_request.pattern->Finds(text)) {
                    const bool isProject =
                        text.substr(0, 512).find("<project_test_case>") != std::string::npos;
                    Search(isProject ? project : library, text, *batch.folder / name, hits);
                }
                document.Close();
            }
            std::lock_guard lock(m_mutex);
            m_outcome.documents += batch.names.size();
            m_outcome.unreadable += unreadable;
            m_outcome.hits += hits.size();
            if (!hits.empty())
                m_found(std::move(hits));
        }
    }

    struct Fields {
        Fields(NodeKind kind, const std::string& only, bool forReplace) : kind(kind) {
            for (const FieldDescriptor& row : FindFields(kind))
                if ((only.empty() || row.tag == only) && (!forReplace || ReplaceableField(row))) {
                    rows.push_back(row);
                    tags.push_back(row.tag);
                }
            index.emplace(tags);
        }
        NodeKind kind;
        std::vector<FieldDescriptor> rows;
        std::vector<std::string_view> tags;
        std::optional<TagIndex> index;
    };

    void Search(Fields& fields, std::string_view text, const fs::path& item,
                std::vector<FindHit>& hits) const {
        fields.index->Scan(text);
        FieldControl control;
        std::string_view stored;
        for (std::size_t row = 0; row < fields.rows.size(); ++row) {
            if (fields.index->Value(row, stored) != 0 || stored.empty())
                continue;
            const FieldDescriptor& field = fields.rows[row];
            control.text.clear();
            ControlFromStored(field.type, stored.substr(0, kFieldValueMax - 1), control);
            const SearchableValue value = Searchable(field.type, control.text);
            const std::vector<FindPattern::Match> matches = m_request.pattern->Matches(value.text);
            const std::size_t digest = std::hash<std::string_view>{}(control.text);
            for (std::size_t at = 0; at < matches.size(); ++at) {
                if (!ContiguousInSource(value, control.text, matches[at]))
                    continue;
                const FindPattern::Match& match = matches[at];
                FindHit& hit = hits.emplace_back(FindHit{
                    item,
                    fields.kind,
                    std::string(field.tag),
                    at,
                    digest,
                    ContextOf(value.text, match),
                    OnOneLine(
                        std::string_view(value.text).substr(match.begin, match.end - match.begin)),
                    {}});
                if (m_request.replacement) {
                    try {
                        hit.after = OnOneLine(m_request.pattern->Replacement(
                            value.text, match, *m_request.replacement));
                    } catch (const std::invalid_argument& error) {
                        hit.after = std::string("(can't be replaced: ") + error.what() + ")";
                    }
                }
            }
        }
    }

    const FindRequest& m_request;
    const std::function<void(std::vector<FindHit>)>& m_found;
    std::mutex m_mutex;
    std::condition_variable m_work;
    std::deque<Batch> m_batches;
    bool m_listingDone = false;
    FindOutcome m_outcome;
};

}  // namespace

FindOutcome FindInDatabase(const FindRequest& request,
                           const std::function<void(std::vector<FindHit>)>& found) {
    return FindWalk(request, found).Run();
}

std::variant<std::string, Notice> ReplacementText(std::string_view utf8) {
    if (const std::string character = FirstCharacterLatin1CantHold(utf8); !character.empty())
        return Notice{FillMessage("The replacement can't hold the character \"%s\": documents "
                                  "are kept in ISO-8859-1, which has no such character.",
                                  {character}),
                      "Find & Replace", Icon::Warning};
    return Latin1FromName(utf8);
}

std::optional<std::string> ReplacedValue(const FindPattern& pattern, FieldType type,
                                         std::string_view controlText, std::size_t digest,
                                         const std::vector<std::size_t>& kept,
                                         std::string_view replacement) {
    if (std::hash<std::string_view>{}(controlText) != digest)
        return std::nullopt;
    const SearchableValue value = Searchable(type, controlText);
    const std::vector<FindPattern::Match> matches = pattern.Matches(value.text);
    std::vector<std::size_t> places = kept;
    std::ranges::sort(places, std::greater{});
    std::string replaced(controlText);
    // From the last match back, so the places of those before stay where they were found.
    for (const std::size_t place : places) {
        if (place >= matches.size() || !ContiguousInSource(value, controlText, matches[place]))
            return std::nullopt;
        std::string with;
        try {
            with = pattern.Replacement(value.text, matches[place], replacement);
        } catch (const std::invalid_argument&) {
            return std::nullopt;
        }
        if (type == FT_RICH_TEXT)
            with = HtmlEscaped(with);
        const auto [from, to] = SourceRange(value, controlText, matches[place]);
        replaced.replace(from, to - from, with);
    }
    return replaced;
}

MultiEditOutcome ApplyReplace(const FindPattern& pattern, std::string_view replacement,
                              const std::vector<FindHit>& kept, const EditorContext& context,
                              std::stop_token stop, const std::function<void()>& step) {
    MultiEditOutcome total;
    for (const NodeKind kind : {TV_TEST_TEST_DOC, TV_PRJ_TEST_DOC}) {
        MultiEditSet set{kind, {}};
        std::vector<std::vector<const FindHit*>> hitsOf;
        std::map<fs::path, std::size_t> placeOf;
        for (const FindHit& hit : kept) {
            if (hit.kind != kind)
                continue;
            const auto [place, added] = placeOf.try_emplace(hit.item, set.items.size());
            if (added) {
                set.items.push_back(hit.item);
                hitsOf.emplace_back();
            }
            hitsOf[place->second].push_back(&hit);
        }
        if (set.items.empty())
            continue;
        const std::span<const FieldDescriptor> table =
            kind == TV_PRJ_TEST_DOC ? PrjTestCaseFields() : TestCaseFields();
        const EditOf edit = [&](std::size_t item,
                                ItemEditor& editor) -> std::optional<std::string> {
            std::map<std::string, std::vector<const FindHit*>> byField;
            for (const FindHit* hit : hitsOf[item])
                byField[hit->tag].push_back(hit);
            for (const auto& [tag, hits] : byField) {
                const FieldDescriptor* field = FindField(table, tag);
                if (!field || !ReplaceableField(*field))
                    return "the field " + tag + " is not one a replace may change";
                std::vector<std::size_t> places;
                for (const FindHit* hit : hits)
                    places.push_back(hit->match);
                FieldControl& control = editor.Control(tag);
                std::optional<std::string> value =
                    ReplacedValue(pattern, field->type, control.text, hits.front()->valueDigest,
                                  places, replacement);
                if (!value)
                    return "changed since it was searched; search again to replace in it";
                control.text = std::move(*value);
            }
            return std::nullopt;
        };
        const MultiEditOutcome outcome = ApplyMultiEdit(set, edit, context, stop, step);
        total.changed += outcome.changed;
        total.unchanged += outcome.unchanged;
        total.locked += outcome.locked;
        total.skipped.insert(total.skipped.end(), outcome.skipped.begin(), outcome.skipped.end());
        if (outcome.stopped) {
            total.stopped = true;
            break;
        }
    }
    return total;
}

std::vector<Notice> ReplaceSummary(const MultiEditOutcome& outcome) {
    std::vector<Notice> notices;
    if (outcome.locked == 1)
        notices.push_back(
            {"Unable to replace, file is currently locked", "Find & Replace", Icon::Warning});
    else if (outcome.locked > 1)
        notices.push_back({FillMessage("Unable to perform replace in %d files as they were locked",
                                       {std::to_string(outcome.locked)}),
                           "Find & Replace", Icon::Warning});
    Notice summary = MultiEditSummary(outcome);
    summary.caption = "Find & Replace";
    notices.push_back(std::move(summary));
    return notices;
}

}  // namespace vantorel
