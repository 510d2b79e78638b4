#pragma once
// What the targets that read a file of the shared disk have in common: a folder of their own,
// the input written there as the file it stands for, a tiny database with one project, and
// reports made over it quickly enough to fuzz.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "documents/custom_cfg.h"
#include "platform/user_port.h"
#include "reports/report_base.h"

namespace vantorel::fuzzing {

// The folder of this process, made on first use and removed when the process ends. It lies in
// memory where it can: every report and configuration syncs what it writes.
const std::filesystem::path& WorkFolder();

std::string_view AsText(const std::uint8_t* data, std::size_t size);
// Writes the whole file anew, its folder made when missing.
void WriteWholeFile(const std::filesystem::path& file, std::string_view content);

using Fields = std::initializer_list<std::pair<std::string_view, std::string_view>>;
// A document of root holding fields in the order given, then tail (history blocks).
std::string DocumentText(std::string_view root, Fields fields, std::string_view tail = {});
// One history block; date "dd-mm-yyyy".
std::string HistoryBlockText(std::string_view date, bool update, std::string_view oldStatus,
                             std::string_view newStatus);

// The folders of a database in db, with "Testers/dana.vtl" and a project "Alpha" that ran
// through October 2026; its folder.
std::filesystem::path MakeDatabase(const std::filesystem::path& db);
// Below the project's "Project Test Cases".
std::filesystem::path ProjectTestCases(const std::filesystem::path& project);

// A report of kind over the whole project as a command line makes it, named "fuzz" so that
// every input replaces the last one's, read on this thread alone and dated 21 November 2026.
std::optional<std::filesystem::path> QuickReport(ReportKind kind,
                                                 const std::filesystem::path& project,
                                                 UserPort& port, const CustomCfg& custom);

}  // namespace vantorel::fuzzing
