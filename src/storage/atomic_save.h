#pragma once
// Saving that never tears a document. The new text is written to a temporary file in the
// document's own folder, synced, and renamed over the old document; the folder is synced
// last. A reader therefore sees the old document or the new one, never a mixture, and a
// failure at any step leaves the old document as it was and removes the temporary file.

#include <chrono>
#include <filesystem>
#include <stop_token>
#include <string_view>

#include "storage/file_layer.h"
#include "storage/io_result.h"

namespace vantorel {

// Temporary files of saves start with this; no item name can (item identifiers never begin
// with a dot), so no walk of the tree mistakes one for an item.
inline constexpr std::string_view kSaveTempPrefix = ".vtsave-";

// Whether a save may replace a document at its target, or must find the name free (a new
// item, or one whose identifier changed: another user may have made one of that name since
// it was checked).
enum class SavePlacement { Replace, NewOnly };

// A save whose text is written in pieces, for documents too large to hold whole (reports of
// a large project). Nothing at target changes until Commit; a save that is dropped before
// its Commit removes its temporary file.
class PiecewiseSave {
public:
    explicit PiecewiseSave(const std::filesystem::path& target, FileLayer& files = SystemFiles());
    ~PiecewiseSave();
    PiecewiseSave(const PiecewiseSave&) = delete;
    PiecewiseSave& operator=(const PiecewiseSave&) = delete;

    // Appends a piece; after a failure later pieces are dropped and Commit reports it.
    void Write(std::string_view piece);
    // Marks the save failed with the system's error number (a piece could not be read).
    void Fail(int error);
    // Syncs, closes and renames the temporary file to target: over it, or, for NewOnly,
    // failing with EEXIST when target exists by then.
    IoResult Commit(SavePlacement placement = SavePlacement::Replace);

private:
    IoResult Failed() const;

    std::filesystem::path m_target;
    std::filesystem::path m_temp;
    FileLayer& m_files;
    int m_fd = -1;
    int m_error = 0;
    static constexpr std::size_t kHandToDiskEvery = std::size_t{8} << 20;
    std::size_t m_written = 0;
    std::size_t m_handedToDisk = 0;
    const char* m_step = "create";
};

// Replaces (or creates) the file at target with content. On failure nothing at target has
// changed and the message names the target.
IoResult SaveWholeFile(const std::filesystem::path& target, std::string_view content,
                       FileLayer& files = SystemFiles(),
                       SavePlacement placement = SavePlacement::Replace);

// The rewrite of a document in its standard form: tries the save up to 50 times, 40 ms apart,
// for a file another program holds at that moment, and gives up quietly after that.
bool RewriteWithRetries(const std::filesystem::path& target, std::string_view content,
                        FileLayer& files = SystemFiles());

// A process killed in the middle of a save or a copy leaves its temporary file or folder
// behind. Removes, below root, every such file or folder older than maxAge (younger ones may
// belong to work still running on another computer). Ends early when stop is requested.
// Returns how many were removed.
int SweepStaleSaves(const std::filesystem::path& root,
                    std::chrono::seconds maxAge = std::chrono::minutes(5),
                    std::stop_token stop = {});

}  // namespace vantorel
