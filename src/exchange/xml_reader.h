#pragma once
// XML files that users bring in (test results, other test managers' exports), read by expat into
// a small tree. Such files come from anywhere, so the reader holds them to limits: no entity may
// be declared (which shuts out both entity expansion and external entities: nothing is ever
// fetched), a cap on size and on depth, and every fault given with its line and column.

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace vantorel {

struct XmlElement {
    std::string name;
    std::vector<std::pair<std::string, std::string>> attributes;
    std::string text;  // its character data and CDATA sections, joined, in UTF-8
    std::vector<XmlElement> children;
    std::size_t line = 0;  // where its start tag is, from 1

    // The attribute's value, or empty.
    std::string Attribute(std::string_view attribute) const;
    // The first child of that name, or null.
    const XmlElement* Child(std::string_view child) const;
    // The text of the first child of that name, or empty.
    std::string ChildText(std::string_view child) const;
};

struct XmlFault {
    std::size_t line = 0;  // 0: the file as a whole
    std::size_t column = 0;
    std::string reason;
};

struct XmlLimits {
    std::size_t maxBytes = std::size_t{64} << 20;
    std::size_t maxDepth = 256;
};

// The root element of text, or the first fault.
std::variant<XmlElement, XmlFault> ReadXml(std::string_view text, XmlLimits limits = {});
// The same for a file, which must be a regular file within the size limit.
std::variant<XmlElement, XmlFault> ReadXmlFile(const std::filesystem::path& file,
                                               XmlLimits limits = {});

// The version of expat this run uses.
std::string ExpatVersion();

// "line 4, column 7: not well-formed (invalid token)"
std::string XmlFaultText(const XmlFault& fault);

}  // namespace vantorel
