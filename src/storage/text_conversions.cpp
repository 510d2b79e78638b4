#include "storage/text_conversions.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <optional>

namespace vantorel {
namespace {

// The most a result may hold in a buffer of `size` bytes (one byte is the terminator).
std::size_t Room(std::size_t size) {
    return size == 0 ? 0 : size - 1;
}

bool StartsWithNoCase(std::string_view text, std::size_t at, std::string_view prefix) {
    if (text.size() - at < prefix.size())
        return false;
    for (std::size_t i = 0; i < prefix.size(); ++i) {
        if (std::tolower(static_cast<unsigned char>(text[at + i])) !=
            std::tolower(static_cast<unsigned char>(prefix[i])))
            return false;
    }
    return true;
}

std::size_t FindNoCase(std::string_view text, std::string_view needle, std::size_t from) {
    if (needle.empty())
        return from <= text.size() ? from : std::string_view::npos;
    // Jump from one place of either case of the first character to the next, each case found
    // by a search of its own (a search for one byte is far faster than for either of two);
    // only there compare the rest.
    const auto first = static_cast<unsigned char>(needle.front());
    const char lower = static_cast<char>(std::tolower(first));
    const char upper = static_cast<char>(std::toupper(first));
    std::size_t nextLower = text.find(lower, from);
    std::size_t nextUpper = lower == upper ? std::string_view::npos : text.find(upper, from);
    for (;;) {
        const std::size_t at = std::min(nextLower, nextUpper);
        if (at == std::string_view::npos || needle.size() > text.size() - at)
            return std::string_view::npos;
        if (StartsWithNoCase(text, at, needle))
            return at;
        if (at == nextLower)
            nextLower = text.find(lower, at + 1);
        else
            nextUpper = text.find(upper, at + 1);
    }
}

bool PrecededBy(std::string_view text, std::size_t at, std::string_view before) {
    return at >= before.size() && text.substr(at - before.size(), before.size()) == before;
}

// Escape's entity for a byte that needs one, else an empty view.
std::string_view EntityOf(char c) {
    switch (c) {
        case '\t':
            return "&#x09;";
        case '&':
            return "&amp;";
        case '>':
            return "&gt;";
        case '<':
            return "&lt;";
        case '\'':
            return "&apos;";
        case '"':
            return "&quot;";
        default:
            return {};
    }
}

// Adds at most room bytes of text's escaped form to out, never half an entity. Runs of bytes
// that need no entity go in whole: the reports escape every value of every document.
void EscapeInto(std::string& out, std::string_view text, std::size_t room) {
    std::size_t at = 0;
    while (at < text.size()) {
        std::size_t plain = at;
        while (plain < text.size() && EntityOf(text[plain]).empty())
            ++plain;
        const std::size_t run = std::min(plain - at, room);
        out.append(text, at, run);
        room -= run;
        if (run < plain - at || plain == text.size())
            return;
        const std::string_view entity = EntityOf(text[plain]);
        if (entity.size() > room)
            return;
        out += entity;
        room -= entity.size();
        at = plain + 1;
    }
}

}  // namespace

void Escape(std::string& text, std::size_t size) {
    const std::size_t room = Room(size);
    std::string out;
    out.reserve(std::min(room, text.size() + text.size() / 8));
    EscapeInto(out, text, room);
    text = std::move(out);
}

void AppendEscaped(std::string& out, std::string_view text) {
    EscapeInto(out, text, std::string::npos);
}

void Unescape(std::string& text, std::size_t size) {
    static constexpr std::array<std::pair<std::string_view, std::string_view>, 7> kEntities{{
        {"&#x0A;", "\r\n"},
        {"&#x09;", "\t"},
        {"&amp;", "&"},
        {"&quot;", "\""},
        {"&apos;", "'"},
        {"&lt;", "<"},
        {"&gt;", ">"},
    }};
    const std::size_t room = Room(size);
    if (text.size() <= room && text.find('&') == std::string::npos)
        return;  // nothing to convert: the common case, without a copy
    std::string_view in = text;
    std::string out;
    out.reserve(std::min(room, in.size()));
    for (std::size_t i = 0; i < in.size() && out.size() < room;) {
        if (in[i] != '&') {
            out += in[i++];
            continue;
        }
        auto entity = std::find_if(kEntities.begin(), kEntities.end(), [&](const auto& e) {
            return in.substr(i, e.first.size()) == e.first;
        });
        if (entity == kEntities.end()) {
            ++i;  // a lone ampersand is dropped
            continue;
        }
        out.append(entity->second.substr(0, room - out.size()));
        i += entity->first.size();
    }
    text = std::move(out);
}

std::string ReplaceAll(std::string text, std::string_view from, std::string_view to) {
    if (from.empty())
        return text;
    for (std::size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

std::string LowerCase(std::string_view text) {
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(), [](unsigned char c) {
        return static_cast<char>(c < 0x80 ? std::tolower(c) : c);
    });
    return lower;
}

std::string Trimmed(std::string_view text, std::string_view blanks) {
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos)
        return {};
    return std::string(text.substr(first, text.find_last_not_of(blanks) - first + 1));
}

std::string Escaped(std::string text) {
    Escape(text);
    return text;
}

std::string Unescaped(std::string text) {
    Unescape(text);
    return text;
}

std::string HtmlEscaped(std::string_view text) {
    std::string out;
    out.reserve(text.size() + text.size() / 8);
    for (char c : text) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            case '\'':
                out += "&#39;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

int WrapCData(std::string& text, std::size_t size) {
    static constexpr std::string_view kOpen = "<![CDATA[", kClose = "]]>";
    if (text.size() + kOpen.size() + kClose.size() > Room(size))
        return 1;
    text.insert(0, kOpen);
    text.append(kClose);
    return 0;
}

int StripCData(std::string& text, std::size_t size) {
    if (!text.starts_with("<![CDATA["))
        return 0;
    // The closing "]]>" is assumed, not checked: three bytes are dropped at the end whatever
    // they are.
    std::size_t inner = text.size() >= 12 ? text.size() - 12 : 0;
    if (inner > Room(size))
        return 1;
    text = text.substr(9, inner);
    return 0;
}

void NewlinesToBreaks(std::string& text, std::size_t size) {
    std::string_view in = text;
    while (!in.empty() && (in.front() == '\r' || in.front() == '\n'))
        in.remove_prefix(1);
    while (!in.empty() && (in.back() == '\r' || in.back() == '\n'))
        in.remove_suffix(1);
    const std::size_t room = Room(size);
    std::string out;
    for (std::size_t i = 0; i < in.size();) {
        std::string_view piece;
        if (in[i] == '\r' && i + 1 < in.size() && in[i + 1] == '\n') {
            piece = "<br>";
            i += 2;
        } else if (in[i] == '\r' || in[i] == '\n') {
            piece = "<br>";
            ++i;
        } else {
            piece = in.substr(i++, 1);
        }
        if (out.size() + piece.size() > room)
            break;
        out += piece;
    }
    text = std::move(out);
}

void BreaksToNewlines(std::string& text) {
    std::string_view in = text;
    std::string out;
    const std::size_t room = Room(kFieldValueMax);
    out.reserve(std::min(in.size(), kFieldValueMax));
    for (std::size_t i = 0; i < in.size() && out.size() < room;) {
        // Plain text up to the next tag or line end goes over in one piece.
        std::size_t plainEnd = i;
        while (plainEnd < in.size() && in[plainEnd] != '<' && in[plainEnd] != '\r' &&
               in[plainEnd] != '\n')
            ++plainEnd;
        out.append(in.substr(i, std::min(plainEnd - i, room - out.size())));
        i = plainEnd;
        if (i == in.size() || out.size() >= room)
            break;
        std::string_view rest = in.substr(i);
        if (rest.starts_with("<br>") || rest.starts_with("<BR>")) {
            out += '\n';
            i += 4;
        } else if (rest.starts_with("<p>") || rest.starts_with("<P>")) {
            out += '\n';
            i += 3;
        } else if (rest.starts_with("</p>") || rest.starts_with("</P>")) {
            i += 4;
        } else if (in[i] == '\r' || in[i] == '\n') {
            ++i;
        } else {
            out += in[i++];
        }
    }
    text = std::move(out);
}

std::string CanonicalUrl(std::string_view link) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string url;
    if (link.starts_with("\\\\")) {
        // A UNC path \\server\share\file is the URL file://server/share/file.
        url = "file://";
        for (char c : link.substr(2))
            url += c == '\\' ? '/' : c;
    } else {
        url = link;
    }
    std::string out;
    for (unsigned char c : url) {
        bool unsafe = c <= 0x20 || c >= 0x7F || std::strchr("\"<>\\^`{|}", c) != nullptr;
        if (unsafe) {
            out += '%';
            out += kHex[c >> 4];
            out += kHex[c & 15];
        } else {
            out += static_cast<char>(c);
        }
    }
    return out;
}

std::string PercentDecoded(std::string_view text) {
    auto digit = [](char c) -> int {
        if (c >= '0' && c <= '9')
            return c - '0';
        if (c >= 'a' && c <= 'f')
            return c - 'a' + 10;
        if (c >= 'A' && c <= 'F')
            return c - 'A' + 10;
        return -1;
    };
    std::string out;
    out.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        const int high = text[at] == '%' && at + 2 < text.size() ? digit(text[at + 1]) : -1;
        const int low = high >= 0 ? digit(text[at + 2]) : -1;
        if (low >= 0) {
            out += static_cast<char>(high * 16 + low);
            at += 2;
        } else {
            out += text[at];
        }
    }
    return out;
}

void WrapLinks(std::string& text, std::size_t size) {
    static constexpr std::string_view kPrefixes[] = {"http://", "https://", "ftp://",     "file://",
                                                     "www.",    "\\\\",     "vantorel://"};
    const std::size_t room = Room(size);
    for (std::string_view prefix : kPrefixes) {
        std::string_view in = text;
        std::string out;
        std::size_t copied = 0;
        for (std::size_t at = FindNoCase(in, prefix, 0); at != std::string_view::npos;
             at = FindNoCase(in, prefix, at + prefix.size())) {
            if (at < copied)
                continue;
            if (PrecededBy(in, at, "\">") || PrecededBy(in, at, "=\"") || PrecededBy(in, at, "//"))
                continue;
            std::size_t end =
                PrecededBy(in, at, "\"") ? in.find('"', at) : in.find_first_of(" ><()", at);
            if (end == std::string_view::npos)
                end = in.size();
            std::string_view link = in.substr(at, end - at);
            if (!link.empty() && (link.back() == '(' || link.back() == ')'))
                link.remove_suffix(1);
            if (link.empty())
                continue;

            std::string anchor = prefix == "www." ? "<a target=\"_blank\" href=\"http://"
                                                  : "<a target=\"_blank\" href=\"";
            anchor += CanonicalUrl(link);
            anchor += "\">";
            anchor += link;
            anchor += "</a>";
            std::size_t added = anchor.size() - link.size();
            if (in.size() + (out.size() - copied) + added > room)
                break;  // no room for markup
            out.append(in.substr(copied, at - copied));
            out += anchor;
            copied = at + link.size();
        }
        if (copied == 0 && out.empty())
            continue;
        out.append(in.substr(copied));
        text = std::move(out);
    }
}

std::string FirstCharacterLatin1CantHold(std::string_view utf8) {
    // U+0080 to U+00FF take the lead bytes 0xC2 and 0xC3; every lead byte above them starts a
    // character beyond ISO-8859-1.
    for (std::size_t i = 0; i < utf8.size(); ++i) {
        if (static_cast<unsigned char>(utf8[i]) < 0xC4)
            continue;
        std::size_t end = i + 1;
        while (end < utf8.size() && (static_cast<unsigned char>(utf8[end]) & 0xC0) == 0x80)
            ++end;
        return std::string(utf8.substr(i, end - i));
    }
    return {};
}

namespace {

struct Utf8Character {
    char32_t code;
    std::size_t length;
};

// The character UTF-8 text holds at `at`; none when the bytes there begin no whole character.
std::optional<Utf8Character> Utf8CharacterAt(std::string_view text, std::size_t at) {
    const unsigned char lead = static_cast<unsigned char>(text[at]);
    if (lead < 0x80)
        return Utf8Character{lead, 1};
    const std::size_t length = (lead >> 5) == 0x6    ? 2
                               : (lead >> 4) == 0xE  ? 3
                               : (lead >> 3) == 0x1E ? 4
                                                     : 0;
    if (length == 0 || at + length > text.size())
        return std::nullopt;
    char32_t code = lead & (0x7Fu >> length);
    for (std::size_t next = at + 1; next < at + length; ++next) {
        const unsigned char part = static_cast<unsigned char>(text[next]);
        if ((part & 0xC0) != 0x80)
            return std::nullopt;
        code = code << 6 | (part & 0x3Fu);
    }
    return Utf8Character{code, length};
}

// Hands each character of a name from the file system to take: UTF-8, or, for a byte that
// begins no UTF-8 character, ISO-8859-1 as old shares hold.
template <typename Take>
void ForEachNameCharacter(std::string_view utf8, Take take) {
    for (std::size_t at = 0; at < utf8.size();) {
        const std::optional<Utf8Character> character = Utf8CharacterAt(utf8, at);
        take(character ? character->code : static_cast<unsigned char>(utf8[at]));
        at += character ? character->length : 1;
    }
}

}  // namespace

std::string NameHtml(std::string_view utf8) {
    std::string out;
    out.reserve(utf8.size());
    ForEachNameCharacter(utf8, [&out](char32_t code) {
        if (code < 0x80)
            out += HtmlEscaped(std::string(1, static_cast<char>(code)));
        else
            out += "&#" + std::to_string(static_cast<std::uint32_t>(code)) + ";";
    });
    return out;
}

std::string Latin1FromName(std::string_view utf8) {
    std::string out;
    out.reserve(utf8.size());
    ForEachNameCharacter(
        utf8, [&out](char32_t code) { out += code <= 0xFF ? static_cast<char>(code) : '?'; });
    return out;
}

std::u16string Utf8ToUtf16(std::string_view text) {
    std::u16string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        const std::optional<Utf8Character> character = Utf8CharacterAt(text, i);
        char32_t code = character ? character->code : 0xFFFD;
        i += character ? character->length : 1;
        if (code >= 0x10000 && code <= 0x10FFFF) {
            code -= 0x10000;
            out += static_cast<char16_t>(0xD800 + (code >> 10));
            out += static_cast<char16_t>(0xDC00 + (code & 0x3FF));
        } else {
            out += static_cast<char16_t>(code > 0xFFFF ? 0xFFFD : code);
        }
    }
    return out;
}

std::string Utf16ToUtf8(std::u16string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t code = text[i];
        if (code >= 0xD800 && code < 0xDC00 && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
            text[i + 1] < 0xE000) {
            code = 0x10000 + ((code - 0xD800) << 10) + (text[i + 1] - 0xDC00);
            ++i;
        } else if (code >= 0xD800 && code < 0xE000) {
            code = 0xFFFD;
        }
        AppendUtf8(out, code);
    }
    return out;
}

bool IsValidUtf8(std::string_view text) {
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<unsigned char>(text[i]);
        const std::size_t length = lead < 0x80           ? 1
                                   : (lead >> 5) == 0x6  ? 2
                                   : (lead >> 4) == 0xE  ? 3
                                   : (lead >> 3) == 0x1E ? 4
                                                         : 0;
        if (length == 0 || i + length > text.size())
            return false;
        for (std::size_t k = 1; k < length; ++k)
            if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80)
                return false;
        i += length;
    }
    return true;
}

std::string Latin1ToUtf8(std::string_view latin1) {
    std::string utf8;
    utf8.reserve(latin1.size() + latin1.size() / 8);
    for (std::size_t at = 0; at < latin1.size();) {
        // Runs of ASCII, most of any text, go over in one piece.
        std::size_t asciiEnd = at;
        while (asciiEnd < latin1.size() && static_cast<unsigned char>(latin1[asciiEnd]) < 0x80)
            ++asciiEnd;
        utf8.append(latin1.substr(at, asciiEnd - at));
        if (asciiEnd < latin1.size())
            AppendUtf8(utf8, static_cast<unsigned char>(latin1[asciiEnd++]));
        at = asciiEnd;
    }
    return utf8;
}

void AppendUtf8(std::string& out, char32_t code) {
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += static_cast<char>(0xC0 | (code >> 6));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        out += static_cast<char>(0xE0 | (code >> 12));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (code >> 18));
        out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    }
}

}  // namespace vantorel
