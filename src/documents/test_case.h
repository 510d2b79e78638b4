#pragma once
// TestCase: an entry of the library of test cases, what is to be tested and how, without any
// result. Project test cases are made from it.

#include <memory>

#include "documents/item_editor.h"

namespace vantorel {

const ItemKind& TestCaseKind();

class TestCase : public ItemEditor {
public:
    // Locks and loads the test case at path; null after telling the user.
    static std::unique_ptr<TestCase> Edit(const std::filesystem::path& path, EditorContext context);
    // A new test case in folder with the database's defaults and, when automaticId, the next
    // automatic ID (else the ID is typed).
    static std::unique_ptr<TestCase> New(const std::filesystem::path& folder, EditorContext context,
                                         bool automaticId = true);

private:
    using ItemEditor::ItemEditor;
    std::optional<SaveRefusal> ValidateFields() override;
    void PrepareSave(const LocalMoment& now) override;
    // The whole library: its "Test Cases" folder.
    std::optional<std::filesystem::path> IdentifierScope() const override;
};

}  // namespace vantorel
