#include <qnlith/failure/cException.h>
#include <qnlith/failure/errorText.h>
#include <qnlith/files/cFileVersion.h>
#include <qnlith/system/cResourceLibrary.h>
#include <qnlith/win32/errors.h>

cFileVersion::cFileVersion(const cString& fileName)
    : versionData(nullptr), versionHandle(0), language(0), codePage(0), ownsData(true) {
  ctor(fileName);
}

cFileVersion::cFileVersion(const cResourceLibrary& library)
    : versionData(nullptr), versionHandle(0), language(0), codePage(0), ownsData(true) {
  ctor(library.fileName());
}

cFileVersion::~cFileVersion() {
  if (ownsData) delete[] versionData;
}

cFileVersion& cFileVersion::operator=(const cFileVersion& source) {
  if (this == &source) return *this;
  if (ownsData) delete[] versionData;
  versionData = source.versionData;
  versionHandle = source.versionHandle;
  language = source.language;
  codePage = source.codePage;
  // One array, two objects: the source keeps releasing it.
  ownsData = false;
  return *this;
}

void cFileVersion::ctor(const cString& fileName) {
  const DWORD size = GetFileVersionInfoSizeW(fileName.c_str(), &versionHandle);
  if (size == 0) {
    cString text;
    text.format(L"cFileVersion: GetFileVersionInfoSize failed for: %s\nsize was: %u\n%s", fileName.c_str(), size,
                findErrorMessageText(GetLastError()).c_str());
    throw cException(text.c_str());
  }
  versionData = new BYTE[size];
  if (!GetFileVersionInfoW(fileName.c_str(), versionHandle, size, versionData)) {
    cString text;
    text.format(L"cFileVersion: GetFileVersionInfo failed for: %s\nsize was: %u\nerror was: %s", fileName.c_str(),
                size, findErrorMessageText(GetLastError()).c_str());
    delete[] versionData;
    versionData = nullptr;
    throw cException(text.c_str());
  }
  LPVOID translation = nullptr;
  UINT length = 0;
  if (!VerQueryValueW(versionData, L"\\VarFileInfo\\Translation", &translation, &length) || length < 4) {
    delete[] versionData;
    versionData = nullptr;
    throw cException(cString("cFileVersion: queryValue failed for: \\VarFileInfo\\Translation").c_str());
  }
  const auto* pair = static_cast<const WORD*>(translation);
  language = pair[0];
  codePage = pair[1];
}

cString cFileVersion::enumAsText(StringInfoTypeEnum type) const {
  static const wchar_t* const keys[] = {L"CompanyName",    L"FileDescription",  L"FileVersion", L"InternalName",
                                        L"LegalCopyright", L"OriginalFilename", L"ProductName", L"ProductVersion",
                                        L"PrivateBuild",   L"SpecialBuild"};
  if (type < CompanyName || type > SpecialBuild) return cString();
  return cString(keys[type]);
}

cString cFileVersion::queryValue(StringInfoTypeEnum type) {
  const cString key = enumAsText(type);
  cString subBlock;
  subBlock.format(L"\\StringFileInfo\\%04x%04x\\%s", language, codePage, key.c_str());
  LPVOID text = nullptr;
  UINT length = 0;
  if (!VerQueryValueW(versionData, subBlock.c_str(), &text, &length)) return cString();
  return cString(static_cast<const wchar_t*>(text));
}

VS_FIXEDFILEINFO* cFileVersion::queryFixedFileInformation() {
  LPVOID record = nullptr;
  UINT length = 0;
  if (!VerQueryValueW(versionData, L"\\", &record, &length))
    throw cException(L"cFileVersion: queryFixedFileInformation failed.");
  return static_cast<VS_FIXEDFILEINFO*>(record);
}

DWORD64 cFileVersion::queryFileVersion() {
  const VS_FIXEDFILEINFO* info = queryFixedFileInformation();
  return (static_cast<DWORD64>(info->dwFileVersionMS) << 32) | info->dwFileVersionLS;
}

DWORD64 cFileVersion::queryProductVersion() {
  const VS_FIXEDFILEINFO* info = queryFixedFileInformation();
  return (static_cast<DWORD64>(info->dwProductVersionMS) << 32) | info->dwProductVersionLS;
}

DWORD cFileVersion::queryFileFlags() { return queryFixedFileInformation()->dwFileFlags; }

DWORD cFileVersion::queryFileFlagsMask() { return queryFixedFileInformation()->dwFileFlagsMask; }
