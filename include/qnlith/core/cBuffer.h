/// @file
/// cBuffer: a block of bytes with a known size, range-tested access and an
/// ownership flag; either its own heap memory or a view of someone else's.
/// A broken precondition throws a pointer to a static wide text naming the
/// condition (catch it as wchar_t* or void*); nothing is changed then.
#pragma once

#include <qnlith/core/api.h>
#include <qnlith/win32/types.h>

/// A sized block of bytes, owned (freed by its destructor) or viewed (the
/// caller's memory, never freed here); a broken precondition throws a
/// `const wchar_t*` naming it.
class QNLITH_API cBuffer {
 public:
  /// An owner of `size` zeroed bytes; an empty buffer if that can't be had.
  cBuffer(DWORD size = 0);
  /// Refers to the same block as the source. The copy of an owner is a view,
  /// so that the block is freed once, by the original.
  cBuffer(const cBuffer& source);
  /// Frees the block if this buffer owns it; a view frees nothing.
  virtual ~cBuffer();

  /// Copies the source's bytes to the start of this block, which must be at
  /// least as large; an owner first shrinks to the source's size.
  virtual cBuffer& operator=(const cBuffer& source);
  /// A new zeroed block of the size (the old bytes are lost), unless the size
  /// is unchanged. False for a view, and when memory ran out.
  virtual bool resize(DWORD newSize);

  /// The first byte of the block (null for an empty buffer); the buffer keeps it.
  unsigned char* address() const;
  /// The block's size in bytes.
  DWORD size() const;
  /// The byte at the index; an index at or beyond size() throws.
  ///@{
  unsigned char operator[](DWORD index) const;
  unsigned char operator[](int index) const;
  unsigned char& operator[](DWORD index);
  unsigned char& operator[](int index);
  ///@}

  /// Whether this buffer's bytes begin the other's.
  bool compare(const cBuffer& other) const;
  /// Whether count bytes from offset are the same in both.
  bool compare(const cBuffer& other, DWORD count, DWORD offset) const;

  /// Sets every byte of the block to the low byte of value.
  void initialize(int value);
  /// Sets count bytes from offset to the low byte of value; the range must lie within the block.
  void fill(DWORD offset, DWORD count, int value);
  /// Copies the whole source to the offset; it must fit within the block.
  void fill(DWORD offset, const cBuffer& source);
  /// count 16-bit words in the machine's byte order from the byte offset on.
  void fillwords(DWORD offset, DWORD count, unsigned short word);
  /// Copies count bytes of the caller's memory to the start (or the offset)
  /// of the block; always true, and a range beyond the block throws.
  ///@{
  bool copyFrom(void* source, DWORD count);
  bool copyFrom(void* source, DWORD offset, DWORD count);
  ///@}
  /// Swaps the bytes of each pair in the first count bytes (an odd last byte
  /// stays); always true, and a count beyond the size throws.
  bool swapBytes(DWORD count);

  /// A process-wide alignment figure for callers (0 until raised); no allocation here uses it.
  static DWORD bufferAlignment();
  /// A constant size limit for callers, 65536 bytes; nothing here uses it.
  static DWORD maxDmaTransferSize();

 protected:
  /// A view of the caller's memory, which must outlive the buffer and is never freed by it.
  cBuffer(unsigned char* memory, DWORD size);

 private:
  static void setBufferAlignment(DWORD value);

  static DWORD alignment;
  static DWORD dmaTransferSize;

  unsigned char* bufferAddress;
  DWORD bufferSize;
  bool ownsMemory;
};
