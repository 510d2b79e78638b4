#include "exchange/testlink_import.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>

#include "documents/field_tables.h"
#include "exchange/testlink_export.h"
#include "storage/tagged_document.h"
#include "support/document_fixture.h"

namespace vantorel::testing {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kExport = R"(<?xml version="1.0" encoding="UTF-8"?>
<testsuite id="" name="">
  <testsuite id="2" name="Shop">
    <details><![CDATA[<p>The shop</p>]]></details>
    <testsuite id="3" name="Cart">
      <testcase internalid="4" name="Add an item">
        <externalid><![CDATA[12]]></externalid>
        <summary><![CDATA[<p>Adds <strong>one</strong> item</p><script>alert(1)</script>]]></summary>
        <preconditions><![CDATA[<p>Signed in</p>]]></preconditions>
        <importance><![CDATA[3]]></importance>
        <execution_type><![CDATA[2]]></execution_type>
        <estimated_exec_duration>90.4</estimated_exec_duration>
        <steps>
          <step><step_number>2</step_number><actions><![CDATA[Pay]]></actions>
            <expectedresults><![CDATA[Paid]]></expectedresults></step>
          <step><step_number>1</step_number><actions><![CDATA[Open <a href="https://shop.example/cart">the cart</a>]]></actions>
            <expectedresults><![CDATA[It opens]]></expectedresults></step>
        </steps>
        <keywords><keyword name="smoke"/><keyword name="cart"/></keywords>
        <custom_fields><custom_field><name>Browser</name><value>Firefox</value></custom_field>
          <custom_field><name>notes field 2</name><value><![CDATA[<p>Ask <b>Ana</b></p>]]></value></custom_field></custom_fields>
        <requirements><requirement><doc_id>REQ-1</doc_id></requirement><requirement><doc_id>REQ-2</doc_id></requirement></requirements>
      </testcase>
    </testsuite>
    <testcase internalid="5" name="Caf&#233; &amp; more"/>
  </testsuite>
</testsuite>
)";

class TestLinkImportTest : public DocumentTest {
protected:
    fs::path Write(std::string_view text) {
        const fs::path file = dir.path() / "export.xml";
        std::ofstream(file, std::ios::binary) << text;
        return file;
    }
    std::optional<CsvImport> Open(std::string_view text, TestLinkOptions options = {}) {
        return OpenTestLinkImport(Write(text), db, custom, options, port);
    }
    const fs::path library = db / "Test Cases";
};

TEST_F(TestLinkImportTest, NestedSuitesBecomeSuitesAndEveryElementFindsItsField) {
    auto import = Open(kExport, {"SHOP"});
    ASSERT_TRUE(import);
    const auto outcome = import->Import({.folder = library}, Context());
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->written, 2u);
    const std::string added = ReadFile(library / "Shop" / "Cart" / "SHOP-12.vtl");
    for (const char* expected :
         {"<test_title>Add an item</test_title>", "<priority>High</priority>",
          "<test_duration>01:30</test_duration>", "<requirement>REQ-1, REQ-2</requirement>",
          "<prerequisites><![CDATA[Signed in]]></prerequisites>",
          "Adds <b>one</b> item<ol><li>Open <a href=\"https://shop.example/cart\">the "
          "cart</a></li><li>Pay</li></ol>",
          "<ol><li>It opens</li><li>Paid</li></ol>", "Keywords: smoke, cart<br>Browser: Firefox",
          "<notes2><![CDATA[Ask <b>Ana</b>]]></notes2>"})
        EXPECT_NE(added.find(expected), std::string::npos) << expected;
    EXPECT_NE(ReadFile(library / "Shop.tgp").find("<![CDATA[The shop]]>"), std::string::npos);
    EXPECT_EQ(added.find("alert"), std::string::npos);
    // No external ID: an automatic one; the accent kept in ISO-8859-1.
    const std::vector<std::string> ids = [&] {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(library / "Shop"))
            if (entry.path().extension() == ".vtl")
                names.push_back(ReadFile(entry.path()));
        return names;
    }();
    ASSERT_EQ(ids.size(), 1u);
    EXPECT_NE(ids[0].find("<test_title>Caf\xe9 &amp; more</test_title>"), std::string::npos);
}

TEST_F(TestLinkImportTest, HostileOrForeignFilesAreRefusedWithTheirPlace) {
    std::string nested;
    for (int level = 0; level < 100000; ++level)
        nested += "<testsuite>";
    const std::pair<std::string, std::string> refused[] = {
        {"<!DOCTYPE t [<!ENTITY a \"aaaa\"><!ENTITY b \"&a;&a;\">]><testsuite>&b;</testsuite>",
         "declares the entity"},
        {"<!DOCTYPE t [<!ENTITY x SYSTEM \"file:///etc/passwd\">]><testsuite>&x;</testsuite>",
         "declares the entity"},
        {nested, "nested more than 256 deep"},
        {"<testsuite name=\"\xff\xfe\"/>", "line 1, column"},
        {"<testsuite><testcase name=\"a\"></testsuite>", "line 1, column"},
        {"<testsuites><testsuite/></testsuites>", "no TestLink export"},
    };
    for (const auto& [text, reason] : refused) {
        port.notices.clear();
        EXPECT_FALSE(Open(text)) << reason;
        ASSERT_EQ(port.notices.size(), 1u);
        EXPECT_NE(port.notices[0].text.find(reason), std::string::npos) << port.notices[0].text;
    }
    EXPECT_TRUE(std::holds_alternative<XmlFault>(ReadXml("<a>12345</a>", {8, 4})));

    // A case whose value ISO-8859-1 can't hold is refused by its line; nothing is written.
    auto import = Open(
        "<testcases>\n<testcase name=\"ok\"/>\n<testcase name=\"5 \xe2\x82\xac\"/>\n"
        "</testcases>");
    ASSERT_TRUE(import);
    const auto refusals = import->Check(library);
    ASSERT_EQ(refusals.size(), 1u);
    EXPECT_EQ(refusals[0].line, 3u);
    EXPECT_FALSE(import->Import({.folder = library}, Context()));
    EXPECT_TRUE(fs::is_empty(library));
}

// Every field of every test case below folder, by its path there, leaving out what an import
// sets anew (dates, times, authors).
std::map<fs::path, std::map<std::string, std::string>> LibraryFields(const fs::path& folder) {
    std::map<fs::path, std::map<std::string, std::string>> cases;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.path().extension() != ".vtl" && entry.path().extension() != ".tgp")
            continue;
        const std::string text = ReadFile(entry.path());
        auto& fields = cases[entry.path().lexically_relative(folder)];
        for (const std::string_view tag : {"<suite_description>"})
            if (std::string_view value; FindTagValue(text, tag, value, 0, nullptr, true) == 0)
                fields[std::string(tag)] = value;
        for (const FieldDescriptor& field : TestCaseFields()) {
            std::string_view value;
            if (field.type != FT_DATE && field.type != FT_TIME &&
                !field.tag.ends_with("user_id>") &&
                FindTagValue(text, field.tag, value, 0, nullptr, true) == 0)
                fields[std::string(field.tag)] = value;
        }
    }
    return cases;
}

TEST_F(TestLinkImportTest, AnExportedLibraryImportsBackIntoAnEmptyOneAsTheSameTestCases) {
    const fs::path sample = dir.path() / "sample";
    fs::copy(VANTOREL_SAMPLE_DB, sample, fs::copy_options::recursive);
    ASSERT_TRUE(custom.Read(sample, port, "bench-7").read);
    // Beside the sample's own: steps, a lone expected result, a priority and type TestLink
    // has words for, and text that XML and CDATA must carry.
    const fs::path cart = sample / "Test Cases" / "Cart" / "CART-001.vtl";
    std::string text = ReadFile(cart);
    auto set = [&text](std::string_view tag, const std::string& value) {
        const std::size_t from = text.find(tag) + tag.size();
        text.replace(from, text.find("</", from) - from, value);
    };
    set("<test_title>", "Caf\xe9 &amp; &quot;cr\xe8me&quot; &lt;b&gt;");
    set("<test_description>",
        "<![CDATA[Open the shop<ol><li>Add <b>one</b> item</li><li>Open the cart</li></ol>]]>");
    set("<test_result>", "<![CDATA[<ol><li>Added</li><li>It shows ]]> one</li></ol>]]>");
    set("<priority>", "Medium");
    set("<requirement>", "REQ-1, REQ-2");
    WriteFile(cart, text);
    const auto before = LibraryFields(sample / "Test Cases");

    const fs::path file = dir.path() / "library.xml";
    const auto written = ExportTestLink({sample / "Test Cases", file}, port);
    ASSERT_TRUE(written) << port.notices.back().text;
    EXPECT_EQ(*written,
              static_cast<std::size_t>(std::ranges::count_if(
                  before, [](const auto& item) { return item.first.extension() == ".vtl"; })));
    const std::string xml = ReadFile(file);
    EXPECT_NE(xml.find("<step_number><![CDATA[2]]></step_number>"), std::string::npos);
    EXPECT_NE(xml.find("<importance><![CDATA[2]]></importance>"), std::string::npos);

    fs::rename(sample / "Test Cases", sample / "Exported");
    fs::create_directory(sample / "Test Cases");
    auto import = OpenTestLinkImport(file, sample, custom, {}, port);
    ASSERT_TRUE(import);
    const auto outcome = import->Import({.folder = sample / "Test Cases"}, Context());
    ASSERT_TRUE(outcome) << port.notices.back().text;
    EXPECT_EQ(outcome->written, *written);
    const auto after = LibraryFields(sample / "Test Cases");
    EXPECT_EQ(after.size(), before.size());
    for (const auto& [item, fields] : before)
        for (const auto& [tag, value] : fields)
            EXPECT_EQ(after.contains(item) ? after.at(item).at(tag) : "(missing)", value)
                << item << " " << tag;

    // A suite alone keeps its name as the top suite.
    ASSERT_TRUE(ExportTestLink({sample / "Test Cases" / "Cart", file}, port));
    EXPECT_NE(ReadFile(file).find("<testsuite name=\"Cart\">"), std::string::npos);
}

}  // namespace
}  // namespace vantorel::testing
