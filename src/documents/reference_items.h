#pragma once
// The small items test cases name by text: test configurations, test resources and testers.
// A tester also carries the privileges and password of remote access; the password is kept
// only as an Argon2id hash.

#include <memory>

#include "documents/item_editor.h"

namespace vantorel {

const ItemKind& TestCfgKind();
const ItemKind& TestResourceKind();
const ItemKind& TesterKind();

struct TesterEntry {
    std::string id;
    std::string name;
};
// The testers of the database, in file name order.
std::vector<TesterEntry> ListTesters(const std::filesystem::path& databaseDir);

// New items take the next automatic ID when automaticId, else the ID is typed.
class TestCfg : public ItemEditor {
public:
    static std::unique_ptr<TestCfg> Edit(const std::filesystem::path& path, EditorContext context);
    static std::unique_ptr<TestCfg> New(const std::filesystem::path& folder, EditorContext context,
                                        bool automaticId = true);

private:
    using ItemEditor::ItemEditor;
};

class TestResource : public ItemEditor {
public:
    static std::unique_ptr<TestResource> Edit(const std::filesystem::path& path,
                                              EditorContext context);
    static std::unique_ptr<TestResource> New(const std::filesystem::path& folder,
                                             EditorContext context, bool automaticId = true);

private:
    using ItemEditor::ItemEditor;
};

class Tester : public ItemEditor {
public:
    static std::unique_ptr<Tester> Edit(const std::filesystem::path& path, EditorContext context);
    static std::unique_ptr<Tester> New(const std::filesystem::path& folder, EditorContext context,
                                       bool automaticId = true);
    // Testers are edited one at a time; false after telling the user when more are selected.
    static bool CanEditSelection(std::size_t selected, UserPort& port);

    // The password box and its repetition. A tester that has a password shows the mask in
    // both; saving with the mask left in place keeps the stored hash.
    std::string& Password() { return Control("<passwd_hash>").text; }
    std::string passwordRepeat;

private:
    using ItemEditor::ItemEditor;
    std::optional<SaveRefusal> ValidateFields() override;
};

}  // namespace vantorel
