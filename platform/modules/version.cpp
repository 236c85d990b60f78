#include <qnlith/win32/errors.h>
#include <qnlith/win32/modules.h>
#include <qnlith/win32/resources.h>
#include <qnlith/win32/version.h>

#include <cstring>
#include <cwctype>
#include <string>
#include <vector>

#include "errors/errors.h"
#include "text/unicode.h"

namespace {

// One node of a VS_VERSIONINFO tree: wLength, wValueLength, wType, a UTF-16
// key, padding to 32 bits, the value, padding, then the children up to
// wLength. Offsets count from the start of the block.
struct Node {
  std::size_t start = 0;
  std::size_t end = 0;
  std::wstring key;
  std::size_t value = 0;
  std::size_t valueBytes = 0;
  bool text = false;
  std::size_t children = 0;
};

std::size_t align4(std::size_t offset) { return (offset + 3) & ~static_cast<std::size_t>(3); }

WORD word(const BYTE* block, std::size_t offset) {
  return static_cast<WORD>(block[offset] | (block[offset + 1] << 8));
}

// Reads the node at `offset`, which must end by `limit`; false for anything
// that doesn't fit.
bool readNode(const BYTE* block, std::size_t offset, std::size_t limit, Node& node) {
  if (offset + 6 > limit) return false;
  const std::size_t length = word(block, offset);
  if (length < 6 || offset + length > limit) return false;
  node.start = offset;
  node.end = offset + length;
  const WORD valueLength = word(block, offset + 2);
  node.text = word(block, offset + 4) == 1;
  std::size_t p = offset + 6;
  std::size_t keyEnd = p;
  while (keyEnd + 1 < node.end && word(block, keyEnd) != 0) keyEnd += 2;
  if (keyEnd + 1 >= node.end) return false;
  node.key = qn::utf16leToWide(block + p, keyEnd - p);
  node.value = align4(keyEnd + 2);
  node.valueBytes = node.text ? static_cast<std::size_t>(valueLength) * 2 : valueLength;
  if (node.value > node.end) node.value = node.end;
  if (node.value + node.valueBytes > node.end) return false;
  node.children = align4(node.value + node.valueBytes);
  return true;
}

bool sameKey(const std::wstring& a, const std::wstring& b) { return qn::equalIgnoringCase(a, b); }

// What GetFileVersionInfoW appends behind the resource: a mark, the number
// of string values, pairs of (offset of the value in the resource, offset of
// its wide form), then the wide forms.
constexpr DWORD TailMark = 0x49564E51;  // "QNVI"

std::size_t tailStart(std::size_t rawLength) { return (rawLength + 7) & ~static_cast<std::size_t>(7); }

void collectStrings(const BYTE* block, const Node& node, std::vector<std::size_t>& values) {
  if (node.text && node.valueBytes > 0) values.push_back(node.value);
  for (std::size_t child = node.children; child < node.end;) {
    Node next;
    if (!readNode(block, child, node.end, next)) return;
    collectStrings(block, next, values);
    child = align4(next.end);
  }
}

// The raw resource of the file's version, or an error.
DWORD loadVersionResource(LPCWSTR fileName, std::vector<BYTE>& raw) {
  if (fileName == nullptr || *fileName == L'\0') return ERROR_INVALID_PARAMETER;
  HMODULE module = LoadLibraryExW(fileName, nullptr, LOAD_LIBRARY_AS_DATAFILE);
  if (module == nullptr) {
    const DWORD error = GetLastError();
    return error == ERROR_MOD_NOT_FOUND ? ERROR_FILE_NOT_FOUND : error;
  }
  DWORD error = ERROR_SUCCESS;
  HRSRC resource = FindResourceW(module, MAKEINTRESOURCEW(1), RT_VERSION);
  if (resource == nullptr) {
    error = ERROR_RESOURCE_TYPE_NOT_FOUND;
  } else {
    const DWORD size = SizeofResource(module, resource);
    const auto* bytes = static_cast<const BYTE*>(LockResource(LoadResource(module, resource)));
    Node root;
    if (bytes == nullptr || !readNode(bytes, 0, size, root)) error = ERROR_INVALID_DATA;
    else raw.assign(bytes, bytes + root.end);
  }
  FreeLibrary(module);
  return error;
}

DWORD blockSize(const std::vector<BYTE>& raw) {
  // Room for the pairs and for every UTF-16 unit widened to a wchar_t.
  return static_cast<DWORD>(tailStart(raw.size()) + 8 + raw.size() * 4 + 64);
}

}  // namespace

DWORD WINAPI GetFileVersionInfoSizeW(LPCWSTR fileName, LPDWORD handle) {
  if (handle != nullptr) *handle = 0;
  std::vector<BYTE> raw;
  if (const DWORD error = loadVersionResource(fileName, raw); error != ERROR_SUCCESS) {
    SetLastError(error);
    return 0;
  }
  return blockSize(raw);
}

BOOL WINAPI GetFileVersionInfoW(LPCWSTR fileName, DWORD handle, DWORD length, LPVOID data) {
  if (data == nullptr) return qn::failWith(ERROR_INVALID_PARAMETER);
  std::vector<BYTE> raw;
  if (const DWORD error = loadVersionResource(fileName, raw); error != ERROR_SUCCESS) return qn::failWith(error);
  if (length < blockSize(raw)) return qn::failWith(ERROR_INSUFFICIENT_BUFFER);
  auto* block = static_cast<BYTE*>(data);
  std::memset(block, 0, length);
  std::memcpy(block, raw.data(), raw.size());

  Node root;
  readNode(block, 0, raw.size(), root);
  std::vector<std::size_t> values;
  collectStrings(block, root, values);
  std::size_t tail = tailStart(raw.size());
  const DWORD header[2] = {TailMark, static_cast<DWORD>(values.size())};
  std::memcpy(block + tail, header, sizeof header);
  std::size_t pairs = tail + sizeof header;
  std::size_t text = (pairs + values.size() * 8 + 7) & ~static_cast<std::size_t>(7);
  for (std::size_t value : values) {
    // The text runs to its terminator inside the resource.
    std::size_t units = 0;
    while (value + units * 2 + 1 < raw.size() && word(block, value + units * 2) != 0) ++units;
    const std::wstring wide = qn::utf16leToWide(block + value, units * 2);
    const DWORD pair[2] = {static_cast<DWORD>(value), static_cast<DWORD>(text)};
    std::memcpy(block + pairs, pair, sizeof pair);
    pairs += sizeof pair;
    std::memcpy(block + text, wide.c_str(), (wide.size() + 1) * sizeof(wchar_t));
    text += (wide.size() + 1) * sizeof(wchar_t);
  }
  return TRUE;
}

BOOL WINAPI VerQueryValueW(LPCVOID data, LPCWSTR subBlock, LPVOID* buffer, PUINT length) {
  if (data == nullptr || buffer == nullptr || length == nullptr) return qn::failWith(ERROR_INVALID_PARAMETER);
  const auto* block = static_cast<const BYTE*>(data);
  Node node;
  if (!readNode(block, 0, word(block, 0), node)) return qn::failWith(ERROR_INVALID_DATA);
  const std::size_t rawLength = node.end;

  // Walk the path's parts from the root, each one a child's key.
  const std::wstring path = subBlock != nullptr ? subBlock : L"";
  for (std::size_t i = 0; i < path.size();) {
    if (path[i] == L'\\') {
      ++i;
      continue;
    }
    const std::size_t next = path.find(L'\\', i);
    const std::wstring part = path.substr(i, next == std::wstring::npos ? std::wstring::npos : next - i);
    i = next == std::wstring::npos ? path.size() : next;
    bool found = false;
    for (std::size_t child = node.children; child < node.end;) {
      Node candidate;
      if (!readNode(block, child, node.end, candidate)) break;
      if (sameKey(candidate.key, part)) {
        node = candidate;
        found = true;
        break;
      }
      child = align4(candidate.end);
    }
    if (!found) return qn::failWith(ERROR_RESOURCE_TYPE_NOT_FOUND);
  }

  if (node.start == 0) {
    // The root's value is the fixed record.
    if (node.valueBytes < sizeof(VS_FIXEDFILEINFO)) return qn::failWith(ERROR_RESOURCE_DATA_NOT_FOUND);
    *buffer = const_cast<BYTE*>(block + node.value);
    *length = sizeof(VS_FIXEDFILEINFO);
    return TRUE;
  }
  // A node without a value (\StringFileInfo, a table, an empty string)
  // answers with length 0 at its value's place, inside the caller's block,
  // where callers check that answers lie.
  if (!node.text || node.valueBytes == 0) {
    *buffer = const_cast<BYTE*>(block + node.value);
    *length = static_cast<UINT>(node.valueBytes);
    return TRUE;
  }
  // A string: its wide form, made by GetFileVersionInfoW.
  const std::size_t tail = tailStart(rawLength);
  DWORD header[2];
  std::memcpy(header, block + tail, sizeof header);
  if (header[0] != TailMark) return qn::failWith(ERROR_INVALID_DATA);
  for (DWORD k = 0; k < header[1]; ++k) {
    DWORD pair[2];
    std::memcpy(pair, block + tail + sizeof header + k * sizeof pair, sizeof pair);
    if (pair[0] == node.value) {
      auto* text = reinterpret_cast<wchar_t*>(const_cast<BYTE*>(block + pair[1]));
      *buffer = text;
      *length = static_cast<UINT>(std::wcslen(text) + 1);
      return TRUE;
    }
  }
  return qn::failWith(ERROR_INVALID_DATA);
}
