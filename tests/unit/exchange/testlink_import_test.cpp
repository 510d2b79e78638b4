#include "exchange/testlink_import.h"

#include <gtest/gtest.h>

#include <fstream>

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
        <custom_fields><custom_field><name>Browser</name><value>Firefox</value></custom_field></custom_fields>
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
          "<ol><li>It opens</li><li>Paid</li></ol>", "Keywords: smoke, cart<br>Browser: Firefox"})
        EXPECT_NE(added.find(expected), std::string::npos) << expected;
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

}  // namespace
}  // namespace vantorel::testing
