#include "exchange/junit_results.h"

#include <charconv>
#include <cstring>

#include "storage/text_conversions.h"

namespace vantorel {
namespace {

struct XmlElement {
    std::string name;
    std::vector<std::pair<std::string, std::string>> attributes;
    std::string text;
    std::vector<XmlElement> children;
    std::size_t offset = 0;

    const std::string* Attribute(std::string_view wanted) const {
        for (const auto& [key, value] : attributes)
            if (key == wanted)
                return &value;
        return nullptr;
    }
};

// Results files are a few levels deep; a file nested deeper than this is no results file,
// and stopping there keeps the parser's recursion within the stack.
constexpr int kDepthMax = 64;

struct ParseError {
    std::size_t offset;
    std::string reason;
};

class XmlParser {
public:
    explicit XmlParser(std::string_view text) : m_text(text) {}

    XmlElement Document() {
        if (m_text.starts_with("\xEF\xBB\xBF"))
            m_pos = 3;
        SkipMisc();
        if (m_pos >= m_text.size())
            Fail("the file holds no XML element");
        if (m_text[m_pos] != '<')
            Fail("the file is not XML: it does not begin with an element");
        XmlElement root = Element(0);
        SkipMisc();
        if (m_pos < m_text.size())
            Fail("there is more after the end of the root element");
        return root;
    }

private:
    [[noreturn]] void Fail(std::string reason) const { throw ParseError{m_pos, std::move(reason)}; }

    bool At(std::string_view what) const { return m_text.substr(m_pos).starts_with(what); }

    void SkipSpace() {
        while (m_pos < m_text.size() && std::strchr(" \t\r\n", m_text[m_pos]) && m_text[m_pos])
            ++m_pos;
    }

    void SkipPast(std::string_view end, const char* what) {
        const std::size_t found = m_text.find(end, m_pos);
        if (found == std::string_view::npos)
            Fail(std::string(what) + " is not closed");
        m_pos = found + end.size();
    }

    // Whitespace, comments and processing instructions between elements.
    void SkipMisc() {
        for (;;) {
            SkipSpace();
            if (At("<?"))
                SkipPast("?>", "a processing instruction");
            else if (At("<!--"))
                SkipPast("-->", "a comment");
            else if (At("<!"))
                Fail("a DOCTYPE or declaration is not read in a results file");
            else
                return;
        }
    }

    std::string Name() {
        const std::size_t start = m_pos;
        while (m_pos < m_text.size() && !std::strchr(" \t\r\n/>=<\"'&", m_text[m_pos]))
            ++m_pos;
        if (m_pos == start)
            Fail("a name is expected here");
        return std::string(m_text.substr(start, m_pos - start));
    }

    void Entity(std::string& out) {
        const std::size_t semicolon = m_text.find(';', m_pos);
        if (semicolon == std::string_view::npos || semicolon - m_pos > 12)
            Fail("an \"&\" begins no entity");
        const std::string_view entity = m_text.substr(m_pos + 1, semicolon - m_pos - 1);
        if (entity == "lt")
            out += '<';
        else if (entity == "gt")
            out += '>';
        else if (entity == "amp")
            out += '&';
        else if (entity == "quot")
            out += '"';
        else if (entity == "apos")
            out += '\'';
        else if (entity.size() > 1 && entity[0] == '#') {
            const bool hex = entity[1] == 'x';
            unsigned long code = 0;
            const std::string_view digits = entity.substr(hex ? 2 : 1);
            const auto [end, error] =
                std::from_chars(digits.data(), digits.data() + digits.size(), code, hex ? 16 : 10);
            if (error != std::errc() || end != digits.data() + digits.size() || code == 0 ||
                code > 0x10FFFF)
                Fail("\"&" + std::string(entity) + ";\" is no character");
            AppendUtf8(out, static_cast<char32_t>(code));
        } else {
            Fail("the entity \"&" + std::string(entity) + ";\" is not known");
        }
        m_pos = semicolon + 1;
    }

    XmlElement Element(int depth) {
        if (depth > kDepthMax)
            Fail("the elements are nested too deeply");
        XmlElement element;
        element.offset = m_pos;
        ++m_pos;  // '<'
        element.name = Name();
        for (;;) {
            SkipSpace();
            if (m_pos >= m_text.size())
                Fail("the tag <" + element.name + "> is not closed");
            if (At("/>")) {
                m_pos += 2;
                return element;
            }
            if (m_text[m_pos] == '>') {
                ++m_pos;
                break;
            }
            std::string key = Name();
            SkipSpace();
            if (!At("="))
                Fail("the attribute " + key + " has no value");
            ++m_pos;
            SkipSpace();
            if (m_pos >= m_text.size() || (m_text[m_pos] != '"' && m_text[m_pos] != '\''))
                Fail("the value of " + key + " is not quoted");
            const char quote = m_text[m_pos++];
            std::string value;
            while (m_pos < m_text.size() && m_text[m_pos] != quote) {
                if (m_text[m_pos] == '<')
                    Fail("a \"<\" inside the value of " + key);
                if (m_text[m_pos] == '&')
                    Entity(value);
                else
                    value += m_text[m_pos++];
            }
            if (m_pos >= m_text.size())
                Fail("the value of " + key + " is not closed");
            ++m_pos;
            element.attributes.emplace_back(std::move(key), std::move(value));
        }
        for (;;) {
            if (m_pos >= m_text.size())
                Fail("the element <" + element.name + "> is not closed");
            if (At("</")) {
                const std::size_t closing = m_pos;
                m_pos += 2;
                if (Name() != element.name) {
                    m_pos = closing;
                    Fail("the closing tag does not match <" + element.name + ">");
                }
                SkipSpace();
                if (!At(">"))
                    Fail("the closing tag of <" + element.name + "> has no \">\"");
                ++m_pos;
                return element;
            }
            if (At("<!--")) {
                SkipPast("-->", "a comment");
            } else if (At("<![CDATA[")) {
                const std::size_t start = m_pos + 9;
                SkipPast("]]>", "a CDATA section");
                element.text.append(m_text.substr(start, m_pos - 3 - start));
            } else if (At("<?")) {
                SkipPast("?>", "a processing instruction");
            } else if (At("<!")) {
                Fail("a declaration inside an element");
            } else if (m_text[m_pos] == '<') {
                element.children.push_back(Element(depth + 1));
            } else if (m_text[m_pos] == '&') {
                Entity(element.text);
            } else {
                element.text += m_text[m_pos++];
            }
        }
    }

    std::string_view m_text;
    std::size_t m_pos = 0;
};

std::string Trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos)
        return {};
    return std::string(text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1));
}

double Seconds(const std::string* text) {
    double seconds = 0;
    if (text)
        std::from_chars(text->data(), text->data() + text->size(), seconds);
    return seconds > 0 ? seconds : 0;
}

void CollectSuite(const XmlElement& suite, const std::string& timestamp,
                  std::vector<JUnitResult>& results, std::vector<std::size_t>& offsets) {
    const std::string* own = suite.Attribute("timestamp");
    const std::string& stamp = own ? *own : timestamp;
    const std::string* suiteName = suite.Attribute("name");
    for (const XmlElement& child : suite.children) {
        if (child.name == "testsuite") {
            CollectSuite(child, stamp, results, offsets);
            continue;
        }
        if (child.name != "testcase")
            continue;
        const std::string* name = child.Attribute("name");
        if (!name)
            throw ParseError{child.offset, "a <testcase> has no name="};
        JUnitResult result;
        result.suite = suiteName ? *suiteName : std::string();
        result.className = child.Attribute("classname") ? *child.Attribute("classname") : "";
        result.name = *name;
        result.seconds = Seconds(child.Attribute("time"));
        result.timestamp = stamp;
        // GoogleTest marks a disabled test "notrun" and writes nothing inside it.
        if (const std::string* status = child.Attribute("status"); status && *status == "notrun")
            result.outcome = JUnitOutcome::Skipped;
        std::string output;
        for (const XmlElement& detail : child.children) {
            if (detail.name == "system-out")
                output = Trimmed(detail.text);
            const bool failure = detail.name == "failure" || detail.name == "error";
            if (!failure && detail.name != "skipped")
                continue;
            // A failure outweighs a skip written beside it.
            if (result.outcome == JUnitOutcome::Failed)
                continue;
            result.outcome = failure ? JUnitOutcome::Failed : JUnitOutcome::Skipped;
            result.error = detail.name == "error";
            const std::string* message = detail.Attribute("message");
            std::string text = Trimmed(detail.text);
            result.message = message ? Trimmed(*message) : std::string();
            if (!text.empty() && text != result.message)
                result.message += (result.message.empty() ? "" : "\n") + text;
        }
        // CTest's failures carry no message: what the test printed tells why.
        if (result.outcome == JUnitOutcome::Failed && result.message.empty())
            result.message = output;
        results.push_back(std::move(result));
        offsets.push_back(child.offset);
    }
}

}  // namespace

std::variant<std::vector<JUnitResult>, JUnitFault> ParseJUnit(std::string_view bytes) {
    auto fault = [bytes](std::size_t offset, std::string reason) {
        JUnitFault where{1, 1, std::move(reason)};
        for (std::size_t i = 0; i < offset && i < bytes.size(); ++i) {
            if (bytes[i] == '\n') {
                ++where.line;
                where.column = 1;
            } else if ((static_cast<unsigned char>(bytes[i]) & 0xC0) != 0x80) {
                ++where.column;
            }
        }
        return where;
    };
    try {
        const XmlElement root = XmlParser(bytes).Document();
        if (root.name != "testsuites" && root.name != "testsuite")
            return fault(root.offset, "the root element is <" + root.name +
                                          ">, not the <testsuites> or <testsuite> of JUnit "
                                          "results");
        std::vector<JUnitResult> results;
        std::vector<std::size_t> offsets;
        if (root.name == "testsuite") {
            CollectSuite(root, {}, results, offsets);
        } else {
            const std::string* stamp = root.Attribute("timestamp");
            for (const XmlElement& child : root.children)
                if (child.name == "testsuite")
                    CollectSuite(child, stamp ? *stamp : std::string(), results, offsets);
        }
        // Results come in file order: one pass counts the lines they begin on.
        std::size_t line = 1, counted = 0;
        for (std::size_t i = 0; i < results.size(); ++i) {
            for (; counted < offsets[i] && counted < bytes.size(); ++counted)
                line += bytes[counted] == '\n';
            results[i].line = line;
        }
        return results;
    } catch (const ParseError& error) {
        return fault(error.offset, error.reason);
    }
}

}  // namespace vantorel
