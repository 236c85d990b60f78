// The images of a module as PNG files: each RT_ICON and RT_CURSOR image
// (the members of the icon and cursor groups), each frame of an animated
// cursor or icon, and each bitmap, decoded by the layer and written with
// their alpha by libpng. A cursor's hot spot goes into its file as the text
// chunks "hotspot-x" and "hotspot-y".
#include "extract.h"

#include <png.h>
#include <qnlith/qnlith.h>

#include <cstring>
#include <cwchar>
#include <string>
#include <vector>

#include "command.h"

namespace {

WORD number(LPCWSTR name) { return static_cast<WORD>(reinterpret_cast<ULONG_PTR>(name)); }

// What a resource type holds, as far as pictures go.
enum class Kind { None, Icon, Cursor, Bitmap, Animated };

Kind kindOf(LPCWSTR type) {
  // windres keeps names in capitals.
  if (!IS_INTRESOURCE(type)) return std::wcscmp(type, L"ANICURSORS") == 0 ? Kind::Animated : Kind::None;
  switch (number(type)) {
    case 1: return Kind::Cursor;
    case 2: return Kind::Bitmap;
    case 3: return Kind::Icon;
    case 21:
    case 22: return Kind::Animated;
    default: return Kind::None;
  }
}

// Icons and animated icons; cursors of every kind, the animated cursors of
// the library's own type among them, have hot spots.
bool isIcon(LPCWSTR type) { return IS_INTRESOURCE(type) && (number(type) == 3 || number(type) == 22); }

// A name fit for a file: numbers as they are, names with the characters a
// path can't hold replaced.
std::wstring partOf(LPCWSTR name) {
  if (IS_INTRESOURCE(name)) return std::to_wstring(number(name));
  std::wstring part(name);
  for (wchar_t& c : part)
    if (c < 0x20 || std::wcschr(L"/\\:*?\"<>|", c) != nullptr) c = L'_';
  return part;
}

std::wstring typePart(LPCWSTR type) {
  switch (kindOf(type)) {
    case Kind::Icon: return L"icon";
    case Kind::Cursor: return L"cursor";
    case Kind::Bitmap: return L"bitmap";
    case Kind::Animated: return IS_INTRESOURCE(type) ? (number(type) == 21 ? L"anicursor" : L"aniicon") : partOf(type);
    default: return partOf(type);
  }
}

struct Png {
  std::vector<unsigned char> bytes;
  bool failed = false;
};

void appendBytes(png_structp png, png_bytep data, png_size_t length) {
  auto* out = static_cast<Png*>(png_get_io_ptr(png));
  out->bytes.insert(out->bytes.end(), data, data + length);
}

void flushNothing(png_structp) {}

void onError(png_structp png, png_const_charp) {
  static_cast<Png*>(png_get_error_ptr(png))->failed = true;
  png_longjmp(png, 1);
}

void onWarning(png_structp, png_const_charp) {}

// RGBA rows from the top, as the layer gives them, into a PNG image in
// memory; a hot spot as two text chunks.
bool encode(const std::vector<BYTE>& rgba, LONG width, LONG height, const POINT* hotspot, Png& out) {
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &out, onError, onWarning);
  if (png == nullptr) return false;
  png_infop info = png_create_info_struct(png);
  if (info == nullptr) {
    png_destroy_write_struct(&png, nullptr);
    return false;
  }
  std::vector<png_bytep> rows(static_cast<std::size_t>(height));
  for (LONG y = 0; y < height; ++y)
    rows[static_cast<std::size_t>(y)] =
        const_cast<png_bytep>(rgba.data()) + static_cast<std::size_t>(y) * static_cast<std::size_t>(width) * 4;
  const std::string x = hotspot ? std::to_string(hotspot->x) : "", y = hotspot ? std::to_string(hotspot->y) : "";
  png_text text[2] = {};
  text[0].compression = text[1].compression = PNG_TEXT_COMPRESSION_NONE;
  text[0].key = const_cast<png_charp>("hotspot-x");
  text[0].text = const_cast<png_charp>(x.c_str());
  text[1].key = const_cast<png_charp>("hotspot-y");
  text[1].text = const_cast<png_charp>(y.c_str());
  // libpng reports its errors by a long jump back here; nothing below owns
  // what a jump would skip.
  if (setjmp(png_jmpbuf(png)) == 0) {
    png_set_write_fn(png, &out, appendBytes, flushNothing);
    png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), 8,
                 PNG_COLOR_TYPE_RGB_ALPHA, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (hotspot != nullptr) png_set_text(png, info, text, 2);
    png_set_rows(png, info, rows.data());
    png_write_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
  }
  png_destroy_write_struct(&png, &info);
  return !out.failed;
}

bool writeFile(const std::wstring& path, const void* data, DWORD size) {
  HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  DWORD written = 0;
  const bool ok = WriteFile(file, data, size, &written, nullptr) && written == size;
  return CloseHandle(file) && ok;
}

struct Extraction {
  std::wstring directory;
  unsigned written = 0;
  unsigned failed = 0;
};

void report(Extraction& run, const std::wstring& what, DWORD error) {
  cString text = findErrorMessageText(error);
  text.stripTrailing();
  qnlithErr(L"qnlith resources: " + what + L": " + text.c_str() + L"\n");
  ++run.failed;
}

// One frame of an image object as a PNG file.
void writeFrame(Extraction& run, HANDLE image, UINT frame, const std::wstring& name, bool withHotspot) {
  QN_IMAGE_FRAME shape{};
  if (!qnGetImageFrame(image, frame, &shape)) return report(run, name, GetLastError());
  std::vector<BYTE> rgba(static_cast<std::size_t>(shape.width) * static_cast<std::size_t>(shape.height) * 4);
  if (!qnGetImagePixels(image, frame, rgba.data(), static_cast<DWORD>(rgba.size())))
    return report(run, name, GetLastError());
  const POINT hotspot{shape.xHotspot, shape.yHotspot};
  Png png;
  if (!encode(rgba, shape.width, shape.height, withHotspot ? &hotspot : nullptr, png))
    return report(run, name, ERROR_NOT_ENOUGH_MEMORY);
  const std::wstring path = run.directory + L"/" + name;
  if (!writeFile(path, png.bytes.data(), static_cast<DWORD>(png.bytes.size())))
    return report(run, path, GetLastError());
  cString line;
  line.format(L"  wrote %s (%d x %d", path.c_str(), static_cast<int>(shape.width), static_cast<int>(shape.height));
  if (withHotspot) {
    cString spot;
    spot.format(L", hot spot %d,%d", static_cast<int>(shape.xHotspot), static_cast<int>(shape.yHotspot));
    line += spot.c_str();
  }
  line += L")\n";
  qnlithOut(line.c_str());
  ++run.written;
}

// A bitmap resource is a DIB without its file header; the layer decodes
// bitmaps of a module only by name, whatever their languages, so each is
// handed over as a .bmp file of its own.
HANDLE bitmapOf(Extraction& run, const BYTE* dib, DWORD size) {
  DWORD header = 0;
  if (size >= 4) std::memcpy(&header, dib, 4);
  if (header < 12 || header > size) {
    SetLastError(ERROR_INVALID_DATA);
    return nullptr;
  }
  WORD bits = 0;
  DWORD compression = 0, used = 0, entry = 4;
  if (header == 12) {
    if (size >= 12) std::memcpy(&bits, dib + 10, 2);
    entry = 3;
  } else if (size >= 36) {
    std::memcpy(&bits, dib + 14, 2);
    std::memcpy(&compression, dib + 16, 4);
    std::memcpy(&used, dib + 32, 4);
  }
  const DWORD colours = used != 0 ? used : (bits <= 8 ? DWORD{1} << bits : 0);
  const DWORD masks = header == 40 ? (compression == 3 ? 12 : compression == 6 ? 16 : 0) : 0;
  const DWORD offset = 14 + header + masks + colours * entry;
  std::vector<BYTE> file(14);
  file[0] = 'B', file[1] = 'M';
  const DWORD total = 14 + size;
  std::memcpy(&file[2], &total, 4);
  std::memcpy(&file[10], &offset, 4);
  file.insert(file.end(), dib, dib + size);
  const std::wstring path = run.directory + L"/.qnlith-bitmap.bmp";
  if (!writeFile(path, file.data(), static_cast<DWORD>(file.size()))) return nullptr;
  HANDLE image = LoadImageW(nullptr, path.c_str(), IMAGE_BITMAP, 0, 0, LR_LOADFROMFILE);
  const DWORD error = GetLastError();
  DeleteFileW(path.c_str());
  SetLastError(error);
  return image;
}

BOOL CALLBACK language(HMODULE module, LPCWSTR type, LPCWSTR name, WORD languageId, LONG_PTR parameter) {
  auto& run = *reinterpret_cast<Extraction*>(parameter);
  const Kind kind = kindOf(type);
  wchar_t languageText[8];
  swprintf_s(languageText, 8, L"%04x", static_cast<unsigned>(languageId));
  const std::wstring stem = typePart(type) + L"_" + partOf(name) + L"_" + languageText;
  HRSRC resource = FindResourceExW(module, type, name, languageId);
  const DWORD size = SizeofResource(module, resource);
  auto* bits = static_cast<BYTE*>(LockResource(LoadResource(module, resource)));
  if (bits == nullptr) {
    report(run, stem, GetLastError());
    return TRUE;
  }
  HANDLE image = nullptr;
  if (kind == Kind::Bitmap) image = bitmapOf(run, bits, size);
  else image = CreateIconFromResourceEx(bits, size, isIcon(type), 0x00030000, 0, 0, LR_DEFAULTCOLOR);
  if (image == nullptr) {
    // A resource of the animated cursors' own type may hold other data.
    if (kind == Kind::Animated && !IS_INTRESOURCE(type)) {
      qnlithOut(L"  skipped " + stem + L": not an animated cursor\n");
      return TRUE;
    }
    report(run, stem, GetLastError());
    return TRUE;
  }
  QN_IMAGE_INFO info{};
  qnGetImageInfo(image, &info);
  const bool hotspot = info.type == IMAGE_CURSOR;
  if (kind == Kind::Animated) {
    for (UINT frame = 0; frame < info.frames; ++frame)
      writeFrame(run, image, frame, stem + L"_frame" + std::to_wstring(frame) + L".png", hotspot);
  } else {
    writeFrame(run, image, 0, stem + L".png", hotspot);
  }
  if (kind == Kind::Bitmap) DeleteObject(image);
  else DestroyIcon(static_cast<HICON>(image));
  return TRUE;
}

BOOL CALLBACK name(HMODULE module, LPCWSTR type, LPWSTR resourceName, LONG_PTR parameter) {
  EnumResourceLanguagesW(module, type, resourceName, language, parameter);
  return TRUE;
}

BOOL CALLBACK type(HMODULE module, LPWSTR resourceType, LONG_PTR parameter) {
  if (kindOf(resourceType) != Kind::None) EnumResourceNamesW(module, resourceType, name, parameter);
  return TRUE;
}

}  // namespace

int qnlithExtractImages(HMODULE module, const std::wstring& directory) {
  Extraction run{directory};
  if (!CreateDirectoryW(directory.c_str(), nullptr) && GetLastError() != ERROR_ALREADY_EXISTS) {
    report(run, L"cannot make " + directory, GetLastError());
    return 1;
  }
  EnumResourceTypesW(module, type, reinterpret_cast<LONG_PTR>(&run));
  cString summary;
  summary.format(L"  %u images written to %s\n", run.written, directory.c_str());
  qnlithOut(summary.c_str());
  return run.failed == 0 ? 0 : 1;
}
