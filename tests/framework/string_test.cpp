// The framework's wide string: value behaviour over shared storage, and the
// edge behaviour the library builds on.
#include <gtest/gtest.h>
#include <qnlith/framework.h>

#include <string>
#include <thread>
#include <vector>

#include "support/framework_failures.h"

TEST(FrameworkString, CopiesShareStorageUntilOneChanges) {
  CString a(L"shared text");
  CString b(a);
  EXPECT_EQ(a.GetString(), b.GetString());
  EXPECT_EQ(a.GetShareCount(), 2);

  b.MakeUpper();
  EXPECT_NE(a.GetString(), b.GetString());
  EXPECT_EQ(a, L"shared text");
  EXPECT_EQ(b, L"SHARED TEXT");
  EXPECT_EQ(a.GetShareCount(), 1);

  CString c;
  c = a;
  c += L'!';
  EXPECT_EQ(a, L"shared text");
  EXPECT_EQ(c, L"shared text!");

  // GetBuffer makes the storage private too.
  CString d(a);
  wchar_t* p = d.GetBuffer(20);
  p[0] = L'S';
  d.ReleaseBuffer();
  EXPECT_EQ(d, L"Shared text");
  EXPECT_EQ(a, L"shared text");
}

TEST(FrameworkString, CountIsAtomicAcrossThreads) {
  const CString source(L"a string that many threads copy at once");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&source] {
      for (int i = 0; i < 20000; ++i) {
        CString copy(source);
        CString other = copy;
        if (i % 100 == 0) other += L'x';
        ASSERT_EQ(copy.GetLength(), source.GetLength());
      }
    });
  for (auto& t : threads) t.join();
  EXPECT_EQ(source.GetShareCount(), 1);
  EXPECT_EQ(source, L"a string that many threads copy at once");
}

TEST(FrameworkString, IndexReadsTerminatorAtLengthAndThrowsBeyond) {
  const CString s(L"abc");
  EXPECT_EQ(s[2], L'c');
  EXPECT_EQ(s.GetAt(3), L'\0');
  EXPECT_TRUE(throwsInvalidArg([&] { (void)s[4]; }));
  EXPECT_TRUE(throwsInvalidArg([&] { (void)s.GetAt(-1); }));
  CString t(s);
  EXPECT_TRUE(throwsInvalidArg([&] { t.SetAt(3, L'x'); }));
}

TEST(FrameworkString, InsertDeleteAndMidClampTheirArguments) {
  CString s(L"hello");
  EXPECT_EQ(s.Insert(-5, L"<"), 6);
  EXPECT_EQ(s.Insert(100, L'>'), 7);
  EXPECT_EQ(s, L"<hello>");
  EXPECT_EQ(s.Delete(1, 100), 1);
  EXPECT_EQ(s, L"<");
  s = L"hello";
  EXPECT_EQ(s.Delete(5, 1), 5);
  EXPECT_EQ(s.Delete(-3, 2), 3);
  EXPECT_EQ(s, L"llo");
  EXPECT_EQ(s.Delete(0, -1), 3);

  const CString t(L"abcdef");
  EXPECT_EQ(t.Mid(-2, 3), L"abc");
  EXPECT_EQ(t.Mid(4, 100), L"ef");
  EXPECT_EQ(t.Mid(6), L"");
  EXPECT_EQ(t.Mid(10), L"");
  EXPECT_EQ(t.Mid(2, -1), L"");
  EXPECT_EQ(t.Left(2), L"ab");
  EXPECT_EQ(t.Right(2), L"ef");
  EXPECT_EQ(t.Right(10), L"abcdef");
}

TEST(FrameworkString, FindAndReplace) {
  const CString s(L"abcabc");
  EXPECT_EQ(s.Find(L'c', 3), 5);
  EXPECT_EQ(s.Find(L'c', 6), -1);
  EXPECT_EQ(s.Find(L'c', -1), -1);
  EXPECT_EQ(s.Find(L"bc", 2), 4);
  EXPECT_EQ(s.Find(L"", 6), 6);
  EXPECT_EQ(s.Find(L"", 7), -1);
  EXPECT_EQ(s.Find(static_cast<const wchar_t*>(nullptr), 0), -1);
  EXPECT_EQ(s.ReverseFind(L'a'), 3);
  EXPECT_EQ(s.FindOneOf(L"xc"), 2);

  CString r(L"aaaa");
  EXPECT_EQ(r.Replace(L"aa", L"b"), 2);
  EXPECT_EQ(r, L"bb");
  EXPECT_EQ(r.Replace(L"", L"x"), 0);
  EXPECT_EQ(r.Replace(L"b", L"bb"), 2);
  EXPECT_EQ(r, L"bbbb");
  EXPECT_EQ(r.Replace(L'b', L'c'), 4);
  EXPECT_EQ(r.Remove(L'c'), 4);
  EXPECT_TRUE(r.IsEmpty());
}

TEST(FrameworkString, TrimTokenizeAndCompare) {
  CString s(L" \t text \r\n");
  s.TrimLeft();
  EXPECT_EQ(s, L"text \r\n");
  s.TrimRight();
  EXPECT_EQ(s, L"text");
  CString q(L"\"quoted\"");
  EXPECT_EQ(q.Trim(L'"'), L"quoted");

  const CString list(L";a;;bc;");
  int position = 0;
  EXPECT_EQ(list.Tokenize(L";", position), L"a");
  EXPECT_EQ(list.Tokenize(L";", position), L"bc");
  EXPECT_EQ(list.Tokenize(L";", position), L"");
  EXPECT_EQ(position, -1);

  EXPECT_EQ(CString(L"Abc").CompareNoCase(L"aBC"), 0);
  EXPECT_LT(CString(L"abc").Compare(L"abd"), 0);
  EXPECT_TRUE(CString(L"a") < CString(L"b"));
}

TEST(FrameworkString, NarrowTextConvertsFromUtf8) {
  const CString s("gr\xC3\xBC\xC3\x9F");
  EXPECT_EQ(s, L"gr\u00FC\u00DF");
  EXPECT_EQ(CString(static_cast<const char*>(nullptr)), L"");
  CString t(L"x");
  t += "\xE2\x82\xAC";
  t += 'y';
  EXPECT_EQ(t, L"x\u20ACy");
}

TEST(FrameworkString, AppendingItsOwnTextIsSafe) {
  CString s(L"ab");
  s += s;
  EXPECT_EQ(s, L"abab");
  s.Append(s.GetString() + 1, 2);
  EXPECT_EQ(s, L"ababba");
  s.Insert(1, s.GetString());
  EXPECT_EQ(s, L"aababbababba");
  s = s.GetString() + 2;
  EXPECT_EQ(s, L"babbababba");
}

TEST(FrameworkString, FormatGrowsToAnyLength) {
  CString s;
  s.Format(L"%d-%s", 42, L"x");
  EXPECT_EQ(s, L"42-x");
  s.AppendFormat(L"|%05.1f", 2.5);
  EXPECT_EQ(s, L"42-x|002.5");
  const std::wstring big(10000, L'q');
  s.Format(L"<%s>", big.c_str());
  EXPECT_EQ(s.GetLength(), 10002);
  EXPECT_TRUE(throwsInvalidArg([&] { s.Format(nullptr); }));
}
