#include "documents/test_case.h"

#include "documents/custom_cfg.h"
#include "documents/field_tables.h"

namespace vantorel {

const ItemKind& TestCaseKind() {
    static const ItemKind kind{
        "<test_case>",
        TestCaseFields(),
        "Test Case",
        1,
        "TC",
        {.idMandatory = "Error: 'Test ID' field is mandatory.\nID must be between 1 and %d "
                        "characters in length.\n",
         .idTooLong = "Error: 'Test ID' field is too long. \nID must be between 1 and %d "
                      "characters in length.\n",
         .idCaption = "Invalid Test ID",
         .idInvalid = "Error: 'Test ID' contains invalid characters.\nThe following characters "
                      "are not allowed \\ / : * ? \" < > |\n",
         .idExists = "Error: The Test ID you are trying to use already exists.\nTry again with a "
                     "unique Test ID\n",
         .pathTooLong = "Error: The combined path and filename for this test case will exceed "
                        "the windows limit of 260.\nPlease decrease the ID length or path length "
                        "to the database.\n",
         .newPathTooLong = "Unable to create new test case as the path and filename exceed the "
                           "Windows limit of 260 characters.",
         .openIdTooLong = "Test-ID is greater than %d charactes in length.\n\nThe Test-ID field "
                          "has been enabled for editing, please change the Test-ID to less than "
                          "%d characters.",
         .openIdTooLongCaption = "Test-ID field too long",
         .asksBeforeDiscard = true},
        "Test_Cases.htm"};
    return kind;
}

std::unique_ptr<TestCase> TestCase::Edit(const std::filesystem::path& path, EditorContext context) {
    return Opened(std::unique_ptr<TestCase>(new TestCase(TestCaseKind(), std::move(context))),
                  path);
}

std::unique_ptr<TestCase> TestCase::New(const std::filesystem::path& folder, EditorContext context,
                                        bool automaticId) {
    auto editor =
        Started(std::unique_ptr<TestCase>(new TestCase(TestCaseKind(), std::move(context))), folder,
                automaticId);
    if (!editor)
        return nullptr;
    const CustomTables& custom = editor->m_context.custom.Tables();
    auto duration = ParseDuration(custom.defaults.expectedDuration);
    editor->Control("<test_duration>").text = StoredDuration(duration.value_or(Duration{}));
    if (!custom.types.empty())
        editor->Control("<test_type>").text = custom.types.front();
    if (!custom.phases.empty())
        editor->Control("<test_phase>").text = custom.phases.front();
    editor->Control("<priority>").text = "Medium";
    editor->AcceptAsLoaded();
    return editor;
}

std::optional<SaveRefusal> TestCase::ValidateFields() {
    return CheckDuration("<test_duration>", "Expected Duration", "Invalid Expected Duration");
}

void TestCase::PrepareSave(const LocalMoment& now) {
    StampAutomaticFields(now);
}

std::optional<std::filesystem::path> TestCase::IdentifierScope() const {
    return TestCaseIdScope(Folder(), false);
}

}  // namespace vantorel
