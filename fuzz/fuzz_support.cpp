#include "fuzz_support.h"

#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>

#include "storage/tagged_document.h"

namespace vantorel::fuzzing {
namespace {

namespace fs = std::filesystem;

// True on a thread while it makes a report of an input.
thread_local bool t_pausesSkipped = false;

class PausesSkipped {
public:
    PausesSkipped() { t_pausesSkipped = true; }
    ~PausesSkipped() { t_pausesSkipped = false; }
    PausesSkipped(const PausesSkipped&) = delete;
    PausesSkipped& operator=(const PausesSkipped&) = delete;
};

fs::path TemporaryRoot() {
    const fs::path memory = "/dev/shm";
    std::error_code error;
    if (fs::is_directory(memory, error) && ::access(memory.c_str(), W_OK) == 0)
        return memory;
    return fs::temp_directory_path();
}

class ProcessFolder {
public:
    ProcessFolder() {
        std::string pattern = (TemporaryRoot() / "vantorel-fuzz-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr)
            std::abort();
        m_path = pattern;
    }
    ~ProcessFolder() {
        std::error_code error;
        fs::remove_all(m_path, error);
    }
    ProcessFolder(const ProcessFolder&) = delete;
    ProcessFolder& operator=(const ProcessFolder&) = delete;

    const fs::path& Path() const { return m_path; }

private:
    fs::path m_path;
};

}  // namespace

const fs::path& WorkFolder() {
    static const ProcessFolder folder;
    return folder.Path();
}

std::string_view AsText(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

void WriteWholeFile(const fs::path& file, std::string_view content) {
    std::error_code error;
    fs::create_directories(file.parent_path(), error);
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    if (!out.flush())
        std::abort();
}

std::string DocumentText(std::string_view root, Fields fields, std::string_view tail) {
    std::string text(kDocumentDeclaration);
    text += root;
    text += "\r\n";
    for (const auto& [tag, value] : fields) {
        text += tag;
        text += value;
        text += ClosingTag(tag);
        text += "\r\n";
    }
    text += tail;
    text += ClosingTag(root);
    text += "\r\n";
    return text;
}

std::string HistoryBlockText(std::string_view date, bool update, std::string_view oldStatus,
                             std::string_view newStatus) {
    return "<history_entry>\r\n<time>10:00:00</time>\r\n<date>" + std::string(date) +
           "</date>\r\n<type>" + (update ? "ET_UPDATE" : "ET_NEW") + "</type>\r\n<old_status>" +
           std::string(oldStatus) + "</old_status>\r\n<new_status>" + std::string(newStatus) +
           "</new_status>\r\n<num_tries>1</num_tries>\r\n</history_entry>\r\n";
}

fs::path MakeDatabase(const fs::path& db) {
    for (const char* folder :
         {"Test Cases", "Projects", "Resources", "Test Configurations", "Testers", "Filters"})
        fs::create_directories(db / folder);
    WriteWholeFile(db / "Testers" / "dana.vtl",
                   DocumentText("<tester>", {{"<id>", "dana"}, {"<tester_name>", "Dana"}}));
    WriteWholeFile(db / "Projects" / "Alpha.tgp",
                   DocumentText("<project>", {{"<id>", "Alpha"},
                                              {"<planned_start_date>", "20261001"},
                                              {"<actual_start_date>", ""},
                                              {"<actual_end_date>", "20261031"}}));
    const fs::path project = db / "Projects" / "Alpha";
    fs::create_directories(ProjectTestCases(project));
    return project;
}

fs::path ProjectTestCases(const fs::path& project) {
    return project / "Project Test Cases";
}

std::optional<fs::path> QuickReport(ReportKind kind, const fs::path& project, UserPort& port,
                                    const CustomCfg& custom) {
    ReportRequest request;
    request.projectFolder = project;
    request.name = "fuzz";
    request.commandLine = true;
    request.threads = 1;
    const PausesSkipped skipped;
    return MakeReport(kind, {port, custom,
                             [] {
                                 return LocalMoment{{2026, 11, 21}, {10, 30, 0}};
                             }})
        ->create(request);
}

}  // namespace vantorel::fuzzing

// A report's write probe keeps its file a quarter of a second before removing it, which would
// hold a fuzzer to four reports a second. While a report of an input is made, the pauses of
// its thread end at once (the probe's file is still removed); every other sleep, libFuzzer's
// own among them, lasts as long as asked.
extern "C" int nanosleep(const struct timespec* request, struct timespec* remaining) {
    if (vantorel::fuzzing::t_pausesSkipped)
        return 0;
    const int error = ::clock_nanosleep(CLOCK_REALTIME, 0, request, remaining);
    if (error == 0)
        return 0;
    errno = error;
    return -1;
}
