#include <qnlith/files/cTextFile.h>
#include <qnlith/win32/codepage.h>
#include <qnlith/win32/errors.h>
#include <qnlith/win32/files.h>
#include <qnlith/win32/handles.h>

#include <cstring>
#include <new>

namespace {

// A byte as a signed 8-bit value widened to 16 bits.
wchar_t widened(char byte) {
  return static_cast<wchar_t>(static_cast<unsigned short>(static_cast<short>(static_cast<signed char>(byte))));
}

char* copyOf(const char* text, DWORD size) {
  if (text == nullptr) return nullptr;
  char* copy = new char[size + 1];
  std::memcpy(copy, text, size);
  copy[size] = '\0';
  return copy;
}

}  // namespace

cTextFile::cTextFile(bool mark)
    : fileHandle(INVALID_HANDLE_VALUE), text(nullptr), textSize(0), position(0), mark(mark) {}

cTextFile::cTextFile(const cTextFile& source)
    : fileHandle(INVALID_HANDLE_VALUE),
      text(copyOf(source.text, source.textSize)),
      textSize(source.textSize),
      position(source.position),
      mark(source.mark) {}

cTextFile& cTextFile::operator=(const cTextFile& source) {
  if (&source == this) return *this;
  release();
  text = copyOf(source.text, source.textSize);
  textSize = source.textSize;
  position = source.position;
  mark = source.mark;
  return *this;
}

cTextFile::~cTextFile() { release(); }

void cTextFile::release() {
  delete[] text;
  text = nullptr;
  if (fileHandle != INVALID_HANDLE_VALUE) CloseHandle(fileHandle);
  fileHandle = INVALID_HANDLE_VALUE;
}

bool cTextFile::read(const cString& path) {
  fileHandle = CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                           FILE_ATTRIBUTE_NORMAL | FILE_FLAG_RANDOM_ACCESS, nullptr);
  if (fileHandle == INVALID_HANDLE_VALUE) return false;
  textSize = GetFileSize(fileHandle, nullptr);
  if (textSize == INVALID_FILE_SIZE) return false;
  delete[] text;
  text = nullptr;
  text = new (std::nothrow) char[static_cast<std::size_t>(textSize) + 1];
  if (text == nullptr) return false;
  text[0] = '\0';
  DWORD done = 0;
  bool result = ReadFile(fileHandle, text, textSize, &done, nullptr) != 0;
  if (done > 0) {
    text[done] = '\0';
    textSize = done;
    result = true;
  }
  return result;
}

bool cTextFile::nextLine(cString& line) {
  line.clear();
  bool found = false;
  while (position < textSize) {
    const wchar_t character = widened(text[position]);
    if (character != L'\r' && character != L'\n') {
      line += character;
      ++position;
      continue;
    }
    found = true;
    ++position;
    if (position >= textSize) return true;
    if (text[position] == '\n') {
      ++position;
      return true;
    }
    // The byte behind a lone CR or LF belongs to the line, whatever it is.
    line += widened(text[position]);
    ++position;
  }
  return found;
}

bool cTextFile::write(const cString& path, const cString& text) {
  fileHandle = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
  if (fileHandle == INVALID_HANDLE_VALUE) return false;
  delete[] this->text;
  this->text = text.asChar();
  DWORD done = 0;
  if (mark) {
    const WORD byteOrderMark = 0xFEFF;
    const WORD zero = 0;
    WriteFile(fileHandle, &byteOrderMark, 2, &done, nullptr);
    WriteFile(fileHandle, &zero, 2, &done, nullptr);
  }
  // The whole narrow form: a character beyond ASCII takes several bytes.
  const int bytes = WideCharToMultiByte(GetACP(), 0, text.c_str(), static_cast<int>(text.length()), nullptr, 0,
                                        nullptr, nullptr);
  return WriteFile(fileHandle, this->text, static_cast<DWORD>(bytes), &done, nullptr) != 0;
}

const char* cTextFile::c_str() { return text; }

DWORD cTextFile::size() const { return textSize; }
