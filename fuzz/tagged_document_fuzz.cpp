// Feeds arbitrary bytes to the document reader and every conversion a stored value goes
// through on its way to the screen: none may crash, read out of bounds or loop.

#include <cstddef>
#include <cstdint>
#include <string>

#include "storage/tagged_document.h"

using namespace vantorel;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    XMLParse document;
    document.LoadText(text);

    static const char* const kTags[] = {"<id>", "<test_status>", "<history_entry>", "<a>", "<>",
                                        "<x"};
    std::string value;
    for (const char* tag : kTags) {
        (void)document.GetTag(tag, value, 64);
        try {
            std::size_t from = 0;
            for (int guard = 0; guard < 10000; ++guard) {
                auto match = document.FindNextTag(tag, from);
                if (!match)
                    break;
                from = match->end;
            }
        } catch (const TagError&) {
        }
    }
    for (FieldType type : {FT_TEXT, FT_RICH_TEXT, FT_PLAIN_TEXT, FT_DATE, FT_LIST_TEXT, FT_TIME,
                           FT_YES_NO, FT_PASSWORD}) {
        (void)document.ReadField({1, type, "<id>"}, value, 512);
        FieldControl control;
        (void)document.LoadField({1, type, "<id>"}, control, LoadMode::ReadOnly);
    }
    try {
        document.ReplaceTag("<id>", "X");
        document.InsertAfterTag("<id>", "<new>", "v");
        document.AppendHistoryEntry("<n>1</n>");
    } catch (const TagError&) {
    }

    std::string converted = text;
    Unescape(converted, 4096);
    Escape(converted, 4096);
    StripCData(converted, 4096);
    BreaksToNewlines(converted);
    NewlinesToBreaks(converted, 4096);
    WrapLinks(converted, 8192);
    (void)Utf16ToUtf8(Utf8ToUtf16(text));
    return 0;
}
