// Several testers on one database at once: worker processes, each with its own user identity and
// data folder, do what testers do through the program's own operations (edit a project test
// case under its lock and save it; create, rename, duplicate, move and delete test cases; make
// status and progress reports), with random pauses, while some are killed with SIGKILL in the
// middle of an operation and started again. Afterwards the database is checked: every document
// parses with all its fields, the items are exactly those the workers' own logs account for,
// every history runs in time order and ends in the document's status, no lock is left (a
// killed worker's lock is taken over by its next start as the tester's own, with no unlock
// dialog), no lock was ever seen naming nobody, and no temporary file survives the sweep.
//
//   vantorel_soak [--processes N] [--seconds S] [--folder DIR] [--fuse]
//
// --fuse mounts the database a second time through bindfs and gives half the workers that
// path, while a polling change watcher on the mount counts what the other half changed.
// Prints the figures and exits 0 when every check holds, 1 when one fails, 77 when --fuse was
// asked for and no FUSE mount can be made here.

#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <random>
#include <set>
#include <span>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "documents/custom_cfg.h"
#include "documents/field_tables.h"
#include "documents/history.h"
#include "documents/prj_test_case.h"
#include "documents/test_case.h"
#include "reports/report_base.h"
#include "storage/atomic_save.h"
#include "storage/change_watcher.h"
#include "storage/item_listing.h"
#include "storage/locks.h"
#include "storage/tagged_document.h"
#include "storage/vantorel_database.h"
#include "workspace/item_transfer.h"
#include "workspace/navigation.h"

namespace vantorel {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int kProjectTestCases = 40;
constexpr int kAreas = 4;
constexpr char kProject[] = "Soak";

fs::path CasesOf(const fs::path& db) {
    return db / "Projects" / kProject / "Project Test Cases";
}
fs::path AreaOf(const fs::path& db, int area) {
    return db / "Test Cases" / ("Area " + std::to_string(area));
}

// A tester who answers every question as a careful tester would: deleting what they chose to
// delete, never replacing another's item, and never forcing a lock open: their own left by a
// killed run is taken over without the unlock dialog.
class SoakPort : public UserPort {
public:
    void tell(const Notice& notice) override { lastNotice = notice.caption + ": " + notice.text; }
    bool ask(const Notice& question) override { return question.caption == "Confirm delete"; }
    void progress(int, int) override {}

    std::string lastNotice;
};

// ---------------------------------------------------------------------------------------------
// The database every worker shares.

bool MakeDatabase(const fs::path& db, SoakPort& port) {
    VantorelDatabase database(port);
    std::error_code error;
    fs::create_directories(db, error);
    if (!database.CreateNew(db))
        return false;
    CustomCfg custom;
    if (!custom.Read(db, port, "soak").read)
        return false;
    const fs::path project = db / "Projects" / kProject;
    for (const char* kind :
         {"Status Reports", "Progress Reports", "Test Case Reports", "Test List Reports"})
        fs::create_directories(project / "Project Reports" / kind);
    fs::create_directories(CasesOf(db) / "Suite A");
    fs::create_directories(CasesOf(db) / "Suite B");
    for (int area = 0; area < kAreas; ++area)
        fs::create_directories(AreaOf(db, area));
    const std::string description =
        "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n<project>\r\n<id>Soak</id>\r\n"
        "<planned_start_date>20261001</planned_start_date>\r\n</project>\r\n";
    if (!SaveWholeFile(db / "Projects" / "Soak.tgp", description).ok())
        return false;
    // One item of each kind through its editor; the others are its copies under their own
    // identifiers, written plainly (each save through the editor waits for the disk).
    EditorContext context{port, custom, {"soak-maker", "maker"}};
    auto first = PrjTestCase::New(CasesOf(db) / "Suite A", context, false);
    if (!first)
        return false;
    first->Control("<id>").text = "PTC0";
    if (first->Save())
        return false;
    first.reset();
    auto library = TestCase::New(AreaOf(db, 0), context, false);
    if (!library)
        return false;
    library->Control("<id>").text = "Base-0-0";
    library->Control("<test_title>").text = "Library test case";
    if (library->Save())
        return false;
    library.reset();
    auto copy = [](const fs::path& from, const std::string& fromId, const fs::path& to,
                   const std::string& id) {
        std::ifstream in(from, std::ios::binary);
        std::string text((std::istreambuf_iterator<char>(in)), {});
        const std::string tag = "<id>" + fromId + "</id>";
        text.replace(text.find(tag), tag.size(), "<id>" + id + "</id>");
        std::ofstream(to, std::ios::binary) << text;
    };
    const fs::path model = CasesOf(db) / "Suite A" / "PTC0.vtl";
    for (int i = 1; i < kProjectTestCases; ++i) {
        const std::string id = "PTC" + std::to_string(i);
        copy(model, "PTC0", CasesOf(db) / (i % 2 ? "Suite B" : "Suite A") / (id + ".vtl"), id);
    }
    for (int area = 0; area < kAreas; ++area) {
        for (int i = area == 0 ? 1 : 0; i < 5; ++i) {
            const std::string id = "Base-" + std::to_string(area) + "-" + std::to_string(i);
            copy(AreaOf(db, 0) / "Base-0-0.vtl", "Base-0-0", AreaOf(db, area) / (id + ".vtl"), id);
        }
    }
    return true;
}

// True for a lock that exists and says nobody holds it (no computer and no user before the
// padding): what a lock created first and written after shows in between, or for ever when
// its process dies in between.
bool NamesNobody(const fs::path& lock) {
    std::ifstream in(lock, std::ios::binary);
    if (!in)
        return false;
    std::string head(2, '\0');
    in.read(head.data(), 2);
    head.resize(static_cast<std::size_t>(in.gcount()));
    return head.empty() || head[0] == '\0' || head[0] == '\n';
}

// ---------------------------------------------------------------------------------------------
// A worker: one tester, until the deadline.

// The log a worker keeps of its own operations: "B op path [path]" before, "D op path [path]"
// when done, "F op" when refused; "N lock path" for a lock it found naming nobody. A killed
// worker leaves a B without its D, settled at its next start (below).
struct LogLine {
    char state = 0;  // 'B', 'D', 'F', or 'N'
    std::string op;
    std::vector<std::string> paths;
};

std::vector<LogLine> ReadLog(const fs::path& log) {
    std::vector<LogLine> lines;
    std::ifstream in(log);
    for (std::string text; std::getline(in, text);) {
        if (text.size() < 3)
            continue;  // a line cut by the kill
        LogLine line;
        line.state = text[0];
        std::stringstream fields(text.substr(2));
        std::getline(fields, line.op, '\t');
        for (std::string path; std::getline(fields, path, '\t');)
            line.paths.push_back(path);
        lines.push_back(std::move(line));
    }
    return lines;
}

// The items a worker's log accounts for; the operation a kill interrupted is settled by what
// is on disk (it happened wholly or not at all, which is what the checks below hold it to).
struct Accounting {
    std::set<std::string> items;
    int done = 0;
    int refused = 0;
    int interrupted = 0;
    std::vector<std::string> unfinishedEdits;  // items a killed worker was editing
    std::vector<LogLine> settlements;          // to write down at this start
};

void Apply(Accounting& account, const LogLine& line) {
    if (line.op == "create" || line.op == "duplicate")
        account.items.insert(line.paths.back());
    else if (line.op == "rename" || line.op == "move") {
        account.items.erase(line.paths[0]);
        account.items.insert(line.paths[1]);
    } else if (line.op == "delete")
        account.items.erase(line.paths[0]);
}

// What a killed operation did, found on disk at the next start and written to the log then,
// so that later replays don't judge it again by a disk that has moved on: "S" with the paths
// of what happened, or "X" for nothing.
LogLine Settle(Accounting& account, const LogLine& begun) {
    ++account.interrupted;
    LogLine settled{'X', begun.op, begun.paths};
    std::error_code error;
    if (begun.op == "create" && fs::exists(begun.paths[0], error))
        settled.state = 'S';
    else if ((begun.op == "rename" || begun.op == "move") && fs::exists(begun.paths[1], error))
        settled.state = 'S';
    else if (begun.op == "delete" && !fs::exists(begun.paths[0], error))
        settled.state = 'S';
    else if (begun.op == "duplicate") {
        // The copy's name is the operation's to choose: "copy of X", "copy(2) of X", ...
        const fs::path source = begun.paths[0];
        const std::string suffix = " of " + source.filename().string();
        for (const auto& entry : fs::directory_iterator(source.parent_path(), error)) {
            const std::string name = entry.path().filename().string();
            if (name.starts_with("copy") && name.ends_with(suffix) &&
                !account.items.count(entry.path().string())) {
                settled = {'S', begun.op, {source.string(), entry.path().string()}};
                break;
            }
        }
    } else if (begun.op == "edit" || begun.op == "unlock")
        account.unfinishedEdits.push_back(begun.paths[0]);
    if (settled.state == 'S')
        Apply(account, settled);
    return settled;
}

Accounting Replay(const fs::path& log) {
    Accounting account;
    const std::vector<LogLine> lines = ReadLog(log);
    const LogLine* open = nullptr;
    for (const LogLine& line : lines) {
        if (line.state == 'B') {
            open = &line;
        } else if (line.state == 'D') {
            Apply(account, line);
            ++account.done;
            open = nullptr;
        } else if (line.state == 'F') {
            ++account.refused;
            open = nullptr;
        } else if (line.state == 'S' || line.state == 'X') {
            if (line.state == 'S')
                Apply(account, line);
            ++account.interrupted;
            open = nullptr;
        }
    }
    if (open)
        account.settlements.push_back(Settle(account, *open));
    return account;
}

class Worker {
public:
    Worker(fs::path db, int index, unsigned seed, fs::path log)
        : m_db(std::move(db)),
          m_index(index),
          m_random(seed),
          m_log(std::move(log)),
          m_identity{"soak-pc-" + std::to_string(index), "tester" + std::to_string(index)} {}

    int Run(std::chrono::system_clock::time_point deadline) {
        if (!m_custom.Read(m_db, m_port, m_identity.computer).read)
            return 2;
        Accounting account = Replay(m_log);
        m_items.assign(account.items.begin(), account.items.end());
        m_counter = account.done + account.refused + account.interrupted + 1;
        m_out = std::fopen(m_log.c_str(), "a");
        if (!m_out)
            return 2;
        for (const LogLine& settled : account.settlements)
            Log(settled.state, settled.op, settled.paths);
        ClearOwnLocks(account.unfinishedEdits);
        while (std::chrono::system_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(m_random() % 40));
            const unsigned pick = m_random() % 100;
            if (pick < 35)
                Edit();
            else if (pick < 50 || m_items.empty())
                Create();
            else if (pick < 60)
                Rename();
            else if (pick < 70)
                DuplicateOne();
            else if (pick < 80)
                Move();
            else if (pick < 90)
                Delete();
            else
                Report();
        }
        std::fclose(m_out);
        return 0;
    }

private:
    EditorContext Context() { return {m_port, m_custom, m_identity}; }

    // One line, written at once so that a kill leaves whole lines behind it.
    void Log(char state, const std::string& op, const std::vector<std::string>& paths = {}) {
        std::string line = std::string(1, state) + " " + op;
        for (const std::string& path : paths)
            line += "\t" + path;
        line += "\n";
        std::fputs(line.c_str(), m_out);
        std::fflush(m_out);
    }

    // After a crash: the item the killed run was editing is opened again; its lock names this
    // tester and a run that has ended, so it is taken over, and closing the editor releases it.
    void ClearOwnLocks(const std::vector<std::string>& items) {
        for (const std::string& item : items) {
            if (!IsLocked(item) || !OwnLock(item))
                continue;  // gone, or someone else's by now: not ours to clear
            Log('B', "unlock", {item});
            auto editor = PrjTestCase::Edit(item, Context());
            const bool cleared = editor != nullptr;
            editor.reset();
            Log(cleared ? 'D' : 'F', "unlock", {item});
        }
    }

    // A lock that names this tester. A lock naming nobody is never ours to take: locks appear
    // with their holder's name or not at all, and one without is written down for the checks.
    bool OwnLock(const fs::path& item) {
        if (NamesNobody(LockPath(item)))
            Log('N', "lock", {item.string()});
        return GetLockMessage(item).find(m_identity.user + " \non " + m_identity.computer) !=
               std::string::npos;
    }

    std::string NextName() {
        return "W" + std::to_string(m_index) + "-" + std::to_string(m_counter++);
    }
    fs::path RandomArea() { return AreaOf(m_db, static_cast<int>(m_random() % kAreas)); }
    std::size_t RandomItem() { return m_random() % m_items.size(); }
    TreeNode NodeOf(const fs::path& path) {
        return {path, NodeKindOf(m_db, path), path.stem().string()};
    }

    void Edit() {
        // The shared project test cases: odd numbers live in Suite B.
        const unsigned number = m_random() % kProjectTestCases;
        const fs::path path = CasesOf(m_db) / (number % 2 ? "Suite B" : "Suite A") /
                              ("PTC" + std::to_string(number) + ".vtl");
        Log('B', "edit", {path.string()});
        auto editor = PrjTestCase::Edit(path, Context());
        if (!editor) {
            Log('F', "edit", {path.string()});  // locked by another tester
            if (NamesNobody(LockPath(path)))
                Log('N', "lock", {path.string()});
            return;
        }
        // A tester takes a while over the dialog, holding the lock.
        std::this_thread::sleep_for(std::chrono::milliseconds(m_random() % 60));
        const std::size_t status = m_random() % m_custom.StatusCount();
        editor->Control("<test_status>").text = m_custom.Status(status).text;
        const int tries = std::atoi(editor->Control("<test_attempts>").text.c_str());
        editor->Control("<test_attempts>").text = std::to_string(tries + 1);
        const bool saved = !editor->Save();
        editor.reset();
        Log(saved ? 'D' : 'F', "edit", {path.string()});
    }

    void Create() {
        const fs::path folder = RandomArea();
        const std::string name = NextName();
        const fs::path path = folder / (name + ".vtl");
        Log('B', "create", {path.string()});
        auto editor = TestCase::New(folder, Context(), false);
        if (!editor) {
            Log('F', "create", {path.string()});
            return;
        }
        editor->Control("<id>").text = name;
        editor->Control("<test_title>").text = "Made by " + m_identity.user;
        if (editor->Save()) {
            Log('F', "create", {path.string()});
            return;
        }
        m_items.push_back(path.string());
        Log('D', "create", {path.string()});
    }

    void Rename() {
        if (m_items.empty())
            return;
        const std::size_t at = RandomItem();
        const fs::path from = m_items[at];
        const std::string name = NextName();
        const fs::path to = from.parent_path() / (name + ".vtl");
        Log('B', "rename", {from.string(), to.string()});
        if (!RenameItem(NodeOf(from), name, m_identity.user, m_port)) {
            Log('F', "rename", {from.string(), to.string()});
            return;
        }
        m_items[at] = to.string();
        Log('D', "rename", {from.string(), to.string()});
    }

    void DuplicateOne() {
        if (m_items.empty())
            return;
        const fs::path source = m_items[RandomItem()];
        Log('B', "duplicate", {source.string()});
        const std::optional<TreeNode> copy = Duplicate(m_db, NodeOf(source), false, m_port);
        if (!copy) {
            Log('F', "duplicate", {source.string()});
            return;
        }
        m_items.push_back(copy->path.string());
        Log('D', "duplicate", {source.string(), copy->path.string()});
    }

    void Move() {
        if (m_items.empty())
            return;
        const std::size_t at = RandomItem();
        const fs::path from = m_items[at];
        const fs::path target = RandomArea();
        const fs::path to = target / from.filename();
        if (target == from.parent_path())
            return;
        Log('B', "move", {from.string(), to.string()});
        const std::optional<TransferPlan> plan = PlanMove(NodeOf(from), NodeOf(target), m_port);
        if (!plan || RunTransferNow(*plan, m_port).empty()) {
            Log('F', "move", {from.string(), to.string()});
            return;
        }
        m_items[at] = to.string();
        Log('D', "move", {from.string(), to.string()});
    }

    void Delete() {
        if (m_items.empty())
            return;
        const std::size_t at = RandomItem();
        const fs::path item = m_items[at];
        Log('B', "delete", {item.string()});
        if (!DeleteItem(m_db, NodeOf(item), m_identity.user, m_port).deleted) {
            Log('F', "delete", {item.string()});
            return;
        }
        m_items.erase(m_items.begin() + static_cast<std::ptrdiff_t>(at));
        Log('D', "delete", {item.string()});
    }

    void Report() {
        const ReportKind kind = m_random() % 2 ? ReportKind::Status : ReportKind::Progress;
        Log('B', "report");
        ReportRequest request;
        request.projectFolder = m_db / "Projects" / kProject;
        request.threads = 1;
        const auto made = MakeReport(kind, {m_port, m_custom})->create(request);
        Log(made ? 'D' : 'F', "report",
            made ? std::vector{made->string()} : std::vector<std::string>{});
    }

    fs::path m_db;
    int m_index;
    std::mt19937 m_random;
    fs::path m_log;
    UserIdentity m_identity;
    SoakPort m_port;
    CustomCfg m_custom;
    std::vector<std::string> m_items;
    int m_counter = 1;
    std::FILE* m_out = nullptr;
};

// ---------------------------------------------------------------------------------------------
// The checks once every worker has ended.

struct Figures {
    int operations = 0, refused = 0, kills = 0, interrupted = 0, unlocked = 0, emptyLocks = 0;
    int documents = 0, histories = 0, reports = 0, watchedChanges = 0;
    double seconds = 0;
    std::vector<std::string> failures;
};

void Fail(Figures& figures, const std::string& what) {
    if (figures.failures.size() < 20)
        figures.failures.push_back(what);
}

// Parses the document and finds every field of its kind's table.
bool ParsesWithAllFields(const fs::path& path, std::span<const FieldDescriptor> fields,
                         XMLParse& document) {
    document.Close();
    if (document.OpenRead(path) != 0 || document.Load() != 0)
        return false;
    // The strict reader: an empty field is a field, a missing or unclosed one is not.
    try {
        for (const FieldDescriptor& field : FieldRows(fields))
            if (!field.tag.empty() && field.type != FT_HEADER && field.type != FT_BLOCK_START &&
                !document.FindNextTag(field.tag, 0))
                return false;
    } catch (const TagError&) {
        return false;
    }
    return true;
}

void Check(const fs::path& db, const std::vector<fs::path>& logs, Figures& figures) {
    // The sweep of the next opening, with no grace: every worker has ended.
    SweepStaleSaves(db, std::chrono::seconds(0));

    std::set<std::string> expected;
    for (int area = 0; area < kAreas; ++area)
        for (int i = 0; i < 5; ++i)
            expected.insert((AreaOf(db, area) /
                             ("Base-" + std::to_string(area) + "-" + std::to_string(i) + ".vtl"))
                                .string());
    for (const fs::path& log : logs) {
        Accounting account = Replay(log);
        figures.operations += account.done;
        figures.refused += account.refused;
        figures.interrupted += account.interrupted;
        for (const LogLine& line : ReadLog(log)) {
            figures.unlocked += line.state == 'D' && line.op == "unlock";
            if (line.state == 'N')
                ++figures.emptyLocks;
        }
        for (const std::string& item : account.items)
            if (!expected.insert(item).second)
                Fail(figures, "claimed by two logs: " + item);
    }

    CustomCfg custom;
    SoakPort port;
    custom.Read(db, port, "checker");
    XMLParse document;
    std::set<std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(db)) {
        const fs::path& path = entry.path();
        const std::string name = path.filename().string();
        if (name.starts_with(kSaveTempPrefix))
            Fail(figures, "temporary file left after the sweep: " + path.string());
        else if (name.ends_with(".lck")) {
            Fail(figures, "lock left behind: " + path.string());
            figures.emptyLocks += NamesNobody(path);
        }
        if (path.extension() != ".vtl")
            continue;
        ++figures.documents;
        const std::string text = path.string();
        if (text.starts_with(AreaOf(db, 0).parent_path().string() + "/")) {
            found.insert(text);
            if (!ParsesWithAllFields(path, TestCaseFields(), document))
                Fail(figures, "test case lacks a field or doesn't parse: " + text);
        } else if (text.starts_with(CasesOf(db).string() + "/")) {
            if (!ParsesWithAllFields(path, PrjTestCaseFields(), document)) {
                Fail(figures, "project test case lacks a field or doesn't parse: " + text);
                continue;
            }
            ++figures.histories;
            const std::vector<HistoryBlock> history = LoadHistoryBlocks(document);
            std::string status;
            document.GetTag("<test_status>", status);
            if (history.empty() || history.back().newStatus != status)
                Fail(figures, "history doesn't end in the status: " + text);
            for (std::size_t i = 1; i < history.size(); ++i)
                if (history[i].when < history[i - 1].when)
                    Fail(figures, "history out of time order: " + text);
        } else {
            ++figures.reports;
            document.Close();
            if (document.OpenRead(path) != 0 || document.Load() != 0)
                Fail(figures, "report doesn't parse: " + text);
        }
    }
    for (const std::string& item : expected)
        if (!found.count(item))
            Fail(figures, "lost: " + item);
    for (const std::string& item : found)
        if (!expected.count(item))
            Fail(figures, "not accounted for by any log: " + item);
    if (static_cast<int>(found.size()) != static_cast<int>(expected.size()))
        Fail(figures, "items on disk " + std::to_string(found.size()) + ", by the logs " +
                          std::to_string(expected.size()));
}

// ---------------------------------------------------------------------------------------------
// The run.

pid_t StartWorker(const fs::path& self, const fs::path& db, int index, unsigned seed,
                  const fs::path& log, const fs::path& data, std::time_t deadline) {
    const pid_t pid = ::fork();
    if (pid != 0)
        return pid;
    ::setenv("VANTOREL_DATA_DIR", data.c_str(), 1);
    const std::string args[] = {self.string(),           "--worker",           db.string(),
                                std::to_string(index),   std::to_string(seed), log.string(),
                                std::to_string(deadline)};
    std::vector<char*> argv;
    for (const std::string& arg : args)
        argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    ::execv(argv[0], argv.data());
    std::_Exit(127);
}

int RunSoak(int processes, int seconds, fs::path folder, bool fuse) {
    const auto started = Clock::now();
    const fs::path self = fs::read_symlink("/proc/self/exe");
    const bool temporary = folder.empty();
    if (temporary) {
        std::string pattern = (fs::temp_directory_path() / "vantorel-soak-XXXXXX").string();
        folder = ::mkdtemp(pattern.data());
    }
    const fs::path db = folder / "db";
    fs::path mount;
    SoakPort makerPort;
    if (!MakeDatabase(db, makerPort)) {
        std::cerr << "soak: the database could not be made in " << db << ": "
                  << makerPort.lastNotice << "\n";
        return 1;
    }
    if (fuse) {
        mount = folder / "mount";
        fs::create_directories(mount);
        const std::string command =
            "bindfs --no-allow-other '" + db.string() + "' '" + mount.string() + "'";
        if (::access("/dev/fuse", R_OK | W_OK) != 0 || std::system(command.c_str()) != 0) {
            std::cerr << "soak: no FUSE mount can be made here\n";
            return 77;
        }
    }

    // Changes made through the other path reach a watcher on the mount by polling.
    Figures figures;
    ChangeWatcher watcher;
    std::atomic<int> watched{0};
    if (fuse) {
        watcher.Start(mount, [&watched](const std::string&, int) { ++watched; },
                      {WatchMethod::ByFileSystem, std::chrono::milliseconds(500)});
        watcher.FolderExpanded(mount / "Test Cases");
        for (int area = 0; area < kAreas; ++area)
            watcher.FolderExpanded(AreaOf(mount, area));
    }

    // Someone looking at the shared project test cases' locks all the time, as a tester who
    // opens one would: each lock seen naming nobody is counted once.
    std::set<std::pair<std::string, std::uintmax_t>> emptyLocksSeen;
    std::jthread lockWatch([&db, &emptyLocksSeen](std::stop_token stop) {
        while (!stop.stop_requested()) {
            for (const char* suite : {"Suite A", "Suite B"}) {
                std::error_code error;
                for (const auto& entry : fs::directory_iterator(CasesOf(db) / suite, error)) {
                    const fs::path& path = entry.path();
                    if (path.extension() != ".lck" || !NamesNobody(path))
                        continue;
                    struct stat info {};
                    if (::stat(path.c_str(), &info) == 0)
                        emptyLocksSeen.insert({path.string(), info.st_ino});
                }
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    });

    std::mt19937 random(static_cast<unsigned>(std::random_device{}()));
    const std::time_t deadline = std::chrono::system_clock::to_time_t(
        std::chrono::system_clock::now() + std::chrono::seconds(seconds));
    std::vector<pid_t> workers(static_cast<std::size_t>(processes));
    std::vector<fs::path> logs;
    auto start = [&](int index) {
        // Half the workers go through the mount: two computers on one share.
        const fs::path path = fuse && index % 2 ? mount : db;
        workers[static_cast<std::size_t>(index)] =
            StartWorker(self, path, index, random(), logs[static_cast<std::size_t>(index)],
                        folder / ("data-" + std::to_string(index)), deadline);
    };
    for (int index = 0; index < processes; ++index) {
        logs.push_back(folder / ("worker-" + std::to_string(index) + ".log"));
        fs::create_directories(folder / ("data-" + std::to_string(index)));
        start(index);
    }
    // Kills at random moments, the worker started again at once, until shortly before the
    // end (a worker started in the last second would have nothing to do).
    while (std::chrono::system_clock::now() + std::chrono::seconds(2) <
           std::chrono::system_clock::from_time_t(deadline)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(500 + random() % 2000));
        const int index = static_cast<int>(random() % static_cast<unsigned>(processes));
        ::kill(workers[static_cast<std::size_t>(index)], SIGKILL);
        ::waitpid(workers[static_cast<std::size_t>(index)], nullptr, 0);
        ++figures.kills;
        // A FUSE server may still finish the killed process's last request; a tester takes
        // longer than this to start the program again.
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        start(index);
    }
    bool workersFailed = false;
    for (pid_t pid : workers) {
        int status = 0;
        ::waitpid(pid, &status, 0);
        workersFailed = workersFailed || !WIFEXITED(status) || WEXITSTATUS(status) != 0;
    }
    if (fuse) {
        watcher.PollNow();
        watcher.Stop();
        figures.watchedChanges = watched;
        if (std::system(("fusermount -u '" + mount.string() + "'").c_str()) != 0)
            ::umount2(mount.c_str(), MNT_DETACH);
        // The logs of the workers on the mount name its paths: read them as the folder's.
        for (const fs::path& log : logs) {
            std::ifstream in(log);
            std::stringstream text;
            text << in.rdbuf();
            std::string content = text.str();
            for (std::size_t at = 0; (at = content.find(mount.string(), at)) != std::string::npos;)
                content.replace(at, mount.string().size(), db.string());
            in.close();
            std::ofstream(log, std::ios::trunc) << content;
        }
    }
    lockWatch.request_stop();
    lockWatch.join();
    if (workersFailed)
        Fail(figures, "a worker ended with an error");
    Check(db, logs, figures);
    figures.emptyLocks += static_cast<int>(emptyLocksSeen.size());
    if (figures.emptyLocks > 0)
        Fail(figures, std::to_string(figures.emptyLocks) + " locks seen naming nobody");
    figures.seconds = std::chrono::duration<double>(Clock::now() - started).count();

    std::cout << "soak" << (fuse ? " (half the workers through a FUSE mount)" : "") << ": "
              << processes << " processes, " << figures.operations << " operations done, "
              << figures.refused << " refused (item locked or name taken), " << figures.kills
              << " kills (" << figures.interrupted << " operations cut short), " << figures.unlocked
              << " own locks cleared at restart, " << figures.emptyLocks
              << " locks seen naming nobody, " << figures.documents << " documents checked ("
              << figures.histories << " histories, " << figures.reports << " reports)";
    if (fuse)
        std::cout << ", " << figures.watchedChanges << " changes seen by polling the mount";
    std::cout << ", " << figures.seconds << " s\n";
    for (const std::string& failure : figures.failures)
        std::cout << "FAILED: " << failure << "\n";
    if (temporary && figures.failures.empty())
        fs::remove_all(folder);
    else if (!figures.failures.empty())
        std::cout << "the database and the logs are kept in " << folder << "\n";
    return figures.failures.empty() ? 0 : 1;
}

}  // namespace
}  // namespace vantorel

int main(int argc, char** argv) {
    using namespace vantorel;
    std::vector<std::string> args(argv + 1, argv + argc);
    if (args.size() == 6 && args[0] == "--worker") {
        Worker worker(args[1], std::stoi(args[2]), static_cast<unsigned>(std::stoul(args[3])),
                      args[4]);
        return worker.Run(std::chrono::system_clock::from_time_t(std::stoll(args[5])));
    }
    int processes = 8, seconds = 30;
    std::filesystem::path folder;
    bool fuse = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--processes" && i + 1 < args.size())
            processes = std::max(1, std::stoi(args[++i]));
        else if (args[i] == "--seconds" && i + 1 < args.size())
            seconds = std::max(1, std::stoi(args[++i]));
        else if (args[i] == "--folder" && i + 1 < args.size())
            folder = args[++i];
        else if (args[i] == "--fuse")
            fuse = true;
        else {
            std::cerr
                << "usage: vantorel_soak [--processes N] [--seconds S] [--folder DIR] [--fuse]\n";
            return 2;
        }
    }
    return RunSoak(processes, seconds, folder, fuse);
}
