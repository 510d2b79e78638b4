#pragma once
// Folders of test cases: a suite of the library (TestGroup), a suite inside a project
// (PrjTestGroup) and the project itself (Project). Each folder is described by a ".tgp"
// document, written beside the folder as the folder's path plus ".tgp"; one found inside the
// folder under the folder's name is read as well, so databases made either way open.

#include <filesystem>
#include <memory>
#include <optional>

#include "documents/item_editor.h"

namespace vantorel {

const ItemKind& TestGroupKind();
const ItemKind& PrjTestGroupKind();
const ItemKind& ProjectKind();

inline constexpr std::string_view kGroupExtension = ".tgp";
inline constexpr std::string_view kProjectTestCasesFolder = "Project Test Cases";
inline constexpr std::string_view kProjectReportsFolder = "Project Reports";
inline constexpr std::string_view kReportFolders[] = {"Status Reports", "Progress Reports",
                                                      "Test Case Reports", "Test List Reports"};

// Where a folder's description stands beside it ("Login.tgp" next to "Login"), whether or
// not it is there.
std::filesystem::path DescriptionPathBeside(const std::filesystem::path& folder);
// That description, when there is one.
std::optional<std::filesystem::path> DescriptionBeside(const std::filesystem::path& folder);
// The ".tgp" document of a suite or project folder: beside it, else inside it; when there is
// none yet, where it is to be written (beside).
std::filesystem::path GroupDocumentPath(const std::filesystem::path& folder);

// True when parent holds a folder or group document named id, or the bin holds a suite deleted
// from parent under that name, ignoring letter case.
bool GroupNameTaken(const std::filesystem::path& parent, std::string_view id);

// The folder a ".tgp" document describes.
std::filesystem::path GroupFolderOf(const std::filesystem::path& document);

struct ProjectDates {
    std::optional<CalendarDate> plannedStart, actualStart, plannedEnd, actualEnd;
};
// The dates of the project in projectFolder; unset where the document has none.
ProjectDates ReadProjectDates(const std::filesystem::path& projectFolder);

// A suite of the library or of a project.
class TestGroup : public ItemEditor {
public:
    // Locks and loads the suite of folder; null after telling the user.
    static std::unique_ptr<TestGroup> Edit(const std::filesystem::path& folder,
                                           EditorContext context);
    // A new suite inside parent; its folder and document are made by Save.
    static std::unique_ptr<TestGroup> New(const std::filesystem::path& parent,
                                          EditorContext context);

    [[nodiscard]] std::optional<SaveRefusal> Save() override;

protected:
    using ItemEditor::ItemEditor;
    // Blanks and dots around the ID are dropped, with a notice; refused when nothing is left.
    std::optional<SaveRefusal> TrimIdentifier();
    // Refused when the parent folder holds a folder or group document of the ID's name.
    std::optional<SaveRefusal> CheckSiblingFree();
    void KeepIdentifier();
    // Makes the folder of a new group and writes its document; a failure removes what was
    // made. folderFailure is told when the folder can't be made.
    std::optional<SaveRefusal> CreateGroup(const Notice& folderFailure,
                                           const std::vector<std::string>& subfolders);
};

// A suite inside a project's "Project Test Cases" tree: the same document, its own page.
class PrjTestGroup : public TestGroup {
public:
    static std::unique_ptr<PrjTestGroup> Edit(const std::filesystem::path& folder,
                                              EditorContext context);
    static std::unique_ptr<PrjTestGroup> New(const std::filesystem::path& parent,
                                             EditorContext context);

private:
    using TestGroup::TestGroup;
};

class Project : public TestGroup {
public:
    static std::unique_ptr<Project> Edit(const std::filesystem::path& folder,
                                         EditorContext context);
    // A new project inside projectsFolder (the database's "Projects").
    static std::unique_ptr<Project> New(const std::filesystem::path& projectsFolder,
                                        EditorContext context);

    [[nodiscard]] std::optional<SaveRefusal> Save() override;

private:
    using TestGroup::TestGroup;
    // The report and test case folders need room below the path limit; close to it, the user
    // is asked, and a No refuses with the question.
    std::optional<SaveRefusal> CheckSubfolderRoom();
    std::optional<SaveRefusal> CheckDates();
};

}  // namespace vantorel
