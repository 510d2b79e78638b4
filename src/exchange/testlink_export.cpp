#include "exchange/testlink_export.h"

#include <algorithm>
#include <cctype>
#include <string>
#include <utility>
#include <vector>

#include "documents/field_tables.h"
#include "documents/item_editor.h"
#include "exchange/csv_export.h"
#include "exchange/testlink_import.h"
#include "storage/atomic_save.h"
#include "storage/item_listing.h"
#include "storage/tagged_document.h"
#include "storage/text_conversions.h"
#include "storage/vantorel_database.h"

namespace vantorel {
namespace fs = std::filesystem;

namespace {

// Text as XML takes it: UTF-8, with the control characters XML can't hold as blanks.
std::string XmlText(std::string_view latin1) {
    std::string utf8 = Latin1ToUtf8(latin1);
    std::replace_if(
        utf8.begin(), utf8.end(),
        [](char c) {
            const auto byte = static_cast<unsigned char>(c);
            return byte < 0x20 && c != '\t' && c != '\n' && c != '\r';
        },
        ' ');
    return utf8;
}

std::string Cdata(std::string_view latin1) {
    std::string text = XmlText(latin1), out = "<![CDATA[";
    // A "]]>" inside would end the section: it is split over two.
    for (std::size_t from = 0;;) {
        const std::size_t end = text.find("]]>", from);
        if (end == std::string::npos) {
            out.append(text, from);
            break;
        }
        out.append(text, from, end + 2 - from).append("]]><![CDATA[");
        from = end + 2;
    }
    return out + "]]>";
}

std::string Attribute(std::string_view latin1) {
    return HtmlEscaped(XmlText(latin1));
}

// The items of a list that fills html from at to its end: each <li>'s content, or none when
// html from at is not one <ol> of plain (unnested) items.
std::optional<std::vector<std::string>> ListItemsOf(std::string_view html) {
    if (!html.starts_with("<ol>") || !html.ends_with("</ol>"))
        return std::nullopt;
    std::string_view rest = html.substr(4, html.size() - 9);
    std::vector<std::string> items;
    while (!rest.empty()) {
        const std::size_t close = rest.find("</li>");
        if (!rest.starts_with("<li>") || close == std::string_view::npos)
            return std::nullopt;
        const std::string_view item = rest.substr(4, close - 4);
        if (item.find("<li>") != std::string_view::npos ||
            item.find("<ol>") != std::string_view::npos)
            return std::nullopt;
        items.emplace_back(item);
        rest.remove_prefix(close + 5);
    }
    return items;
}

struct Steps {
    std::string summary;
    std::vector<std::pair<std::string, std::string>> steps;  // action, expected result
};

// The description and expected results as TestLink's summary and steps, as the import makes
// them back.
Steps StepsOf(const std::string& description, const std::string& results) {
    if (const auto expected = ListItemsOf(results)) {
        const std::size_t list = description.rfind("<ol>");
        if (list != std::string::npos)
            if (const auto actions = ListItemsOf(std::string_view(description).substr(list));
                actions && actions->size() == expected->size() && !actions->empty()) {
                Steps made{description.substr(0, list), {}};
                for (std::size_t step = 0; step < actions->size(); ++step)
                    made.steps.emplace_back((*actions)[step], (*expected)[step]);
                return made;
            }
    }
    Steps made{description, {}};
    if (!results.empty())
        made.steps.emplace_back(std::string(), results);
    return made;
}

class TestLinkWriter {
public:
    TestLinkWriter(const fs::path& target, std::stop_token stop)
        : m_save(target), m_stop(std::move(stop)) {
        m_save.Write("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n");
    }

    // The suite folder (named name, described by description) and everything below it.
    void Suite(const fs::path& folder, std::string_view name, std::string_view description,
               int depth) {
        const std::string indent(static_cast<std::size_t>(depth) * 2, ' ');
        m_save.Write(indent + "<testsuite name=\"" + Attribute(name) + "\">\n" + indent +
                     "  <details>" + Cdata(description) + "</details>\n");
        ItemListing listing;
        if (const int error = ListItems(folder, listing); error != 0) {
            m_unread = folder;
            return;
        }
        std::ranges::sort(listing.documents, {}, &FolderEntry::name);
        std::ranges::sort(listing.folders);
        // Test cases first, as TestLink lists them.
        for (const FolderEntry& document : listing.documents) {
            if (m_stop.stop_requested() || m_unread)
                return;
            Case(folder / document.name, depth + 1);
        }
        for (const std::string& child : listing.folders) {
            if (m_stop.stop_requested() || m_unread)
                return;
            Suite(folder / child, Latin1ToUtf8(child), SuiteDescription(folder / child), depth + 1);
        }
        m_save.Write(indent + "</testsuite>\n");
    }

    std::size_t Written() const { return m_written; }
    const std::optional<fs::path>& Unread() const { return m_unread; }
    PiecewiseSave& Save() { return m_save; }

    // The description of the suite folder: its HTML, ISO-8859-1.
    static std::string SuiteDescription(const fs::path& folder) {
        XMLParse document;
        std::string stored;
        if (document.OpenFastRead(folder.parent_path() / (folder.filename().string() +
                                                          std::string(kDescriptionExtension))) ||
            document.Load() || document.GetTag("<suite_description>", stored))
            return {};
        return CsvValue(FT_RICH_TEXT, stored, CsvRichText::Html);
    }

private:
    void Case(const fs::path& file, int depth) {
        XMLParse document;
        if (document.OpenFastRead(file) || document.Load()) {
            m_unread = file;
            return;
        }
        auto value = [&document](std::string_view tag) {
            const FieldDescriptor* field = FindField(TestCaseFields(), tag);
            std::string stored;
            if (!field || document.GetTag(tag, stored))
                return std::string();
            return CsvValue(field->type, stored, CsvRichText::Html);
        };
        const std::string indent(static_cast<std::size_t>(depth) * 2, ' ');
        const std::string id = value("<id>");
        std::string out = indent + "<testcase name=\"" + Attribute(value("<test_title>")) + "\">\n";
        auto element = [&out, &indent](std::string_view name, std::string_view latin1,
                                       std::string_view deeper = {}) {
            out += indent + "  " + std::string(deeper) + "<" + std::string(name) + ">" +
                   Cdata(latin1) + "</" + std::string(name) + ">\n";
        };
        // TestLink numbers its cases after a prefix: "SHOP-12" is case 12 of "SHOP".
        const std::size_t dash = id.rfind('-');
        if (dash != std::string::npos && dash + 1 < id.size() &&
            std::all_of(id.begin() + static_cast<std::ptrdiff_t>(dash) + 1, id.end(),
                        [](unsigned char c) { return std::isdigit(c); }))
            element("externalid", id.substr(dash + 1));
        element("fullexternalid", id);
        const Steps steps = StepsOf(value("<test_description>"), value("<test_result>"));
        element("summary", steps.summary);
        element("preconditions", value("<prerequisites>"));

        const std::string type = LowerCase(value("<test_type>"));
        const std::string_view execution = type == "manual" ? "1" : type == "automated" ? "2" : "";
        if (!execution.empty())
            element("execution_type", execution);
        const std::string priority = LowerCase(value("<priority>"));
        const std::string_view importance = priority == "high"     ? "3"
                                            : priority == "medium" ? "2"
                                            : priority == "low"    ? "1"
                                                                   : "";
        if (!importance.empty())
            element("importance", importance);
        if (const std::optional<Duration> duration = ParseDuration(value("<test_duration>")))
            element("estimated_exec_duration",
                    std::to_string(duration->hours * 60 + duration->minutes));

        if (!steps.steps.empty()) {
            out += indent + "  <steps>\n";
            for (std::size_t step = 0; step < steps.steps.size(); ++step) {
                out += indent + "    <step>\n";
                element("step_number", std::to_string(step + 1), "    ");
                element("actions", steps.steps[step].first, "    ");
                element("expectedresults", steps.steps[step].second, "    ");
                element("execution_type", execution.empty() ? "1" : execution, "    ");
                out += indent + "    </step>\n";
            }
            out += indent + "  </steps>\n";
        }

        bool listOpen = false;
        for (const std::string_view tag : kTestLinkCustomFieldTags) {
            const std::string fieldValue = value(tag);
            const bool carried = (tag == "<priority>" && !importance.empty()) ||
                                 (tag == "<test_type>" && !execution.empty());
            if (fieldValue.empty() || carried)
                continue;
            if (!std::exchange(listOpen, true))
                out += indent + "  <custom_fields>\n";
            out += indent + "    <custom_field>\n";
            element("name", TestLinkCustomFieldName(tag), "    ");
            element("value", fieldValue, "    ");
            out += indent + "    </custom_field>\n";
        }
        if (std::exchange(listOpen, false))
            out += indent + "  </custom_fields>\n";

        const std::string listed = value("<requirement>");
        for (std::size_t from = 0; from <= listed.size();) {
            const std::size_t comma = std::min(listed.find(',', from), listed.size());
            std::string requirement = listed.substr(from, comma - from);
            requirement.erase(0, requirement.find_first_not_of(' '));
            requirement.erase(requirement.find_last_not_of(' ') + 1);
            from = comma + 1;
            if (requirement.empty())
                continue;
            if (!std::exchange(listOpen, true))
                out += indent + "  <requirements>\n";
            out += indent + "    <requirement>\n";
            element("doc_id", requirement, "    ");
            out += indent + "    </requirement>\n";
        }
        if (listOpen)
            out += indent + "  </requirements>\n";
        out += indent + "</testcase>\n";
        m_save.Write(out);
        ++m_written;
    }

    PiecewiseSave m_save;
    std::stop_token m_stop;
    std::size_t m_written = 0;
    std::optional<fs::path> m_unread;
};

}  // namespace

Notice TestLinkExportDoneNotice(std::size_t cases) {
    return {"TestLink export completed successfully: " + std::to_string(cases) +
                (cases == 1 ? " test case written" : " test cases written"),
            std::string(kTestLinkExportCaption), Icon::Information};
}

std::optional<std::size_t> ExportTestLink(const TestLinkExportRequest& request, UserPort& port) {
    auto refuse = [&port](const std::string& text) -> std::optional<std::size_t> {
        port.tell({text, std::string(kTestLinkExportCaption), Icon::Warning});
        return std::nullopt;
    };
    std::error_code error;
    if (!fs::is_directory(request.folder, error))
        return refuse("The suite \"" + request.folder.string() +
                      "\" was not found, nothing has been exported");
    TestLinkWriter writer(request.target, request.stop);
    // The library's own folder is TestLink's nameless top suite; a suite keeps its name.
    const bool library = fs::exists(request.folder.parent_path() / kMarkerName, error);
    writer.Suite(request.folder,
                 library ? std::string() : Latin1ToUtf8(request.folder.filename().string()),
                 library ? std::string() : TestLinkWriter::SuiteDescription(request.folder), 0);
    if (request.stop.stop_requested())
        return refuse("The export to TestLink was cancelled, nothing has been exported");
    if (writer.Unread())
        return refuse("\"" + writer.Unread()->string() +
                      "\" could not be read, nothing has been exported");
    if (const IoResult saved = writer.Save().Commit(); !saved.ok())
        return refuse("The TestLink file could not be written: " + saved.message);
    return writer.Written();
}

}  // namespace vantorel
