#include "documents/history.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "platform/clock_text.h"
#include "storage/tagged_document.h"
#include "storage/text_conversions.h"

namespace vantorel {
namespace {

struct Child {
    std::string_view tag;
    std::string value;
};

std::vector<Child> Children(const HistoryBlock& block) {
    char time[32], date[32];
    std::snprintf(time, sizeof time, "%02d:%02d:%02d", block.when.time.hour, block.when.time.minute,
                  block.when.time.second);
    std::snprintf(date, sizeof date, "%02d-%02d-%04d", block.when.date.day, block.when.date.month,
                  block.when.date.year);
    return {{"<time>", time},
            {"<date>", date},
            {"<type>", block.update ? "ET_UPDATE" : "ET_NEW"},
            {"<old_status>", Escaped(block.oldStatus)},
            {"<new_status>", Escaped(block.newStatus)},
            {"<num_tries>", std::to_string(block.tries)},
            {"<phase>", Escaped(block.phase)},
            {"<version>", Escaped(block.version)},
            {"<build>", Escaped(block.build)}};
}

// The child's text, or empty when it is missing or at least `refuseFrom` characters long.
std::string ChildText(std::string_view entry, std::string_view tag, std::size_t refuseFrom) {
    std::string_view found;
    if (FindTagValue(entry, tag, found) != 0)
        return {};
    std::string value(found.substr(0, kFieldValueMax - 1));
    Unescape(value);
    return value.size() < refuseFrom ? value : std::string();
}

// Reads up to count numbers separated by separator, as "%d:%d:%d" would: blanks before a
// number and a sign are allowed, and reading stops at the first thing that doesn't fit.
void ReadNumbers(std::string_view text, char separator, std::initializer_list<int*> numbers) {
    std::size_t at = 0;
    bool first = true;
    for (int* number : numbers) {
        if (!first) {
            if (at >= text.size() || text[at] != separator)
                return;
            ++at;
        }
        first = false;
        while (at < text.size() && std::isspace(static_cast<unsigned char>(text[at])))
            ++at;
        const bool negative = at < text.size() && text[at] == '-';
        if (at < text.size() && (text[at] == '-' || text[at] == '+'))
            ++at;
        if (at >= text.size() || !std::isdigit(static_cast<unsigned char>(text[at])))
            return;
        long value = 0;
        for (; at < text.size() && std::isdigit(static_cast<unsigned char>(text[at])); ++at)
            value = std::min(value * 10 + (text[at] - '0'), 999999999L);
        *number = static_cast<int>(negative ? -value : value);
    }
}

}  // namespace

LocalMoment LocalNow() {
    std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return {{local.tm_year + 1900, local.tm_mon + 1, local.tm_mday},
            {local.tm_hour, local.tm_min, local.tm_sec}};
}

std::vector<HistoryBlock> LoadHistoryBlocks(const XMLParse& doc, HistoryDetail detail) {
    std::vector<HistoryBlock> blocks;
    if (!doc.IsLoaded())
        return blocks;
    const std::string_view text = doc.Text();
    std::size_t from = 0;
    for (;;) {
        std::string_view entry;
        // A block cut short ends the history.
        if (FindTagValue(text, "<history_entry>", entry, from, &from, true) != 0)
            break;
        entry = entry.substr(0, kFieldValueMax - 1);

        HistoryBlock block;
        std::string_view value;
        if (FindTagValue(entry, "<time>", value) == 0)
            ReadNumbers(value, ':',
                        {&block.when.time.hour, &block.when.time.minute, &block.when.time.second});
        if (FindTagValue(entry, "<date>", value) == 0)
            ReadNumbers(value, '-',
                        {&block.when.date.day, &block.when.date.month, &block.when.date.year});
        block.update = !(FindTagValue(entry, "<type>", value) == 0 && value == "ET_NEW");
        block.oldStatus =
            ChildText(entry, "<old_status>", kFieldValueMax).substr(0, kHistoryStatusWidth);
        block.newStatus =
            ChildText(entry, "<new_status>", kFieldValueMax).substr(0, kHistoryStatusWidth);
        if (detail == HistoryDetail::Full) {
            if (FindTagValue(entry, "<num_tries>", value) == 0)
                ReadNumbers(value, ' ', {&block.tries});
            block.phase = ChildText(entry, "<phase>", kHistoryPhaseWidth + 1);
            block.build = ChildText(entry, "<build>", kHistoryVersionWidth + 1);
            block.version = ChildText(entry, "<version>", kHistoryVersionWidth + 1);
        }
        blocks.push_back(std::move(block));
    }
    return blocks;
}

std::string CompactHistoryText(const HistoryBlock& block) {
    std::string text;
    for (const Child& child : Children(block))
        text += std::string(child.tag) + child.value + ClosingTag(child.tag);
    if (text.size() > kCompactHistoryMax)
        text.resize(kCompactHistoryMax);
    return text;
}

void WriteHistoryBlock(XMLParse& doc, const HistoryBlock& block) {
    doc.WriteOpenTag("<history_entry>");
    for (const Child& child : Children(block))
        doc.WriteTag(child.tag, child.value);
    doc.WriteCloseTag("<history_entry>");
}

std::string BulkCreationBlockText(const LocalMoment& now) {
    char text[400];
    std::snprintf(text, sizeof text,
                  "<time>%02d:%02d:%02d</time><date>%02d-%02d-%04d</date><type>ET_NEW</type>"
                  "<old_status>Not yet attempted</old_status><new_status>Not yet "
                  "attempted</new_status><num_tries>0</num_tries>",
                  now.time.hour, now.time.minute, now.time.second, now.date.day, now.date.month,
                  now.date.year);
    return text;
}

std::string HistoryMomentText(const LocalMoment& when) {
    char time[32];
    std::snprintf(time, sizeof time, ", %02d:%02d:%02d", when.time.hour, when.time.minute,
                  when.time.second);
    return DisplayDate(when.date.year, when.date.month, when.date.day) + time;
}

}  // namespace vantorel
