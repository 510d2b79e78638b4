#pragma once
// The short file work of one command that the user waits for anyway (a dialog's document, its
// lock and its lists; saving it), done so that the window doesn't freeze behind a slow file
// server: the work runs on a thread of its own while the window's thread goes on painting and
// serving its timers and the workers' messages and questions. The user's clicks and keys wait
// until the work is done, as they would behind a modal dialog; after a moment the pointer
// shows that the program is busy.

#include <functional>

namespace vantorel {

// Runs work away from the window's thread and returns once it has ended; what work throws is
// thrown here. work may use the port: its messages and questions are shown meanwhile.
void RunOffWindowThread(const std::function<void()>& work);

}  // namespace vantorel
