#include "platform/thread_priority.h"

#include <sys/resource.h>
#include <unistd.h>

namespace vantorel {

void RunBelowTheWindow() {
    // Linux keeps a nice value per thread: this changes the calling thread only.
    constexpr int kWorkerNice = 10;
    const auto thread = static_cast<id_t>(::gettid());
    if (::getpriority(PRIO_PROCESS, thread) < kWorkerNice)
        ::setpriority(PRIO_PROCESS, thread, kWorkerNice);
}

}  // namespace vantorel
