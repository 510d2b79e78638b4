#include "workspace/insert_test_case.h"

#include <strings.h>

#include <cstdio>
#include <map>
#include <sstream>
#include <system_error>

#include "documents/prj_test_case.h"
#include "documents/test_case.h"
#include "storage/atomic_save.h"
#include "storage/file_reading.h"
#include "storage/identifiers.h"
#include "storage/locks.h"

namespace vantorel {
namespace fs = std::filesystem;

namespace {

constexpr std::string_view kCaption = "Insert New Test Case";
// Hidden, so no listing takes it for an item.
constexpr std::string_view kJournalName = ".vtinsert.journal";

struct NumberedId {
    std::string prefix;
    long long number = 0;
    int width = 0;
};

std::optional<NumberedId> Numbered(std::string_view id) {
    std::size_t digits = id.size();
    while (digits > 0 && std::isdigit(static_cast<unsigned char>(id[digits - 1])))
        --digits;
    const std::size_t width = id.size() - digits;
    if (width == 0 || width > 15)
        return std::nullopt;
    return NumberedId{std::string(id.substr(0, digits)), std::stoll(std::string(id.substr(digits))),
                      static_cast<int>(width)};
}

std::string IdOf(const NumberedId& base, long long number) {
    char digits[32];
    std::snprintf(digits, sizeof digits, "%0*lld", base.width, number);
    return base.prefix + digits;
}

fs::path DocumentOf(const fs::path& folder, const std::string& id) {
    return folder / (id + std::string(kItemExtension));
}

// The journal: the new ID on its first line, then one rename a line, old and new ID apart by a
// tab. The IDs hold no tab or line break.
std::string JournalText(const InsertPlan& plan) {
    std::string text = plan.newId + "\n";
    for (const auto& [from, to] : plan.renames)
        text += from + "\t" + to + "\n";
    return text;
}

std::optional<InsertPlan> ReadJournal(const fs::path& journal) {
    std::string text;
    if (ReadRegularFile(journal, text) != 0)
        return std::nullopt;
    std::istringstream lines(text);
    InsertPlan plan;
    std::getline(lines, plan.newId);
    for (std::string line; std::getline(lines, line);)
        if (const std::size_t tab = line.find('\t'); tab != std::string::npos)
            plan.renames.emplace_back(line.substr(0, tab), line.substr(tab + 1));
    return plan;
}

bool HeldBySomeoneElse(const fs::path& item, const UserIdentity& identity) {
    LockHolder holder;
    return ReadLockHolder(item, holder) == 0 &&
           (strcasecmp(holder.user.c_str(), identity.user.c_str()) != 0 ||
            strcasecmp(holder.computer.c_str(), identity.computer.c_str()) != 0);
}

// An insert's journal still there is another user's insert under way, or one of ours that a
// crash cut short. Ours is carried to its end: the renames not yet made are made (the <id> of
// each followed again, which changes nothing when it already had), the locks it left and the
// journal go. False while someone else's insert holds the suite.
bool FinishJournal(const fs::path& folder, const UserIdentity& identity, FileLayer& files) {
    const fs::path journal = folder / std::string(kJournalName);
    const std::optional<InsertPlan> plan = ReadJournal(journal);
    if (!plan)
        return true;
    for (const auto& [from, to] : plan->renames)
        if (HeldBySomeoneElse(DocumentOf(folder, from), identity) ||
            HeldBySomeoneElse(DocumentOf(folder, to), identity))
            return false;
    std::error_code error;
    for (const auto& [from, to] : plan->renames) {
        const fs::path source = DocumentOf(folder, from), target = DocumentOf(folder, to);
        if (fs::exists(source, error) && !fs::exists(target, error))
            (void)files.RenameNoReplace(source, target);
        if (fs::exists(target, error))
            (void)FollowIdentifier(target, to, files);
        (void)deleteLockFile(source, false, identity, files);
    }
    (void)files.Remove(journal);
    return true;
}

// The locks of the test cases to renumber, released as it goes.
class HeldLocks {
public:
    HeldLocks(UserIdentity identity, FileLayer& files)
        : m_identity(std::move(identity)), m_files(files) {}
    ~HeldLocks() {
        for (const fs::path& item : m_items)
            (void)deleteLockFile(item, false, m_identity, m_files);
    }
    HeldLocks(const HeldLocks&) = delete;
    HeldLocks& operator=(const HeldLocks&) = delete;
    bool Take(const fs::path& item) {
        if (createLockFile(item, m_identity, m_files) != 0)
            return false;
        m_items.push_back(item);
        return true;
    }

private:
    UserIdentity m_identity;
    FileLayer& m_files;
    std::vector<fs::path> m_items;
};

}  // namespace

std::optional<InsertPlan> PlanInsert(const std::vector<std::string>& ids,
                                     std::string_view selectedId) {
    const std::optional<NumberedId> base = Numbered(selectedId);
    if (!base)
        return std::nullopt;
    // The IDs of the same prefix by their number, the prefix's letter case ignored as the
    // file system of a shared disk may.
    std::map<long long, std::string> numbered;
    for (const std::string& id : ids)
        if (const std::optional<NumberedId> other = Numbered(id);
            other && strcasecmp(other->prefix.c_str(), base->prefix.c_str()) == 0)
            numbered.emplace(other->number, id);
    InsertPlan plan{IdOf(*base, base->number + 1), {}};
    long long last = base->number + 1;
    while (numbered.contains(last))
        ++last;
    for (long long number = last - 1; number > base->number; --number)
        plan.renames.emplace_back(numbered[number], IdOf(*base, number + 1));
    return plan;
}

std::optional<fs::path> InsertTestCase(const TreeNode& selected, const EditorContext& context,
                                       FileLayer& files) {
    UserPort& port = context.port;
    const fs::path folder = selected.path.parent_path();
    const Notice locked{
        "Unable to insert test case as some files that need to be renamed are "
        "locked.",
        std::string(kCaption), Icon::Warning};
    if (!FinishJournal(folder, context.identity, files)) {
        port.tell(locked);
        return std::nullopt;
    }
    const std::optional<InsertPlan> plan = PlanInsert(ItemIdsIn(folder), selected.label);
    if (!plan) {
        port.tell({FillMessage("%s ends in no number, so there is no place after it to number a "
                               "new test case. Use New Test Case instead.",
                               {selected.label}),
                   std::string(kCaption), Icon::Warning});
        return std::nullopt;
    }
    for (const auto& [from, to] : plan->renames)
        if (!ItemPathFits(folder, to, kItemExtension) || HeldByBin(folder, to + ".vtl")) {
            port.tell({FillMessage("Unable to insert test case: %s can't be renumbered to %s.",
                                   {from, to}),
                       std::string(kCaption), Icon::Warning});
            return std::nullopt;
        }
    HeldLocks locks(context.identity, files);
    for (const auto& [from, to] : plan->renames)
        if (!locks.Take(DocumentOf(folder, from))) {
            port.tell(locked);
            return std::nullopt;
        }

    const fs::path journal = folder / std::string(kJournalName);
    std::size_t renamed = 0;
    auto putBack = [&] {
        while (renamed > 0) {
            const auto& [from, to] = plan->renames[--renamed];
            if (files.Rename(DocumentOf(folder, to), DocumentOf(folder, from)) == 0)
                (void)FollowIdentifier(DocumentOf(folder, from), from, files);
        }
        (void)files.Remove(journal);
    };
    if (!plan->renames.empty()) {
        if (const IoResult saved = SaveWholeFile(journal, JournalText(*plan), files); !saved.ok()) {
            port.tell(SaveFailure(saved));
            return std::nullopt;
        }
        for (const auto& [from, to] : plan->renames) {
            int error = files.RenameNoReplace(DocumentOf(folder, from), DocumentOf(folder, to));
            if (error == 0) {
                ++renamed;  // put back with the others should its <id> fail to follow
                error = FollowIdentifier(DocumentOf(folder, to), to, files);
            }
            if (error != 0) {
                putBack();
                port.tell(
                    {FillMessage("Unable to insert test case: %s could not be renumbered.\n%s",
                                 {from, std::generic_category().message(error)}),
                     std::string(kCaption), Icon::Warning});
                return std::nullopt;
            }
        }
    }

    const bool project = selected.kind == TV_PRJ_TEST_DOC;
    std::unique_ptr<ItemEditor> editor;
    if (project)
        editor = PrjTestCase::New(folder, context, false);
    else
        editor = TestCase::New(folder, context, false);
    if (editor) {
        editor->Control("<id>").text = plan->newId;
        if (!editor->Save()) {
            (void)files.Remove(journal);
            return editor->Path();
        }
    }
    putBack();
    return std::nullopt;
}

}  // namespace vantorel
