#pragma once
// Find and find & replace over the test cases and project test cases of the database or of
// one folder. The text is matched by PCRE2 on the documents' own ISO-8859-1 bytes, as the
// user sees each value: text unescaped, rich text without its tags (a match never spans a
// tag, and entities count as the character they stand for). A replace is shown before it is
// made; each item is then locked, read again, checked against what was shown and saved whole
// through its editor, so a value someone changed since is left alone and named.

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <variant>
#include <vector>

#include "platform/user_port.h"
#include "storage/field_values.h"
#include "workspace/multi_edit.h"
#include "workspace/navigation.h"

namespace vantorel {

struct FindOptions {
    std::string text;  // as typed, UTF-8
    bool matchCase = false;
    bool wholeWord = false;
    bool regularExpression = false;
};

// A search ready to run: the compiled pattern, shared by the threads of a walk.
class FindPattern {
public:
    // The pattern, or what to tell the user: an empty text, a character documents can't hold,
    // or the engine's own words for a regular expression that does not compile.
    static std::variant<std::shared_ptr<const FindPattern>, Notice> Make(
        const FindOptions& options);
    ~FindPattern();
    FindPattern(const FindPattern&) = delete;
    FindPattern& operator=(const FindPattern&) = delete;

    struct Match {
        std::size_t begin = 0, end = 0;
        bool operator==(const Match&) const = default;
    };
    // Whether text holds a match anywhere.
    bool Finds(std::string_view text) const;
    // True when a document whose whole text Finds nothing can hold no match in any of its
    // values: a literal without the characters that escaping, CDATA and tags add.
    bool RawTextDecides() const { return m_rawTextDecides; }
    // Every non-empty match in text, left to right.
    std::vector<Match> Matches(std::string_view text) const;
    // What replaces match: replacement as typed, or for a regular expression with its $1, ${name}
    // and $$ filled from the match. Replacement is ISO-8859-1. Throws std::invalid_argument
    // with the engine's words when the replacement names a group the pattern lacks.
    std::string Replacement(std::string_view text, const Match& match,
                            std::string_view replacement) const;

private:
    explicit FindPattern(bool regularExpression);
    struct Compiled;
    std::unique_ptr<Compiled> m_compiled;
    bool m_regularExpression;
    bool m_rawTextDecides = false;
};

// The fields a search looks in for a kind of test case, in table order: the typed ones (text,
// rich text and lists), the ID and title included.
std::vector<FieldDescriptor> FindFields(NodeKind kind);
// Whether a replace may change the field: free text and rich text, never the ID (a rename is
// done by renaming) nor a list, whose values come from the database's vocabulary.
bool ReplaceableField(const FieldDescriptor& field);

// A value as the search sees it: the text, and for rich text where each of its characters
// stands in the control's text (tags left out, an entity one character).
struct SearchableValue {
    std::string text;
    std::vector<std::size_t> sourceAt;  // empty when text is the control's text itself
};
SearchableValue Searchable(FieldType type, std::string_view controlText);

struct FindHit {
    std::filesystem::path item;
    NodeKind kind = TV_NONE;
    std::string tag;              // the field
    std::size_t match = 0;        // which match of the field's value, counted from 0
    std::size_t valueDigest = 0;  // of the control's text, to see it unchanged at replace
    std::string context;          // the match with some text around it, UTF-8, on one line
    std::string before;           // the match, UTF-8
    std::string after;            // what replaces it, UTF-8, when the search was for a replace
};

struct FindRequest {
    std::filesystem::path database;
    // The folder searched: the database itself for all its test cases, else a suite, a
    // project or a folder of either.
    std::filesystem::path scope;
    std::shared_ptr<const FindPattern> pattern;
    std::string tag;  // one field only, or empty for every field FindFields gives
    // For a replace: its text (ISO-8859-1); only fields a replace may change are searched, and
    // each hit says what would replace it.
    std::optional<std::string> replacement;
    std::stop_token stop;
    unsigned threads = 2;
};

// The folder a search in node looks in: a folder of test cases itself, a project's test cases,
// a test case's suite; none for the other kinds of item.
std::optional<std::filesystem::path> FindScopeOf(const TreeNode& node);

struct FindOutcome {
    std::size_t documents = 0;  // read
    std::size_t hits = 0;
    std::size_t unreadable = 0;
    bool stopped = false;
};

// Searches request's scope, handing each batch of hits to found as they come (from the walk's
// threads, one call at a time); the hits of one item come together and in field order.
FindOutcome FindInDatabase(const FindRequest& request,
                           const std::function<void(std::vector<FindHit>)>& found);

// The replacement as typed (UTF-8) in the documents' ISO-8859-1, or why it can't be.
std::variant<std::string, Notice> ReplacementText(std::string_view utf8);

// The value of one field with the kept matches (their places among the value's matches)
// replaced; none when the value is no longer the one they were found in (digest), or the
// replacement can't be made of it.
std::optional<std::string> ReplacedValue(const FindPattern& pattern, FieldType type,
                                         std::string_view controlText, std::size_t digest,
                                         const std::vector<std::size_t>& kept,
                                         std::string_view replacement);

// Replaces the kept hits: the items of each kind one after the other, each locked, read again
// and saved whole through its editor; a value changed since the search is left and named.
MultiEditOutcome ApplyReplace(const FindPattern& pattern, std::string_view replacement,
                              const std::vector<FindHit>& kept, const EditorContext& context,
                              std::stop_token stop, const std::function<void()>& step);

// What the user is told once a replace ran: the items others held in the words the system uses
// for them, then what was changed and what was left and why.
std::vector<Notice> ReplaceSummary(const MultiEditOutcome& outcome);

}  // namespace vantorel
