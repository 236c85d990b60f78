#include <gtest/gtest.h>
#include <qnlith/qnlith.h>

#include <thread>
#include <vector>

TEST(HandleWrappers, OnlyTheAllOnesPointerIsInvalid) {
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(cHandle::InvalidHandle), ~std::uintptr_t{0});
  EXPECT_EQ(cHandle::InvalidHandle, INVALID_HANDLE_VALUE);
  EXPECT_FALSE(cModuleHandle().isValid());
  EXPECT_FALSE(cPointerHandle().isValid());
  EXPECT_FALSE(cBitmapHandle().isValid());
  EXPECT_FALSE(cAnchorBlockHandle().isValid());
  EXPECT_TRUE(cModuleHandle(nullptr).isValid()) << "a null handle counts as valid";
  EXPECT_TRUE(cHandle(nullptr).isValid());
  EXPECT_FALSE(cHandle(cHandle::InvalidHandle).isValid());

  // The conversions give the stored value, typed.
  HMODULE main = GetModuleHandleW(nullptr);
  const cModuleHandle module(main);
  EXPECT_EQ(static_cast<HINSTANCE>(module), main);
  int anything;
  EXPECT_EQ(static_cast<void*>(cAnchorBlockHandle(&anything)), &anything);
  cBitmapHandle bitmap(reinterpret_cast<void*>(0x1234));
  EXPECT_EQ(static_cast<HBITMAP>(bitmap), reinterpret_cast<HBITMAP>(0x1234));
  cPointerHandle pointer;
  pointer = cPointerHandle(reinterpret_cast<void*>(0x40));
  EXPECT_EQ(static_cast<HICON>(pointer), reinterpret_cast<HICON>(0x40));

  // isValid is virtual: a base reference answers for the derived object.
  const cHandle& base = module;
  EXPECT_TRUE(base.isValid());
}

TEST(HandleWrappers, WrappersOwnNothing) {
  // An icon made by the layer outlives every wrapper of it.
  BYTE bits[40 + 8 + 4 + 4] = {40};
  bits[4] = 1;   // 1 x 1
  bits[8] = 2;   // colour bitmap and mask
  bits[12] = 1;  // one plane
  bits[14] = 1;  // one bit a pixel
  HICON icon = CreateIconFromResourceEx(bits, sizeof bits, TRUE, 0x00030000, 0, 0, 0);
  ASSERT_NE(icon, nullptr);
  {
    cPointerHandle first(icon);
    cPointerHandle copy(first);
    cPointerHandle assigned;
    assigned = copy;
    EXPECT_EQ(static_cast<HICON>(assigned), icon);
  }
  QN_IMAGE_INFO info{};
  EXPECT_TRUE(qnGetImageInfo(icon, &info)) << "destroying the wrappers left the icon alone";
  EXPECT_TRUE(DestroyIcon(icon));
}

namespace {
struct Counted : cReferenceCounted {
  Counted() = default;
  explicit Counted(DWORD start) : cReferenceCounted(start) {}
};
}  // namespace

TEST(ReferenceCounted, CountsWithoutEverDeleting) {
  Counted object;
  EXPECT_EQ(object.useCount(), 1u);
  EXPECT_EQ(object.addReference(), 2u);
  EXPECT_EQ(object.removeReference(), 1u);
  EXPECT_EQ(object.removeReference(), 0u);
  EXPECT_EQ(object.useCount(), 0u) << "still there at 0";
  EXPECT_EQ(object.removeReference(), 0xFFFFFFFFu);

  Counted five(5);
  Counted copy(five);
  EXPECT_EQ(copy.useCount(), 5u) << "a copy takes over the count";
  copy.addReference();
  five = copy;
  EXPECT_EQ(five.useCount(), 6u);
}

TEST(ReferenceCounted, ThreadsNeverLoseACount) {
  Counted object(0);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&object] {
      for (int i = 0; i < 20000; ++i) object.addReference();
      for (int i = 0; i < 10000; ++i) object.removeReference();
    });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(object.useCount(), 40000u);
}

TEST(ThreadSafeOperations, ResultsOnSignedAndUnsignedVariables) {
  LONG signedValue = -1;
  EXPECT_EQ(cThreadSafeOperations::increment(signedValue), 0);
  EXPECT_EQ(cThreadSafeOperations::decrement(signedValue), -1);
  DWORD unsignedValue = 0xFFFFFFFFu;
  EXPECT_EQ(cThreadSafeOperations::increment(unsignedValue), 0u);
  EXPECT_EQ(cThreadSafeOperations::decrement(unsignedValue), 0xFFFFFFFFu);
  EXPECT_EQ(unsignedValue, 0xFFFFFFFFu);

  int flag = 3;
  EXPECT_EQ(cThreadSafeOperations::exchange(flag, 9), 3);
  EXPECT_EQ(flag, 9);
  DWORD word = 0x80000000u;
  EXPECT_EQ(cThreadSafeOperations::exchange(word, 7u), 0x80000000u);
  EXPECT_EQ(word, 7u);

  cThreadSafeOperations a, b;
  EXPECT_EQ(&(a = b), &a);
}
