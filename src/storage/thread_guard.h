#pragma once
// The window's thread stays free for the user: it never reads a document, lists a folder or
// waits on the disk, which behind a slow file server would freeze the window. The desktop
// marks its thread as it starts; when the guard is on (debug builds and the desktop tests), a
// read or listing there stops the program and names what was read, so a new read on the
// window's thread fails the test that reaches it.

#include <filesystem>

namespace vantorel {

// Marks the calling thread as the window's; guarded chooses whether a read there stops the
// program.
void MarkWindowThread(bool guarded);
// Called by every read and listing of the storage layer.
void CheckOffWindowThread(const char* what, const std::filesystem::path& path);

// What a dialog does as it opens and as it saves, the user waiting for it: the one document
// it edits, its lock, and the short lists its fields offer (testers, filters, styles).
inline constexpr char kDialogReads[] = "a dialog reads the one document it edits and its lists";

// The reads the window's thread still makes on purpose, each small and bounded (one
// document, one folder's names): the scope names why.
class WindowThreadMayRead {
public:
    explicit WindowThreadMayRead(const char* why);
    ~WindowThreadMayRead();
    WindowThreadMayRead(const WindowThreadMayRead&) = delete;
    WindowThreadMayRead& operator=(const WindowThreadMayRead&) = delete;

private:
    const char* m_outer;
};

}  // namespace vantorel
