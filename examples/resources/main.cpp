// own_resources: reads its own resources back through the library: a
// string of its string table, its icon, its version resource and the
// messages of its message file.
#include <qnlith/qnlith.h>

#include <cstdio>
#include <string>
#include <vector>

#include "resource.h"

namespace {

std::string utf8(const cString& text) {
  char* bytes = text.asChar();
  std::string out(bytes);
  delete[] bytes;
  return out;
}

}  // namespace

int main() {
  try {
    // The default resource library is the main program: this executable.
    cResourceLibrary& library = cResourceLibrary::defaultResourceLibrary();
    std::printf("module: %s\n", utf8(library.fileName()).c_str());

    std::printf("string %d: %s\n", IDS_GREETING, utf8(cResourceString(IDS_GREETING)).c_str());
    std::printf("string %d: %s\n", IDS_FAREWELL, utf8(library.loadString(IDS_FAREWELL)).c_str());

    // The icon comes as a handle of the layer, whose pixels a user
    // interface would draw.
    cPointerHandle icon = library.loadIcon(IDI_APP);
    QN_IMAGE_INFO info{};
    qnGetImageInfo(icon, &info);
    std::vector<BYTE> rgba(static_cast<std::size_t>(info.width * info.height * 4));
    qnGetImagePixels(icon, 0, rgba.data(), static_cast<DWORD>(rgba.size()));
    const BYTE* centre = &rgba[static_cast<std::size_t>((info.height / 2 * info.width + info.width / 2) * 4)];
    std::printf("icon %d: %ld x %ld, centre pixel #%02x%02x%02x alpha %u, corner alpha %u\n", IDI_APP,
                static_cast<long>(info.width), static_cast<long>(info.height), centre[0], centre[1], centre[2],
                centre[3], rgba[3]);

    cFileVersion version(library.fileName());
    std::printf("version: %s %s (file %s)\n", utf8(version.queryValue(cFileVersion::ProductName)).c_str(),
                utf8(version.queryValue(cFileVersion::ProductVersion)).c_str(),
                utf8(version.queryValue(cFileVersion::FileVersion)).c_str());

    // A message with inserts, read from the module's message table.
    cString message;
    message.formatMessage(library.loadMessage(1).c_str(), L"3", L"0.2 s");
    std::printf("message 1: %s", utf8(message).c_str());
    // The library's own message lookup reads the message file the
    // application names, here this very program.
    setMessageFile(library.fileName().c_str());
    std::printf("message 2: %s", utf8(messageText(2)).c_str());
    return 0;
  } catch (const cException& e) {
    std::fprintf(stderr, "own_resources: %s\n", utf8(e.text).c_str());
    return 1;
  }
}
