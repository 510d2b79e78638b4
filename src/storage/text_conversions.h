#pragma once
// Conversions between a value as a document stores it and as the user sees or types it. Each
// works in place on a value whose buffer holds `size` bytes, so a result never grows past
// size - 1 bytes; 250,000 is the largest value any field holds.

#include <cstddef>
#include <string>
#include <string_view>

namespace vantorel {

inline constexpr std::size_t kFieldValueMax = 250000;

// Tab, &, >, <, ' and " become "&#x09;", "&amp;", "&gt;", "&lt;", "&apos;", "&quot;"; line ends
// are kept. Stops when the output would pass size - 1 bytes.
void Escape(std::string& text, std::size_t size = kFieldValueMax);
// Escape's form of text added to the end of out, without a limit.
void AppendEscaped(std::string& out, std::string_view text);

// The reverse of Escape, plus "&#x0A;" which reads as CR LF. An ampersand that begins none of
// the seven known entities is dropped and the text after it kept: old documents rely on it.
void Unescape(std::string& text, std::size_t size = kFieldValueMax);
// Copies converted by Escape and Unescape, for values written or read in passing.
// Every occurrence of from replaced by to.
std::string ReplaceAll(std::string text, std::string_view from, std::string_view to);
// Text with its ASCII letters in lower case; other bytes (ISO-8859-1 or UTF-8) as they are.
std::string LowerCase(std::string_view text);
// Text without the blanks at either end.
std::string Trimmed(std::string_view text, std::string_view blanks = " \t\r\n");

std::string Escaped(std::string text);
std::string Unescaped(std::string text);

// Text as an HTML page carries it, between tags or in a quoted attribute: &, <, >, " and '
// become entities. Unlike Escape it has no limit, since a page is no field.
std::string HtmlEscaped(std::string_view text);

// "<![CDATA[text]]>". Returns 1 and leaves the text as it was when the result would not fit.
int WrapCData(std::string& text, std::size_t size = kFieldValueMax);

// Removes 9 bytes in front and 3 at the end of a text that begins with "<![CDATA["; any other
// text is left alone. Returns 1 when the result would not fit.
int StripCData(std::string& text, std::size_t size = kFieldValueMax);

// Multi-line text from an editor to its stored form: line ends at both ends are trimmed, then
// CR LF, a lone CR and a lone LF each become "<br>".
void NewlinesToBreaks(std::string& text, std::size_t size = kFieldValueMax);

// Stored multi-line text to editor form: "<br>", "<BR>", "<p>", "<P>" become LF, "</p>" and
// "</P>" and any CR or LF already there are removed.
void BreaksToNewlines(std::string& text);

// Turns the links in a displayed multi-line value into anchors that open in a new window:
// "http://", "https://", "ftp://", "file://", "www.", UNC paths and "vantorel://".
void WrapLinks(std::string& text, std::size_t size = kFieldValueMax);

// Escapes the characters a URL may not hold as %XX; used for the href of a wrapped link.
std::string CanonicalUrl(std::string_view link);
// The reverse for a whole URL or a part of one: every "%XX" becomes its byte; a "%" that
// begins no such pair stays as it is.
std::string PercentDecoded(std::string_view text);

// The first character of UTF-8 text that ISO-8859-1 can't hold (a code point above U+00FF), as
// its UTF-8 bytes; empty when documents can hold all of it.
std::string FirstCharacterLatin1CantHold(std::string_view utf8);

// A name from the file system, where Linux keeps UTF-8, as HTML for a page: escaped like
// HtmlEscaped, and every character beyond ASCII as a numeric reference, so it reads the same
// in the ISO-8859-1 pages. A byte that begins no UTF-8 character is taken as ISO-8859-1.
std::string NameHtml(std::string_view utf8);
// The same name as a document holds it, in ISO-8859-1: a character beyond it becomes "?".
std::string Latin1FromName(std::string_view utf8);

// The application configuration file is the one document in UTF-16 little-endian. On the
// narrow side it speaks UTF-8, the encoding of Linux paths, so paths round-trip unchanged.
std::u16string Utf8ToUtf16(std::string_view text);
std::string Utf16ToUtf8(std::u16string_view text);

// Files from elsewhere (spreadsheets, editors, test runners) come in UTF-8 or ISO-8859-1: a text
// is taken as UTF-8 only when every character of it is well formed.
bool IsValidUtf8(std::string_view text);
std::string Latin1ToUtf8(std::string_view latin1);
// Appends one character, a code point up to 0x10FFFF, in UTF-8.
void AppendUtf8(std::string& out, char32_t code);

}  // namespace vantorel
