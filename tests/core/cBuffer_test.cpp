// cBuffer: ownership, resizing, tested access and its bare-text failures.
#include <gtest/gtest.h>
#include <qnlith/qnlith.h>

#include <cstring>
#include <string>

namespace {

// The text of the bare-text failure that f throws, "(none)" if it throws
// nothing. A cException would escape this handler.
template <typename F>
std::wstring failureOf(F f) {
  try {
    f();
  } catch (wchar_t* text) {
    return text;
  }
  return L"(none)";
}

// A view of memory the test owns, through the protected constructor.
class View : public cBuffer {
 public:
  View(unsigned char* memory, DWORD size) : cBuffer(memory, size) {}
  using cBuffer::operator=;
};

std::string bytes(const cBuffer& b) { return std::string(reinterpret_cast<const char*>(b.address()), b.size()); }

}  // namespace

TEST(cBuffer, OwnersResizeToZeroedBlocks) {
  cBuffer empty;
  EXPECT_EQ(empty.address(), nullptr);
  EXPECT_EQ(empty.size(), 0u);
  EXPECT_TRUE(empty.resize(0));
  EXPECT_EQ(cBuffer(0).address(), nullptr);

  cBuffer b(8);
  ASSERT_NE(b.address(), nullptr);
  EXPECT_EQ(bytes(b), std::string(8, '\0'));
  b.initialize(0x141);
  EXPECT_EQ(bytes(b), std::string(8, '\x41')) << "the low byte of the value";
  unsigned char* before = b.address();
  EXPECT_TRUE(b.resize(8));
  EXPECT_EQ(b.address(), before);
  EXPECT_EQ(bytes(b), std::string(8, 'A')) << "the same size keeps the block and its bytes";
  EXPECT_TRUE(b.resize(4));
  EXPECT_EQ(bytes(b), std::string(4, '\0')) << "shrinking loses the content too";
  EXPECT_TRUE(b.resize(0));
  EXPECT_EQ(b.address(), nullptr);
  EXPECT_EQ(b.size(), 0u);

  unsigned char memory[4] = {1, 2, 3, 4};
  View view(memory, 4);
  EXPECT_FALSE(view.resize(4)) << "a view never resizes, not even to its size";
  EXPECT_FALSE(view.resize(8));
  EXPECT_EQ(view.address(), memory);
  EXPECT_EQ(view.size(), 4u);
}

TEST(cBuffer, IndexesAreTested) {
  cBuffer b(5);
  b[DWORD{4}] = 7;
  b[3] = 6;
  const cBuffer& c = b;
  EXPECT_EQ(c[DWORD{4}], 7);
  EXPECT_EQ(c[3], 6);
  EXPECT_EQ(failureOf([&] { b[DWORD{5}]; }), L"Index < size()");
  EXPECT_EQ(failureOf([&] { c[DWORD{5}]; }), L"Index < size()");
  EXPECT_EQ(failureOf([&] { b[5]; }), L"uint(Index) < size()");
  EXPECT_EQ(failureOf([&] { c[-1]; }), L"uint(Index) < size()") << "a negative index reads as a large number";
}

TEST(cBuffer, WritesTestTheirRangeBeforeTouchingAByte) {
  cBuffer b(5);
  b.fill(5, 0, 'x');
  EXPECT_EQ(bytes(b), std::string(5, '\0')) << "an empty fill at the end is no failure";
  EXPECT_EQ(failureOf([&] { b.fill(5, 1, 'x'); }), L"offset + Count <= size()");
  EXPECT_EQ(failureOf([&] { b.fill(1, 0xFFFFFFFFu, 'x'); }), L"offset + Count <= size()")
      << "a sum past 32 bits is past the end";
  b.fill(1, 3, 'x');
  EXPECT_EQ(bytes(b), std::string("\0xxx\0", 5));

  cBuffer source(2);
  source.initialize('s');
  b.fill(3, source);
  EXPECT_EQ(bytes(b), std::string("\0xxss", 5));
  EXPECT_EQ(failureOf([&] { b.fill(4, source); }), L"offset + source.size() <= size()");
  EXPECT_EQ(bytes(b), std::string("\0xxss", 5));

  b.initialize(0);
  b.fillwords(1, 2, 0x0102);
  unsigned short expected[2] = {0x0102, 0x0102};
  EXPECT_EQ(b[0], 0) << "byte 0 stays";
  EXPECT_EQ(std::memcmp(b.address() + 1, expected, 4), 0) << "words in the machine's order at an odd offset";
  EXPECT_EQ(failureOf([&] { b.fillwords(2, 2, 1); }), L"ulong(offset + Count*2) <= size()");
  EXPECT_EQ(failureOf([&] { b.fillwords(0, 0x80000000u, 1); }), L"ulong(offset + Count*2) <= size()");

  char text[] = "hello";
  EXPECT_TRUE(b.copyFrom(text, 5));
  EXPECT_EQ(bytes(b), "hello");
  EXPECT_TRUE(b.copyFrom(text, 3, 2));
  EXPECT_EQ(bytes(b), "helhe");
  EXPECT_EQ(failureOf([&] { b.copyFrom(text, 6); }), L"Count <= size()");
  EXPECT_EQ(failureOf([&] { b.copyFrom(text, 4, 2); }), L"offset + Count <= size()");
  EXPECT_EQ(bytes(b), "helhe");

  EXPECT_TRUE(b.swapBytes(5));
  EXPECT_EQ(bytes(b), "ehhle") << "pairs at 0 and 2 swap; the odd last byte stays";
  EXPECT_TRUE(b.swapBytes(1));
  EXPECT_TRUE(b.swapBytes(0));
  EXPECT_EQ(bytes(b), "ehhle");
  EXPECT_EQ(failureOf([&] { b.swapBytes(6); }), L"Count <= size()");
}

TEST(cBuffer, CompareLooksAtThisBuffersLength) {
  cBuffer shorter(3), longer(5);
  shorter.copyFrom(const_cast<char*>("abc"), 3);
  longer.copyFrom(const_cast<char*>("abcde"), 5);
  EXPECT_TRUE(shorter.compare(longer));
  EXPECT_FALSE(longer.compare(shorter));
  EXPECT_TRUE(cBuffer().compare(longer));
  longer[1] = 'X';
  EXPECT_FALSE(shorter.compare(longer));

  EXPECT_TRUE(shorter.compare(longer, 1, 2));
  EXPECT_FALSE(shorter.compare(longer, 2, 1));
  EXPECT_TRUE(shorter.compare(longer, 0, 3));
  EXPECT_EQ(failureOf([&] { shorter.compare(longer, 2, 2); }), L"ulong(offset + Count) <= size()");
  EXPECT_EQ(failureOf([&] { longer.compare(shorter, 2, 2); }), L"ulong(offset + Count) <= theBuffer.size()");
}

TEST(cBuffer, AssignmentCopiesIntoRoomThatIsThere) {
  cBuffer source(3), same(3), larger(6), smaller(2);
  source.initialize('s');
  unsigned char* block = same.address();
  same = source;
  EXPECT_EQ(same.address(), block) << "an owner of the same size keeps its block";
  EXPECT_EQ(bytes(same), "sss");
  larger.initialize('l');
  larger = source;
  EXPECT_EQ(bytes(larger), "sss") << "a larger owner shrinks to the source";
  EXPECT_EQ(failureOf([&] { smaller = source; }), L"size() >= source.size()");
  EXPECT_EQ(smaller.size(), 2u);

  unsigned char memory[5] = {'v', 'v', 'v', 'v', 'v'};
  View view(memory, 5);
  view = source;
  EXPECT_EQ(view.size(), 5u) << "a view keeps its size";
  EXPECT_EQ(std::string(reinterpret_cast<char*>(memory), 5), "sssvv");
  View tiny(memory, 2);
  EXPECT_EQ(failureOf([&] { tiny = source; }), L"size() >= source.size()");

  cBuffer& self = same;
  same = self;
  EXPECT_EQ(bytes(same), "sss");
}

TEST(cBuffer, CopiesShareTheBlockAndFreeItOnce) {
  auto* owner = new cBuffer(4);
  owner->initialize('o');
  {
    cBuffer copy(*owner);
    EXPECT_EQ(copy.address(), owner->address());
    EXPECT_EQ(copy.size(), 4u);
    EXPECT_FALSE(copy.resize(8)) << "the copy is a view";
  }
  EXPECT_EQ(bytes(*owner), "oooo") << "the copy's end leaves the block alone";
  delete owner;  // the sanitizer build sees a second free or a leak
}
