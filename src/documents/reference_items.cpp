#include "documents/reference_items.h"

#include <algorithm>

#include "documents/field_tables.h"
#include "storage/file_reading.h"
#include "storage/identifiers.h"
#include "storage/item_listing.h"

namespace vantorel {
namespace {

// The three kinds differ only in their nouns; the texts are built once from them.
struct ReferenceNouns {
    std::string_view idName;    // "Test configuration ID"
    std::string_view pathNoun;  // "configuration"
    std::string_view openName;  // "Configuration ID"
};

struct ReferenceTexts {
    explicit ReferenceTexts(const ReferenceNouns& nouns) {
        const std::string id(nouns.idName), noun(nouns.pathNoun), open(nouns.openName);
        idMandatory = "Error: '" + id +
                      "' field is mandatory.\nID must be between 1 and %d characters in length.\n";
        idTooLong = "Error: '" + id +
                    "' field is too long.\nID must be between 1 and %d characters in length.\n";
        idCaption = "Invalid " + id;
        idInvalid = "Error: '" + id +
                    "' contains invalid characters.\nThe following characters are not allowed "
                    "\\ / : * ? \" < > |\n";
        idExists = "Error: The " + id +
                   " you are trying to use already exists.\nTry again with a "
                   "unique " +
                   id + "\n";
        pathTooLong = "Error: The combined path and filename for this " + noun +
                      " will exceed the windows limit of 260.\nPlease decrease the ID length or "
                      "path length to the database.\n";
        openIdTooLong = open + " is greater than %d charactes in length.\n\nThe " + open +
                        " field has been enabled for editing, please change the " + open +
                        " to less than %d characters.";
        openIdTooLongCaption = open + " field too long";
    }

    ItemTexts Texts(std::string_view renameClashCaption) const {
        return {.idMandatory = idMandatory,
                .idTooLong = idTooLong,
                .idCaption = idCaption,
                .idInvalid = idInvalid,
                .idExists = idExists,
                .pathTooLong = pathTooLong,
                .openIdTooLong = openIdTooLong,
                .openIdTooLongCaption = openIdTooLongCaption,
                .renameClashCaption = renameClashCaption,
                .pathBeforeExists = false,
                .openFailure = "Unable to open file for editing.\n%s"};
    }

    std::string idMandatory, idTooLong, idCaption, idInvalid, idExists, pathTooLong, openIdTooLong,
        openIdTooLongCaption;
};

}  // namespace

std::vector<TesterEntry> ListTesters(const std::filesystem::path& databaseDir) {
    std::vector<std::filesystem::path> documents;
    ItemListing items;
    ListItems(databaseDir / "Testers", items);
    for (const FolderEntry& entry : items.documents)
        documents.push_back(databaseDir / "Testers" / entry.name);
    std::sort(documents.begin(), documents.end());
    std::vector<TesterEntry> testers;
    for (const auto& path : documents) {
        XMLParse doc;
        if (doc.OpenFastRead(path) != 0 || doc.Load() != 0)
            continue;
        TesterEntry tester;
        doc.ReadField(TesterFields()[0], tester.id);
        doc.ReadField(TesterFields()[1], tester.name);
        testers.push_back(std::move(tester));
    }
    return testers;
}

const ItemKind& TestCfgKind() {
    static const ReferenceTexts texts(
        {"Test configuration ID", "configuration", "Configuration ID"});
    static const ItemKind kind{"<test_config>",
                               TestCfgFields(),
                               "Test Configuration",
                               1,
                               "CFG",
                               texts.Texts("Error: File already exists"),
                               "test_configurations.htm"};
    return kind;
}

const ItemKind& TestResourceKind() {
    static const ReferenceTexts texts({"Resource ID", "resource", "Resource ID"});
    // The caption of this kind lacks the blank after "Error:" in every release.
    static const ItemKind kind{"<test_resource>",
                               TestResourceFields(),
                               "Test Resource",
                               1,
                               "RES",
                               texts.Texts("Error:File already exists"),
                               "resources.htm"};
    return kind;
}

const ItemKind& TesterKind() {
    static const ReferenceTexts texts({"Tester ID", "tester", "Tester ID"});
    static const ItemKind kind{"<tester>",         TesterFields(),
                               "Test Team Member", 1,
                               "TESTER",           texts.Texts("Error: File already exists"),
                               "Testers.htm"};
    return kind;
}

std::unique_ptr<TestCfg> TestCfg::Edit(const std::filesystem::path& path, EditorContext context) {
    return Opened(std::unique_ptr<TestCfg>(new TestCfg(TestCfgKind(), std::move(context))), path);
}

std::unique_ptr<TestCfg> TestCfg::New(const std::filesystem::path& folder, EditorContext context,
                                      bool automaticId) {
    return Started(std::unique_ptr<TestCfg>(new TestCfg(TestCfgKind(), std::move(context))), folder,
                   automaticId);
}

std::unique_ptr<TestResource> TestResource::Edit(const std::filesystem::path& path,
                                                 EditorContext context) {
    return Opened(
        std::unique_ptr<TestResource>(new TestResource(TestResourceKind(), std::move(context))),
        path);
}

std::unique_ptr<TestResource> TestResource::New(const std::filesystem::path& folder,
                                                EditorContext context, bool automaticId) {
    return Started(
        std::unique_ptr<TestResource>(new TestResource(TestResourceKind(), std::move(context))),
        folder, automaticId);
}

std::unique_ptr<Tester> Tester::Edit(const std::filesystem::path& path, EditorContext context) {
    auto editor =
        Opened(std::unique_ptr<Tester>(new Tester(TesterKind(), std::move(context))), path);
    if (editor)
        editor->passwordRepeat = editor->Password();
    return editor;
}

std::unique_ptr<Tester> Tester::New(const std::filesystem::path& folder, EditorContext context,
                                    bool automaticId) {
    return Started(std::unique_ptr<Tester>(new Tester(TesterKind(), std::move(context))), folder,
                   automaticId);
}

bool Tester::CanEditSelection(std::size_t selected, UserPort& port) {
    if (selected <= 1)
        return true;
    port.tell({"Only a single Tester can be edited at a time", "Edit Error", Icon::Warning});
    return false;
}

std::optional<SaveRefusal> Tester::ValidateFields() {
    const std::string& password = Password();
    const std::size_t passwordRow = Row("<passwd_hash>");
    if (Control("<remote_user>").checked && password.empty())
        return Refuse({"Error: You have selected to use remote access but have not entered "
                       "a password\nPlease enter a password.",
                       "No password", Icon::Warning},
                      passwordRow);
    if (password != passwordRepeat)
        return Refuse({"Error: The passwords you typed did not match.\nPlease re-enter the "
                       "passwords.",
                       "Passwords did not match", Icon::Warning},
                      passwordRow);
    if (std::any_of(password.begin(), password.end(),
                    [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }))
        return Refuse({"Error: The password you typed has control characters (such as tab) "
                       "in it.\nPlease re-enter the password without control characters.",
                       "Passwords has invalid characters", Icon::Warning},
                      passwordRow);
    return std::nullopt;
}

}  // namespace vantorel
