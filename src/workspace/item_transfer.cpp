#include "workspace/item_transfer.h"

#include <fcntl.h>
#include <stdio.h>
#include <strings.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>

#include "documents/prj_test_case.h"
#include "documents/reference_items.h"
#include "documents/test_case.h"
#include "documents/test_group.h"
#include "platform/debug_log.h"
#include "storage/atomic_save.h"
#include "storage/file_layer.h"
#include "storage/file_reading.h"
#include "storage/identifiers.h"
#include "storage/item_listing.h"
#include "storage/locks.h"
#include "storage/tagged_document.h"
#include "workspace/deleted_items.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

Notice CopyCancelledNotice() {
    return {
        "The copy was cancelled. The items already in place stay; nothing half-copied is "
        "left.",
        "Copy cancelled", Icon::Information};
}

constexpr char kOverwriteCaption[] = "Overwrite existing item";

bool IsDocumentKind(NodeKind kind) {
    return !IsFolderKind(kind) && kind != TV_NONE;
}

bool IsSuiteKind(NodeKind kind) {
    return kind == TV_TEST_SUITE_FLD || kind == TV_PRJ_SUITE_FLD;
}

// True when inner is folder or lies below it.
bool IsWithin(const fs::path& inner, const fs::path& folder) {
    const fs::path relative =
        inner.lexically_normal().lexically_relative(folder.lexically_normal());
    return !relative.empty() && *relative.begin() != "..";
}

// Whether target already holds an item of source's name, ignoring letter case: a document of
// that identifier, or a folder or description of that name.
bool ItemNameTaken(const fs::path& target, const fs::path& source, bool folder) {
    return folder ? GroupNameTaken(target, source.filename().string())
                  : IdentifierTaken(target, source.stem().string());
}

fs::path TemporaryBeside(const fs::path& target, std::string_view purpose) {
    static std::atomic<unsigned> counter{0};
    return target.parent_path() / (std::string(kSaveTempPrefix) + std::string(purpose) + "-" +
                                   std::to_string(::getpid()) + "-" + std::to_string(counter++));
}

// Puts the finished temporary item in place of target: beside an existing folder, which is
// set aside first and removed last, so one of the two is whole at every moment. A document
// replaces its predecessor in one rename.
int PlaceItem(FileLayer& files, const fs::path& temporary, const fs::path& target, bool replace) {
    if (!replace)
        return files.RenameNoReplace(temporary, target);
    std::error_code error;
    if (!fs::is_directory(fs::symlink_status(target, error)))
        return files.Rename(temporary, target);
    const fs::path aside = TemporaryBeside(target, "old");
    if (int failure = files.RenameNoReplace(target, aside))
        return failure;
    if (int failure = files.RenameNoReplace(temporary, target)) {
        (void)files.RenameNoReplace(aside, target);
        return failure;
    }
    // What can't be removed now stays hidden until the sweep takes it.
    (void)RemoveTree(files, aside);
    return 0;
}

// Takes a newly placed item away again, whole: renamed to a hidden name first, then removed.
void WithdrawItem(FileLayer& files, const fs::path& item) {
    const fs::path hidden = TemporaryBeside(item, "withdrawn");
    if (files.RenameNoReplace(item, hidden) == 0)
        (void)RemoveTree(files, hidden);
}

struct CopyTexts {
    std::string_view fileFailure;  // %s is the file
    std::string_view caption;
};
constexpr CopyTexts kPasteTexts{
    "Cannot paste file:\n%s\nPlease check you have write permission and that the path is not "
    "too long.",
    "Unable to paste file"};
constexpr CopyTexts kTreeTexts{
    "Unable to copy a file:\n%s\nPlease check you have write permission and that the path "
    "length is not too long.",
    "Error"};
constexpr CopyTexts kMoveCopyTexts{
    "Unable to copy file:\n%s\nPlease check you have write persmission and that the path "
    "length is not too long.",
    "Unable to copy file"};

class Copier {
public:
    Copier(FileLayer& files, const std::function<void()>& step, std::stop_token stop,
           TransferResult& result)
        : m_files(files), m_step(step), m_stop(stop), m_result(result) {}

    FileLayer& Files() { return m_files; }

    // Copies source into the temporary file or folder; false after noting the failure, with
    // nothing of the copy left behind.
    bool CopyInto(const fs::path& source, const fs::path& temporary, bool folder,
                  const CopyTexts& texts) {
        if (!folder) {
            if (CopyFile(m_files, source, temporary) != 0)
                return Fail(texts, source);
            Step();
            return true;
        }
        if (m_files.MakeFolder(temporary) != 0)
            return Fail(texts, source);
        if (!CopyTree(source, temporary)) {
            (void)RemoveTree(m_files, temporary);
            if (!m_result.stopped)
                m_result.failures.push_back({"Unable to copy all files", "Error", Icon::Warning});
            return false;
        }
        return true;
    }

    bool Fail(const CopyTexts& texts, const fs::path& file) {
        m_result.failures.push_back({FillMessage(texts.fileFailure, {file.string()}),
                                     std::string(texts.caption), Icon::Warning});
        return false;
    }

    void Step() {
        if (m_step)
            m_step();
    }
    bool StopRequested() {
        if (m_stop.stop_requested())
            m_result.stopped = true;
        return m_result.stopped;
    }

private:
    // Copies the items below source, and their descriptions; locks, reservations, hidden
    // names and what is no regular file stay behind.
    bool CopyTree(const fs::path& source, const fs::path& target) {
        std::vector<FolderEntry> entries;
        if (m_trail.Enter(source, entries) != WalkTrail::Outcome::Entered)
            return Fail(kTreeTexts, source);
        ItemListing items;
        SortEntries(entries, items);
        bool copied = true;
        for (const std::string& name : items.folders) {
            if (!copied || StopRequested())
                break;
            if (m_files.MakeFolder(target / name) != 0)
                copied = Fail(kTreeTexts, target / name);
            else
                copied = CopyTree(source / name, target / name);
        }
        std::vector<std::string> files = std::move(items.descriptions);
        for (FolderEntry& document : items.documents)
            if (document.kind == FolderEntry::Kind::File)
                files.push_back(std::move(document.name));
        for (const std::string& name : files) {
            if (!copied || StopRequested())
                break;
            if (CopyFile(m_files, source / name, target / name) != 0)
                copied = Fail(kTreeTexts, target / name);
            else
                Step();
        }
        m_trail.Leave();
        return copied && !m_result.stopped;
    }

    FileLayer& m_files;
    WalkTrail m_trail;
    const std::function<void()>& m_step;
    std::stop_token m_stop;
    TransferResult& m_result;
};

void CopyStep(const TransferStep& step, Copier& copier, TransferResult& result) {
    const CopyTexts& texts = step.folder ? kTreeTexts : kPasteTexts;
    const fs::path temporary = TemporaryBeside(step.target, "copy");
    if (!copier.CopyInto(step.source, temporary, step.folder, texts))
        return;
    FileLayer& files = copier.Files();
    // A folder's description is made ready first, so the folder never stands without it.
    std::optional<fs::path> description;
    if (step.folder)
        description = DescriptionBeside(step.source);
    const fs::path descriptionTarget = DescriptionPathBeside(step.target);
    const fs::path temporaryDescription = TemporaryBeside(descriptionTarget, "copy");
    if (description && !copier.CopyInto(*description, temporaryDescription, false, texts)) {
        (void)RemoveTree(files, temporary);
        return;
    }
    if (PlaceItem(files, temporary, step.target, step.replace) != 0) {
        (void)RemoveTree(files, temporary);
        if (description)
            (void)files.Remove(temporaryDescription);
        copier.Fail(texts, step.target);
        return;
    }
    if (description && files.Rename(temporaryDescription, descriptionTarget) != 0) {
        (void)files.Remove(temporaryDescription);
        // A new folder without its description would be half an item.
        if (!step.replace)
            WithdrawItem(files, step.target);
        copier.Fail(texts, descriptionTarget);
        if (!step.replace)
            return;
    }
    result.written.push_back(step.target);
}

void MoveStep(const TransferStep& step, Copier& copier, TransferResult& result) {
    FileLayer& files = copier.Files();
    const auto description = step.folder ? DescriptionBeside(step.source) : std::nullopt;
    int error = PlaceItem(files, step.source, step.target, step.replace);
    if (error == EXDEV) {
        // Another file system: copy whole, then remove the source.
        const fs::path temporary = TemporaryBeside(step.target, "move");
        if (!copier.CopyInto(step.source, temporary, step.folder, kMoveCopyTexts))
            return;
        error = PlaceItem(files, temporary, step.target, step.replace);
        if (error != 0)
            (void)RemoveTree(files, temporary);
        else
            (void)RemoveTree(files, step.source);
    }
    if (error != 0) {
        result.failures.push_back({FillMessage("Unable to move file: %s", {step.source.string()}),
                                   "Unable to move", Icon::Warning});
        return;
    }
    if (description) {
        const fs::path target = DescriptionPathBeside(step.target);
        if (int moveError = files.Rename(*description, target); moveError == EXDEV) {
            const fs::path temporary = TemporaryBeside(target, "move");
            if (CopyFile(files, *description, temporary) != 0 ||
                files.Rename(temporary, target) != 0) {
                (void)files.Remove(temporary);
                copier.Fail(kMoveCopyTexts, *description);
            } else {
                (void)files.Remove(*description);
            }
        } else if (moveError != 0) {
            copier.Fail(kMoveCopyTexts, *description);
            // The folder goes back to its description rather than stand apart from it.
            if (!step.replace && files.RenameNoReplace(step.target, step.source) == 0)
                return;
        }
    }
    result.written.push_back(step.target);
}

int FilesOf(const fs::path& item, bool folder) {
    return folder ? countAllFilesDisk(item) + (DescriptionBeside(item) ? 1 : 0) : 1;
}

}  // namespace

int countAllFilesDisk(const fs::path& folder) {
    int count = 0;
    WalkItems(folder, [&count](const fs::path&, const ItemListing& items) {
        count += static_cast<int>(items.documents.size() + items.descriptions.size());
        return true;
    });
    return count;
}

bool SameFamily(NodeKind item, NodeKind target) {
    switch (item) {
        case TV_TEST_TEST_DOC:
            return target == TV_TEST_SUITE_FLD;
        case TV_TEST_SUITE_FLD:
            return target == TV_TEST_ROOT || target == TV_TEST_SUITE_FLD;
        case TV_PRJ_TEST_DOC:
        case TV_PRJ_SUITE_FLD:
            return target == TV_PRJ_TEST_FLD || target == TV_PRJ_SUITE_FLD;
        case TV_PRJ_PRJ_FLD:
            return target == TV_PRJ_ROOT;
        case TV_RPT_DOC:
            return target == TV_RPT_FLD;
        case TV_CFG_DOC:
            return target == TV_CFG_ROOT;
        case TV_RES_DOC:
            return target == TV_RES_ROOT;
        case TV_TESTER_DOC:
            return target == TV_TESTER_ROOT;
        case TV_FILTER_DOC:
            return target == TV_FILTER_ROOT;
        default:
            return false;
    }
}

bool CanDrop(NodeKind item, NodeKind target) {
    return SameFamily(item, target) || IsConversionDrop(item, target);
}

bool IsConversionDrop(NodeKind item, NodeKind target) {
    return (item == TV_TEST_TEST_DOC || item == TV_TEST_SUITE_FLD) &&
           (target == TV_PRJ_TEST_FLD || target == TV_PRJ_SUITE_FLD || target == TV_PRJ_PRJ_FLD);
}

TreeNode ConversionTarget(const TreeNode& target) {
    if (target.kind != TV_PRJ_PRJ_FLD)
        return target;
    return {target.path / "Project Test Cases", TV_PRJ_TEST_FLD, "Project Test Cases"};
}

namespace {

// Pasted test cases keep their IDs: one question when some of them are used in another
// folder of their scope (the copied originals among them).
bool KeepPastedIds(const TransferPlan& plan, const TreeNode& target, UserPort& port) {
    const bool project = target.kind == TV_PRJ_TEST_FLD || target.kind == TV_PRJ_SUITE_FLD;
    if (!project && target.kind != TV_TEST_ROOT && target.kind != TV_TEST_SUITE_FLD)
        return true;
    const std::optional<fs::path> scope = TestCaseIdScope(target.path, project);
    if (!scope)
        return true;
    std::vector<PlacedId> ids;
    for (const TransferStep& step : plan.steps) {
        if (!step.folder) {
            ids.push_back({step.source.stem().string(), step.target.parent_path()});
            continue;
        }
        WalkItems(step.source, [&](const fs::path& listed, ItemListing& listing) {
            const fs::path folder = step.target / listed.lexically_relative(step.source);
            for (const FolderEntry& entry : listing.documents)
                ids.push_back({fs::path(entry.name).stem().string(), folder});
            return true;
        });
    }
    return KeepIdsUsedElsewhere(*scope, ids, port);
}

}  // namespace

std::optional<TransferPlan> PlanPaste(const Clipboard& clipboard, const TreeNode& target,
                                      UserPort& port) {
    TransferPlan plan;
    for (const ClipboardEntry& entry : clipboard.Entries()) {
        const bool folder = IsFolderKind(entry.kind);
        std::error_code error;
        if (!fs::exists(entry.path, error)) {
            port.tell({FillMessage("Cannot paste file:\n%s\nThe item no longer exists.",
                                   {entry.path.string()}),
                       "Unable to paste file", Icon::Warning});
            continue;
        }
        if (!SameFamily(entry.kind, target.kind) || (folder && IsWithin(target.path, entry.path))) {
            port.tell({FillMessage("Cannot paste file:\n%s\nIt can't be placed in this folder.",
                                   {entry.path.string()}),
                       "Unable to paste file", Icon::Warning});
            continue;
        }
        const std::string name = entry.path.filename().string();
        const fs::path destination = target.path / name;
        if (HeldByBin(target.path, name)) {
            port.tell(HeldByBinNotice(folder ? name : entry.path.stem().string(),
                                      "Unable to paste file"));
            continue;
        }
        bool replace = false;
        if (ItemNameTaken(target.path, entry.path, folder)) {
            const std::string shown = folder ? name : entry.path.stem().string();
            if (!port.ask({FillMessage("The item %s already exists.\nDo you want to replace it?",
                                       {shown}),
                           kOverwriteCaption, Icon::Question}))
                continue;
            if (destination == entry.path)
                continue;  // an item replaced by itself stays as it is
            replace = true;
        }
        plan.steps.push_back(
            {TransferStep::Action::Copy, entry.path, destination, folder, replace});
        plan.files += FilesOf(entry.path, folder);
    }
    if (plan.steps.empty() || !KeepPastedIds(plan, target, port))
        return std::nullopt;
    return plan;
}

std::optional<TransferPlan> PlanMove(const TreeNode& item, const TreeNode& target, UserPort& port) {
    if (!SameFamily(item.kind, target.kind))
        return std::nullopt;
    const bool folder = IsFolderKind(item.kind);
    if (folder && IsWithin(target.path, item.path)) {
        port.tell({"A folder cannot be moved into one of its sub folders.", "Unable to move",
                   Icon::Warning});
        return std::nullopt;
    }
    if (target.path == item.path.parent_path())
        return std::nullopt;
    const std::string name = item.path.filename().string();
    const fs::path destination = target.path / name;
    const std::size_t grows =
        target.path.string().size() > item.path.parent_path().string().size()
            ? target.path.string().size() - item.path.parent_path().string().size()
            : 0;
    bool fits = destination.string().size() <= kPathMax || folder;
    if (folder && grows > 0)
        WalkItems(item.path, [&](const fs::path& below, const ItemListing& items) {
            for (const FolderEntry& document : items.documents)
                fits = fits && (below / document.name).string().size() + grows <= kPathMax;
            return fits;
        });
    if (!fits) {
        port.tell(
            {"Unable to move test cases as they would exceed the maximum Windows path "
             "length",
             "Path too long", Icon::Warning});
        return std::nullopt;
    }
    if (!folder && IsLocked(item.path)) {
        port.tell({"This file cannot be moved as it is open for editing", "Unable to copy",
                   Icon::Warning});
        return std::nullopt;
    }
    if (folder && HoldsOpenFiles(item.path)) {
        port.tell({"This test suite cannot be moved as files in it are open for editing",
                   "Unable to copy", Icon::Warning});
        return std::nullopt;
    }
    if (WriteProbe probe(target.path); probe.Error() != 0) {
        port.tell({"Unable to drop file.\nAccess denied.", "Access denied", Icon::Warning});
        return std::nullopt;
    }
    if (HeldByBin(target.path, name)) {
        port.tell(HeldByBinNotice(item.label, "Unable to move"));
        return std::nullopt;
    }
    bool replace = false;
    if (ItemNameTaken(target.path, item.path, folder)) {
        const std::string shown = folder ? name : item.label;
        std::string_view question;
        if (!folder)
            question = "A test case with the name %s already exists in that folder, overwrite?";
        else if (IsSuiteKind(item.kind))
            question =
                "A test suite with the name %s already exists in that folder, overwrite it and "
                "its contents?";
        if (question.empty()) {
            port.tell({FillMessage("A folder with the name %s already exists at the target "
                                   "location.",
                                   {shown}),
                       "Cannot move folder", Icon::Warning});
            return std::nullopt;
        }
        if (!port.ask({FillMessage(question, {shown}), kOverwriteCaption, Icon::Question}))
            return std::nullopt;
        replace = true;
    }
    TransferPlan plan;
    plan.steps.push_back({TransferStep::Action::Move, item.path, destination, folder, replace});
    plan.files = FilesOf(item.path, folder);
    return plan;
}

std::optional<TransferPlan> PlanDropCopy(const TreeNode& item, const TreeNode& target,
                                         UserPort& port) {
    if (!SameFamily(item.kind, target.kind))
        return std::nullopt;
    if (IsFolderKind(item.kind) && IsWithin(target.path, item.path)) {
        port.tell({"A folder cannot be copied into one of its sub folders.", "Unable to copy",
                   Icon::Warning});
        return std::nullopt;
    }
    if (target.path == item.path.parent_path())
        return std::nullopt;
    Clipboard dragged;
    dragged.Copy({item}, port);
    return PlanPaste(dragged, target, port);
}

Notice TransferBusyNotice() {
    return {
        "Another copy or move is still running.\nPlease wait until it has finished, then "
        "try again.",
        "Copy or move running", Icon::Information};
}

TransferResult RunTransfer(const TransferPlan& plan, const std::function<void()>& step,
                           std::stop_token stop, FileLayer& files) {
    TransferResult result;
    Copier copier(files, step, stop, result);
    for (const TransferStep& transfer : plan.steps) {
        if (copier.StopRequested())
            break;
        if (transfer.action == TransferStep::Action::Copy) {
            CopyStep(transfer, copier, result);
        } else {
            MoveStep(transfer, copier, result);
            for (int file = FilesOf(transfer.target, transfer.folder); file > 0; --file)
                copier.Step();
        }
    }
    if (result.stopped)
        result.failures.push_back(CopyCancelledNotice());
    return result;
}

std::vector<fs::path> RunTransferNow(const TransferPlan& plan, UserPort& port,
                                     const std::function<void()>& step) {
    TransferResult result = RunTransfer(plan, step);
    for (const Notice& failure : result.failures)
        port.tell(failure);
    return result.written;
}

int FilesToDuplicate(const TreeNode& item) {
    return FilesOf(item.path, IsFolderKind(item.kind));
}

std::optional<TreeNode> Duplicate(const fs::path& databaseDir, const TreeNode& item,
                                  bool automaticIds, UserPort& port,
                                  const std::function<void()>& step, std::stop_token stop) {
    const bool folder = IsFolderKind(item.kind);
    const bool duplicable = (folder && !IsFixedKind(item.kind)) || IsDocumentKind(item.kind);
    if (!duplicable || item.kind == TV_RPT_DOC)
        return item;
    const fs::path parent = item.path.parent_path();
    TransferResult result;
    Copier copier(SystemFiles(), step, std::move(stop), result);
    const fs::path temporary = TemporaryBeside(item.path, "copy");
    const CopyTexts& texts = folder ? kTreeTexts : kPasteTexts;
    auto tellFailures = [&] {
        if (result.stopped)
            result.failures.push_back(CopyCancelledNotice());
        for (const Notice& failure : result.failures)
            port.tell(failure);
        return std::nullopt;
    };
    if (!copier.CopyInto(item.path, temporary, folder, texts))
        return tellFailures();

    const ItemKind* kind = item.kind == TV_TEST_TEST_DOC  ? &TestCaseKind()
                           : item.kind == TV_PRJ_TEST_DOC ? &PrjTestCaseKind()
                           : item.kind == TV_CFG_DOC      ? &TestCfgKind()
                           : item.kind == TV_RES_DOC      ? &TestResourceKind()
                           : item.kind == TV_TESTER_DOC   ? &TesterKind()
                                                          : nullptr;
    std::string name;
    fs::path placed;
    int error = EEXIST;
    if (automaticIds && kind) {
        auto reservation = GetIncrementalID(parent, kind->idPrefix, port);
        if (!reservation) {
            (void)RemoveTree(SystemFiles(), temporary);
            return std::nullopt;
        }
        name = reservation->Id();
        placed = parent / (name + std::string(kItemExtension));
        error = SystemFiles().RenameNoReplace(temporary, placed);
    }
    const std::string base = folder ? item.path.filename().string() : item.label;
    for (int n = 1; error == EEXIST && !(automaticIds && kind); ++n) {
        name = (n == 1 ? "copy of " : "copy(" + std::to_string(n) + ") of ") + base;
        if (folder ? GroupNameTaken(parent, name) : IdentifierTaken(parent, name))
            continue;
        placed = parent / (folder ? name : name + std::string(kItemExtension));
        error = SystemFiles().RenameNoReplace(temporary, placed);
    }
    if (error != 0) {
        (void)RemoveTree(SystemFiles(), temporary);
        copier.Fail(texts, placed);
        return tellFailures();
    }
    if (folder) {
        if (auto description = DescriptionBeside(item.path)) {
            const fs::path target = DescriptionPathBeside(placed);
            if (CopyFile(SystemFiles(), *description, target) != 0)
                copier.Fail(texts, target);
            else
                FollowIdentifier(target, name);
        }
    } else {
        FollowIdentifier(placed, name);
    }
    tellFailures();
    return TreeNode{placed, NodeKindOf(databaseDir, placed), name};
}

bool ConvertDroppedTestCases(const TreeNode& item, const TreeNode& dropTarget,
                             EditorContext context, const std::function<void()>& step,
                             std::stop_token stop) {
    if (!IsConversionDrop(item.kind, dropTarget.kind))
        return false;
    const TreeNode target = ConversionTarget(dropTarget);
    const fs::path destination = target.path / item.path.filename();
    if (HeldByBin(target.path, item.path.filename().string())) {
        context.port.tell(HeldByBinNotice(item.label, "Unable to copy"));
        return false;
    }
    std::error_code error;
    if (item.kind == TV_TEST_TEST_DOC) {
        const bool converted =
            (!ItemNameTaken(target.path, item.path, false) ||
             context.port.ask(
                 {FillMessage("A test case with the name %s already exists in that folder, "
                              "overwrite?",
                              {item.label}),
                  kOverwriteCaption, Icon::Question})) &&
            PrjTestCase::Convert(item.path, destination, context);
        if (step)
            step();
        return converted;
    }
    // A suite: its folder and description, then each test case and sub-suite below it.
    if (!fs::is_directory(destination, error) && !fs::create_directory(destination, error)) {
        context.port.tell({FillMessage(kMoveCopyTexts.fileFailure, {destination.string()}),
                           std::string(kMoveCopyTexts.caption), Icon::Warning});
        return false;
    }
    if (auto description = DescriptionBeside(item.path))
        fs::copy_file(*description, DescriptionPathBeside(destination),
                      fs::copy_options::skip_existing, error);
    const TreeNode suite{destination, TV_PRJ_SUITE_FLD, item.label};
    bool allConverted = true;
    ItemListing items;
    ListItems(item.path, items);
    for (const FolderEntry& document : items.documents) {
        if (stop.stop_requested())
            return false;
        const fs::path path = item.path / document.name;
        allConverted = ConvertDroppedTestCases({path, TV_TEST_TEST_DOC, path.stem().string()},
                                               suite, context, step, stop) &&
                       allConverted;
    }
    for (const std::string& name : items.folders)
        allConverted = ConvertDroppedTestCases({item.path / name, TV_TEST_SUITE_FLD, name}, suite,
                                               context, step, stop) &&
                       allConverted;
    return allConverted && !stop.stop_requested();
}

int ConvertedTestCaseCount(const std::vector<ConversionDrop>& drops) {
    int count = 0;
    for (const ConversionDrop& drop : drops) {
        if (drop.item.kind == TV_TEST_TEST_DOC)
            ++count;
        else
            WalkItems(drop.item.path, [&count](const fs::path&, const ItemListing& items) {
                count += static_cast<int>(items.documents.size());
                return true;
            });
    }
    return count;
}

TransferResult RunConversions(const std::vector<ConversionDrop>& drops, EditorContext context,
                              const std::function<void()>& step, std::stop_token stop) {
    TransferResult result;
    for (const ConversionDrop& drop : drops) {
        if (stop.stop_requested())
            break;
        ConvertDroppedTestCases(drop.item, drop.target, context, step, stop);
        result.written.push_back(ConversionTarget(drop.target).path / drop.item.path.filename());
    }
    if (stop.stop_requested()) {
        result.stopped = true;
        result.failures.push_back(CopyCancelledNotice());
    }
    return result;
}

TransferWorker::~TransferWorker() {
    StopAndWait();
}

bool TransferWorker::Start(TransferPlan plan, std::function<void()> step, Finished finished) {
    return Start([plan = std::move(plan), step = std::move(step)](
                     std::stop_token stop) { return RunTransfer(plan, step, stop); },
                 std::move(finished));
}

bool TransferWorker::Start(Job job, Finished finished) {
    std::lock_guard lock(m_mutex);
    if (m_running)
        return false;
    if (m_thread.joinable())
        m_thread.join();
    m_running = true;
    m_thread = std::jthread(
        [this, job = std::move(job), finished = std::move(finished)](std::stop_token stop) {
            TransferResult result = job(stop);
            {
                std::lock_guard done(m_mutex);
                m_running = false;
            }
            if (finished)
                finished(std::move(result));
        });
    return true;
}

bool TransferWorker::Running() const {
    std::lock_guard lock(m_mutex);
    return m_running;
}

void TransferWorker::Cancel() {
    std::lock_guard lock(m_mutex);
    if (m_running)
        m_thread.request_stop();
}

void TransferWorker::StopAndWait() {
    if (m_thread.joinable()) {
        m_thread.request_stop();
        m_thread.join();
    }
}

void TransferWorker::Wait() {
    if (m_thread.joinable())
        m_thread.join();
}

}  // namespace vantorel
