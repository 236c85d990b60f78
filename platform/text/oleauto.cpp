#include <qnlith/win32/oleauto.h>

#include <cstdlib>
#include <cstring>
#include <cwchar>

namespace {

// Eight bytes before the text, so that it stays 8-byte aligned: four unused,
// then the length in bytes as Windows counts them.
constexpr std::size_t HeaderBytes = 8;
constexpr UINT MaximumLength = 0x7FFFFFFEu / 2;

DWORD* lengthPrefix(BSTR text) {
  return reinterpret_cast<DWORD*>(reinterpret_cast<unsigned char*>(text) - sizeof(DWORD));
}

}  // namespace

BSTR WINAPI SysAllocStringLen(const OLECHAR* text, UINT length) {
  if (length > MaximumLength) return nullptr;
  const std::size_t characters = static_cast<std::size_t>(length) + 1;
  auto* block = static_cast<unsigned char*>(std::malloc(HeaderBytes + characters * sizeof(OLECHAR)));
  if (block == nullptr) return nullptr;
  std::memset(block, 0, HeaderBytes);
  BSTR result = reinterpret_cast<BSTR>(block + HeaderBytes);
  *lengthPrefix(result) = length * 2;
  if (text != nullptr) std::wmemcpy(result, text, length);
  else std::wmemset(result, 0, length);
  result[length] = 0;
  return result;
}

BSTR WINAPI SysAllocString(const OLECHAR* text) {
  if (text == nullptr) return nullptr;
  const std::size_t length = std::wcslen(text);
  if (length > MaximumLength) return nullptr;
  return SysAllocStringLen(text, static_cast<UINT>(length));
}

void WINAPI SysFreeString(BSTR text) {
  if (text != nullptr) std::free(reinterpret_cast<unsigned char*>(text) - HeaderBytes);
}

UINT WINAPI SysStringByteLen(BSTR text) { return text == nullptr ? 0 : *lengthPrefix(text); }

UINT WINAPI SysStringLen(BSTR text) { return SysStringByteLen(text) / 2; }
