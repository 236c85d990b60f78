#include <gtest/gtest.h>
#include <qnlith/qnlith.h>

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

  // isValid is virtual: a base reference answers for the derived object.
  const cModuleHandle module(GetModuleHandleW(nullptr));
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

// The unsigned forms go through the signed calls of the layer.
TEST(ThreadSafeOperations, UnsignedVariablesWrapAsThirtyTwoBits) {
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
}
