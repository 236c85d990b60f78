// qnlith resources <module>: the resources of an ELF module, a PE image or a
// .res file, opened as data: types, names, languages, sizes, and the
// strings of the string tables.
#include <qnlith/qnlith.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "command.h"
#include "extract.h"

namespace {

const wchar_t* typeName(WORD type) {
  switch (type) {
    case 1: return L"RT_CURSOR";
    case 2: return L"RT_BITMAP";
    case 3: return L"RT_ICON";
    case 4: return L"RT_MENU";
    case 5: return L"RT_DIALOG";
    case 6: return L"RT_STRING";
    case 7: return L"RT_FONTDIR";
    case 8: return L"RT_FONT";
    case 9: return L"RT_ACCELERATOR";
    case 10: return L"RT_RCDATA";
    case 11: return L"RT_MESSAGETABLE";
    case 12: return L"RT_GROUP_CURSOR";
    case 14: return L"RT_GROUP_ICON";
    case 16: return L"RT_VERSION";
    case 17: return L"RT_DLGINCLUDE";
    case 19: return L"RT_PLUGPLAY";
    case 20: return L"RT_VXD";
    case 21: return L"RT_ANICURSOR";
    case 22: return L"RT_ANIICON";
    case 23: return L"RT_HTML";
    case 24: return L"RT_MANIFEST";
    default: return nullptr;
  }
}

WORD number(LPCWSTR name) { return static_cast<WORD>(reinterpret_cast<ULONG_PTR>(name)); }

cString nameText(LPCWSTR name) {
  cString text;
  if (IS_INTRESOURCE(name)) text.format(L"%u", static_cast<unsigned>(number(name)));
  else text.format(L"\"%s\"", name);
  return text;
}

// A string of a table as one line: quotes, backslashes and control
// characters escaped.
cString quoted(const std::wstring& text) {
  cString out(L"\"");
  for (wchar_t c : text) {
    if (c == L'"' || c == L'\\') {
      out += L'\\';
      out += c;
    } else if (c == L'\n') {
      out += L"\\n";
    } else if (c == L'\r') {
      out += L"\\r";
    } else if (c == L'\t') {
      out += L"\\t";
    } else if (c < 0x20) {
      cString escape;
      escape.format(L"\\x%02x", static_cast<unsigned>(c));
      out += escape.c_str();
    } else {
      out += c;
    }
  }
  out += L'"';
  return out;
}

// The sixteen counted UTF-16 strings of a string block; surrogate pairs
// become one character.
void printStringBlock(WORD block, const BYTE* data, DWORD size) {
  DWORD offset = 0;
  for (DWORD index = 0; index < 16 && offset + 2 <= size; ++index) {
    const DWORD length = data[offset] | (data[offset + 1] << 8);
    offset += 2;
    if (offset + 2 * length > size) {
      qnlithOut(L"      (the block is cut short)\n");
      return;
    }
    std::wstring text;
    for (DWORD i = 0; i < length; ++i) {
      const wchar_t unit = static_cast<wchar_t>(data[offset + 2 * i] | (data[offset + 2 * i + 1] << 8));
      if (unit >= 0xDC00 && unit <= 0xDFFF && !text.empty() && text.back() >= 0xD800 && text.back() <= 0xDBFF)
        text.back() = static_cast<wchar_t>(0x10000 + ((text.back() - 0xD800) << 10) + (unit - 0xDC00));
      else
        text += unit;
    }
    offset += 2 * length;
    if (length == 0) continue;
    // Composed by parts: a string may be longer than one formatted text.
    cString line;
    line.format(L"      string %u: ", (block - 1u) * 16 + index);
    line += quoted(text).c_str();
    line += L"\n";
    qnlithOut(line.c_str());
  }
}

// What was listed, and what could not be read: one line for each, with the
// resource's name and the reason.
struct Listing {
  HMODULE module;
  DWORD count = 0;
  std::vector<cString> failures;

  void failed(const cString& what) {
    cString line(what);
    line += L": ";
    cString reason = findErrorMessageText(GetLastError());
    reason.stripTrailing();
    line += reason.c_str();
    failures.push_back(line);
  }
};

cString typeText(LPCWSTR type) {
  cString text;
  const wchar_t* known = IS_INTRESOURCE(type) ? typeName(number(type)) : nullptr;
  if (known != nullptr) text.format(L"type %u (%s)", static_cast<unsigned>(number(type)), known);
  else text.format(L"type %s", nameText(type).c_str());
  return text;
}

cString resourceText(LPCWSTR type, LPCWSTR name) {
  cString text = typeText(type);
  text += L", name ";
  text += nameText(name).c_str();
  return text;
}

// Each callback goes on after a failure, so that one resource it cannot
// read hides none of the others.
BOOL CALLBACK language(HMODULE module, LPCWSTR type, LPCWSTR name, WORD languageId, LONG_PTR parameter) {
  auto& listing = *reinterpret_cast<Listing*>(parameter);
  HRSRC resource = FindResourceExW(module, type, name, languageId);
  if (resource == nullptr) {
    cString what = resourceText(type, name);
    cString language;
    language.format(L", language 0x%04x", static_cast<unsigned>(languageId));
    what += language.c_str();
    listing.failed(what);
    return TRUE;
  }
  const DWORD size = SizeofResource(module, resource);
  cString line;
  line.format(L"    name %s, language 0x%04x, %u bytes\n", nameText(name).c_str(), static_cast<unsigned>(languageId),
              size);
  qnlithOut(line.c_str());
  ++listing.count;
  if (IS_INTRESOURCE(type) && type == RT_STRING && IS_INTRESOURCE(name))
    printStringBlock(number(name), static_cast<const BYTE*>(LockResource(LoadResource(module, resource))), size);
  return TRUE;
}

BOOL CALLBACK name(HMODULE module, LPCWSTR type, LPWSTR resourceName, LONG_PTR parameter) {
  if (!EnumResourceLanguagesW(module, type, resourceName, language, parameter))
    reinterpret_cast<Listing*>(parameter)->failed(resourceText(type, resourceName));
  return TRUE;
}

BOOL CALLBACK type(HMODULE module, LPWSTR resourceType, LONG_PTR parameter) {
  qnlithOut(std::wstring(L"  ") + typeText(resourceType).c_str() + L"\n");
  if (!EnumResourceNamesW(module, resourceType, name, parameter))
    reinterpret_cast<Listing*>(parameter)->failed(typeText(resourceType));
  return TRUE;
}

const wchar_t* kindOf(const std::wstring& path) {
  char* narrow = cString(path.c_str()).asChar();
  std::ifstream file(narrow, std::ios::binary);
  delete[] narrow;
  char magic[4] = {};
  file.read(magic, 4);
  if (std::memcmp(magic, "\x7F" "ELF", 4) == 0) return L"ELF module";
  if (std::memcmp(magic, "MZ", 2) == 0) return L"PE image";
  return L".res file";
}

int resources(const QnlithArguments& arguments) {
  const bool extract = arguments.size() == 3 && arguments[1] == L"--extract";
  if (arguments.size() != 1 && !extract) return qnlithUsageError("resources", L"expects one module");
  const std::wstring& path = arguments[0];
  HMODULE module = LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
  if (module == nullptr) {
    cString text;
    text.format(L"qnlith resources: cannot read the resources of %s: %s", path.c_str(),
                findErrorMessageText(GetLastError()).c_str());
    text.stripTrailing();
    qnlithErr(cString(text + L"\n").c_str());
    return 1;
  }
  cString header;
  header.format(L"%s: %s\n", path.c_str(), kindOf(path));
  qnlithOut(header.c_str());
  if (extract) {
    const int status = qnlithExtractImages(module, arguments[2]);
    FreeLibrary(module);
    return status;
  }
  Listing listing{module, 0, {}};
  if (!EnumResourceTypesW(module, type, reinterpret_cast<LONG_PTR>(&listing))) {
    if (GetLastError() == ERROR_RESOURCE_DATA_NOT_FOUND || GetLastError() == ERROR_RESOURCE_TYPE_NOT_FOUND)
      qnlithOut(L"  no resources\n");
    else
      listing.failed(cString(L"the resource directory"));
  }
  FreeLibrary(module);
  for (const cString& failure : listing.failures)
    qnlithErr(L"qnlith resources: " + path + L": cannot read " + failure.c_str() + L"\n");
  return listing.failures.empty() ? 0 : 1;
}

const QnlithCommand command("resources", "resources <module>      (ELF module, PE image or .res file)\n"
                            "resources <module> --extract <dir>   (its icons, cursors and bitmaps as PNG files)", resources);

}  // namespace
