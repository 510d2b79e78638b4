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
#include "storage/identifiers.h"
#include "storage/locks.h"
#include "storage/tagged_document.h"

namespace vantorel {
namespace fs = std::filesystem;
namespace {

constexpr char kOverwriteCaption[] = "Overwrite existing item";

bool IsDocumentKind(NodeKind kind) {
    return !IsFolderKind(kind) && kind != TV_NONE;
}

bool IsSuiteKind(NodeKind kind) {
    return kind == TV_TEST_SUITE_FLD || kind == TV_PRJ_SUITE_FLD;
}

// Whether target takes item as it is (a conversion is not a plain move).
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

bool IsBookkeeping(const fs::path& path) {
    const std::string name = path.filename().string();
    return name.starts_with(kSaveTempPrefix) || path.extension() == ".lck" ||
           path.extension() == ".tmp";
}

fs::path TemporaryBeside(const fs::path& target, std::string_view purpose) {
    static std::atomic<unsigned> counter{0};
    return target.parent_path() / (std::string(kSaveTempPrefix) + std::string(purpose) + "-" +
                                   std::to_string(::getpid()) + "-" + std::to_string(counter++));
}

// Renames without replacing: EEXIST when to exists.
int RenameNoReplace(const fs::path& from, const fs::path& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS)
        return errno;
    // A file system without the flag: a hard link refuses an existing name just as well for
    // files; folders fall back on a check first.
    std::error_code error;
    if (fs::exists(to, error))
        return EEXIST;
    return ::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

// Puts the finished temporary item in place of target: beside an existing one, which is set
// aside first and removed last, so one of the two is whole at every moment.
int PlaceItem(const fs::path& temporary, const fs::path& target, bool replace) {
    if (!replace)
        return RenameNoReplace(temporary, target);
    std::error_code error;
    if (!fs::is_directory(target, error)) {
        fs::rename(temporary, target, error);
        return error.value();
    }
    const fs::path aside = TemporaryBeside(target, "old");
    fs::rename(target, aside, error);
    if (error)
        return error.value();
    fs::rename(temporary, target, error);
    if (error) {
        std::error_code undo;
        fs::rename(aside, target, undo);
        return error.value();
    }
    fs::remove_all(aside, error);
    return 0;
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
    Copier(const std::function<void()>& step, std::stop_token stop, TransferResult& result)
        : m_step(step), m_stop(stop), m_result(result) {}

    // Copies source into the temporary file or folder; false after noting the failure, with
    // nothing of the copy left behind.
    bool CopyInto(const fs::path& source, const fs::path& temporary, bool folder,
                  const CopyTexts& texts) {
        std::error_code error;
        if (!folder) {
            fs::copy_file(source, temporary, error);
            if (error)
                return Fail(texts, source);
            Step();
            return true;
        }
        fs::create_directory(temporary, error);
        if (error)
            return Fail(texts, source);
        if (!CopyTree(source, temporary)) {
            fs::remove_all(temporary, error);
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
    bool CopyTree(const fs::path& source, const fs::path& target) {
        std::error_code error;
        for (fs::directory_iterator entries(source, error), end; !error && entries != end;
             entries.increment(error)) {
            if (StopRequested())
                return false;
            const fs::path& from = entries->path();
            if (IsBookkeeping(from))
                continue;
            const fs::path to = target / from.filename();
            std::error_code itemError;
            if (entries->is_directory(itemError)) {
                if (!fs::create_directory(to, itemError) || !CopyTree(from, to))
                    return itemError ? Fail(kTreeTexts, to) : false;
                continue;
            }
            if (!fs::copy_file(from, to, itemError))
                return Fail(kTreeTexts, to);
            if (from.extension() == kItemExtension || from.extension() == kGroupExtension)
                Step();
        }
        return !error || Fail(kTreeTexts, source);
    }

    const std::function<void()>& m_step;
    std::stop_token m_stop;
    TransferResult& m_result;
};

// The ".tgp" a folder keeps beside it, if any.
std::optional<fs::path> DescriptionBeside(const fs::path& folder) {
    fs::path beside = folder;
    beside += kGroupExtension;
    std::error_code error;
    return fs::exists(beside, error) ? std::optional(beside) : std::nullopt;
}

fs::path WithExtension(const fs::path& path, std::string_view extension) {
    fs::path result = path;
    result += extension;
    return result;
}

void CopyStep(const TransferStep& step, Copier& copier, TransferResult& result) {
    const CopyTexts& texts = step.folder ? kTreeTexts : kPasteTexts;
    const fs::path temporary = TemporaryBeside(step.target, "copy");
    if (!copier.CopyInto(step.source, temporary, step.folder, texts))
        return;
    if (int error = PlaceItem(temporary, step.target, step.replace); error != 0) {
        std::error_code ignored;
        fs::remove_all(temporary, ignored);
        copier.Fail(texts, step.target);
        return;
    }
    if (step.folder) {
        if (auto description = DescriptionBeside(step.source)) {
            const fs::path target = WithExtension(step.target, kGroupExtension);
            const fs::path temporaryDescription = TemporaryBeside(target, "copy");
            if (copier.CopyInto(*description, temporaryDescription, false, texts)) {
                std::error_code error;
                fs::rename(temporaryDescription, target, error);
                if (error) {
                    fs::remove(temporaryDescription, error);
                    copier.Fail(texts, target);
                }
            }
        }
    }
    result.written.push_back(step.target);
}

void MoveStep(const TransferStep& step, Copier& copier, TransferResult& result) {
    const auto description = step.folder ? DescriptionBeside(step.source) : std::nullopt;
    int error = PlaceItem(step.source, step.target, step.replace);
    if (error == EXDEV) {
        // Another file system: copy whole, then remove the source.
        const fs::path temporary = TemporaryBeside(step.target, "move");
        if (!copier.CopyInto(step.source, temporary, step.folder, kMoveCopyTexts))
            return;
        error = PlaceItem(temporary, step.target, step.replace);
        std::error_code cleanup;
        if (error != 0)
            fs::remove_all(temporary, cleanup);
        else
            fs::remove_all(step.source, cleanup);
    }
    if (error != 0) {
        result.failures.push_back({FillMessage("Unable to move file: %s", {step.source.string()}),
                                   "Unable to move", Icon::Warning});
        return;
    }
    if (description) {
        std::error_code moveError;
        fs::rename(*description, WithExtension(step.target, kGroupExtension), moveError);
        if (moveError) {
            fs::copy_file(*description, WithExtension(step.target, kGroupExtension),
                          fs::copy_options::overwrite_existing, moveError);
            if (moveError)
                copier.Fail(kMoveCopyTexts, *description);
            else
                fs::remove(*description, moveError);
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
    std::error_code error;
    for (fs::recursive_directory_iterator walk(folder, error), end; !error && walk != end;
         walk.increment(error)) {
        const fs::path extension = walk->path().extension();
        if (extension == kItemExtension || extension == kGroupExtension)
            ++count;
    }
    return count;
}

bool CanDrop(NodeKind item, NodeKind target) {
    return SameFamily(item, target) || IsConversionDrop(item, target);
}

bool IsConversionDrop(NodeKind item, NodeKind target) {
    return (item == TV_TEST_TEST_DOC || item == TV_TEST_SUITE_FLD) &&
           (target == TV_PRJ_TEST_FLD || target == TV_PRJ_SUITE_FLD);
}

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
    if (plan.steps.empty())
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
    if (folder && grows > 0) {
        std::error_code error;
        for (fs::recursive_directory_iterator walk(item.path, error), end;
             fits && !error && walk != end; walk.increment(error))
            fits = walk->path().extension() != kItemExtension ||
                   walk->path().string().size() + grows <= kPathMax;
    }
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

TransferResult RunTransfer(const TransferPlan& plan, const std::function<void()>& step,
                           std::stop_token stop) {
    TransferResult result;
    Copier copier(step, stop, result);
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
        result.failures.push_back(
            {"The copy was cancelled. The items already in place stay; nothing half-copied is "
             "left.",
             "Copy cancelled", Icon::Information});
    return result;
}

std::vector<fs::path> RunTransferNow(const TransferPlan& plan, UserPort& port,
                                     const std::function<void()>& step) {
    TransferResult result = RunTransfer(plan, step);
    for (const Notice& failure : result.failures)
        port.tell(failure);
    return result.written;
}

std::optional<TreeNode> Duplicate(const fs::path& databaseDir, const TreeNode& item,
                                  bool automaticIds, UserPort& port) {
    const bool folder = IsFolderKind(item.kind);
    const bool duplicable = (folder && !IsFixedKind(item.kind)) || IsDocumentKind(item.kind);
    if (!duplicable || item.kind == TV_RPT_DOC)
        return item;
    const fs::path parent = item.path.parent_path();
    TransferResult result;
    const std::function<void()> noStep;
    Copier copier(noStep, {}, result);
    const fs::path temporary = TemporaryBeside(item.path, "copy");
    const CopyTexts& texts = folder ? kTreeTexts : kPasteTexts;
    auto tellFailures = [&] {
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
            std::error_code ignored;
            fs::remove(temporary, ignored);
            return std::nullopt;
        }
        name = reservation->Id();
        placed = parent / (name + std::string(kItemExtension));
        error = RenameNoReplace(temporary, placed);
    }
    const std::string base = folder ? item.path.filename().string() : item.label;
    for (int n = 1; error == EEXIST && !(automaticIds && kind); ++n) {
        name = (n == 1 ? "copy of " : "copy(" + std::to_string(n) + ") of ") + base;
        if (folder ? GroupNameTaken(parent, name) : IdentifierTaken(parent, name))
            continue;
        placed = parent / (folder ? name : name + std::string(kItemExtension));
        error = RenameNoReplace(temporary, placed);
    }
    if (error != 0) {
        std::error_code ignored;
        fs::remove_all(temporary, ignored);
        copier.Fail(texts, placed);
        return tellFailures();
    }
    if (folder) {
        if (auto description = DescriptionBeside(item.path)) {
            const fs::path target = WithExtension(placed, kGroupExtension);
            std::error_code copyError;
            fs::copy_file(*description, target, copyError);
            if (copyError)
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

bool ConvertDroppedTestCases(const TreeNode& item, const TreeNode& target, EditorContext context) {
    if (!IsConversionDrop(item.kind, target.kind))
        return false;
    const fs::path destination = target.path / item.path.filename();
    std::error_code error;
    if (item.kind == TV_TEST_TEST_DOC) {
        if (ItemNameTaken(target.path, item.path, false) &&
            !context.port.ask(
                {FillMessage("A test case with the name %s already exists in that folder, "
                             "overwrite?",
                             {item.label}),
                 kOverwriteCaption, Icon::Question}))
            return false;
        return PrjTestCase::Convert(item.path, destination, context);
    }
    // A suite: its folder and description, then each test case and sub-suite below it.
    if (!fs::is_directory(destination, error) && !fs::create_directory(destination, error)) {
        context.port.tell({FillMessage(kMoveCopyTexts.fileFailure, {destination.string()}),
                           std::string(kMoveCopyTexts.caption), Icon::Warning});
        return false;
    }
    if (auto description = DescriptionBeside(item.path))
        fs::copy_file(*description, WithExtension(destination, kGroupExtension),
                      fs::copy_options::skip_existing, error);
    const TreeNode suite{destination, TV_PRJ_SUITE_FLD, item.label};
    bool allConverted = true;
    for (fs::directory_iterator entries(item.path, error), end; !error && entries != end;
         entries.increment(error)) {
        if (IsBookkeeping(entries->path()))
            continue;
        std::error_code typeError;
        const bool isFolder = entries->is_directory(typeError);
        if (!isFolder && entries->path().extension() != kItemExtension)
            continue;
        const TreeNode child{entries->path(), isFolder ? TV_TEST_SUITE_FLD : TV_TEST_TEST_DOC,
                             entries->path().stem().string()};
        allConverted = ConvertDroppedTestCases(child, suite, context) && allConverted;
    }
    return allConverted;
}

TransferWorker::~TransferWorker() {
    StopAndWait();
}

bool TransferWorker::Start(TransferPlan plan, std::function<void()> step, Finished finished) {
    std::lock_guard lock(m_mutex);
    if (m_running)
        return false;
    if (m_thread.joinable())
        m_thread.join();
    m_running = true;
    m_thread = std::jthread([this, plan = std::move(plan), step = std::move(step),
                             finished = std::move(finished)](std::stop_token stop) {
        TransferResult result = RunTransfer(plan, step, stop);
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
