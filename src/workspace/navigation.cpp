#include "workspace/navigation.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <system_error>

#include "documents/custom_cfg.h"
#include "documents/item_editor.h"
#include "documents/test_group.h"
#include "filters/filter.h"
#include "platform/debug_log.h"
#include "platform/identity.h"
#include "storage/identifiers.h"
#include "storage/item_listing.h"
#include "storage/locks.h"
#include "storage/tagged_document.h"
#include "storage/text_conversions.h"
#include "workspace/commands.h"
#include "workspace/deleted_items.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

struct RootFolder {
    std::string_view folder;
    NodeKind root, document;
};
// The top level in the order the tree shows it.
constexpr RootFolder kRoots[] = {
    {"Test Cases", TV_TEST_ROOT, TV_TEST_TEST_DOC},   {"Projects", TV_PRJ_ROOT, TV_NONE},
    {"Test Configurations", TV_CFG_ROOT, TV_CFG_DOC}, {"Resources", TV_RES_ROOT, TV_RES_DOC},
    {"Testers", TV_TESTER_ROOT, TV_TESTER_DOC},       {"Filters", TV_FILTER_ROOT, TV_FILTER_DOC},
};

bool IsDocumentName(const fs::path& path) {
    return RoleOf(path, false) == EntryRole::Document;
}

NodeKind ProjectNodeKind(const std::vector<std::string>& parts, bool document) {
    // parts: "Projects", project, fixed folder, ...
    if (parts.size() == 2)
        return document ? TV_NONE : TV_PRJ_PRJ_FLD;
    if (parts[2] == kProjectTestCasesFolder) {
        if (parts.size() == 3)
            return document ? TV_NONE : TV_PRJ_TEST_FLD;
        return document ? TV_PRJ_TEST_DOC : TV_PRJ_SUITE_FLD;
    }
    if (parts[2] == kProjectReportsFolder) {
        if (parts.size() == 3)
            return document ? TV_NONE : TV_PRJ_RPTS_FLD;
        if (parts.size() == 4)
            return document ? TV_NONE : TV_RPT_FLD;
        return document && parts.size() == 5 ? TV_RPT_DOC : TV_NONE;
    }
    return TV_NONE;
}

int FixedPlace(const std::string& name) {
    static constexpr std::array<std::string_view, 6> kFixed = {
        kProjectTestCasesFolder, kProjectReportsFolder, kReportFolders[0],
        kReportFolders[1],       kReportFolders[2],     kReportFolders[3]};
    auto found = std::ranges::find(kFixed, name);
    return found == kFixed.end() ? static_cast<int>(kFixed.size())
                                 : static_cast<int>(found - kFixed.begin());
}

constexpr ContextMenuItem kRule{};

}  // namespace

bool IsFolderKind(NodeKind kind) {
    switch (kind) {
        case TV_TEST_TEST_DOC:
        case TV_PRJ_TEST_DOC:
        case TV_RPT_DOC:
        case TV_CFG_DOC:
        case TV_RES_DOC:
        case TV_TESTER_DOC:
        case TV_FILTER_DOC:
        case TV_NONE:
            return false;
        default:
            return true;
    }
}

std::string ItemLabel(const fs::path& path, NodeKind kind) {
    return (IsFolderKind(kind) ? path.filename() : path.stem()).string();
}

bool IsFixedKind(NodeKind kind) {
    switch (kind) {
        case TV_TEST_ROOT:
        case TV_PRJ_ROOT:
        case TV_PRJ_TEST_FLD:
        case TV_PRJ_RPTS_FLD:
        case TV_RPT_FLD:
        case TV_CFG_ROOT:
        case TV_RES_ROOT:
        case TV_TESTER_ROOT:
        case TV_FILTER_ROOT:
            return true;
        default:
            return false;
    }
}

NodeKind NodeKindOf(const fs::path& databaseDir, const fs::path& path) {
    const fs::path relative =
        path.lexically_normal().lexically_relative(databaseDir.lexically_normal());
    std::vector<std::string> parts;
    for (const fs::path& part : relative) {
        if (part == "..")
            return TV_NONE;
        if (!part.empty() && part != ".")
            parts.push_back(part.string());
    }
    if (parts.empty())
        return TV_NONE;
    const bool document = IsDocumentName(path);
    for (const RootFolder& root : kRoots) {
        if (parts[0] != root.folder)
            continue;
        if (parts.size() == 1)
            return document ? TV_NONE : root.root;
        if (root.root == TV_PRJ_ROOT)
            return ProjectNodeKind(parts, document);
        if (root.root == TV_TEST_ROOT)
            return document ? TV_TEST_TEST_DOC : TV_TEST_SUITE_FLD;
        return document && parts.size() == 2 ? root.document : TV_NONE;
    }
    return TV_NONE;
}

std::vector<TreeNode> TopLevelNodes(const fs::path& databaseDir) {
    std::vector<TreeNode> nodes;
    for (const RootFolder& root : kRoots)
        nodes.push_back({databaseDir / root.folder, root.root, std::string(root.folder)});
    return nodes;
}

bool ChangeShows(const fs::path& path) {
    std::error_code error;
    if (fs::is_directory(path, error))
        return true;
    const EntryRole role = RoleOf(path, false);
    return role != EntryRole::Lock && role != EntryRole::Reservation;
}

std::vector<TreeNode> ChildNodes(const fs::path& databaseDir, const TreeNode& folder) {
    struct Found {
        TreeNode node;
        bool isFolder;
        int place;  // FixedPlace of its name, worked out once rather than in every comparison
    };
    std::vector<Found> found;
    ItemListing items;
    ListItems(folder.path, items);
    found.reserve(items.folders.size() + items.documents.size());
    for (const std::string& name : items.folders) {
        fs::path path = folder.path / name;
        if (const NodeKind kind = NodeKindOf(databaseDir, path); kind != TV_NONE)
            found.push_back({{std::move(path), kind, name}, true, FixedPlace(name)});
    }
    // A document's kind follows from its folder alone, so it is worked out once: a suite of
    // thousands is listed without taking every path apart.
    std::optional<NodeKind> documentKind;
    for (const FolderEntry& document : items.documents) {
        fs::path path = folder.path / document.name;
        if (!documentKind)
            documentKind = NodeKindOf(databaseDir, path);
        if (*documentKind != TV_NONE) {
            std::string label = path.stem().string();
            const int place = FixedPlace(label);
            found.push_back({{std::move(path), *documentKind, std::move(label)}, false, place});
        }
    }
    std::ranges::sort(found, [](const Found& a, const Found& b) {
        if (a.isFolder != b.isFolder)
            return a.isFolder;
        if (a.place != b.place)
            return a.place < b.place;
        const int order = strcasecmp(a.node.label.c_str(), b.node.label.c_str());
        return order != 0 ? order < 0 : a.node.label < b.node.label;
    });
    std::vector<TreeNode> nodes;
    nodes.reserve(found.size());
    for (Found& entry : found)
        nodes.push_back(std::move(entry.node));
    return nodes;
}

fs::path ReselectPath(const fs::path& databaseDir, const fs::path& selected) {
    std::error_code error;
    fs::path path = selected;
    while (!path.empty() && path != databaseDir && !fs::exists(path, error))
        path = path.parent_path();
    return path;
}

std::vector<ContextMenuItem> ContextMenu(NodeKind kind) {
    const ContextMenuItem expand{"Expand", ID_EXPAND};
    const ContextMenuItem paste{"Paste\tCtrl V", ID_EDIT_PASTE};
    const ContextMenuItem copy{"Copy\tCtrl C", ID_EDIT_COPY};
    const ContextMenuItem unlock{"Unlock all files...", ID_UNLOCK_ALL};
    const ContextMenuItem edit{"Edit", ID_EDIT_PROPERTIES};
    switch (kind) {
        case TV_TEST_ROOT:
            return {expand,
                    kRule,
                    paste,
                    kRule,
                    {"New test suite", ID_NEW_SUITE_ROOT},
                    unlock,
                    kRule,
                    {"Import from TestLink...", ID_FILE_IMPORT_TESTLINK},
                    {"Export to TestLink...", ID_FILE_EXPORT_TESTLINK}};
        case TV_TEST_SUITE_FLD:
        case TV_PRJ_SUITE_FLD: {
            std::vector<ContextMenuItem> items = {expand,
                                                  kRule,
                                                  {"View", ID_VIEW_SUITE},
                                                  edit,
                                                  {"Print", ID_PRINT_SUITE},
                                                  kRule,
                                                  copy,
                                                  paste,
                                                  {"Duplicate", ID_DUPLICATE_SUITE},
                                                  kRule,
                                                  {"Delete", ID_DELETE_SUITE},
                                                  {"Rename", ID_RENAME_SUITE},
                                                  kRule,
                                                  {"New test case", ID_NEW_TEST_CASE_DOC},
                                                  {"New test suite", ID_NEW_SUITE_IN_SUITE},
                                                  kRule};
            if (kind == TV_TEST_SUITE_FLD)
                items.push_back({"Update all test cases", 0});
            items.push_back({"Set total expected duration...", ID_SET_TOTAL_DURATION});
            items.push_back(unlock);
            if (kind == TV_TEST_SUITE_FLD)
                items.insert(items.end(), {kRule,
                                           {"Import from TestLink...", ID_FILE_IMPORT_TESTLINK},
                                           {"Export to TestLink...", ID_FILE_EXPORT_TESTLINK}});
            return items;
        }
        case TV_TEST_TEST_DOC:
        case TV_PRJ_TEST_DOC:
            return {edit,
                    {"Print", ID_PRINT_DOC},
                    kRule,
                    copy,
                    paste,
                    {"Duplicate", ID_DUPLICATE_DOC},
                    kRule,
                    {"Delete", ID_DELETE_DOC},
                    {"Rename", ID_RENAME_DOC},
                    kRule,
                    {"New Test Suite", ID_NEW_SUITE_IN_SUITE},
                    {"New Test Case", ID_NEW_TEST_CASE_DOC},
                    {"Insert New Test Case", ID_INSERT_TEST_CASE}};
        case TV_PRJ_ROOT:
            return {expand, kRule, {"New project", ID_NEW_PROJECT_ROOT}};
        case TV_PRJ_PRJ_FLD:
            return {expand,
                    kRule,
                    edit,
                    {"Print", ID_PRINT_PRJ},
                    kRule,
                    {"Rename", ID_RENAME_PRJ},
                    {"Delete", ID_DELETE_PRJ},
                    kRule,
                    {"Duplicate", ID_DUPLICATE_PRJ},
                    {"New report", ID_NEW_REPORT},
                    kRule,
                    {"Import JUnit Results...", ID_FILE_IMPORT_JUNIT}};
        case TV_PRJ_TEST_FLD:
            return {expand, kRule, {"New test suite", ID_NEW_SUITE_PRJ}, unlock, kRule, paste};
        case TV_PRJ_RPTS_FLD:
            return {expand,
                    kRule,
                    {"Report Wizard", ID_REPORT_WIZARD_RPTS},
                    kRule,
                    {"Status Report - All", 40401},
                    {"Status Report - Filtered", 40402},
                    {"Progress Report - All", 40403},
                    {"Progress Report - Filtered", 40404},
                    {"Test List Report - All", 40405},
                    {"Test List Report - Filtered", 40406},
                    {"Test Case Report - All", 40407},
                    {"Test Case Report - Filtered", 40408}};
        case TV_RPT_FLD:
            return {expand, kRule, paste};
        case TV_RPT_DOC:
            return {{"Print", ID_PRINT_REPORT},
                    kRule,
                    copy,
                    paste,
                    kRule,
                    {"Delete", ID_DELETE_REPORT},
                    {"Rename", ID_RENAME_REPORT}};
        case TV_CFG_ROOT:
            return {
                expand, kRule, paste, kRule, {"New test configuration", ID_CREATE_CONFIGURATION}};
        case TV_RES_ROOT:
            return {expand, kRule, paste, kRule, {"New test resource", ID_CREATE_RESOURCE}};
        case TV_TESTER_ROOT:
            return {expand, kRule, paste, kRule, {"New tester", ID_CREATE_TESTER}};
        case TV_FILTER_ROOT:
            return {expand, kRule, paste, kRule, {"New filter", ID_NEW_FILTER}};
        case TV_CFG_DOC:
        case TV_RES_DOC:
        case TV_TESTER_DOC:
        case TV_FILTER_DOC: {
            std::vector<ContextMenuItem> items = {
                kind == TV_FILTER_DOC ? ContextMenuItem{"Edit", ID_EDIT_FILTER} : edit,
                {"Print", ID_PRINT_ITEM},
                kRule,
                copy,
                paste,
                kRule,
                {"Delete", ID_DELETE_ITEM},
                {"Rename", ID_RENAME_ITEM},
                kRule,
                {"Duplicate", ID_DUPLICATE_ITEM}};
            if (kind == TV_TESTER_DOC)
                items.push_back({"Set as current user", ID_SET_AS_CURRENT_USER});
            return items;
        }
        case TV_NONE:
            break;
    }
    return {};
}

int StatusIconOf(const fs::path& document, const CustomCfg& custom) {
    static constexpr char kHeading[] = "TreeView::UpdateTreeItemImage";
    XMLParse doc;
    if (doc.OpenFastRead(document) != 0 || doc.Load() != 0) {
        DebugLog::Write(kHeading, "Could not open file %s\n", document.c_str());
        return 0;
    }
    std::string status;
    if (doc.GetTag("<test_status>", status) != 0) {
        DebugLog::Write(kHeading, "Could not get status\n");
        return 0;
    }
    return StatusIcon(status, custom);
}

int StatusIcon(std::string_view status, const CustomCfg& custom) {
    switch (custom.MeaningOf(status).value_or(-1)) {
        case SM_PASS:
            return 1;
        case SM_FAIL:
            return 2;
        case SM_NOT_YET_ATTEMPTED:
            return 3;
        case SM_POSTPONED:
            return 4;
        default:
            return 0;
    }
}

int UnlockAllFiles(const fs::path& folder, UserPort& port) {
    if (!port.ask({"Really delete all lock files?", "Delete confirmation", Icon::Question}))
        return 0;
    return DeleteAllLocks(folder);
}

bool HoldsOpenFiles(const fs::path& folder) {
    bool found = false;
    WalkItems(folder, [&found](const fs::path&, const ItemListing& items) {
        found = !items.locks.empty();
        return !found;
    });
    return found;
}

namespace {

// Renames an item and what belongs to it, and makes its <id> follow; any failure puts back
// what was already renamed. 0 or the error number.
int RenameParts(const fs::path& from, const fs::path& to, const std::string& newName, bool folder,
                bool caseOnly, FileLayer& files) {
    auto rename = [&](const fs::path& a, const fs::path& b) {
        return caseOnly ? files.Rename(a, b) : files.RenameNoReplace(a, b);
    };
    if (!folder) {
        if (int error = rename(from, to))
            return error;
        if (int error = FollowIdentifier(to, newName, files)) {
            (void)files.Rename(to, from);
            return error;
        }
        return 0;
    }
    const fs::path description = GroupDocumentPath(from);
    std::error_code missing;
    const bool described = fs::exists(fs::symlink_status(description, missing));
    if (int error = rename(from, to))
        return error;
    if (!described)
        return 0;
    // A description inside the folder went along with it and takes the new name there.
    const bool inside = description.parent_path() == from;
    const fs::path movedDescription = inside ? to / description.filename() : description;
    fs::path newDescription = inside ? to / newName : to;
    newDescription += kGroupExtension;
    int error = movedDescription == newDescription ? 0 : rename(movedDescription, newDescription);
    if (error == 0) {
        error = FollowIdentifier(newDescription, newName, files);
        if (error != 0 && movedDescription != newDescription)
            (void)files.Rename(newDescription, movedDescription);
    }
    if (error != 0)
        (void)files.Rename(to, from);
    return error;
}

// The longest test case path below folder once folder is called newFolder.
bool TestCasesFitAfterRename(const fs::path& folder, const fs::path& newFolder) {
    const std::size_t oldLength = folder.string().size();
    const std::size_t newLength = newFolder.string().size();
    if (newLength <= oldLength)
        return true;
    bool fits = true;
    WalkItems(folder, [&](const fs::path& below, const ItemListing& items) {
        for (const FolderEntry& document : items.documents)
            fits =
                fits && (below / document.name).string().size() - oldLength + newLength <= kPathMax;
        return fits;
    });
    return fits;
}

bool IsIdentifierKind(NodeKind kind) {
    return kind != TV_RPT_DOC && !IsFixedKind(kind) && kind != TV_NONE;
}

std::string TrimmedName(std::string name, bool identifier, bool& dotsOrBlanksRemoved) {
    const std::string_view strip = identifier ? " ." : " ";
    const std::size_t first = name.find_first_not_of(strip);
    const std::size_t last = name.find_last_not_of(strip);
    std::string trimmed =
        first == std::string::npos ? std::string() : name.substr(first, last - first + 1);
    // Only the identifier kinds are told; blanks alone go quietly for the others.
    dotsOrBlanksRemoved = identifier && trimmed != name;
    return trimmed;
}

// When the tester who is the current user is renamed or removed: whether to choose another.
bool AskForNewCurrentUser(const TreeNode& node, const std::string& currentUser,
                          std::string_view happened, UserPort& port) {
    if (node.kind != TV_TESTER_DOC || currentUser.empty() || node.label != currentUser)
        return false;
    return port.ask({FillMessage("The currently logged in tester (%s) is being %s.\nDo you want "
                                 "to select a new one?",
                                 {currentUser, happened}),
                     "Vantorel - Tester Missing", Icon::Question});
}

}  // namespace

int FollowIdentifier(const fs::path& document, std::string_view id, FileLayer& files) {
    XMLParse doc;
    std::string current;
    if (doc.OpenRead(document) != 0 || doc.Load() != 0 || doc.GetTag("<id>", current) != 0)
        return 0;
    doc.Close();
    // File names are UTF-8 and documents ISO-8859-1.
    const IoResult saved = XMLParse::SetDocumentId(document, Latin1FromName(id), files);
    if (!saved.ok())
        DebugLog::Write("TreeView::Rename", "could not set the id of %s: %d\n", document.c_str(),
                        saved.code);
    return saved.code;
}

std::optional<RenameOutcome> RenameItem(const TreeNode& node, std::string newName,
                                        const std::string& currentUser, UserPort& port,
                                        FileLayer& files) {
    if (IsFixedKind(node.kind) || node.kind == TV_NONE)
        return std::nullopt;
    const bool identifier = IsIdentifierKind(node.kind);
    bool removed = false;
    newName = TrimmedName(std::move(newName), identifier, removed);
    if (removed && !newName.empty())
        port.tell({FillMessage("Warning: Trailing and Leading \" \" and \".\" have been removed "
                               "from the ID.\nNew ID is %s",
                               {newName}),
                   "Characters removed", Icon::Warning});
    // The name goes into the item's document as its identifier, and documents are ISO-8859-1.
    if (const std::string character = FirstCharacterLatin1CantHold(newName); !character.empty()) {
        port.tell({FillMessage("The name can't hold the character \"%s\": names are kept in "
                               "ISO-8859-1, which has no such character.",
                               {character}),
                   "Rename Error", Icon::Warning});
        return std::nullopt;
    }
    switch (CheckIdentifier(newName)) {
        case IdentifierProblem::Empty:
            port.tell({"A name must be given", "Rename Error", Icon::Warning});
            return std::nullopt;
        case IdentifierProblem::TooLong:
            port.tell({"Name is too long, please limit the name to " +
                           std::to_string(kIdentifierMax) + " characters",
                       "Rename Error", Icon::Warning});
            return std::nullopt;
        case IdentifierProblem::InvalidCharacters:
            port.tell(
                {"Error: New filename contains invalid characters.\nThe following "
                 "characters are not allowed \\ / : * ? \" < > |\n",
                 "Invalid Filename", Icon::Warning});
            return std::nullopt;
        case IdentifierProblem::None:
            break;
    }
    const bool folder = IsFolderKind(node.kind);
    const fs::path parent = node.path.parent_path();
    const fs::path newPath = parent / (folder ? newName : newName + std::string(kItemExtension));
    if (folder) {
        if (HoldsOpenFiles(node.path)) {
            port.tell({"This folder cannot be renamed as files inside it are open for editing",
                       "Unable to rename", Icon::Warning});
            return std::nullopt;
        }
        if (!TestCasesFitAfterRename(node.path, newPath)) {
            port.tell(
                {"Unable to rename test suite as its test cases would exceed the maximum "
                 "Windows path length",
                 "Path too long", Icon::Warning});
            return std::nullopt;
        }
    } else if (IsLocked(node.path)) {
        port.tell({"This file cannot be renamed as it is open for editing", "Unable to rename",
                   Icon::Warning});
        return std::nullopt;
    }
    if (newPath.string().size() > kRenamePathMax) {
        port.tell({"Name is too long, the full path of the item would pass " +
                       std::to_string(kRenamePathMax) + " characters",
                   "Rename Error", Icon::Warning});
        return std::nullopt;
    }
    if (newPath == node.path)
        return RenameOutcome{newPath};
    // Another item of that name, ignoring letter case, would be replaced by the rename.
    const bool caseOnly = strcasecmp(newPath.filename().c_str(), node.path.filename().c_str()) == 0;
    if (!caseOnly && HeldByBin(parent, newPath.filename().string())) {
        port.tell(HeldByBinNotice(newName, "Rename Error"));
        return std::nullopt;
    }
    if (!caseOnly && (folder ? GroupNameTaken(parent, newName)
                             : IdentifierTaken(parent, newName, kItemExtension))) {
        port.tell({FillMessage("An item named %s already exists in this folder", {newName}),
                   "Rename Error", Icon::Warning});
        return std::nullopt;
    }
    // A test case's ID is matched across the library (or its project), not its folder alone.
    if (!caseOnly && (node.kind == TV_TEST_TEST_DOC || node.kind == TV_PRJ_TEST_DOC))
        if (const auto scope = TestCaseIdScope(parent, node.kind == TV_PRJ_TEST_DOC);
            scope && !KeepIdUsedElsewhere(*scope, parent, newName, port))
            return std::nullopt;

    // A change of letter case only is the one rename onto a name the system may call taken.
    const int error = RenameParts(node.path, newPath, newName, folder, caseOnly, files);
    if (error == EEXIST) {
        port.tell({FillMessage("An item named %s already exists in this folder", {newName}),
                   "Rename Error", Icon::Warning});
        return std::nullopt;
    }
    if (error != 0) {
        port.tell({FillMessage("Unable to rename %s\n%s",
                               {node.path.string(), std::generic_category().message(error)}),
                   "Unable to rename", Icon::Warning});
        return std::nullopt;
    }
    return RenameOutcome{newPath, AskForNewCurrentUser(node, currentUser, "renamed", port)};
}

DeleteOutcome DeleteItem(const fs::path& databaseDir, const TreeNode& node,
                         const std::string& currentUser, UserPort& port, FileLayer& files) {
    if (!ConfirmDelete(node, port))
        return {};
    return DeleteConfirmed(databaseDir, node, currentUser, port, files);
}

bool ConfirmDelete(const TreeNode& node, UserPort& port) {
    if (IsFixedKind(node.kind) || node.kind == TV_NONE)
        return false;
    std::string_view question =
        node.kind == TV_PRJ_PRJ_FLD ? "Are you sure you want to delete this whole project?\n[%s]"
        : IsFolderKind(node.kind)
            ? "Are you sure you want to delete this folder and all it's sub folders?\n[%s]"
            : "Are you sure you want to delete this document?\n[%s]";
    return port.ask(
        {FillMessage(question, {DescribeDeletion(node)}), "Confirm delete", Icon::Question});
}

namespace {

// Moves the item into the bin; the refusal to tell instead when it is open for editing or the
// move fails.
std::optional<Notice> BinItem(const fs::path& databaseDir, const TreeNode& node,
                              const std::string& currentUser, FileLayer& files) {
    if (IsFolderKind(node.kind)) {
        if (HoldsOpenFiles(node.path))
            return Notice{"Unable to delete folder as files inside it are open for editing",
                          "Unable to delete folder", Icon::Warning};
    } else if (IsLocked(node.path)) {
        return Notice{"This file cannot be deleted as it is open for editing", "Unable to delete",
                      Icon::Warning};
    }
    const std::string deletedBy = currentUser.empty() ? CurrentIdentity().user : currentUser;
    if (MoveToBin(databaseDir, node, deletedBy, files) != 0)
        return Notice{FillMessage("Unable to delete file: %s", {node.path.string()}), "Error",
                      Icon::Warning};
    return std::nullopt;
}

std::string_view NounOf(NodeKind kind) {
    switch (kind) {
        case TV_TEST_TEST_DOC:
        case TV_PRJ_TEST_DOC:
            return "test case";
        case TV_TEST_SUITE_FLD:
        case TV_PRJ_SUITE_FLD:
            return "suite";
        case TV_PRJ_PRJ_FLD:
            return "project";
        case TV_RPT_DOC:
            return "report";
        case TV_CFG_DOC:
            return "test configuration";
        case TV_RES_DOC:
            return "resource";
        case TV_TESTER_DOC:
            return "tester";
        case TV_FILTER_DOC:
            return "filter";
        default:
            return "item";
    }
}

}  // namespace

DeleteOutcome DeleteConfirmed(const fs::path& databaseDir, const TreeNode& node,
                              const std::string& currentUser, UserPort& port, FileLayer& files) {
    if (IsFixedKind(node.kind) || node.kind == TV_NONE)
        return {};
    if (const std::optional<Notice> refusal = BinItem(databaseDir, node, currentUser, files)) {
        port.tell(*refusal);
        return {};
    }
    return DeleteOutcome{true, AskForNewCurrentUser(node, currentUser, "removed", port)};
}

namespace {

bool ConfirmOnMany(const std::vector<TreeNode>& items, std::string_view question,
                   const std::string& caption, UserPort& port) {
    return items.size() <= 1 ||
           port.ask({FillMessage(question, {std::to_string(items.size()), CountedItems(items)}),
                     caption, Icon::Question});
}

}  // namespace

bool ConfirmDuplicates(const std::vector<TreeNode>& items, UserPort& port) {
    return ConfirmOnMany(items, "Duplicate the %s selected items?\n[%s]", "Confirm duplicate",
                         port);
}

bool ConfirmPrints(const std::vector<TreeNode>& items, UserPort& port) {
    return ConfirmOnMany(items, "Print the %s selected items?\n[%s]", "Confirm print", port);
}

bool IsBelow(const fs::path& path, const fs::path& folder) {
    const fs::path below = path.lexically_relative(folder);
    return !below.empty() && below != "." && *below.begin() != "..";
}

std::string CountedItems(const std::vector<TreeNode>& nodes) {
    std::vector<std::pair<std::string_view, std::size_t>> counts;
    for (const TreeNode& node : nodes) {
        const std::string_view noun = NounOf(node.kind);
        auto found =
            std::ranges::find(counts, noun, &std::pair<std::string_view, std::size_t>::first);
        if (found == counts.end())
            counts.emplace_back(noun, 1);
        else
            ++found->second;
    }
    std::string text;
    for (std::size_t i = 0; i < counts.size(); ++i) {
        if (i > 0)
            text += i + 1 == counts.size() ? " and " : ", ";
        text += Counted(counts[i].second, counts[i].first);
    }
    return text;
}

DeleteOutcome DeleteItems(const fs::path& databaseDir, const std::vector<TreeNode>& selected,
                          const std::string& currentUser, UserPort& port, FileLayer& files) {
    return DeleteConfirmedItems(databaseDir, ConfirmDeleteItems(selected, port), currentUser, port,
                                files);
}

std::vector<TreeNode> ConfirmDeleteItems(const std::vector<TreeNode>& selected, UserPort& port) {
    // An item inside a selected folder goes with it.
    std::vector<TreeNode> items;
    for (const TreeNode& node : selected) {
        const bool inside = std::ranges::any_of(selected, [&](const TreeNode& other) {
            return IsFolderKind(other.kind) && IsBelow(node.path, other.path);
        });
        if (!inside && !IsFixedKind(node.kind) && node.kind != TV_NONE &&
            std::ranges::find(items, node) == items.end())
            items.push_back(node);
    }
    const bool agreed =
        items.size() == 1
            ? ConfirmDelete(items.front(), port)
            : items.empty() ||
                  port.ask({FillMessage("Are you sure you want to delete the %s selected "
                                        "items?\n[%s]",
                                        {std::to_string(items.size()), CountedItems(items)}),
                            "Confirm delete", Icon::Question});
    return agreed ? items : std::vector<TreeNode>{};
}

DeleteOutcome DeleteConfirmedItems(const fs::path& databaseDir, const std::vector<TreeNode>& items,
                                   const std::string& currentUser, UserPort& port,
                                   FileLayer& files) {
    if (items.size() <= 1)
        return items.empty()
                   ? DeleteOutcome{}
                   : DeleteConfirmed(databaseDir, items.front(), currentUser, port, files);
    DeleteOutcome outcome;
    std::string stayed;
    std::size_t deleted = 0;
    for (const TreeNode& node : items) {
        if (const std::optional<Notice> refusal = BinItem(databaseDir, node, currentUser, files)) {
            stayed += "\n" + node.label + ": " + refusal->text;
            continue;
        }
        ++deleted;
        outcome.deleted = true;
        outcome.chooseNewUser =
            AskForNewCurrentUser(node, currentUser, "removed", port) || outcome.chooseNewUser;
    }
    if (!stayed.empty())
        port.tell({FillMessage("%s of the %s were deleted. These stayed:%s",
                               {std::to_string(deleted), CountedItems(items), stayed}),
                   "Unable to delete", Icon::Warning});
    return outcome;
}

std::optional<fs::path> NewTestCaseFolder(const TreeNode& selected, UserPort& port) {
    fs::path folder;
    if (selected.kind == TV_TEST_SUITE_FLD || selected.kind == TV_PRJ_SUITE_FLD)
        folder = selected.path;
    else if (selected.kind == TV_TEST_TEST_DOC || selected.kind == TV_PRJ_TEST_DOC)
        folder = selected.path.parent_path();
    if (folder.empty()) {
        port.tell(
            {"Test cases can only be created within test suites.\nCreate a new test suite "
             "or select an existing test\nsuite folder, then try again to create a new "
             "test case\n",
             "Select a test suite first", Icon::Warning});
        return std::nullopt;
    }
    if (folder.string().size() >= kPathMax) {
        port.tell(
            {"The current path is longer than the Windows limit of 260 characters. No new "
             "files can be created in this folder.",
             "Path length exceeds limit", Icon::Warning});
        return std::nullopt;
    }
    return folder;
}

std::optional<fs::path> NewSuiteFolder(const TreeNode& selected, UserPort& port) {
    switch (selected.kind) {
        case TV_TEST_ROOT:
        case TV_TEST_SUITE_FLD:
        case TV_PRJ_TEST_FLD:
        case TV_PRJ_SUITE_FLD:
            return selected.path;
        case TV_PRJ_PRJ_FLD:
            return selected.path / kProjectTestCasesFolder;
        case TV_TEST_TEST_DOC:
        case TV_PRJ_TEST_DOC:
            return selected.path.parent_path();
        default:
            port.tell(
                {"Test suites can only be created in the test case library or in a "
                 "project's test cases.\nSelect one of them or a test suite, then try "
                 "again to create a new test suite\n",
                 "Select a test suite first", Icon::Warning});
            return std::nullopt;
    }
}

std::optional<fs::path> NewFilterFolder(const fs::path& databaseDir, bool databaseOpen,
                                        UserPort& port) {
    if (!databaseOpen) {
        port.tell({"A database must be open before attempting to create a filter",
                   "No database open", Icon::Warning});
        return std::nullopt;
    }
    const fs::path folder = databaseDir / kFiltersFolder;
    std::error_code error;
    if (!fs::is_directory(folder, error) && !fs::create_directory(folder, error)) {
        port.tell({"Unable to create filter directory", "Error", Icon::Warning});
        return std::nullopt;
    }
    return folder;
}

}  // namespace vantorel
