#include "platform/stop_on_signals.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>

#include "support/child_process.h"

namespace vantorel::testing {
namespace {

// In a child of its own, where no thread of the test program can take the signal instead.
TEST(StopOnSignals, AnInterruptAsksTheRunToStop) {
    EXPECT_EQ(RunAsOrdinaryUser([]() -> std::string {
                  StopOnSignals signals;
                  std::mutex mutex;
                  std::condition_variable stopped;
                  bool asked = false;
                  std::stop_callback told(signals.Token(), [&] {
                      std::lock_guard lock(mutex);
                      asked = true;
                      stopped.notify_all();
                  });
                  if (signals.Token().stop_requested())
                      return "stopped before any signal";
                  ::kill(::getpid(), SIGINT);
                  std::unique_lock lock(mutex);
                  stopped.wait(lock, [&] { return asked; });
                  return "";
              }),
              "");
}

}  // namespace
}  // namespace vantorel::testing
