#pragma once
// The spelling checker of the item dialogs, over Hunspell's C interface and the system's
// dictionaries: which dictionary serves the user's language, how a text is split into words,
// which words are not checked (codes always; numbers, acronyms and addresses as the user's
// options say), and the personal word list that "Add to dictionary" keeps in the data folder.
// Texts are UTF-16, as the windows hold them, so a word's place is the place the window
// underlines.
//
// A checker is used from one thread at a time: Hunspell's handle and the answers kept for words
// already seen are not guarded.

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "platform/user_port.h"
#include "storage/field_values.h"

struct Hunhandle;

namespace vantorel {

inline constexpr std::string_view kPersonalWordListName = "userdic.txt";
inline constexpr std::string_view kCheckSpellingCaption = "Check Spelling";

struct Dictionary {
    std::string name;  // "en_US"
    std::filesystem::path aff, dic;
};

// What the user chooses of the spelling check: the dictionary, and the words passed over.
struct SpellingOptions {
    std::string language;        // a dictionary's name ("en_GB"); empty for the user's locale
    bool skipWithDigits = true;  // "TC42", "3rd"
    bool skipCapitals = true;    // "HTTP", "GUI"
    bool skipAddresses = true;   // "www.example.org", "me@example.org", "a/b", "setup.exe"
    bool operator==(const SpellingOptions&) const = default;
};

// Where dictionaries are looked for: $DICPATH's folders first, then the system's.
std::vector<std::filesystem::path> DictionaryFolders();
// The language of the user's locale as dictionaries name it ("en_GB" from "en_GB.UTF-8"), from
// LC_ALL, LC_MESSAGES or LANG; empty for the C and POSIX locales.
std::string LocaleLanguage();
// The dictionary for language: its own, else one of the same language for another region
// (en_US first for English), else en_US; none when no dictionary is installed.
std::optional<Dictionary> ChooseDictionary(std::string_view language,
                                           const std::vector<std::filesystem::path>& folders);
// The names of the dictionaries in folders (an ".aff" beside a ".dic"), sorted, each once.
std::vector<std::string> InstalledDictionaries(const std::vector<std::filesystem::path>& folders);
// The dictionary options ask for: their language, else the user's locale's.
std::optional<Dictionary> ChooseDictionary(const SpellingOptions& options,
                                           const std::vector<std::filesystem::path>& folders);

// A word of a text: where it starts and how long it is, in UTF-16 units.
struct WordSpan {
    std::size_t start = 0;
    std::size_t length = 0;
    bool operator==(const WordSpan&) const = default;
};

// The words of text that are checked. Words are runs of letters with apostrophes inside them;
// a run that holds an underscore or no letter, a single letter and a word with a capital after
// a small letter ("fileName") are left alone, and as options say, a run that holds a digit, a
// word in capitals only ("HTTP") and every word of an address, path or mail address
// ("http://...", "www.", "a/b", "x@y").
std::vector<WordSpan> CheckableWords(std::u16string_view text, const SpellingOptions& options = {});
// True for the white space that parts a text into the runs CheckableWords looks at one by one:
// a word's fate never depends on text beyond the white space around it.
bool IsWhiteSpace(char16_t c);

// True for a field of prose, whose words are checked: the rich texts, the titles and the
// locations. Identifiers, names of people, versions, builds, durations, links and the names
// of other items are not words of a language.
bool IsProseField(const FieldDescriptor& row);

class SpellChecker {
public:
    // The checker of dictionary with the personal words of personalList (one a line, UTF-8),
    // which is created when the first word is added. None when Hunspell can't read it.
    static std::unique_ptr<SpellChecker> Open(const Dictionary& dictionary,
                                              std::filesystem::path personalList);
    ~SpellChecker();
    SpellChecker(const SpellChecker&) = delete;
    SpellChecker& operator=(const SpellChecker&) = delete;

    const std::string& Language() const { return m_language; }
    // The words left alone; the defaults until set.
    void SetOptions(const SpellingOptions& options) { m_options = options; }
    const SpellingOptions& Options() const { return m_options; }
    // The words of text checked under the options.
    std::vector<WordSpan> Words(std::u16string_view text) const {
        return CheckableWords(text, m_options);
    }

    // True when word is spelt right, in the dictionary, the personal list or ignored. Answers
    // are kept, so a long text checked again costs a look-up per word.
    bool Check(std::u16string_view word);
    // The dictionary's proposals for word, best first, at most limit.
    std::vector<std::u16string> Suggest(std::u16string_view word, std::size_t limit = 8);
    // Adds word to the personal list and its file; false after telling port when the file
    // can't be written (the word is still taken for this run).
    bool AddToDictionary(std::u16string_view word, UserPort& port);
    // The personal list's words, in the order they were added.
    const std::vector<std::string>& PersonalWords() const { return m_personalWords; }
    // Takes word out of the personal list and rewrites its file, so the dictionary alone
    // judges it again; false after telling port when the file can't be written.
    bool RemoveFromDictionary(std::string_view word, UserPort& port);
    // Takes word as right until the program ends ("Ignore All").
    void Ignore(std::u16string_view word);

    // The misspelt words of text, in order.
    std::vector<WordSpan> Misspelt(std::u16string_view text);
    // The first misspelt word of text at or after from.
    std::optional<WordSpan> NextMisspelt(std::u16string_view text, std::size_t from);

private:
    SpellChecker(Hunhandle* handle, std::string language, std::filesystem::path personalList);
    bool AskDictionary(const std::string& utf8);
    // Adds a personal word to Hunspell's words, unless the dictionary knows it already.
    void AddPersonal(const std::string& utf8);
    std::string DictionaryBytes(std::u16string_view word) const;

    Hunhandle* m_handle;
    std::string m_language;
    std::filesystem::path m_personalList;
    bool m_latin1Dictionary = false;  // the dictionary's words are ISO-8859-1, not UTF-8
    std::unordered_map<std::u16string, bool> m_known;
    std::unordered_set<std::u16string> m_ignored;
    SpellingOptions m_options;
    std::vector<std::string> m_personalWords;  // UTF-8, as the file holds them
    // The personal words Hunspell was given: removing one the dictionary knows of its own
    // would forbid it.
    std::unordered_set<std::string> m_addedToHunspell;
};

// Told by "Check spelling" when it has gone through every field.
Notice SpellingCheckComplete();
// Told by "Check spelling" when no dictionary could be opened.
Notice NoDictionaryNotice();

}  // namespace vantorel
