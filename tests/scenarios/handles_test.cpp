// Thousands of kernel objects of every kind open at once, used through
// their handles, closed in no particular order, over several rounds.
#include <gtest/gtest.h>
#include <qnlith/win32.h>

#include <algorithm>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "support/scratch.h"
#include "support/temporary_registry.h"

namespace {

struct Open {
  HANDLE handle;
  enum Kind { Event, Semaphore, Mutex, Thread, File, Search, Key } kind;
};

DWORD WINAPI waitForGo(LPVOID go) { return WaitForSingleObject(static_cast<HANDLE>(go), INFINITE) + 100; }

// Whether a value could be taken for something else by some call.
bool meansSomethingElse(HANDLE h) {
  const auto low = static_cast<std::int32_t>(reinterpret_cast<std::uintptr_t>(h));
  return low <= 0 || reinterpret_cast<std::uintptr_t>(h) > 0x7FFFFFFFu;
}

DWORD closeOne(const Open& o) {
  switch (o.kind) {
    case Open::Search: return FindClose(o.handle) ? 0 : GetLastError();
    case Open::Key: return static_cast<DWORD>(RegCloseKey(reinterpret_cast<HKEY>(o.handle)));
    default: return CloseHandle(o.handle) ? 0 : GetLastError();
  }
}

}  // namespace

TEST(HandleScenario, ThousandsOfEveryKindOpenUsedAndClosed) {
  ScratchDirectory scratch;
  TemporaryRegistry registry;
  for (int i = 0; i < 20; ++i) scratch.write("f" + std::to_string(i) + ".txt", std::string(static_cast<std::size_t>(i), 'x'));
  const std::wstring pattern = scratch.wide("*.txt");
  HKEY root = nullptr;
  ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Scenario", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &root,
                            nullptr),
            ERROR_SUCCESS);
  const DWORD stored = 0x5EED;
  ASSERT_EQ(RegSetValueExW(root, L"v", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&stored), sizeof stored),
            ERROR_SUCCESS);

  std::mt19937 random(19);
  std::set<std::uintptr_t> everSeen;
  for (int round = 0; round < 3; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    std::vector<Open> open;
    HANDLE go = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    for (int i = 0; i < 1500; ++i) {
      open.push_back({CreateEventW(nullptr, i % 2, FALSE, nullptr), Open::Event});
      open.push_back({CreateSemaphoreW(nullptr, 0, 10, nullptr), Open::Semaphore});
      open.push_back({CreateMutexW(nullptr, FALSE, nullptr), Open::Mutex});
    }
    for (int i = 0; i < 100; ++i)
      open.push_back({CreateThread(nullptr, 64 * 1024, waitForGo, go, 0, nullptr), Open::Thread});
    for (int i = 0; i < 400; ++i) {
      const std::wstring name = scratch.wide("f" + std::to_string(i % 20) + ".txt");
      open.push_back(
          {CreateFileW(name.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr), Open::File});
      WIN32_FIND_DATAW found{};
      open.push_back({FindFirstFileW(pattern.c_str(), &found), Open::Search});
    }
    for (int i = 0; i < 200; ++i) {
      HKEY key = nullptr;
      EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\Scenario", 0, KEY_READ, &key), ERROR_SUCCESS);
      open.push_back({reinterpret_cast<HANDLE>(key), Open::Key});
    }
    for (const Open& o : open) {
      ASSERT_NE(o.handle, nullptr);
      ASSERT_NE(o.handle, INVALID_HANDLE_VALUE);
      ASSERT_FALSE(meansSomethingElse(o.handle)) << std::hex << reinterpret_cast<std::uintptr_t>(o.handle);
      ASSERT_TRUE(everSeen.insert(reinterpret_cast<std::uintptr_t>(o.handle)).second) << "a value came twice";
    }

    // Use each through its handle, in a shuffled order.
    std::shuffle(open.begin(), open.end(), random);
    std::vector<HANDLE> signalled;
    for (const Open& o : open) {
      switch (o.kind) {
        case Open::Event: EXPECT_TRUE(SetEvent(o.handle)); signalled.push_back(o.handle); break;
        case Open::Semaphore: EXPECT_TRUE(ReleaseSemaphore(o.handle, 2, nullptr)); signalled.push_back(o.handle); break;
        case Open::Mutex: signalled.push_back(o.handle); break;
        case Open::Thread: EXPECT_EQ(WaitForSingleObject(o.handle, 0), static_cast<DWORD>(WAIT_TIMEOUT)); break;
        case Open::File: {
          char buffer[32];
          DWORD read = 0;
          EXPECT_TRUE(ReadFile(o.handle, buffer, sizeof buffer, &read, nullptr));
          EXPECT_EQ(read, GetFileSize(o.handle, nullptr));
          break;
        }
        case Open::Search: {
          WIN32_FIND_DATAW found{};
          int more = 0;
          while (FindNextFileW(o.handle, &found)) ++more;
          EXPECT_EQ(more, 19);
          break;
        }
        case Open::Key: {
          DWORD value = 0, size = sizeof value;
          EXPECT_EQ(RegQueryValueExW(reinterpret_cast<HKEY>(o.handle), L"v", nullptr, nullptr,
                                     reinterpret_cast<BYTE*>(&value), &size),
                    ERROR_SUCCESS);
          EXPECT_EQ(value, stored);
          break;
        }
      }
    }
    // Waits for all of them at once, 64 at a time: every one is ready.
    for (std::size_t at = 0; at < signalled.size(); at += MAXIMUM_WAIT_OBJECTS) {
      const auto count = static_cast<DWORD>(std::min<std::size_t>(MAXIMUM_WAIT_OBJECTS, signalled.size() - at));
      ASSERT_EQ(WaitForMultipleObjects(count, signalled.data() + at, TRUE, 0), WAIT_OBJECT_0);
    }
    SetEvent(go);
    for (const Open& o : open) {
      if (o.kind != Open::Thread) continue;
      ASSERT_EQ(WaitForSingleObject(o.handle, INFINITE), WAIT_OBJECT_0);
      DWORD code = 0;
      EXPECT_TRUE(GetExitCodeThread(o.handle, &code));
      EXPECT_EQ(code, 100u);
    }
    for (const Open& o : open) {
      if (o.kind == Open::Mutex) {
        EXPECT_TRUE(ReleaseMutex(o.handle));
      }
    }

    std::shuffle(open.begin(), open.end(), random);
    for (const Open& o : open) {
      ASSERT_EQ(closeOne(o), 0u);
    }
    for (const Open& o : open) {
      ASSERT_EQ(closeOne(o), static_cast<DWORD>(ERROR_INVALID_HANDLE)) << "stale";
    }
    EXPECT_EQ(SetEvent(open.front().handle), FALSE);
    CloseHandle(go);
  }
  RegCloseKey(root);
}
