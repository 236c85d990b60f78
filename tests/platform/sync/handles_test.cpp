#include <gtest/gtest.h>
#include <qnlith/win32.h>

#include "../../../platform/sync/handles.h"

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
  EXPECT_FALSE(CloseHandle(INVALID_HANDLE_VALUE));
  EXPECT_TRUE(CloseHandle(next));
}
