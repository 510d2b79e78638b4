#pragma once
// A database with one project, "Alpha", and a quick way to put project test cases into it
// with exactly the fields and history a test needs, awkward ones included.

#include <fstream>
#include <initializer_list>
#include <string>
#include <utility>

#include "reports/report_base.h"
#include "support/document_fixture.h"

namespace vantorel::testing {

using Fields = std::initializer_list<std::pair<std::string, std::string>>;

class ProjectTest : public DocumentTest {
protected:
    ProjectTest() {
        for (const char* kind :
             {"Status Reports", "Progress Reports", "Test Case Reports", "Test List Reports"})
            std::filesystem::create_directories(project / "Project Reports" / kind);
        std::filesystem::create_directories(cases);
        SetProjectDates("20261001", "", "20261031");
    }

    void SetProjectDates(const std::string& plannedStart, const std::string& actualStart,
                         const std::string& actualEnd) {
        std::ofstream(db / "Projects" / "Alpha.tgp", std::ios::binary)
            << "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n<project>\r\n<id>Alpha</id>\r\n"
            << "<planned_start_date>" << plannedStart << "</planned_start_date>\r\n"
            << "<actual_start_date>" << actualStart << "</actual_start_date>\r\n"
            << "<actual_end_date>" << actualEnd << "</actual_end_date>\r\n</project>\r\n";
    }

    // One history block; date as "dd-mm-yyyy".
    static std::string Block(const std::string& date, bool update, const std::string& oldStatus,
                             const std::string& newStatus) {
        return "<history_entry>\r\n<time>10:00:00</time>\r\n<date>" + date + "</date>\r\n<type>" +
               (update ? "ET_UPDATE" : "ET_NEW") + "</type>\r\n<old_status>" + oldStatus +
               "</old_status>\r\n<new_status>" + newStatus +
               "</new_status>\r\n<num_tries>1</num_tries>\r\n</history_entry>\r\n";
    }

    // Writes a project test case at relative (below "Project Test Cases") holding fields, in
    // the order given, then the history text.
    std::filesystem::path AddCase(const std::string& relative, Fields fields,
                                  const std::string& history = {}) {
        const std::filesystem::path file = cases / relative;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream out(file, std::ios::binary);
        out << "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n<project_test_case>\r\n";
        for (const auto& [tag, value] : fields)
            out << tag << value << "</" << tag.substr(1) << "\r\n";
        out << history << "</project_test_case>\r\n";
        return file;
    }

    ReportContext Reporting() {
        return {port, custom, [this] { return clock; }};
    }

    ReportRequest WholeProject() {
        ReportRequest request;
        request.projectFolder = project;
        return request;
    }

    std::optional<std::filesystem::path> Make(ReportKind kind, const ReportRequest& request) {
        return MakeReport(kind, Reporting())->create(request);
    }

    const std::filesystem::path project = db / "Projects" / "Alpha";
    const std::filesystem::path cases = project / "Project Test Cases";
};

}  // namespace vantorel::testing
