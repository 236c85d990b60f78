#include <gtest/gtest.h>
#include <qnlith/win32.h>

#include <algorithm>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "../../../platform/sync/handles.h"
#include "support/scratch.h"
#include "support/temporary_registry.h"

namespace {
struct Probe : qn::KernelObject {
  explicit Probe(bool& destroyed) : KernelObject(qn::ObjectKind::Other), destroyed(destroyed) {}
  ~Probe() override { destroyed = true; }
  bool& destroyed;
};
}  // namespace

TEST(HandleTable, StaleHandlesFailAndAreNeverReused) {
  bool destroyed = false;
  HANDLE h = qn::HandleTable::insert(std::make_shared<Probe>(destroyed));
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(h) % 4, 0u);

  auto held = qn::HandleTable::get(h);
  ASSERT_NE(held, nullptr);
  EXPECT_TRUE(CloseHandle(h));
  EXPECT_FALSE(destroyed) << "a user that still holds the object keeps it alive";
  held.reset();
  EXPECT_TRUE(destroyed);

  SetLastError(0);
  EXPECT_FALSE(CloseHandle(h)) << "double close";
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  EXPECT_EQ(qn::HandleTable::get(h), nullptr);

  bool other = false;
  HANDLE next = qn::HandleTable::insert(std::make_shared<Probe>(other));
  EXPECT_NE(next, h);
  EXPECT_EQ(qn::HandleTable::getAs<Probe>(next, qn::ObjectKind::Event), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  EXPECT_FALSE(CloseHandle(nullptr));
  EXPECT_TRUE(CloseHandle(INVALID_HANDLE_VALUE)) << "the process's pseudo handle: closing it has no effect";
  EXPECT_TRUE(CloseHandle(next));
}

namespace {

// Every value that means something else to some call, in both the 64-bit
// form and the sign-extended 32-bit form a ported program may hand back.
std::vector<std::uintptr_t> reservedValues() {
  std::vector<std::uintptr_t> values{0};
  for (int pseudo = -1; pseudo >= -6; --pseudo) {
    values.push_back(static_cast<std::uintptr_t>(static_cast<std::intptr_t>(pseudo)));
    values.push_back(static_cast<std::uint32_t>(pseudo));
  }
  for (std::uint32_t root = 0x80000000u; root <= 0x8000000Fu; ++root) {
    values.push_back(root);
    values.push_back(static_cast<std::uintptr_t>(static_cast<std::intptr_t>(static_cast<std::int32_t>(root))));
  }
  return values;
}

bool reserved(std::uintptr_t value) {
  for (std::uintptr_t r : reservedValues()) {
    if (value == r) return true;
    // The low half sign-extended, as HandleToLong and LongToHandle do.
    const auto truncated =
        static_cast<std::uintptr_t>(static_cast<std::intptr_t>(static_cast<std::int32_t>(value)));
    if (truncated == r) return true;
  }
  return false;
}

void checkValue(std::uint32_t index, std::uint64_t generation) {
  const std::uintptr_t value = qn::HandleValues::valueOf(index, generation);
  SCOPED_TRACE("index " + std::to_string(index) + " generation " + std::to_string(generation));
  EXPECT_EQ(value % 4, 0u);
  EXPECT_GE(value, 4u);
  EXPECT_LE(value, 0x7FFFFFFCu);
  EXPECT_FALSE(reserved(value));
  std::uint32_t i = 0;
  std::uint64_t g = 0;
  ASSERT_TRUE(qn::HandleValues::decodeValue(value, i, g));
  EXPECT_EQ(i, index);
  EXPECT_EQ(g, generation);
  // The value kept in a LONG and widened again names the same handle.
  const auto widened = static_cast<std::uintptr_t>(static_cast<std::intptr_t>(static_cast<std::int32_t>(value)));
  EXPECT_EQ(widened, value);
}

}  // namespace

TEST(HandleTable, NoValueMeansSomethingElse) {
  using V = qn::HandleValues;
  const std::uint32_t indices[] = {1, 2, 3, 1023, 1024, V::IndexLimit / 2, V::IndexLimit - 1};
  const std::uint64_t generations[] = {0, 1, 31, 32, 33, 255, 256, 1023, 1024, V::GenerationLimit - 1};
  for (std::uint32_t index : indices)
    for (std::uint64_t generation : generations) checkValue(index, generation);
  std::mt19937_64 random(14);
  for (int n = 0; n < 100000; ++n)
    checkValue(1 + static_cast<std::uint32_t>(random() % (V::IndexLimit - 1)), random() % V::GenerationLimit);

  // None of the reserved values names a slot of the table, so a call never
  // takes one for a stale handle of its own, nor the other way round.
  for (std::uintptr_t value : reservedValues()) {
    std::uint32_t index = 0;
    std::uint64_t generation = 0;
    EXPECT_FALSE(V::decodeValue(value, index, generation)) << std::hex << value;
    const auto signedValue = static_cast<std::intptr_t>(value);
    if (signedValue == -1 || signedValue == -2) continue;  // the pseudo handles this layer knows
    SetLastError(0);
    EXPECT_FALSE(CloseHandle(reinterpret_cast<HANDLE>(value))) << std::hex << value;
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE)) << std::hex << value;
  }
}

namespace {

DWORD WINAPI returnIndex(LPVOID parameter) { return static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(parameter)); }

// Opens one object of a kind, uses it through its handle, and closes it;
// the same value must be dead afterwards.
struct Kind {
  const char* name;
  int cycles;  // a registry key writes to its store: fewer, still past the 32nd use of a slot
  std::function<HANDLE(int)> openAndUse;
  std::function<DWORD(HANDLE)> close;  // 0 or the error
};

}  // namespace

TEST(HandleTable, EveryKindThroughThousandsOfGenerations) {
  ScratchDirectory scratch;
  TemporaryRegistry registry;
  scratch.write("file.txt", "four");
  const std::wstring file = scratch.wide("file.txt");
  const std::wstring pattern = scratch.wide("*.txt");
  const auto closeHandle = [](HANDLE h) { return CloseHandle(h) ? 0 : GetLastError(); };
  const auto closeSearch = [](HANDLE h) { return FindClose(h) ? 0 : GetLastError(); };
  const auto closeKey = [](HANDLE h) { return static_cast<DWORD>(RegCloseKey(reinterpret_cast<HKEY>(h))); };

  // Enough to go past the retirement of the slot that is reused.
  const int QuickCycles = static_cast<int>(qn::HandleValues::GenerationLimit) + 300;
  const Kind kinds[] = {
      {"event", QuickCycles,
       [](int) {
         HANDLE h = CreateEventW(nullptr, FALSE, FALSE, nullptr);
         EXPECT_TRUE(SetEvent(h));
         EXPECT_EQ(WaitForSingleObject(h, 0), WAIT_OBJECT_0);
         return h;
       },
       closeHandle},
      {"semaphore", QuickCycles,
       [](int) {
         HANDLE h = CreateSemaphoreW(nullptr, 0, 2, nullptr);
         EXPECT_TRUE(ReleaseSemaphore(h, 1, nullptr));
         EXPECT_EQ(WaitForSingleObject(h, 0), WAIT_OBJECT_0);
         return h;
       },
       closeHandle},
      {"mutex", QuickCycles,
       [](int) {
         HANDLE h = CreateMutexW(nullptr, FALSE, nullptr);
         EXPECT_EQ(WaitForSingleObject(h, 0), WAIT_OBJECT_0);
         EXPECT_TRUE(ReleaseMutex(h));
         return h;
       },
       closeHandle},
      {"thread", QuickCycles,
       [](int n) {
         HANDLE h = CreateThread(nullptr, 0, returnIndex, reinterpret_cast<LPVOID>(static_cast<std::uintptr_t>(n)), 0,
                                 nullptr);
         EXPECT_EQ(WaitForSingleObject(h, INFINITE), WAIT_OBJECT_0);
         DWORD code = 0;
         EXPECT_TRUE(GetExitCodeThread(h, &code));
         EXPECT_EQ(code, static_cast<DWORD>(n));
         return h;
       },
       closeHandle},
      {"file", QuickCycles,
       [&](int) {
         HANDLE h = CreateFileW(file.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
         EXPECT_EQ(GetFileSize(h, nullptr), 4u);
         return h;
       },
       closeHandle},
      {"directory search", QuickCycles,
       [&](int) {
         WIN32_FIND_DATAW found{};
         HANDLE h = FindFirstFileW(pattern.c_str(), &found);
         EXPECT_STREQ(found.cFileName, L"file.txt");
         EXPECT_FALSE(FindNextFileW(h, &found));
         return h;
       },
       closeSearch},
      {"registry key", 200,
       [](int n) {
         HKEY key = nullptr;
         EXPECT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Generations", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                   &key, nullptr),
                   ERROR_SUCCESS);
         const DWORD value = static_cast<DWORD>(n);
         EXPECT_EQ(RegSetValueExW(key, L"n", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof value),
                   ERROR_SUCCESS);
         DWORD back = 0, size = sizeof back;
         EXPECT_EQ(RegQueryValueExW(key, L"n", nullptr, nullptr, reinterpret_cast<BYTE*>(&back), &size), ERROR_SUCCESS);
         EXPECT_EQ(back, value);
         return reinterpret_cast<HANDLE>(key);
       },
       closeKey},
  };

  for (const Kind& kind : kinds) {
    SCOPED_TRACE(kind.name);
    const int cycles = kind.cycles;
    std::uintptr_t highest = 0;
    for (int n = 0; n < cycles; ++n) {
      HANDLE h = kind.openAndUse(n);
      ASSERT_NE(h, nullptr) << "cycle " << n;
      ASSERT_NE(h, INVALID_HANDLE_VALUE) << "cycle " << n;
      const auto value = reinterpret_cast<std::uintptr_t>(h);
      ASSERT_FALSE(reserved(value)) << "cycle " << n << " value " << std::hex << value;
      highest = std::max(highest, value);
      ASSERT_EQ(kind.close(h), 0u) << "cycle " << n;
      ASSERT_EQ(kind.close(h), static_cast<DWORD>(ERROR_INVALID_HANDLE)) << "a stale handle, cycle " << n;
      if (::testing::Test::HasFailure()) FAIL() << "cycle " << n;
    }
    if (cycles == QuickCycles) {
      EXPECT_GE(highest, 0x40000000u) << "the cycles reached the high generations";
    }
  }
}
