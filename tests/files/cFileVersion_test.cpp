// Version resources of ELF modules and PE images, through the layer's
// version calls and cFileVersion.
#include <gtest/gtest.h>
#include <qnlith/qnlith.h>

#include <string>
#include <vector>

namespace {

std::wstring wide(const char* text) { return std::wstring(text, text + std::char_traits<char>::length(text)); }

std::wstring failureOf(const std::wstring& file) {
  try {
    cFileVersion version{cString(file.c_str())};
  } catch (const cException& e) {
    return e.text;
  }
  return L"(none)";
}

}  // namespace

TEST(VersionResource, ElfModuleAndPeImageReadAlike) {
  for (const std::wstring& file : {wide(QN_VERSION_MODULE), wide(QN_VERSION_PE)}) {
    SCOPED_TRACE(std::string(file.begin(), file.end()));
    cFileVersion version{cString(file.c_str())};
    EXPECT_EQ(version.queryFileVersion(), 0x0001000200030004ull);
    EXPECT_EQ(version.queryProductVersion(), 0x0005000600070008ull);
    EXPECT_EQ(version.queryFileFlags(), 0x41u) << "flags outside the mask stay";
    EXPECT_EQ(version.queryFileFlagsMask(), 0x3Fu);
    EXPECT_EQ(version.queryFixedFileInformation()->dwSignature, VS_FFI_SIGNATURE);
    EXPECT_EQ(version.queryValue(cFileVersion::CompanyName), L"Example Company");
    EXPECT_EQ(version.queryValue(cFileVersion::ProductName), L"Gr\u00FC\u00DFe");
    EXPECT_TRUE(version.queryValue(cFileVersion::LegalCopyright).isEmpty());
    EXPECT_TRUE(version.queryValue(cFileVersion::SpecialBuild).isEmpty()) << "only the first translation counts";
  }
}

TEST(VersionResource, LayerCallsAnswerAsDocumented) {
  const std::wstring file = wide(QN_VERSION_MODULE);
  DWORD handle = 77;
  const DWORD size = GetFileVersionInfoSizeW(file.c_str(), &handle);
  ASSERT_GT(size, 0u);
  EXPECT_EQ(handle, 0u);
  std::vector<BYTE> block(size);
  ASSERT_TRUE(GetFileVersionInfoW(file.c_str(), 0, size, block.data()));
  LPVOID value = nullptr;
  UINT length = 0;
  ASSERT_TRUE(VerQueryValueW(block.data(), L"\\VarFileInfo\\Translation", &value, &length));
  ASSERT_EQ(length, 8u);
  EXPECT_EQ(static_cast<WORD*>(value)[2], 0x407);
  ASSERT_TRUE(VerQueryValueW(block.data(), L"\\stringfileinfo\\040704B0\\SpecialBuild", &value, &length));
  EXPECT_STREQ(static_cast<wchar_t*>(value), L"only under the second translation");
  EXPECT_EQ(length, 34u) << "characters with the terminator";
  EXPECT_FALSE(VerQueryValueW(block.data(), L"\\StringFileInfo\\040904b0\\Missing", &value, &length));

  SetLastError(0);
  EXPECT_FALSE(GetFileVersionInfoW(file.c_str(), 0, size / 4, block.data()));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
  EXPECT_EQ(GetFileVersionInfoSizeW(wide(QN_UNVERSIONED_MODULE).c_str(), &handle), 0u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_RESOURCE_TYPE_NOT_FOUND));
  EXPECT_EQ(GetFileVersionInfoSizeW(L"/no/such/module.so", &handle), 0u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}

TEST(VersionResource, MissingResourceFailsWithTheSizeAndTheReason) {
  const std::wstring plain = wide(QN_UNVERSIONED_MODULE);
  EXPECT_EQ(failureOf(plain), L"cFileVersion: GetFileVersionInfoSize failed for: " + plain + L"\nsize was: 0\n" +
                                  findErrorMessageText(ERROR_RESOURCE_TYPE_NOT_FOUND).c_str());
  EXPECT_EQ(failureOf(L"/no/such/module.so"),
            std::wstring(L"cFileVersion: GetFileVersionInfoSize failed for: /no/such/module.so\nsize was: 0\n") +
                findErrorMessageText(ERROR_FILE_NOT_FOUND).c_str());

  // The library's own module carries the project's version.
  cFileVersion own{getQuenlithDLL()};
  EXPECT_EQ(own.queryValue(cFileVersion::ProductName), L"Qnlith50");
  EXPECT_EQ(own.queryFileVersion() >> 48, 5u);
}
