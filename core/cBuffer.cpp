#include <qnlith/core/cBuffer.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "../failure/bareText.h"

DWORD cBuffer::alignment = 0;
DWORD cBuffer::dmaTransferSize = 65536;

namespace {

// The tests of the preconditions add as true sums: past 32 bits is past the end.
bool fits(DWORD offset, std::uint64_t count, DWORD size) { return offset + count <= size; }

}  // namespace

cBuffer::cBuffer(DWORD size) : bufferAddress(nullptr), bufferSize(0), ownsMemory(true) { resize(size); }

cBuffer::cBuffer(unsigned char* memory, DWORD size) : bufferAddress(memory), bufferSize(size), ownsMemory(false) {}

cBuffer::cBuffer(const cBuffer& source)
    : bufferAddress(source.bufferAddress), bufferSize(source.bufferSize), ownsMemory(false) {}

cBuffer::~cBuffer() {
  if (!ownsMemory) return;
  if (bufferAddress != nullptr) std::free(bufferAddress);
  bufferAddress = nullptr;
}

bool cBuffer::resize(DWORD newSize) {
  if (!ownsMemory) return false;
  if (newSize != bufferSize) {
    if (bufferAddress != nullptr) std::free(bufferAddress);
    bufferAddress = nullptr;
    bufferSize = 0;
    if (newSize != 0) {
      auto* memory = static_cast<unsigned char*>(std::malloc(newSize));
      if (memory != nullptr) {
        std::memset(memory, 0, newSize);
        bufferAddress = memory;
        bufferSize = newSize;
      }
    }
  }
  return bufferSize == newSize;
}

cBuffer& cBuffer::operator=(const cBuffer& source) {
  if (&source == this) return *this;
  if (bufferSize < source.bufferSize) throwBareText(L"size() >= source.size()");
  // An owner that couldn't get its new block has nothing to copy into.
  if (ownsMemory && !resize(source.bufferSize)) return *this;
  if (source.bufferSize != 0) std::memcpy(bufferAddress, source.bufferAddress, source.bufferSize);
  return *this;
}

unsigned char* cBuffer::address() const { return bufferAddress; }

DWORD cBuffer::size() const { return bufferSize; }

unsigned char cBuffer::operator[](DWORD index) const {
  if (index >= bufferSize) throwBareText(L"Index < size()");
  return bufferAddress[index];
}

unsigned char cBuffer::operator[](int index) const {
  if (static_cast<DWORD>(index) >= bufferSize) throwBareText(L"uint(Index) < size()");
  return bufferAddress[index];
}

unsigned char& cBuffer::operator[](DWORD index) {
  if (index >= bufferSize) throwBareText(L"Index < size()");
  return bufferAddress[index];
}

unsigned char& cBuffer::operator[](int index) {
  if (static_cast<DWORD>(index) >= bufferSize) throwBareText(L"uint(Index) < size()");
  return bufferAddress[index];
}

bool cBuffer::compare(const cBuffer& other) const {
  if (bufferSize > other.bufferSize) return false;
  return bufferSize == 0 || std::memcmp(bufferAddress, other.bufferAddress, bufferSize) == 0;
}

bool cBuffer::compare(const cBuffer& other, DWORD count, DWORD offset) const {
  if (!fits(offset, count, bufferSize)) throwBareText(L"ulong(offset + Count) <= size()");
  if (!fits(offset, count, other.bufferSize)) throwBareText(L"ulong(offset + Count) <= theBuffer.size()");
  return count == 0 || std::memcmp(bufferAddress + offset, other.bufferAddress + offset, count) == 0;
}

void cBuffer::initialize(int value) {
  if (bufferSize != 0) std::memset(bufferAddress, value, bufferSize);
}

void cBuffer::fill(DWORD offset, DWORD count, int value) {
  if (!fits(offset, count, bufferSize)) throwBareText(L"offset + Count <= size()");
  if (count != 0) std::memset(bufferAddress + offset, value, count);
}

void cBuffer::fill(DWORD offset, const cBuffer& source) {
  if (!fits(offset, source.bufferSize, bufferSize)) throwBareText(L"offset + source.size() <= size()");
  if (source.bufferSize != 0) std::memcpy(bufferAddress + offset, source.bufferAddress, source.bufferSize);
}

void cBuffer::fillwords(DWORD offset, DWORD count, unsigned short word) {
  if (!fits(offset, std::uint64_t{count} * 2, bufferSize)) throwBareText(L"ulong(offset + Count*2) <= size()");
  for (DWORD i = 0; i < count; ++i) std::memcpy(bufferAddress + offset + 2 * std::uint64_t{i}, &word, 2);
}

bool cBuffer::copyFrom(void* source, DWORD count) {
  if (count > bufferSize) throwBareText(L"Count <= size()");
  if (count != 0) std::memcpy(bufferAddress, source, count);
  return true;
}

bool cBuffer::copyFrom(void* source, DWORD offset, DWORD count) {
  if (!fits(offset, count, bufferSize)) throwBareText(L"offset + Count <= size()");
  if (count != 0) std::memcpy(bufferAddress + offset, source, count);
  return true;
}

bool cBuffer::swapBytes(DWORD count) {
  if (count > bufferSize) throwBareText(L"Count <= size()");
  for (DWORD i = 0; i + 1 < count; i += 2) {
    const unsigned char first = bufferAddress[i];
    bufferAddress[i] = bufferAddress[i + 1];
    bufferAddress[i + 1] = first;
  }
  return true;
}

DWORD cBuffer::bufferAlignment() { return alignment; }

void cBuffer::setBufferAlignment(DWORD value) {
  if (value > alignment) alignment = value;
}

DWORD cBuffer::maxDmaTransferSize() { return dmaTransferSize; }
