#include "documents/spelling.h"

#include <hunspell.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>

#include "storage/atomic_save.h"
#include "storage/text_conversions.h"

namespace vantorel {
namespace {

constexpr char16_t kTypographicApostrophe = u'\u2019';

bool IsApostrophe(char16_t c) {
    return c == u'\'' || c == kTypographicApostrophe;
}

bool IsUpper(char16_t c) {
    return (c >= u'A' && c <= u'Z') || (c >= 0xC0 && c <= 0xDE && c != 0xD7);
}

bool IsLower(char16_t c) {
    return (c >= u'a' && c <= u'z') || (c >= 0xDF && c <= 0xFF && c != 0xF7);
}

// Latin letters with their accents (the documents' own alphabet), Greek and Cyrillic.
bool IsLetter(char16_t c) {
    return IsUpper(c) || IsLower(c) || c == 0xAA || c == 0xB5 || c == 0xBA ||
           (c >= 0x100 && c <= 0x24F) || (c >= 0x370 && c <= 0x52F && c != 0x37E && c != 0x387);
}

bool IsDigit(char16_t c) {
    return c >= u'0' && c <= u'9';
}

bool IsWordPart(char16_t c) {
    return IsLetter(c) || IsDigit(c) || c == u'_' || IsApostrophe(c);
}

// Addresses, paths and file names are not prose: "www.example.com", "C:\\logs", "a/b",
// "name@host", "setup.exe".
bool IsAddressLike(std::u16string_view chunk) {
    if (chunk.find(u"://") != std::u16string_view::npos || chunk.starts_with(u"www.") ||
        chunk.find_first_of(u"@/\\") != std::u16string_view::npos)
        return true;
    for (std::size_t i = 1; i + 1 < chunk.size(); ++i)
        if (chunk[i] == u'.' && IsLetter(chunk[i - 1]) && IsLetter(chunk[i + 1]))
            return true;
    return false;
}

bool IsChecked(std::u16string_view word, const SpellingOptions& options) {
    if (word.size() < 2 || std::ranges::none_of(word, IsLetter))
        return false;
    bool upperOnly = true, lowerSeen = false;
    for (char16_t c : word) {
        if ((IsDigit(c) && options.skipWithDigits) || c == u'_')
            return false;
        if (IsLower(c))
            lowerSeen = true;
        else if (IsUpper(c) && lowerSeen)
            return false;  // a capital after a small letter: a name from code ("fileName")
        if (IsLower(c))
            upperOnly = false;
    }
    return !(upperOnly && options.skipCapitals);
}

void AddWordsOfChunk(std::u16string_view text, std::size_t chunkStart, std::size_t chunkEnd,
                     const SpellingOptions& options, std::vector<WordSpan>& words) {
    std::size_t i = chunkStart;
    while (i < chunkEnd) {
        if (!IsWordPart(text[i])) {
            ++i;
            continue;
        }
        std::size_t end = i;
        while (end < chunkEnd && IsWordPart(text[end]))
            ++end;
        std::size_t start = i;
        i = end;
        while (start < end && IsApostrophe(text[start]))
            ++start;
        while (end > start && IsApostrophe(text[end - 1]))
            --end;
        if (IsChecked(text.substr(start, end - start), options))
            words.push_back({start, end - start});
    }
}

std::string Latin1Of(std::u16string_view word) {
    std::string bytes;
    bytes.reserve(word.size());
    for (char16_t c : word)
        bytes.push_back(c <= 0xFF ? static_cast<char>(c) : '?');
    return bytes;
}

std::u16string FromLatin1(std::string_view bytes) {
    std::u16string text;
    text.reserve(bytes.size());
    for (char c : bytes)
        text.push_back(static_cast<unsigned char>(c));
    return text;
}

// The word as the dictionary spells its apostrophes.
std::u16string Plain(std::u16string_view word) {
    std::u16string plain(word);
    std::replace(plain.begin(), plain.end(), kTypographicApostrophe, u'\'');
    return plain;
}

}  // namespace

std::vector<std::filesystem::path> DictionaryFolders() {
    std::vector<std::filesystem::path> folders;
    if (const char* dicpath = std::getenv("DICPATH")) {
        std::string_view rest = dicpath;
        while (!rest.empty()) {
            const std::size_t colon = rest.find(':');
            if (colon > 0)
                folders.emplace_back(rest.substr(0, colon));
            rest = colon == std::string_view::npos ? std::string_view() : rest.substr(colon + 1);
        }
    }
    folders.emplace_back("/usr/share/hunspell");
    folders.emplace_back("/usr/share/myspell");
    folders.emplace_back("/usr/share/myspell/dicts");
    return folders;
}

std::string LocaleLanguage() {
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(variable);
        if (!value || !*value)
            continue;
        std::string language = value;
        language = language.substr(0, language.find_first_of(".@"));
        if (language == "C" || language == "POSIX")
            return {};
        return language;
    }
    return {};
}

std::optional<Dictionary> ChooseDictionary(std::string_view language,
                                           const std::vector<std::filesystem::path>& folders) {
    auto find = [&](std::string_view name) -> std::optional<Dictionary> {
        for (const std::filesystem::path& folder : folders) {
            Dictionary dictionary{std::string(name), folder / (std::string(name) + ".aff"),
                                  folder / (std::string(name) + ".dic")};
            std::error_code error;
            if (std::filesystem::is_regular_file(dictionary.aff, error) &&
                std::filesystem::is_regular_file(dictionary.dic, error))
                return dictionary;
        }
        return std::nullopt;
    };
    if (!language.empty())
        if (auto own = find(language))
            return own;
    const std::string base(language.substr(0, language.find('_')));
    if (!base.empty() && base != "en") {
        // Another region of the same language: the first found, in name order.
        std::vector<std::string> regions;
        for (const std::filesystem::path& folder : folders) {
            std::error_code error;
            for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
                const std::string name = entry.path().stem().string();
                if (entry.path().extension() == ".dic" && name.starts_with(base + "_"))
                    regions.push_back(name);
            }
        }
        std::sort(regions.begin(), regions.end());
        for (const std::string& region : regions)
            if (auto found = find(region))
                return found;
    }
    for (std::string_view fallback : {"en_US", "en_GB"})
        if (auto found = find(fallback))
            return found;
    return std::nullopt;
}

std::vector<std::string> InstalledDictionaries(const std::vector<std::filesystem::path>& folders) {
    std::vector<std::string> names;
    for (const std::filesystem::path& folder : folders) {
        std::error_code error;
        for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
            std::filesystem::path aff = entry.path();
            aff.replace_extension(".aff");
            if (entry.path().extension() == ".dic" && std::filesystem::is_regular_file(aff, error))
                names.push_back(entry.path().stem().string());
        }
    }
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    return names;
}

std::optional<Dictionary> ChooseDictionary(const SpellingOptions& options,
                                           const std::vector<std::filesystem::path>& folders) {
    return ChooseDictionary(options.language.empty() ? LocaleLanguage() : options.language,
                            folders);
}

bool IsWhiteSpace(char16_t c) {
    return c == u' ' || c == u'\t' || c == u'\n' || c == u'\r' || c == 0xA0 || c == 0x2028 ||
           c == 0x2029 || c == u'\f' || c == u'\v';
}

std::vector<WordSpan> CheckableWords(std::u16string_view text, const SpellingOptions& options) {
    std::vector<WordSpan> words;
    std::size_t i = 0;
    while (i < text.size()) {
        while (i < text.size() && IsWhiteSpace(text[i]))
            ++i;
        const std::size_t start = i;
        while (i < text.size() && !IsWhiteSpace(text[i]))
            ++i;
        if (i > start && !(options.skipAddresses && IsAddressLike(text.substr(start, i - start))))
            AddWordsOfChunk(text, start, i, options, words);
    }
    return words;
}

bool IsProseField(const FieldDescriptor& row) {
    return row.type == FT_RICH_TEXT ||
           (row.type == FT_TEXT && (row.tag.ends_with("_title>") || row.tag.ends_with("_loc>")));
}

std::unique_ptr<SpellChecker> SpellChecker::Open(const Dictionary& dictionary,
                                                 std::filesystem::path personalList) {
    Hunhandle* handle = Hunspell_create(dictionary.aff.c_str(), dictionary.dic.c_str());
    if (!handle)
        return nullptr;
    std::unique_ptr<SpellChecker> checker(
        new SpellChecker(handle, dictionary.name, std::move(personalList)));
    std::ifstream list(checker->m_personalList);
    for (std::string word; std::getline(list, word);) {
        if (!word.empty() && word.back() == '\r')
            word.pop_back();
        if (!word.empty() &&
            std::ranges::find(checker->m_personalWords, word) == checker->m_personalWords.end())
            checker->AddPersonal(word);
    }
    return checker;
}

SpellChecker::SpellChecker(Hunhandle* handle, std::string language,
                           std::filesystem::path personalList)
    : m_handle(handle), m_language(std::move(language)), m_personalList(std::move(personalList)) {
    const std::string_view encoding = Hunspell_get_dic_encoding(m_handle);
    m_latin1Dictionary = encoding == "ISO8859-1" || encoding == "ISO-8859-1";
}

SpellChecker::~SpellChecker() {
    Hunspell_destroy(m_handle);
}

bool SpellChecker::AskDictionary(const std::string& bytes) {
    return Hunspell_spell(m_handle, bytes.c_str()) != 0;
}

std::string SpellChecker::DictionaryBytes(std::u16string_view word) const {
    return m_latin1Dictionary ? Latin1Of(word) : Utf16ToUtf8(word);
}

void SpellChecker::AddPersonal(const std::string& utf8) {
    m_personalWords.push_back(utf8);
    const std::string bytes = DictionaryBytes(Utf8ToUtf16(utf8));
    if (AskDictionary(bytes))
        return;
    Hunspell_add(m_handle, bytes.c_str());
    m_addedToHunspell.insert(utf8);
}

bool SpellChecker::Check(std::u16string_view word) {
    std::u16string plain = Plain(word);
    if (auto known = m_known.find(plain); known != m_known.end())
        return known->second;
    const bool right = m_ignored.contains(plain) || AskDictionary(DictionaryBytes(plain));
    m_known.emplace(std::move(plain), right);
    return right;
}

std::vector<std::u16string> SpellChecker::Suggest(std::u16string_view word, std::size_t limit) {
    const std::u16string plain = Plain(word);
    char** list = nullptr;
    const int count = Hunspell_suggest(m_handle, &list, DictionaryBytes(plain).c_str());
    std::vector<std::u16string> suggestions;
    for (int i = 0; i < count && suggestions.size() < limit; ++i)
        suggestions.push_back(m_latin1Dictionary ? FromLatin1(list[i]) : Utf8ToUtf16(list[i]));
    Hunspell_free_list(m_handle, &list, count);
    return suggestions;
}

bool SpellChecker::AddToDictionary(std::u16string_view word, UserPort& port) {
    const std::u16string plain = Plain(word);
    const std::string utf8 = Utf16ToUtf8(plain);
    if (std::ranges::find(m_personalWords, utf8) == m_personalWords.end())
        AddPersonal(utf8);
    m_known[plain] = true;
    // One line appended: a crash loses at most the word being added.
    std::error_code error;
    std::filesystem::create_directories(m_personalList.parent_path(), error);
    std::ofstream list(m_personalList, std::ios::app | std::ios::binary);
    list << utf8 << '\n';
    list.flush();
    if (list)
        return true;
    port.tell({"Unable to add \"" + utf8 + "\" to the personal dictionary:\n\"" +
                   m_personalList.string() +
                   "\" can't be written.\nThe word is taken as right until the program ends.",
               std::string(kCheckSpellingCaption), Icon::Warning});
    return false;
}

bool SpellChecker::RemoveFromDictionary(std::string_view word, UserPort& port) {
    if (std::erase(m_personalWords, word) == 0)
        return true;
    const std::string utf8(word);
    if (m_addedToHunspell.erase(utf8) > 0)
        Hunspell_remove(m_handle, DictionaryBytes(Utf8ToUtf16(utf8)).c_str());
    m_known.erase(Utf8ToUtf16(utf8));
    std::string text;
    for (const std::string& kept : m_personalWords)
        text += kept + '\n';
    const IoResult saved = SaveWholeFile(m_personalList, text);
    if (saved.ok())
        return true;
    port.tell({"Unable to remove \"" + utf8 + "\" from the personal dictionary:\n" + saved.message +
                   "\nThe word is checked again until the program ends, and is taken as right "
                   "after that.",
               std::string(kCheckSpellingCaption), Icon::Warning});
    return false;
}

void SpellChecker::Ignore(std::u16string_view word) {
    std::u16string plain = Plain(word);
    m_known[plain] = true;
    m_ignored.insert(std::move(plain));
}

std::vector<WordSpan> SpellChecker::Misspelt(std::u16string_view text) {
    std::vector<WordSpan> misspelt;
    for (const WordSpan& word : Words(text))
        if (!Check(text.substr(word.start, word.length)))
            misspelt.push_back(word);
    return misspelt;
}

std::optional<WordSpan> SpellChecker::NextMisspelt(std::u16string_view text, std::size_t from) {
    for (const WordSpan& word : Words(text))
        if (word.start >= from && !Check(text.substr(word.start, word.length)))
            return word;
    return std::nullopt;
}

Notice SpellingCheckComplete() {
    return {"The spelling check is complete.", std::string(kCheckSpellingCaption),
            Icon::Information};
}

Notice NoDictionaryNotice() {
    return {
        "No spelling dictionary was found.\nInstall one of the hunspell dictionaries "
        "(hunspell-en-us, for instance) to check spelling.",
        std::string(kCheckSpellingCaption), Icon::Warning};
}

}  // namespace vantorel
