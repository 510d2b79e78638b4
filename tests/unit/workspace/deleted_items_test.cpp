#include "workspace/deleted_items.h"

#include <gtest/gtest.h>

#include <map>

#include "documents/test_group.h"
#include "storage/identifiers.h"
#include "storage/item_listing.h"
#include "support/tree_fixture.h"
#include "workspace/clipboard.h"
#include "workspace/item_transfer.h"

namespace vantorel::testing {
namespace {

namespace fs = std::filesystem;

class DeletedItemsTest : public TreeTest {
protected:
    void SetUp() override {
        TreeTest::SetUp();
        Doc(Suite(login), "TC001");
        Doc(login, "TC002");
        Doc(Suite(login / "deep"), "TC003");
    }

    // Every file and folder below the database but the bin, with its bytes.
    std::map<std::string, std::string> Files() const {
        std::map<std::string, std::string> files;
        for (const auto& entry : fs::recursive_directory_iterator(db)) {
            const std::string relative = entry.path().lexically_relative(db).generic_string();
            if (!relative.starts_with(kBinFolder))
                files[relative] = entry.is_directory() ? "<folder>" : ReadFile(entry.path());
        }
        return files;
    }

    bool Delete(const fs::path& item) {
        port.ScriptAnswers({true});
        return DeleteItem(db, Node(item), "dana", port).deleted;
    }

    const fs::path library = db / "Test Cases";
    const fs::path login = library / "login";
};

TEST_F(DeletedItemsTest, DeleteThenRestoreGivesBackTheSameFiles) {
    for (const fs::path& item : {login, login / "TC002.vtl"}) {
        SCOPED_TRACE(item.string());
        const auto before = Files();
        ASSERT_TRUE(Delete(item));
        EXPECT_FALSE(fs::exists(item));
        EXPECT_FALSE(fs::exists(item.string() + ".tgp"));

        const std::vector<DeletedItem> bin = ListBin(db);
        ASSERT_EQ(bin.size(), 1u);
        EXPECT_EQ(bin[0].oldPlace, item.lexically_relative(db));
        EXPECT_EQ(bin[0].kind, Node(item).kind);
        EXPECT_EQ(bin[0].deletedBy, "dana");

        const RestoreResult restored = RestoreDeletedItems(db, bin, port);
        EXPECT_EQ(restored.restored, std::vector<fs::path>{item});
        EXPECT_TRUE(restored.needPlace.empty());
        EXPECT_EQ(Files(), before);  // the mark is gone with the entry
        EXPECT_TRUE(ListBin(db).empty());
    }
}

TEST_F(DeletedItemsTest, ConfirmationSaysWhatGoes) {
    EXPECT_EQ(DescribeDeletion(Node(login)), "login: 3 test cases, 1 sub-suite");
    EXPECT_EQ(DescribeDeletion(Node(login / "deep")), "deep: 1 test case");
    EXPECT_EQ(DescribeDeletion(Node(login / "TC001.vtl")), "TC001");
    fs::create_directories(login / "empty");
    EXPECT_EQ(DescribeDeletion(Node(login / "empty")), "empty: no test cases");
}

TEST_F(DeletedItemsTest, NamesStayTakenWhileInTheBin) {
    ASSERT_TRUE(Delete(login / "TC002.vtl"));
    ASSERT_TRUE(Delete(login / "deep"));

    EXPECT_TRUE(IdentifierTaken(login, "tc002"));
    EXPECT_TRUE(GroupNameTaken(login, "Deep"));
    // The next automatic identifier doesn't hand out the deleted one's number again.
    EXPECT_EQ(GetIncrementalID(login, "TC", port)->Id(), "TC003");
    // No walk takes the mark for an item.
    ItemListing items;
    ListItems(login, items);
    EXPECT_EQ(items.documents.size(), 1u);
    EXPECT_EQ(items.binned, (std::vector<std::string>{"TC002.vtl", "deep"}));

    EXPECT_FALSE(RenameItem(Node(login / "TC001.vtl"), "tc002", "", port));
    EXPECT_EQ(port.notices.back().caption, "Rename Error");
    const fs::path other = Doc(Suite(library / "other"), "TC002");
    Clipboard clipboard;
    clipboard.Copy({Node(other)}, port);
    EXPECT_FALSE(PlanPaste(clipboard, Node(login), port));
    EXPECT_EQ(port.notices.back().caption, "Unable to paste file");
    EXPECT_FALSE(PlanMove(Node(other), Node(login), port));

    // Deleted for good, the names are free again.
    port.ScriptAnswers({true});
    EXPECT_TRUE(PurgeDeletedItems(db, ListBin(db), port));
    EXPECT_FALSE(IdentifierTaken(login, "TC002"));
    EXPECT_FALSE(GroupNameTaken(login, "deep"));
    EXPECT_TRUE(ListBin(db).empty());
}

TEST_F(DeletedItemsTest, AnItemWhoseFolderIsGoneGoesWhereTheUserSays) {
    ASSERT_TRUE(Delete(login / "TC002.vtl"));
    Doc(login, "TC002x");
    ASSERT_TRUE(Delete(login));
    // Two deletes of one name from two folders are two entries.
    Doc(Suite(library / "other"), "TC002");
    ASSERT_TRUE(Delete(library / "other" / "TC002.vtl"));
    std::vector<DeletedItem> bin = ListBin(db);
    ASSERT_EQ(bin.size(), 3u);
    const DeletedItem document = bin[2];  // the oldest: login's TC002
    ASSERT_EQ(document.oldPlace, fs::path("Test Cases/login/TC002.vtl"));

    const RestoreResult result = RestoreDeletedItems(db, {document}, port);
    EXPECT_TRUE(result.restored.empty());
    ASSERT_EQ(result.needPlace, std::vector<DeletedItem>{document});

    // The other folder keeps the name for its own deleted TC002, and testers hold no test case.
    EXPECT_FALSE(RestoreDeletedItemInto(db, document, library / "other", port));
    EXPECT_FALSE(RestoreDeletedItemInto(db, document, db / "Testers", port));
    Suite(library / "third");
    EXPECT_EQ(RestoreDeletedItemInto(db, document, library / "third", port),
              library / "third" / "TC002.vtl");
    EXPECT_EQ(ListBin(db).size(), 2u);
}

TEST_F(DeletedItemsTest, AMarkKeepsNoNameOnceItsItemLeftTheBin) {
    ASSERT_TRUE(Delete(login / "TC002.vtl"));
    // The mark goes along with its renamed folder, and holds while the item is in the bin.
    ASSERT_TRUE(RenameItem(Node(login), "signin", "", port));
    const fs::path signin = library / "signin";
    EXPECT_TRUE(IdentifierTaken(signin, "TC002"));
    ASSERT_EQ(RestoreDeletedItems(db, ListBin(db), port).needPlace.size(), 1u);
    ASSERT_TRUE(RestoreDeletedItemInto(db, ListBin(db).front(), Suite(library / "third"), port));
    EXPECT_FALSE(IdentifierTaken(signin, "TC002"));
    EXPECT_EQ(GetIncrementalID(signin, "TC", port)->Id(), "TC002");
}

TEST_F(DeletedItemsTest, EmptyAsksThenDeletesEverythingForGood) {
    ASSERT_TRUE(Delete(login / "TC001.vtl"));
    ASSERT_TRUE(Delete(login));
    port.ScriptAnswers({false});
    EXPECT_FALSE(EmptyBin(db, port));
    EXPECT_EQ(ListBin(db).size(), 2u);
    port.ScriptAnswers({true});
    EXPECT_TRUE(EmptyBin(db, port));
    EXPECT_TRUE(ListBin(db).empty());
    EXPECT_TRUE(fs::is_empty(db / kBinFolder));
    EXPECT_FALSE(GroupNameTaken(library, "login"));
}

}  // namespace
}  // namespace vantorel::testing
