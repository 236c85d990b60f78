// Helpers for tests where threads block: polling with generous limits, so
// that a loaded machine slows a test down but never fails it.
#pragma once

#include <atomic>
#include <chrono>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

namespace qntest {

// How long a thread that should stay blocked is watched before the test
// believes it.
constexpr std::chrono::milliseconds BlockedLongEnough{100};

// True as soon as `condition` holds; false if it still does not after 20 s.
inline bool eventually(const std::function<bool()>& condition) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > limit) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

// True if `condition` stays false for the whole watch.
inline bool staysFalse(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + BlockedLongEnough;
  while (std::chrono::steady_clock::now() < end) {
    if (condition()) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return !condition();
}

// Whether the thread with that Linux id sleeps in the kernel (for the code
// under test: blocked in a wait), as /proc reports its state.
inline bool sleepsInKernel(unsigned threadId) {
  std::ifstream stat("/proc/self/task/" + std::to_string(threadId) + "/stat");
  std::string line;
  std::getline(stat, line);
  const auto close = line.rfind(')');
  if (close == std::string::npos || close + 2 >= line.size()) return false;
  const char state = line[close + 2];
  return state == 'S' || state == 'D';
}

// Waits until a thread that announced it is about to wait is blocked.
inline bool blocks(const std::atomic<unsigned>& threadId) {
  return eventually([&] { return threadId != 0 && sleepsInKernel(threadId); });
}

}  // namespace qntest
