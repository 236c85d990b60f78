// qnlith version <module>: the version record and strings of a module file.
#include <qnlith/qnlith.h>

#include "command.h"

namespace {

cString dotted(DWORD64 version) {
  cString text;
  text.format(L"%u.%u.%u.%u", static_cast<UINT>(version >> 48), static_cast<UINT>((version >> 32) & 0xFFFF),
              static_cast<UINT>((version >> 16) & 0xFFFF), static_cast<UINT>(version & 0xFFFF));
  return text;
}

int version(const QnlithArguments& arguments) {
  if (arguments.size() != 1) return qnlithUsageError("version", L"expects one module file");
  try {
    cFileVersion file{cString(arguments[0].c_str())};
    cString line;
    line.format(L"file version      %s\nproduct version   %s\nflags             0x%X (mask 0x%X)\n",
                dotted(file.queryFileVersion()).c_str(), dotted(file.queryProductVersion()).c_str(),
                file.queryFileFlags(), file.queryFileFlagsMask());
    qnlithOut(line.c_str());
    static const wchar_t* const names[] = {L"CompanyName",    L"FileDescription",  L"FileVersion", L"InternalName",
                                           L"LegalCopyright", L"OriginalFilename", L"ProductName", L"ProductVersion",
                                           L"PrivateBuild",   L"SpecialBuild"};
    for (int i = cFileVersion::CompanyName; i <= cFileVersion::SpecialBuild; ++i) {
      const cString value = file.queryValue(static_cast<cFileVersion::StringInfoTypeEnum>(i));
      if (value.isEmpty()) continue;
      line.format(L"%-17s %s\n", names[i], value.c_str());
      qnlithOut(line.c_str());
    }
    return 0;
  } catch (const cException& e) {
    qnlithErr(std::wstring(L"qnlith version: ") + e.text + L"\n");
    return 1;
  }
}

const QnlithCommand command("version", "version <module>        (an ELF module, a PE image or a .res file)", version);

}  // namespace
