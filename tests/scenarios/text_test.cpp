// Text as an application moves it: the same texts (ASCII, Latin, CJK,
// beyond the BMP, long) through every call that converts between wide and
// narrow text and back, and the Windows buffer idioms, with guards behind
// each buffer, against every text call that takes a size.
#include <gtest/gtest.h>
#include <qnlith/qnlith.h>
#include <qnlith/win32.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "support/scratch.h"

namespace {

struct Sample {
  const char* name;
  std::wstring wide;
  std::string narrow;  // its UTF-8 form
};

std::vector<Sample> samples() {
  std::vector<Sample> out = {
      {"ASCII", L"plain text, 100% ASCII", "plain text, 100% ASCII"},
      {"Latin", L"na\u00EFve caf\u00E9 \u00DF\u00F8", "na\xC3\xAFve caf\xC3\xA9 \xC3\x9F\xC3\xB8"},
      {"CJK", L"\u4E2D\u6587\u6587\u672C", "\xE4\xB8\xAD\xE6\x96\x87\xE6\x96\x87\xE6\x9C\xAC"},
      {"non-BMP", L"\U0001F600 \U00010400\U00020000", "\xF0\x9F\x98\x80 \xF0\x90\x90\x80\xF0\xA0\x80\x80"},
  };
  Sample longText{"long", {}, {}};
  for (int i = 0; i < 3000; ++i) {
    longText.wide += L"a\u00E9\u4E2D\U0001F600 ";
    longText.narrow += "a\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80 ";
  }
  out.push_back(longText);
  return out;
}

constexpr unsigned char Guard = 0xA5;
constexpr std::size_t GuardBytes = 64;

// A buffer of `count` elements with guard bytes behind it.
template <typename T>
class Guarded {
 public:
  explicit Guarded(std::size_t count) : count_(count), bytes_(count * sizeof(T) + GuardBytes) {
    std::memset(bytes_.data(), Guard, bytes_.size());
  }
  T* data() { return reinterpret_cast<T*>(bytes_.data()); }
  std::size_t count() const { return count_; }
  bool guardIntact() const {
    for (std::size_t i = count_ * sizeof(T); i < bytes_.size(); ++i)
      if (bytes_[i] != Guard) return false;
    return true;
  }

 private:
  std::size_t count_;
  std::vector<unsigned char> bytes_;
};

std::string narrowOf(const std::wstring& wide) {
  // Ask the size, allocate, convert again.
  const int bytes = WideCharToMultiByte(CP_ACP, 0, wide.c_str(), -1, nullptr, 0, nullptr, nullptr);
  EXPECT_GT(bytes, 0);
  Guarded<char> buffer(static_cast<std::size_t>(bytes));
  EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, wide.c_str(), -1, buffer.data(), bytes, nullptr, nullptr), bytes);
  EXPECT_TRUE(buffer.guardIntact());
  return std::string(buffer.data());
}

std::wstring wideOf(const std::string& narrow) {
  const int chars = MultiByteToWideChar(CP_UTF8, 0, narrow.c_str(), -1, nullptr, 0);
  EXPECT_GT(chars, 0);
  Guarded<wchar_t> buffer(static_cast<std::size_t>(chars));
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, narrow.c_str(), -1, buffer.data(), chars), chars);
  EXPECT_TRUE(buffer.guardIntact());
  return std::wstring(buffer.data());
}

std::wstring formatted(const wchar_t* format, const void* argument) {
  const int length = _scwprintf(format, argument);
  EXPECT_GE(length, 0);
  Guarded<wchar_t> buffer(static_cast<std::size_t>(length) + 1);
  EXPECT_EQ(swprintf_s(buffer.data(), buffer.count(), format, argument), length);
  EXPECT_TRUE(buffer.guardIntact());
  return std::wstring(buffer.data());
}

std::wstring message(const wchar_t* pattern, const void* argument) {
  const DWORD_PTR arguments[] = {reinterpret_cast<DWORD_PTR>(argument)};
  wchar_t* text = nullptr;
  const DWORD n =
      FormatMessageW(FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_ARGUMENT_ARRAY,
                     pattern, 0, 0, reinterpret_cast<LPWSTR>(&text), 0,
                     reinterpret_cast<va_list*>(const_cast<DWORD_PTR*>(arguments)));
  if (n == 0) return L"<error " + std::to_wstring(GetLastError()) + L">";
  std::wstring result(text, n);
  LocalFree(text);
  return result;
}

std::wstring text(const cString& s) { return std::wstring(s.c_str(), s.length()); }

}  // namespace

TEST(TextScenario, RoundTripsThroughEveryConversion) {
  ScratchDirectory dir;
  for (const Sample& sample : samples()) {
    SCOPED_TRACE(sample.name);
    // Code pages.
    EXPECT_EQ(narrowOf(sample.wide), sample.narrow);
    EXPECT_EQ(wideOf(sample.narrow), sample.wide);

    // printf: narrow text in, wide text out, by each narrow spelling.
    EXPECT_EQ(formatted(L"%S", sample.narrow.c_str()), sample.wide);
    EXPECT_EQ(formatted(L"%hs", sample.narrow.c_str()), sample.wide);
    EXPECT_EQ(formatted(L"%s", sample.wide.c_str()), sample.wide);

    // scanf: a wide word read into a narrow buffer, sized in bytes.
    const std::wstring word = sample.wide.substr(0, sample.wide.find(L' '));
    const std::string narrowWord = narrowOf(word);
    Guarded<char> scanned(narrowWord.size() + 1);
    EXPECT_EQ(swscanf_s(word.c_str(), L"%S", scanned.data(), static_cast<unsigned>(scanned.count())), 1);
    EXPECT_EQ(std::string(scanned.data()), narrowWord);
    EXPECT_TRUE(scanned.guardIntact());

    // Message inserts, narrow and wide.
    EXPECT_EQ(message(L"<%1!S!>", sample.narrow.c_str()), L"<" + sample.wide + L">");
    EXPECT_EQ(message(L"<%1>", sample.wide.c_str()), L"<" + sample.wide + L">");

    // cString's narrow forms.
    const cString fromNarrow(sample.narrow.c_str(), static_cast<DWORD>(sample.narrow.size()));
    EXPECT_EQ(text(fromNarrow), sample.wide);
    std::unique_ptr<char[]> asChar(cString(sample.wide.c_str()).asChar());
    EXPECT_EQ(std::string(asChar.get()), sample.narrow);

    // A text file: written whole in its narrow form, read back byte for byte.
    const std::string name = std::string("text-") + sample.name + ".txt";
    {
      cTextFile file;
      ASSERT_TRUE(file.write(cString(dir.wide(name).c_str()), cString(sample.wide.c_str())));
    }
    EXPECT_EQ(dir.read(name), sample.narrow);
    cTextFile reader;
    ASSERT_TRUE(reader.read(cString(dir.wide(name).c_str())));
    EXPECT_EQ(reader.size(), sample.narrow.size());
    EXPECT_EQ(std::string(reader.c_str(), reader.size()), sample.narrow);
  }
}

TEST(TextScenario, BufferIdiomsNeverWritePastTheBuffer) {
  for (const Sample& sample : samples()) {
    SCOPED_TRACE(sample.name);
    const std::wstring& wide = sample.wide;

    // `sizeof buf` for bytes of narrow text: too small fails with 122 and
    // stays inside; room enough converts.
    {
      struct {
        char buf[16];
        unsigned char guard[GuardBytes];
      } fixed;
      std::memset(&fixed, Guard, sizeof fixed);
      const int n = WideCharToMultiByte(CP_UTF8, 0, wide.c_str(), -1, fixed.buf, sizeof fixed.buf, nullptr, nullptr);
      if (sample.narrow.size() + 1 <= sizeof fixed.buf) {
        EXPECT_EQ(n, static_cast<int>(sample.narrow.size() + 1));
      } else {
        EXPECT_EQ(n, 0);
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
      }
      for (unsigned char g : fixed.guard) ASSERT_EQ(g, Guard);
    }

    // Wide buffers counted in characters: one too few, and exactly enough.
    const std::size_t need = wide.size() + 1;
    for (const std::size_t count : {need - 1, need}) {
      const bool fits = count == need;
      SCOPED_TRACE(fits ? "exact" : "one short");
      {
        Guarded<wchar_t> buffer(count);
        const int n = MultiByteToWideChar(CP_UTF8, 0, sample.narrow.c_str(), -1, buffer.data(),
                                          static_cast<int>(count));
        EXPECT_EQ(n, fits ? static_cast<int>(need) : 0);
        EXPECT_TRUE(buffer.guardIntact()) << "MultiByteToWideChar";
      }
      {
        Guarded<wchar_t> buffer(count);
        EXPECT_EQ(swprintf_s(buffer.data(), count, L"%s", wide.c_str()), fits ? static_cast<int>(wide.size()) : -1);
        EXPECT_TRUE(buffer.guardIntact()) << "swprintf_s";
      }
      {
        Guarded<wchar_t> buffer(count);
        EXPECT_EQ(_snwprintf_s(buffer.data(), count, _TRUNCATE, L"%S", sample.narrow.c_str()),
                  fits ? static_cast<int>(wide.size()) : -1);
        EXPECT_EQ(std::wstring(buffer.data()), fits ? wide : wide.substr(0, count - 1));
        EXPECT_TRUE(buffer.guardIntact()) << "_snwprintf_s";
      }
      {
        Guarded<wchar_t> buffer(count);
        const DWORD n = FormatMessageW(FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_IGNORE_INSERTS, wide.c_str(), 0, 0,
                                       buffer.data(), static_cast<DWORD>(count), nullptr);
        EXPECT_EQ(n, fits ? wide.size() : 0u);
        EXPECT_EQ(std::wstring(buffer.data()), fits ? wide : wide.substr(0, count - 1));
        EXPECT_TRUE(buffer.guardIntact()) << "FormatMessageW";
      }
      {
        Guarded<wchar_t> buffer(count);
        EXPECT_EQ(wcscpy_s(buffer.data(), count, wide.c_str()), fits ? 0 : ERANGE);
        EXPECT_TRUE(buffer.guardIntact()) << "wcscpy_s";
        EXPECT_EQ(wcsncpy_s(buffer.data(), count, wide.c_str(), _TRUNCATE), fits ? 0 : STRUNCATE);
        EXPECT_TRUE(buffer.guardIntact()) << "wcsncpy_s";
        lstrcpynW(buffer.data(), wide.c_str(), static_cast<int>(count));
        EXPECT_EQ(std::wstring(buffer.data()), fits ? wide : wide.substr(0, count - 1));
        EXPECT_TRUE(buffer.guardIntact()) << "lstrcpynW";
      }
      {
        const std::wstring word = wide.substr(0, wide.find(L' '));
        Guarded<wchar_t> buffer(word.size() + (fits ? 1 : 0));
        EXPECT_EQ(swscanf_s(word.c_str(), L"%s", buffer.data(), static_cast<unsigned>(buffer.count())), fits ? 1 : 0);
        EXPECT_TRUE(buffer.guardIntact()) << "swscanf_s";
      }
    }

    // The byte size of a wide text, `(wcslen(s) + 1) * sizeof(WCHAR)`, as a
    // BSTR reports it: two bytes a character, whatever wchar_t holds.
    BSTR string = SysAllocString(wide.c_str());
    ASSERT_NE(string, nullptr);
    EXPECT_EQ(SysStringLen(string), wide.size());
    EXPECT_EQ(SysStringByteLen(string), wide.size() * 2);
    EXPECT_EQ(std::wstring(string), wide);
    SysFreeString(string);
  }
}
