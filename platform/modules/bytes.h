// A bounded view of little-endian bytes: every reader of file formats in the
// layer (resources, executables, images) reads through it, so that a length
// or offset taken from the data can never reach outside the data.
#pragma once

#include <cstddef>
#include <cstring>
#include <qnlith/win32/types.h>

namespace qn {

class Bytes {
 public:
  Bytes() = default;
  Bytes(const void* data, std::size_t size) : data_(static_cast<const BYTE*>(data)), size_(size) {}

  const BYTE* data() const { return data_; }
  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }

  // True when [offset, offset + length) lies inside the view.
  bool has(std::size_t offset, std::size_t length) const {
    return offset <= size_ && length <= size_ - offset;
  }

  // The part [offset, offset + length); false when it does not fit.
  bool slice(std::size_t offset, std::size_t length, Bytes& part) const {
    if (!has(offset, length)) return false;
    part = Bytes(data_ + offset, length);
    return true;
  }
  // From offset to the end; empty when offset is past the end.
  Bytes from(std::size_t offset) const {
    return offset <= size_ ? Bytes(data_ + offset, size_ - offset) : Bytes();
  }

  bool u8(std::size_t offset, BYTE& value) const { return read(offset, &value, 1); }
  bool u16(std::size_t offset, WORD& value) const {
    BYTE b[2];
    if (!read(offset, b, 2)) return false;
    value = static_cast<WORD>(b[0] | (b[1] << 8));
    return true;
  }
  bool u32(std::size_t offset, DWORD& value) const {
    BYTE b[4];
    if (!read(offset, b, 4)) return false;
    value = static_cast<DWORD>(b[0]) | (static_cast<DWORD>(b[1]) << 8) | (static_cast<DWORD>(b[2]) << 16) |
            (static_cast<DWORD>(b[3]) << 24);
    return true;
  }
  bool i32(std::size_t offset, LONG& value) const {
    DWORD v;
    if (!u32(offset, v)) return false;
    value = static_cast<LONG>(v);
    return true;
  }
  bool u64(std::size_t offset, ULONGLONG& value) const {
    DWORD low, high;
    if (!u32(offset, low) || !u32(offset + 4, high)) return false;
    value = (static_cast<ULONGLONG>(high) << 32) | low;
    return true;
  }
  // The value read, or 0 when it lies outside the view; for fields whose
  // range the caller has already checked.
  WORD word(std::size_t offset) const {
    WORD v = 0;
    u16(offset, v);
    return v;
  }
  DWORD dword(std::size_t offset) const {
    DWORD v = 0;
    u32(offset, v);
    return v;
  }

  bool startsWith(const char* magic, std::size_t length) const {
    return has(0, length) && std::memcmp(data_, magic, length) == 0;
  }

 private:
  bool read(std::size_t offset, BYTE* out, std::size_t length) const {
    if (!has(offset, length)) return false;
    std::memcpy(out, data_ + offset, length);
    return true;
  }

  const BYTE* data_ = nullptr;
  std::size_t size_ = 0;
};

// Rounds up to a multiple of a power of two.
constexpr std::size_t alignUp(std::size_t value, std::size_t alignment) {
  return (value + alignment - 1) & ~(alignment - 1);
}

}  // namespace qn
