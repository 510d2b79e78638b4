#include "storage/tagged_document.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <functional>
#include <map>
#include <random>

#include "storage/file_reading.h"
#include "support/temp_dir.h"

namespace vantorel {
namespace {

using testing::ReadFile;
using testing::TempDir;
using testing::WriteFile;

// Each row: a document, the tag asked for (and the longest value taken), the code and value
// GetTag gives; named after the fault it catches.
constexpr std::size_t kAll = kFieldValueMax;
struct GetTagCase {
    const char* fault;
    std::string text, tag;
    std::size_t length;
    int code;
    std::string value;
};
class GetTag : public ::testing::TestWithParam<GetTagCase> {};

TEST_P(GetTag, GivesTheCodeAndValue) {
    const GetTagCase& c = GetParam();
    XMLParse doc;
    if (!c.text.empty())
        doc.LoadText(c.text);
    std::string value = "stale";
    EXPECT_EQ(doc.GetTag(c.tag, value, c.length), c.code);
    EXPECT_EQ(value, c.value);
}

INSTANTIATE_TEST_SUITE_P(
    Tags, GetTag,
    ::testing::Values(
        GetTagCase{"TakesALaterOccurrence", "<a>one</a><b>two</b><a>three</a>", "<a>", kAll, 0,
                   "one"},
        GetTagCase{"ReadsAnUnloadedDocument", "", "<id>", kAll, 1, ""},
        GetTagCase{"AcceptsATagWithoutBrackets", "<id>TC1</id>", "id", kAll, 2, ""},
        GetTagCase{"AcceptsAnUnclosedTagName", "<id>TC1</id>", "<id", kAll, 2, ""},
        GetTagCase{"InventsAMissingTag", "<id>TC1</id>", "<missing>", kAll, 3, ""},
        GetTagCase{"ReadsPastAMissingClosingTag", "<open>no close", "<open>", kAll, 4, ""},
        GetTagCase{"TakesAnEmptyValueForAValue", "<empty></empty>", "<empty>", kAll, 6, ""},
        GetTagCase{"ReadsFromAClosingTagBeforeTheOpeningOne", "</id><id>late</id>", "<id>", kAll, 6,
                   ""},
        GetTagCase{"ReadsPastTheFirstClosingTag", "<title>a</title>b</title>", "<title>", kAll, 0,
                   "a"},
        GetTagCase{"MatchesALongerTagByItsPrefix", "<test_status>Pass</test_status><test>x</test>",
                   "<test>", kAll, 0, "x"},
        GetTagCase{"IgnoresTheLength", "<v>abcdef</v>", "<v>", 4, 0, "abc"}),
    [](const ::testing::TestParamInfo<GetTagCase>& info) { return info.param.fault; });

// The code of the TagError the call raises; 0 when it raises none.
int TagErrorCode(const std::function<void()>& call) {
    try {
        call();
    } catch (const TagError& error) {
        return error.code();
    }
    return 0;
}

TEST(FindTag, AllowsAnEmptyValueAndRaisesOnFailure) {
    XMLParse doc;
    doc.LoadText("<empty></empty><half>x");
    TagMatch match = doc.FindTag("<empty>");
    EXPECT_EQ(match.value, "");
    EXPECT_EQ(match.end, std::string("<empty></empty>").size());

    const auto codeOf = [&](std::string_view tag) {
        return TagErrorCode([&] { (void)doc.FindTag(tag); });
    };
    EXPECT_EQ(codeOf("empty"), 2);
    EXPECT_EQ(codeOf("<none>"), 3);
    EXPECT_EQ(codeOf("<half>"), 4);
    XMLParse unloaded;
    EXPECT_THROW((void)unloaded.FindTag("<id>"), TagError);

    // A 255-byte tag leaves its closing tag without '>' in the 256-byte buffer.
    const std::string name(253, 'n');
    doc.LoadText("<" + name + ">v</" + name);
    EXPECT_EQ(codeOf("<" + name + ">"), 7);
}

TEST(FindNextTag, VisitsEveryRepeatedElementInOrder) {
    XMLParse doc;
    doc.LoadText("<h>1</h>\r\n<x>a</x><h></h><h>3</h>");
    std::vector<std::string> values;
    std::size_t from = 0;
    while (auto match = doc.FindNextTag("<h>", from)) {
        values.push_back(match->value);
        from = match->end;
    }
    EXPECT_EQ(values, (std::vector<std::string>{"1", "", "3"}));
}

// The index must give FindTagValue's answer for every tag on every text, however the '<' and
// '>' fall: compared on hand-made traps and on many random texts of the few characters that
// matter.
TEST(TagIndex, AnswersAsTheSearchFromTheStartDoes) {
    const std::string longTag = "<" + std::string(kTagNameMax - 3, 'n') + ">";
    const std::vector<std::string_view> tags{"<a>", "<b>", "<ab>", "<a>b>", "<a>", "bad", longTag};
    TagIndex index(tags);
    const auto agrees = [&](std::string_view text) {
        index.Scan(text);
        for (std::size_t which = 0; which < tags.size(); ++which) {
            std::string_view expected, got;
            const int expectedCode = FindTagValue(text, tags[which], expected);
            const int gotCode = index.Value(which, got);
            EXPECT_EQ(gotCode, expectedCode) << "tag " << tags[which] << " in " << text;
            EXPECT_EQ(got, expected) << "tag " << tags[which] << " in " << text;
            EXPECT_TRUE(got.empty() || got.data() >= text.data()) << "a view into the text";
        }
    };
    for (const std::string_view text :
         {"", "<a>x</a>", "<a></a><a>y</a>", "</a><a>x</a>", "<a>x", "<a><<b>1</b></a>",
          "<![CDATA[<ab>in</ab>]]><ab>out</ab>", "<a>b>v</a>b>", "<a>1</a", "<<a>>v</a>",
          "x<a>never closed <b>2</b>", "<a>v</a><a>w</a>"})
        agrees(text);
    agrees(longTag + "long</" + longTag.substr(1));

    std::mt19937 random(20261125);
    std::uniform_int_distribution<int> pick(0, 5);
    std::string text;
    for (int round = 0; round < 20000; ++round) {
        text.clear();
        const int size = round % 24;
        for (int i = 0; i < size; ++i)
            text += "<>/abx"[pick(random)];
        agrees(text);
        if (::testing::Test::HasFailure())
            break;
    }
}

TEST(Load, TurnsNulBytesIntoSpaces) {
    TempDir dir;
    WriteFile(dir / "nul.vtl", std::string("<id>a\0b</id>\0", 13));
    for (bool fast : {false, true}) {
        XMLParse doc;
        ASSERT_EQ(fast ? doc.OpenFastRead(dir / "nul.vtl") : doc.OpenRead(dir / "nul.vtl"), 0);
        ASSERT_EQ(doc.Load(), 0);
        EXPECT_EQ(doc.Text(), "<id>a b</id> ");
    }
}

// Whatever stands under a document's name on a shared disk, opening it returns at once, and
// only a regular file of a document's size is read.
TEST(Load, OnlyRegularFilesOfADocumentsSizeAreRead) {
    TempDir dir;
    const auto fifo = dir / "Pipe.vtl";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    const auto huge = dir / "Huge.vtl";
    {
        std::ofstream(huge) << "<id>x</id>";
        std::filesystem::resize_file(huge, kDocumentSizeMax + 1);  // sparse: costs nothing
    }
    const auto largest = dir / "Largest.vtl";
    {
        std::ofstream(largest) << "<id>big</id>";
        std::filesystem::resize_file(largest, kDocumentSizeMax);
    }
    XMLParse document;
    EXPECT_EQ(document.OpenRead(fifo), kNotRegularFile);
    EXPECT_EQ(document.OpenRead("/dev/zero"), kNotRegularFile);
    EXPECT_EQ(document.OpenRead(dir.path()), kNotRegularFile);
    EXPECT_EQ(document.OpenRead(huge), kFileTooLarge);
    EXPECT_NE(document.OpenFastRead(fifo), 0);
    EXPECT_NE(document.OpenWide(fifo), 0);
    EXPECT_EQ(document.Load(), 1) << "no file open";
    EXPECT_EQ(document.OpenFastRead("/no/such/file.vtl"), ENOENT);
    EXPECT_EQ(document.OpenRead("/no/such/file.vtl"), ENOENT);

    ASSERT_EQ(document.OpenFastRead(largest), 0);
    ASSERT_EQ(document.Load(), 0);
    std::string id;
    EXPECT_EQ(document.GetTag("<id>", id), 0);
    EXPECT_EQ(id, "big");
    EXPECT_EQ(ReadFailureText(kFileTooLarge), "is larger than 32 MiB");
}

// The batched read settles a small regular document, and leaves the rest to the plain read
// without waiting on any of them: a FIFO whose writer never writes holds it no more than one
// without a writer.
TEST(BatchDocumentReader, ReadsSmallDocumentsWholeAndLeavesTheRestToThePlainRead) {
    BatchDocumentReader batch;
    if (!batch.Available())
        GTEST_SKIP() << "io_uring is refused here";
    TempDir dir;
    std::ofstream(dir / "A.vtl") << "<id>A</id>";
    std::ofstream(dir / "Long.vtl") << std::string(100 * 1024, 'x');
    std::ofstream(dir / "Empty.vtl");
    ASSERT_EQ(::mkfifo((dir / "Pipe.vtl").c_str(), 0600), 0);
    ASSERT_EQ(::mkfifo((dir / "Held.vtl").c_str(), 0600), 0);
    const int writer = ::open((dir / "Held.vtl").c_str(), O_RDWR | O_NONBLOCK);
    ASSERT_GE(writer, 0);
    std::filesystem::create_symlink(dir / "A.vtl", dir / "Link.vtl");
    std::filesystem::create_directory(dir / "Folder.vtl");
    const int folder = ::open(dir.path().c_str(), O_RDONLY | O_DIRECTORY);
    ASSERT_GE(folder, 0);
    const char* names[] = {"Long.vtl", "A.vtl",      "Empty.vtl",   "Pipe.vtl", "Held.vtl",
                           "Link.vtl", "Folder.vtl", "Missing.vtl", "A.vtl"};
    batch.Read(folder, names);
    EXPECT_EQ(batch.Document(1), "<id>A</id>");
    EXPECT_EQ(batch.Document(8), "<id>A</id>");
    for (const std::size_t other : {0, 2, 3, 4, 5, 6, 7})
        EXPECT_FALSE(batch.Document(other)) << names[other];
    ::close(writer);
    ::close(folder);
}

TEST(ListFolder, TypesEntriesWithoutFollowingLinks) {
    TempDir dir;
    std::filesystem::create_directory(dir / "Suite");
    std::ofstream(dir / "A.vtl") << "x";
    std::filesystem::create_directory_symlink(".", dir / "Self");
    std::filesystem::create_symlink(dir / "A.vtl", dir / "Link.vtl");
    ASSERT_EQ(::mkfifo((dir / "Pipe.vtl").c_str(), 0600), 0);
    std::vector<FolderEntry> entries;
    ASSERT_EQ(ListFolder(dir.path(), entries), 0);
    std::map<std::string, FolderEntry::Kind> kinds;
    for (const FolderEntry& entry : entries)
        kinds[entry.name] = entry.kind;
    using Kind = FolderEntry::Kind;
    EXPECT_EQ(kinds, (std::map<std::string, Kind>{{"A.vtl", Kind::File},
                                                  {"Link.vtl", Kind::Other},
                                                  {"Pipe.vtl", Kind::Other},
                                                  {"Self", Kind::Other},
                                                  {"Suite", Kind::Folder}}));
    EXPECT_NE(ListFolder(dir / "Self", entries), 0);  // a walk is never led through a link
    EXPECT_NE(ListFolder(dir / "Missing", entries), 0);
}

TEST(Writers, ProduceTheDocumentFormatByteForByte) {
    TempDir dir;
    const auto path = dir / "out.vtl";
    XMLParse doc;
    ASSERT_EQ(doc.OpenWrite(path), 0);
    ASSERT_EQ(doc.WriteHeader(), 0);
    doc.WriteOpenTag("<test_case>");
    doc.WriteField({1, FT_TEXT, "<id>"}, "TC<1>&2");
    doc.WriteField({2, FT_TEXT, "<test_title>"}, "It's a \"tab\"\ttest");
    FieldControl description;
    description.text = "\r\nStep 1\r\n\r\nStep 2\n";
    doc.SaveField({3, FT_RICH_TEXT, "<test_description>"}, description, {});
    doc.WriteField({4, FT_DATE, "<create_date>"}, "20261121");
    doc.SaveField({5, FT_TIME, "<create_time>"}, FieldControl{}, {});
    doc.WriteTag("<notes1>", "");
    doc.WriteTag("<history_entry>", std::nullopt);
    doc.WriteTag("<type>", "ET_NEW");
    doc.WriteCloseTag("<history_entry>");
    doc.WriteCloseTag("<test_case>");
    EXPECT_FALSE(std::filesystem::exists(path)) << "nothing is written before Commit";
    ASSERT_TRUE(doc.Commit().ok());
    EXPECT_EQ(ReadFile(path), ReadFile(VANTOREL_TEST_DATA "/expected_document.vtl"));
}

TEST(Writers, RaiseWithoutAnOpenFileOrWithABadTagAndLeaveTheOldDocumentWithoutACommit) {
    XMLParse doc;
    EXPECT_EQ(doc.WriteHeader(), 1);
    EXPECT_EQ(TagErrorCode([&] { doc.WriteTag("<id>", "x"); }), 1);
    TempDir dir;
    doc.OpenWrite(dir / "x.vtl");
    EXPECT_EQ(TagErrorCode([&] { doc.WriteTag("id", "x"); }), 2);

    // Closed without a commit, the old document stays and nothing else is left.
    doc.Close();
    WriteFile(dir / "a.vtl", "old");
    doc.OpenWrite(dir / "a.vtl");
    doc.WriteTag("<id>", "new");
    doc.Close();
    EXPECT_EQ(ReadFile(dir / "a.vtl"), "old");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);
}

TEST(Patching, ReplaceInsertAndAppendHistoryThenFlush) {
    TempDir dir;
    const auto path = dir / "p.vtl";
    WriteFile(path,
              "<x>\r\n<id>A</id>\r\n<test_status>Fail</test_status>\r\n"
              "<history_entry><n>1</n></history_entry>\r\n"
              "<history_entry><n>2</n></history_entry>\r\n</x>\r\n");
    XMLParse doc;
    ASSERT_EQ(doc.OpenRead(path), 0);
    ASSERT_EQ(doc.Load(), 0);
    doc.ReplaceTag("<test_status>", "Pass");
    doc.InsertAfterTag("<id>", "<priority>", "High");
    doc.AppendHistoryEntry("<n>3</n>");
    ASSERT_EQ(doc.OpenWrite(path), 0);
    ASSERT_EQ(doc.Flush(), 0);
    ASSERT_TRUE(doc.Commit().ok());
    EXPECT_EQ(ReadFile(path),
              "<x>\r\n<id>A</id><priority>High</priority>\r\n<test_status>Pass</test_status>\r\n"
              "<history_entry><n>1</n></history_entry>\r\n"
              "<history_entry><n>2</n></history_entry>\n<history_entry><n>3</n></history_entry>"
              "\r\n</x>\r\n");
}

TEST(Patching, WithoutTheirTagsAppendChangesNothingAndReplaceRaises) {
    XMLParse doc;
    doc.LoadText("<x><id>A</id></x>");
    doc.AppendHistoryEntry("<n>1</n>");
    EXPECT_EQ(doc.Text(), "<x><id>A</id></x>");
    EXPECT_EQ(TagErrorCode([&] { doc.ReplaceTag("<missing>", "A"); }), 3);
    EXPECT_EQ(doc.Flush(), 1) << "no file open for writing";
}

TEST(SetDocumentId, EscapesAndReplacesTheIdOnly) {
    TempDir dir;
    const auto path = dir / "TC1.vtl";
    WriteFile(path,
              "<test_case>\r\n<id>TC1</id>\r\n<test_title>T</test_title>\r\n</test_case>\r\n");
    ASSERT_TRUE(XMLParse::SetDocumentId(path, "copy of TC1 & 'more'").ok());
    EXPECT_EQ(ReadFile(path),
              "<test_case>\r\n<id>copy of TC1 &amp; &apos;more&apos;</id>\r\n"
              "<test_title>T</test_title>\r\n</test_case>\r\n");

    WriteFile(dir / "noid.vtl", "<x></x>");
    IoResult result = XMLParse::SetDocumentId(dir / "noid.vtl", "Y");
    EXPECT_FALSE(result.ok());
    EXPECT_TRUE(testing::Has(result.message, "noid.vtl"));
    EXPECT_EQ(ReadFile(dir / "noid.vtl"), "<x></x>");
}

TEST(RewriteInStandardForm, WritesTheTableFieldsInOrderAndDropsTheRest) {
    TempDir dir;
    const auto path = dir / "TC1.vtl";
    WriteFile(path, "<test_case><test_title>R&amp;D</test_title><junk>x</junk><id>TC1</id>");
    const FieldDescriptor table[] = {{1, FT_HEADER, "<x>"},
                                     {2, FT_TEXT, "<id>"},
                                     {3, FT_TEXT, "<test_title>"},
                                     {4, FT_RICH_TEXT, "<notes1>"},
                                     {-1, FT_TEXT, "<after_the_end>"}};
    ASSERT_TRUE(XMLParse::RewriteInStandardForm(path, "<test_case>", table));
    EXPECT_EQ(ReadFile(path),
              std::string(kDocumentDeclaration) +
                  "<test_case>\r\n<id>TC1</id>\r\n<test_title>R&amp;D</test_title>\r\n"
                  "<notes1></notes1>\r\n</test_case>\r\n");
    EXPECT_FALSE(XMLParse::RewriteInStandardForm(dir / "missing.vtl", "<test_case>", table));
}

TEST(Fields, ReadFieldConvertsForDisplay) {
    XMLParse doc;
    doc.LoadText(
        "<t>a &amp; b</t><r><![CDATA[see www.example.com]]></r><d>20260305</d><p>x&amp;y</p>");
    std::string value;
    EXPECT_EQ(doc.ReadField({1, FT_TEXT, "<t>"}, value), 0);
    EXPECT_EQ(value, "a & b");
    EXPECT_EQ(doc.ReadField({1, FT_RICH_TEXT, "<r>"}, value), 0);
    EXPECT_EQ(value,
              "see <a target=\"_blank\" href=\"http://www.example.com\">www.example.com</a>");
    EXPECT_EQ(doc.ReadField({1, FT_DATE, "<d>"}, value), 0);
    EXPECT_EQ(value, "5-Mar-2026");
    EXPECT_EQ(doc.ReadField({1, FT_PLAIN_TEXT, "<p>"}, value), 0);
    EXPECT_EQ(value, "x&amp;y");
    EXPECT_EQ(doc.ReadField({1, FT_TEXT, "<missing>"}, value), 2);
    EXPECT_EQ(doc.ReadField({1, FT_TEXT, "<t>"}, value, 0), 1);
    EXPECT_EQ(doc.ReadField({1, FT_BLOCK_START, "<t>"}, value), 0);
    EXPECT_EQ(value, "");
}

TEST(Fields, LoadFieldFillsControlsAndHonoursTheMode) {
    XMLParse doc;
    doc.LoadText("<t>a &amp; b</t>");
    FieldControl text;
    EXPECT_TRUE(doc.LoadField({1, FT_TEXT, "<t>"}, text, LoadMode::ReadOnly));
    EXPECT_EQ(text.text, "a & b");
    EXPECT_TRUE(text.readOnly);

    FieldControl missing;
    missing.text = "typed";
    EXPECT_FALSE(doc.LoadField({1, FT_TEXT, "<none>"}, missing, LoadMode::ReadOnly));
    EXPECT_EQ(missing.text, "typed");
    EXPECT_TRUE(missing.readOnly);

    FieldControl leave;
    EXPECT_FALSE(doc.LoadField({1, FT_TEXT, "<t>"}, leave, LoadMode::Leave));
    EXPECT_EQ(leave.text, "");
}

TEST(Fields, PasswordStillMaskedKeepsTheStoredValueOfTheReplacedDocument) {
    TempDir dir;
    const auto path = dir / "tester.vtl";
    WriteFile(path, "<passwd_hash>OLDHASH</passwd_hash>");
    const FieldDescriptor field{1, FT_PASSWORD, "<passwd_hash>"};
    auto encode = [](std::string_view typed) { return "H(" + std::string(typed) + ")"; };

    XMLParse doc;
    doc.OpenRead(path);
    doc.Load();
    FieldControl control;
    doc.LoadField(field, control, LoadMode::Fill);
    doc.OpenWrite(path);
    doc.SaveField(field, control, encode);
    control.text = "secret";
    doc.SaveField(field, control, encode);
    ASSERT_TRUE(doc.Commit().ok());
    EXPECT_EQ(ReadFile(path),
              "<passwd_hash>OLDHASH</passwd_hash>\r\n<passwd_hash>H(secret)</passwd_hash>\r\n");
}

TEST(WideDocument, WritesAndReadsUtf16LittleEndian) {
    TempDir dir;
    const auto path = dir / "Vantorel.cfg";
    XMLParse writer;
    writer.OpenWrite(path);
    writer.WriteWide("<?xml version=\"1.0\" encoding=\"UTF-16\"?>\r\n", true);
    writer.WriteWide("<LastDBPath>/home/zoë/db €</LastDBPath>\r\n");
    ASSERT_TRUE(writer.Commit().ok());
    std::string bytes = ReadFile(path);
    ASSERT_GE(bytes.size(), 4u);
    EXPECT_EQ(bytes.substr(0, 4), std::string("\xFF\xFE<\0", 4));

    XMLParse reader;
    ASSERT_EQ(reader.OpenWide(path), 0);
    ASSERT_EQ(reader.LoadWide(), 0);
    std::string value = "stale";
    reader.GetTagWide("<LastDBPath>", value);
    EXPECT_EQ(value, "/home/zoë/db €");
    reader.GetTagWide("<Missing>", value);
    EXPECT_EQ(value, "");
}

}  // namespace
}  // namespace vantorel
