#include "exchange/xml_reader.h"

#include <expat.h>

#include <memory>
#include <optional>

#include "storage/file_reading.h"

namespace vantorel {

std::string XmlElement::Attribute(std::string_view attribute) const {
    for (const auto& [name, value] : attributes)
        if (name == attribute)
            return value;
    return {};
}

const XmlElement* XmlElement::Child(std::string_view child) const {
    for (const XmlElement& element : children)
        if (element.name == child)
            return &element;
    return nullptr;
}

std::string XmlElement::ChildText(std::string_view child) const {
    const XmlElement* element = Child(child);
    return element ? element->text : std::string();
}

namespace {

struct Reading {
    XML_Parser parser;
    XmlLimits limits;
    XmlElement root;
    std::vector<XmlElement*> open;  // the elements not yet closed, the innermost last
    std::optional<XmlFault> fault;

    void Stop(std::string reason) {
        if (!fault)
            fault = XmlFault{XML_GetCurrentLineNumber(parser),
                             XML_GetCurrentColumnNumber(parser) + 1, std::move(reason)};
        XML_StopParser(parser, XML_FALSE);
    }
};

void XMLCALL StartElement(void* data, const XML_Char* name, const XML_Char** attributes) {
    auto& reading = *static_cast<Reading*>(data);
    if (reading.open.size() >= reading.limits.maxDepth) {
        reading.Stop("elements are nested more than " + std::to_string(reading.limits.maxDepth) +
                     " deep");
        return;
    }
    XmlElement* element =
        reading.open.empty() ? &reading.root : &reading.open.back()->children.emplace_back();
    element->name = name;
    element->line = XML_GetCurrentLineNumber(reading.parser);
    for (const XML_Char** attribute = attributes; *attribute; attribute += 2)
        element->attributes.emplace_back(attribute[0], attribute[1]);
    reading.open.push_back(element);
}

void XMLCALL EndElement(void* data, const XML_Char*) {
    static_cast<Reading*>(data)->open.pop_back();
}

void XMLCALL Characters(void* data, const XML_Char* text, int length) {
    auto& reading = *static_cast<Reading*>(data);
    if (!reading.open.empty())
        reading.open.back()->text.append(text, static_cast<std::size_t>(length));
}

void XMLCALL EntityDeclared(void* data, const XML_Char* name, int, const XML_Char*, int,
                            const XML_Char*, const XML_Char*, const XML_Char*, const XML_Char*) {
    static_cast<Reading*>(data)->Stop(std::string("the file declares the entity \"") + name +
                                      "\"; files that declare entities are not read");
}

}  // namespace

std::variant<XmlElement, XmlFault> ReadXml(std::string_view text, XmlLimits limits) {
    if (text.size() > limits.maxBytes)
        return XmlFault{
            0, 0, "the file is larger than " + std::to_string(limits.maxBytes >> 20) + " MiB"};
    std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser(XML_ParserCreate(nullptr),
                                                                        &XML_ParserFree);
    if (!parser)
        return XmlFault{0, 0, "not enough memory to read it"};
    Reading reading{parser.get(), limits, {}, {}, {}};
    XML_SetUserData(parser.get(), &reading);
    XML_SetElementHandler(parser.get(), StartElement, EndElement);
    XML_SetCharacterDataHandler(parser.get(), Characters);
    XML_SetEntityDeclHandler(parser.get(), EntityDeclared);
    XML_SetParamEntityParsing(parser.get(), XML_PARAM_ENTITY_PARSING_NEVER);
    const XML_Status status =
        XML_Parse(parser.get(), text.data(), static_cast<int>(text.size()), XML_TRUE);
    if (reading.fault)
        return *reading.fault;
    if (status != XML_STATUS_OK)
        return XmlFault{XML_GetCurrentLineNumber(parser.get()),
                        XML_GetCurrentColumnNumber(parser.get()) + 1,
                        XML_ErrorString(XML_GetErrorCode(parser.get()))};
    return std::move(reading.root);
}

std::variant<XmlElement, XmlFault> ReadXmlFile(const std::filesystem::path& file,
                                               XmlLimits limits) {
    std::string text;
    if (const int code = ReadRegularFile(file, text, limits.maxBytes))
        return XmlFault{0, 0, "the file " + ReadFailureText(code)};
    return ReadXml(text, limits);
}

std::string ExpatVersion() {
    const XML_Expat_Version version = XML_ExpatVersionInfo();
    return std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
           std::to_string(version.micro);
}

std::string XmlFaultText(const XmlFault& fault) {
    if (fault.line == 0)
        return fault.reason;
    return "line " + std::to_string(fault.line) + ", column " + std::to_string(fault.column) +
           ": " + fault.reason;
}

}  // namespace vantorel
