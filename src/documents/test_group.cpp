#include "documents/test_group.h"

#include <strings.h>

#include "documents/field_tables.h"
#include "storage/item_listing.h"
#include "storage/tagged_document.h"

namespace vantorel {
namespace {

ItemTexts SuiteTexts() {
    return {.idMandatory =
                "Error: 'Test suite ID' field is mandatory.\nID must be between 1 and "
                "%d characters in length.\n",
            .idTooLong =
                "Error: 'Test suite ID' field is too long.\nID must be between 1 and %d "
                "characters in length.\n",
            .idCaption = "Invalid Test suite ID",
            .idInvalid =
                "Error: 'Test suite ID' contains invalid characters.\nThe following "
                "characters are not allowed \\ / : * ? \" < > |\n",
            .idExists =
                "Error: The Test suite ID you are trying to use already exists.\nTry "
                "again with a unique Test suite ID\n",
            .pathTooLong = {},
            .openIdTooLong =
                "Test Suite ID is greater than %d charactes in length.\n\nPlease "
                "rename the Test Suite to less than %d characters.",
            .openIdTooLongCaption = "Test Suite ID field too long",
            .openEnablesId = false,
            .openFailure = "Unable to open file for editing.\n%s"};
}

bool Before(const std::optional<CalendarDate>& end, const std::optional<CalendarDate>& start) {
    return end && start &&
           std::tuple(end->year, end->month, end->day) <
               std::tuple(start->year, start->month, start->day);
}

}  // namespace

bool GroupNameTaken(const std::filesystem::path& parent, std::string_view id) {
    const std::string withExtension = std::string(id) + std::string(kGroupExtension);
    // A suite in the bin keeps its name in the folder it was deleted from.
    const std::string binned = BinMarkName(id);
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(parent, error)) {
        const std::string name = entry.path().filename().string();
        if (strcasecmp(name.c_str(), std::string(id).c_str()) == 0 ||
            strcasecmp(name.c_str(), withExtension.c_str()) == 0)
            return true;
        if (strcasecmp(name.c_str(), binned.c_str()) == 0 &&
            BinHolds(parent, *BinnedItemName(name)))
            return true;
    }
    return false;
}

const ItemKind& TestGroupKind() {
    static const ItemKind kind{"<test_suite>",
                               TestSuiteFields(),
                               "Test Group",
                               1,
                               "",
                               SuiteTexts(),
                               "Projects_and_Test_Suites.htm"};
    return kind;
}

// A project's suite is the same document with the same rules; only its page differs.
const ItemKind& PrjTestGroupKind() {
    return TestGroupKind();
}

const ItemKind& ProjectKind() {
    static const ItemKind kind{
        "<project>",
        ProjectFields(),
        "Project Test Plan",
        2,
        "",
        {.idMandatory = "Error: 'Project ID' field is mandatory.\nID must be between 1 and %d "
                        "characters in length.\n",
         // The doubled "Error: '" has always been part of this text.
         .idTooLong = "Error: 'Error: 'Project ID' field is too long.\nID must be between 1 and "
                      "%d characters in length.\n",
         .idCaption = "Invalid Project ID",
         .idInvalid = "Error: 'Project ID' contains invalid characters.\nThe following "
                      "characters are not allowed \\ / : * ? \" < > |\n",
         .idExists = "Error: The Project ID you are trying to use already exists.\nTry again "
                     "with a Project Test ID\n",
         .pathTooLong = {},
         .openIdTooLong = "Project ID is greater than %d charactes in length.\n\nPlease rename "
                          "the project to less than %d characters.",
         .openIdTooLongCaption = "Project ID field too long",
         .openEnablesId = false,
         .openFailure = "Unable to open file for editing.\n%s"},
        "Projects_and_Test_Suites.htm"};
    return kind;
}

std::filesystem::path DescriptionPathBeside(const std::filesystem::path& folder) {
    std::filesystem::path beside = folder;
    beside += kGroupExtension;
    return beside;
}

std::optional<std::filesystem::path> DescriptionBeside(const std::filesystem::path& folder) {
    std::filesystem::path beside = DescriptionPathBeside(folder);
    std::error_code error;
    return std::filesystem::exists(beside, error) ? std::optional(std::move(beside)) : std::nullopt;
}

std::filesystem::path GroupDocumentPath(const std::filesystem::path& folder) {
    if (std::optional<std::filesystem::path> beside = DescriptionBeside(folder))
        return *beside;
    std::error_code error;
    const std::filesystem::path inside = DescriptionPathBeside(folder / folder.filename());
    return std::filesystem::exists(inside, error) ? inside : DescriptionPathBeside(folder);
}

std::filesystem::path GroupFolderOf(const std::filesystem::path& document) {
    std::filesystem::path folder = document;
    folder.replace_extension();
    // A document kept inside its folder carries the folder's name.
    std::error_code error;
    if (document.parent_path().filename() == folder.filename() &&
        !std::filesystem::is_directory(folder, error))
        return document.parent_path();
    return folder;
}

ProjectDates ReadProjectDates(const std::filesystem::path& projectFolder) {
    ProjectDates dates;
    XMLParse doc;
    if (doc.OpenFastRead(GroupDocumentPath(projectFolder)) != 0 || doc.Load() != 0)
        return dates;
    auto read = [&doc](std::string_view tag) {
        std::string value;
        return doc.GetTag(tag, value) == 0 ? ParseStoredDate(value) : std::nullopt;
    };
    dates.plannedStart = read("<planned_start_date>");
    dates.actualStart = read("<actual_start_date>");
    dates.plannedEnd = read("<planned_end_date>");
    dates.actualEnd = read("<actual_end_date>");
    return dates;
}

std::unique_ptr<TestGroup> TestGroup::Edit(const std::filesystem::path& folder,
                                           EditorContext context) {
    return Opened(std::unique_ptr<TestGroup>(new TestGroup(TestGroupKind(), std::move(context))),
                  GroupDocumentPath(folder));
}

std::unique_ptr<TestGroup> TestGroup::New(const std::filesystem::path& parent,
                                          EditorContext context) {
    return Started(std::unique_ptr<TestGroup>(new TestGroup(TestGroupKind(), std::move(context))),
                   parent, false);
}

std::unique_ptr<PrjTestGroup> PrjTestGroup::Edit(const std::filesystem::path& folder,
                                                 EditorContext context) {
    return Opened(
        std::unique_ptr<PrjTestGroup>(new PrjTestGroup(PrjTestGroupKind(), std::move(context))),
        GroupDocumentPath(folder));
}

std::unique_ptr<PrjTestGroup> PrjTestGroup::New(const std::filesystem::path& parent,
                                                EditorContext context) {
    return Started(
        std::unique_ptr<PrjTestGroup>(new PrjTestGroup(PrjTestGroupKind(), std::move(context))),
        parent, false);
}

std::unique_ptr<Project> Project::Edit(const std::filesystem::path& folder, EditorContext context) {
    return Opened(std::unique_ptr<Project>(new Project(ProjectKind(), std::move(context))),
                  GroupDocumentPath(folder));
}

std::unique_ptr<Project> Project::New(const std::filesystem::path& projectsFolder,
                                      EditorContext context) {
    return Started(std::unique_ptr<Project>(new Project(ProjectKind(), std::move(context))),
                   projectsFolder, false);
}

std::optional<SaveRefusal> TestGroup::TrimIdentifier() {
    std::string& id = controls[kIdRow].text;
    const std::size_t first = id.find_first_not_of(" .");
    const std::string trimmed = first == std::string::npos
                                    ? std::string()
                                    : id.substr(first, id.find_last_not_of(" .") - first + 1);
    if (trimmed.empty())
        return Refuse({"There are no valid characters left in the ID", "Invalid ID", Icon::Warning},
                      kIdRow);
    if (trimmed != id) {
        id = trimmed;
        m_context.port.tell({FillMessage("Warning: Trailing and Leading \" \" and \".\" have been "
                                         "removed from the ID.\nNew ID is %s",
                                         {id}),
                             "Characters removed", Icon::Warning});
    }
    return std::nullopt;
}

std::optional<SaveRefusal> TestGroup::CheckSiblingFree() {
    if (!GroupNameTaken(Folder(), controls[kIdRow].text))
        return std::nullopt;
    return Refuse({std::string(m_kind.texts.idExists), "ID already exists", Icon::Warning}, kIdRow);
}

std::optional<SaveRefusal> TestGroup::CreateGroup(const Notice& folderFailure,
                                                  const std::vector<std::string>& subfolders) {
    const std::filesystem::path folder = Folder() / controls[kIdRow].text;
    std::error_code error;
    if (!std::filesystem::create_directory(folder, error))
        return Refuse(folderFailure, std::nullopt);
    for (const std::string& subfolder : subfolders) {
        if (!std::filesystem::create_directories(folder / subfolder, error)) {
            SaveRefusal refusal =
                Refuse({"Unable to create folder\n" + (folder / subfolder).string(),
                        "Unable to create folder", Icon::Warning},
                       std::nullopt);
            std::filesystem::remove_all(folder, error);
            return refusal;
        }
    }
    std::optional<SaveRefusal> refusal = WriteDocument(DescriptionPathBeside(folder));
    if (refusal)
        std::filesystem::remove_all(folder, error);
    return refusal;
}

void TestGroup::KeepIdentifier() {
    // A folder's ID changes only by renaming it in the tree, which moves everything below.
    controls[kIdRow] = LoadedControls()[kIdRow];
}

std::optional<SaveRefusal> TestGroup::Save() {
    if (!IsNew()) {
        KeepIdentifier();
        return WriteDocument(Path());
    }
    if (auto refusal = CheckIdentifierText())
        return refusal;
    if (auto refusal = TrimIdentifier())
        return refusal;
    if (auto refusal = CheckSiblingFree())
        return refusal;
    return CreateGroup(
        {"Unable to create test suite\n" + (Folder() / controls[kIdRow].text).string(),
         "Unable to create test suite", Icon::Warning},
        {});
}

std::optional<SaveRefusal> Project::CheckSubfolderRoom() {
    const std::size_t room = Folder().string().size() + controls[kIdRow].text.size() + 32;
    if (room > kPathMax)
        return Refuse({"Error: Project cannot be created because the sub directories "
                       "created for reports and test cases\nwill excced the Windows path "
                       "legnth of 260 characters\n",
                       "Path too long", Icon::Warning},
                      kIdRow);
    if (room <= 240)
        return std::nullopt;
    const Notice question{
        "Warning: Sub directories created for reports and test cases will be very close to "
        "exceeding the windows path length of 260 characters.\nAny test suites and test "
        "cases created will be restricted to short names. \nTo decrease the path size you "
        "can move the database to a shorter path or try to decrease the name of the "
        "project.\n\nDo you wish to continue with the project creation?",
        "Path reaching limit", Icon::Question};
    if (m_context.port.ask(question))
        return std::nullopt;
    return SaveRefusal{question, kIdRow};
}

std::optional<SaveRefusal> Project::CheckDates() {
    if (Before(Control("<planned_end_date>").date, Control("<planned_start_date>").date))
        return Refuse({"Planned Finish has been set to a date before the Planned Start "
                       "date!\nPlease set it to a date later than the Planned Start.",
                       "Invalid Planned Finish date", Icon::Warning},
                      Row("<planned_end_date>"));
    if (Before(Control("<actual_end_date>").date, Control("<actual_start_date>").date))
        return Refuse({"Actual Finish has been set to a date before the Actual Start "
                       "date!\nPlease set it to a date later than the Actual Start.",
                       "Invalid Actual Finish date", Icon::Warning},
                      Row("<actual_end_date>"));
    return std::nullopt;
}

std::optional<SaveRefusal> Project::Save() {
    if (!IsNew()) {
        KeepIdentifier();
        if (auto refusal = CheckDates())
            return refusal;
        return WriteDocument(Path());
    }
    if (auto refusal = CheckIdentifierText())
        return refusal;
    if (auto refusal = CheckSiblingFree())
        return refusal;
    if (auto refusal = CheckSubfolderRoom())
        return refusal;
    if (auto refusal = CheckDates())
        return refusal;
    std::vector<std::string> subfolders{std::string(kProjectTestCasesFolder)};
    for (std::string_view reports : kReportFolders)
        subfolders.push_back(std::string(kProjectReportsFolder) + "/" + std::string(reports));
    const std::string folder = (Folder() / controls[kIdRow].text).string();
    return CreateGroup(
        {FillMessage("Unable to create a new project folder.\n[%s]\nCheck file and directory "
                     "permissions and that path length doesn't exceed the maximum of 260 "
                     "characters.",
                     {folder}),
         "Error creating project", Icon::Warning},
        subfolders);
}

}  // namespace vantorel
