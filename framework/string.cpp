#include <qnlith/framework/exceptions.h>
#include <qnlith/framework/string.h>
#include <qnlith/win32/codepage.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <new>

namespace qn {

// The header of a string's storage; the characters and a terminator follow
// it. The shared empty string has a negative count and is never freed.
struct StringData {
  std::atomic<int> refs;
  int length;
  int capacity;

  wchar_t* chars() { return reinterpret_cast<wchar_t*>(this + 1); }
  bool isShared() const { return refs.load(std::memory_order_acquire) != 1; }
};

}  // namespace qn

namespace {

using qn::StringData;

struct NilString {
  StringData header{{-1}, 0, 0};
  wchar_t terminator = L'\0';
};
NilString nilString;

StringData* nil() { return &nilString.header; }

StringData* allocate(int capacity) {
  // Keeps the byte count of the block inside int arithmetic everywhere.
  constexpr int largest = (INT_MAX - static_cast<int>(sizeof(StringData))) / static_cast<int>(sizeof(wchar_t)) - 1;
  if (capacity < 0 || capacity > largest) AfxThrowMemoryException();
  void* block = std::malloc(sizeof(StringData) + (static_cast<std::size_t>(capacity) + 1) * sizeof(wchar_t));
  if (block == nullptr) AfxThrowMemoryException();
  auto* data = new (block) StringData{{1}, 0, capacity};
  data->chars()[0] = L'\0';
  return data;
}

void addRef(StringData* data) {
  if (data->refs.load(std::memory_order_relaxed) >= 0) data->refs.fetch_add(1, std::memory_order_relaxed);
}

void release(StringData* data) {
  if (data->refs.load(std::memory_order_relaxed) < 0) return;
  if (data->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    data->~StringData();
    std::free(data);
  }
}

int lengthOf(const wchar_t* text) { return text == nullptr ? 0 : static_cast<int>(std::wcslen(text)); }

bool isIn(wchar_t ch, const wchar_t* set) { return set != nullptr && ch != L'\0' && std::wcschr(set, ch) != nullptr; }

std::wint_t lower(wchar_t ch) { return std::towlower(static_cast<std::wint_t>(ch)); }

}  // namespace

using CS = CStringW;

CS::CStringT() noexcept : data_(nil()) {}

CS::CStringT(const CStringT& source) noexcept : data_(source.data_) { addRef(data_); }

CS::CStringT(CStringT&& source) noexcept : data_(source.data_) { source.data_ = nil(); }

CS::CStringT(PCXSTR source) : data_(nil()) { assign(source, lengthOf(source)); }

CS::CStringT(PCYSTR source) : data_(nil()) {
  if (source != nullptr && *source != '\0') *this = CStringT(source, static_cast<int>(std::strlen(source)));
}

CS::CStringT(PCXSTR source, int length) : data_(nil()) {
  if (length < 0) AfxThrowInvalidArgException();
  if (source == nullptr && length > 0) AfxThrowInvalidArgException();
  assign(source, length);
}

CS::CStringT(PCYSTR source, int length) : data_(nil()) {
  if (length < 0) AfxThrowInvalidArgException();
  if (length == 0) return;
  if (source == nullptr) AfxThrowInvalidArgException();
  const int needed = MultiByteToWideChar(CP_ACP, 0, source, length, nullptr, 0);
  ensureUnique(needed);
  const int written = MultiByteToWideChar(CP_ACP, 0, source, length, data_->chars(), needed);
  ReleaseBuffer(written);
}

CS::CStringT(XCHAR ch, int repeat) : data_(nil()) {
  if (repeat <= 0) return;
  ensureUnique(repeat);
  std::wmemset(data_->chars(), ch, static_cast<std::size_t>(repeat));
  ReleaseBuffer(repeat);
}

CS::~CStringT() { release(data_); }

CS& CS::operator=(const CStringT& source) noexcept {
  if (data_ != source.data_) {
    addRef(source.data_);
    release(data_);
    data_ = source.data_;
  }
  return *this;
}

CS& CS::operator=(CStringT&& source) noexcept {
  if (this != &source) {
    release(data_);
    data_ = source.data_;
    source.data_ = nil();
  }
  return *this;
}

CS& CS::operator=(PCXSTR source) {
  assign(source, lengthOf(source));
  return *this;
}

CS& CS::operator=(PCYSTR source) { return *this = CStringT(source); }

CS& CS::operator=(XCHAR ch) {
  assign(&ch, 1);
  return *this;
}

void CS::assign(PCXSTR text, int length) {
  if (length == 0) {
    Empty();
    return;
  }
  // The source may lie inside this string's own storage.
  const wchar_t* base = data_->chars();
  if (text >= base && text <= base + data_->length && !data_->isShared()) {
    std::wmemmove(data_->chars(), text, static_cast<std::size_t>(length));
    ReleaseBuffer(length);
    return;
  }
  StringData* fresh = allocate(length);
  std::wmemcpy(fresh->chars(), text, static_cast<std::size_t>(length));
  fresh->chars()[length] = L'\0';
  fresh->length = length;
  release(data_);
  data_ = fresh;
}

void CS::ensureUnique(int capacity) {
  StringData* old = data_;
  if (old != nil() && !old->isShared() && capacity <= old->capacity) return;
  if (capacity == 0 && old == nil()) return;
  int grown = capacity;
  // Growing an unshared string leaves headroom, so that appends stay linear.
  if (old != nil() && !old->isShared() && capacity > old->capacity)
    grown = std::max(capacity, old->capacity > INT_MAX / 2 ? capacity : old->capacity + old->capacity / 2);
  StringData* fresh = allocate(std::max(grown, old->length));
  std::wmemcpy(fresh->chars(), old->chars(), static_cast<std::size_t>(old->length) + 1);
  fresh->length = old->length;
  release(old);
  data_ = fresh;
}

CS::PXSTR CS::text() const noexcept { return data_->chars(); }

CS& CS::operator+=(const CStringT& text) {
  if (text.data_ == data_) {
    const CStringT copy(text);
    Append(copy.GetString(), copy.GetLength());
  } else {
    Append(text.GetString(), text.GetLength());
  }
  return *this;
}

CS& CS::operator+=(PCXSTR text) {
  Append(text, lengthOf(text));
  return *this;
}

CS& CS::operator+=(PCYSTR text) { return *this += CStringT(text); }

CS& CS::operator+=(XCHAR ch) {
  AppendChar(ch);
  return *this;
}

CS& CS::operator+=(YCHAR ch) {
  const char narrow[2] = {ch, '\0'};
  return *this += CStringT(narrow, 1);
}

void CS::Append(PCXSTR text, int length) {
  if (length <= 0 || text == nullptr) return;
  const int old = data_->length;
  if (length > INT_MAX - old) AfxThrowMemoryException();
  // Appending a part of this string to itself.
  const wchar_t* base = data_->chars();
  if (text >= base && text < base + old) {
    const CStringT copy(text, length);
    Append(copy.GetString(), length);
    return;
  }
  ensureUnique(old + length);
  std::wmemcpy(data_->chars() + old, text, static_cast<std::size_t>(length));
  ReleaseBuffer(old + length);
}

void CS::AppendChar(XCHAR ch) { Append(&ch, 1); }

int CS::GetLength() const noexcept { return data_->length; }

bool CS::IsEmpty() const noexcept { return data_->length == 0; }

void CS::Empty() noexcept {
  release(data_);
  data_ = nil();
}

CS::PCXSTR CS::GetString() const noexcept { return data_->chars(); }

CS::operator PCXSTR() const noexcept { return data_->chars(); }

CS::XCHAR CS::GetAt(int index) const {
  if (index < 0 || index > data_->length) AfxThrowInvalidArgException();
  return data_->chars()[index];
}

CS::XCHAR CS::operator[](int index) const { return GetAt(index); }

void CS::SetAt(int index, XCHAR ch) {
  if (index < 0 || index >= data_->length) AfxThrowInvalidArgException();
  ensureUnique(data_->length);
  data_->chars()[index] = ch;
}

CS::PXSTR CS::GetBuffer() { return GetBuffer(0); }

CS::PXSTR CS::GetBuffer(int minLength) {
  if (minLength < 0) AfxThrowInvalidArgException();
  ensureUnique(std::max(minLength, data_->length));
  return data_->chars();
}

CS::PXSTR CS::GetBufferSetLength(int length) {
  PXSTR buffer = GetBuffer(length);
  ReleaseBuffer(length);
  return buffer;
}

void CS::ReleaseBuffer(int newLength) {
  if (data_ == nil()) return;
  if (newLength < 0) newLength = static_cast<int>(wcsnlen(data_->chars(), static_cast<std::size_t>(data_->capacity)));
  if (newLength > data_->capacity) AfxThrowInvalidArgException();
  data_->length = newLength;
  data_->chars()[newLength] = L'\0';
}

void CS::Preallocate(int length) { GetBuffer(length); }

void CS::FreeExtra() {
  if (data_ == nil() || data_->length == data_->capacity) return;
  if (data_->length == 0) {
    Empty();
    return;
  }
  StringData* fresh = allocate(data_->length);
  std::wmemcpy(fresh->chars(), data_->chars(), static_cast<std::size_t>(data_->length) + 1);
  fresh->length = data_->length;
  release(data_);
  data_ = fresh;
}

int CS::Compare(PCXSTR text) const {
  if (text == nullptr) AfxThrowInvalidArgException();
  return std::wcscmp(GetString(), text);
}

int CS::CompareNoCase(PCXSTR text) const {
  if (text == nullptr) AfxThrowInvalidArgException();
  for (const wchar_t* a = GetString();; ++a, ++text) {
    const std::wint_t x = lower(*a), y = lower(*text);
    if (x != y) return x < y ? -1 : 1;
    if (x == 0) return 0;
  }
}

int CS::Collate(PCXSTR text) const {
  if (text == nullptr) AfxThrowInvalidArgException();
  return std::wcscoll(GetString(), text);
}

CS& CS::MakeLower() {
  if (IsEmpty()) return *this;
  ensureUnique(data_->length);
  for (wchar_t* p = data_->chars(); *p; ++p) *p = static_cast<wchar_t>(lower(*p));
  return *this;
}

CS& CS::MakeUpper() {
  if (IsEmpty()) return *this;
  ensureUnique(data_->length);
  for (wchar_t* p = data_->chars(); *p; ++p) *p = static_cast<wchar_t>(std::towupper(static_cast<std::wint_t>(*p)));
  return *this;
}

CS& CS::MakeReverse() {
  if (IsEmpty()) return *this;
  ensureUnique(data_->length);
  std::reverse(data_->chars(), data_->chars() + data_->length);
  return *this;
}

namespace {

template <typename Keep>
int leadingRun(const wchar_t* text, int length, Keep strip) {
  int n = 0;
  while (n < length && strip(text[n])) ++n;
  return n;
}

template <typename Keep>
int trailingRun(const wchar_t* text, int length, Keep strip) {
  int n = length;
  while (n > 0 && strip(text[n - 1])) --n;
  return length - n;
}

bool isSpace(wchar_t ch) { return std::iswspace(static_cast<std::wint_t>(ch)) != 0; }

}  // namespace

CS& CS::TrimLeft() {
  Delete(0, leadingRun(GetString(), GetLength(), isSpace));
  return *this;
}

CS& CS::TrimLeft(XCHAR target) {
  Delete(0, leadingRun(GetString(), GetLength(), [target](wchar_t c) { return c == target; }));
  return *this;
}

CS& CS::TrimLeft(PCXSTR targets) {
  Delete(0, leadingRun(GetString(), GetLength(), [targets](wchar_t c) { return isIn(c, targets); }));
  return *this;
}

CS& CS::TrimRight() {
  const int n = trailingRun(GetString(), GetLength(), isSpace);
  if (n > 0) Delete(GetLength() - n, n);
  return *this;
}

CS& CS::TrimRight(XCHAR target) {
  const int n = trailingRun(GetString(), GetLength(), [target](wchar_t c) { return c == target; });
  if (n > 0) Delete(GetLength() - n, n);
  return *this;
}

CS& CS::TrimRight(PCXSTR targets) {
  const int n = trailingRun(GetString(), GetLength(), [targets](wchar_t c) { return isIn(c, targets); });
  if (n > 0) Delete(GetLength() - n, n);
  return *this;
}

CS& CS::Trim() { return TrimRight().TrimLeft(); }
CS& CS::Trim(XCHAR target) { return TrimRight(target).TrimLeft(target); }
CS& CS::Trim(PCXSTR targets) { return TrimRight(targets).TrimLeft(targets); }

int CS::Delete(int index, int count) {
  if (index < 0) index = 0;
  if (count < 0) count = 0;
  const int length = GetLength();
  if (index >= length) return length;
  if (count > length - index) count = length - index;
  if (count > 0) {
    ensureUnique(length);
    wchar_t* p = data_->chars();
    std::wmemmove(p + index, p + index + count, static_cast<std::size_t>(length - index - count) + 1);
    data_->length = length - count;
  }
  return GetLength();
}

int CS::Insert(int index, XCHAR ch) { return Insert(index, CStringT(ch).GetString()); }

int CS::Insert(int index, PCXSTR text) {
  const int length = GetLength();
  index = std::clamp(index, 0, length);
  const int add = lengthOf(text);
  if (add == 0) return length;
  if (add > INT_MAX - length) AfxThrowMemoryException();
  const CStringT source(text, add);  // the text may lie in this string
  ensureUnique(length + add);
  wchar_t* p = data_->chars();
  std::wmemmove(p + index + add, p + index, static_cast<std::size_t>(length - index) + 1);
  std::wmemcpy(p + index, source.GetString(), static_cast<std::size_t>(add));
  data_->length = length + add;
  return data_->length;
}

int CS::Replace(PCXSTR oldText, PCXSTR newText) {
  const int oldLength = lengthOf(oldText);
  if (oldLength == 0 || IsEmpty()) return 0;
  int count = 0;
  for (const wchar_t* p = GetString(); (p = std::wcsstr(p, oldText)) != nullptr; p += oldLength) ++count;
  if (count == 0) return 0;
  const CStringT replacement(newText);
  CStringT result;
  result.Preallocate(GetLength() + count * (replacement.GetLength() - oldLength));
  const wchar_t* from = GetString();
  for (const wchar_t* hit; (hit = std::wcsstr(from, oldText)) != nullptr; from = hit + oldLength) {
    result.Append(from, static_cast<int>(hit - from));
    result.Append(replacement.GetString(), replacement.GetLength());
  }
  result += from;
  *this = std::move(result);
  return count;
}

int CS::Replace(XCHAR oldChar, XCHAR newChar) {
  if (oldChar == newChar || Find(oldChar) < 0) return 0;
  ensureUnique(GetLength());
  int count = 0;
  for (wchar_t* p = data_->chars(); *p; ++p)
    if (*p == oldChar) {
      *p = newChar;
      ++count;
    }
  return count;
}

int CS::Remove(XCHAR ch) {
  if (Find(ch) < 0) return 0;
  ensureUnique(GetLength());
  wchar_t* p = data_->chars();
  wchar_t* end = std::remove(p, p + data_->length, ch);
  const int removed = static_cast<int>(p + data_->length - end);
  ReleaseBuffer(data_->length - removed);
  return removed;
}

int CS::Find(XCHAR ch, int start) const noexcept {
  if (start < 0 || start >= GetLength()) return -1;
  const wchar_t* hit = std::wmemchr(GetString() + start, ch, static_cast<std::size_t>(GetLength() - start));
  return hit == nullptr ? -1 : static_cast<int>(hit - GetString());
}

int CS::Find(PCXSTR text, int start) const noexcept {
  if (text == nullptr || start < 0 || start > GetLength()) return -1;
  const wchar_t* hit = std::wcsstr(GetString() + start, text);
  return hit == nullptr ? -1 : static_cast<int>(hit - GetString());
}

int CS::ReverseFind(XCHAR ch) const noexcept {
  for (int i = GetLength() - 1; i >= 0; --i)
    if (GetString()[i] == ch) return i;
  return -1;
}

int CS::FindOneOf(PCXSTR characters) const noexcept {
  if (characters == nullptr) return -1;
  const std::size_t n = std::wcscspn(GetString(), characters);
  return static_cast<int>(n) < GetLength() ? static_cast<int>(n) : -1;
}

CS CS::Mid(int first) const { return Mid(first, GetLength()); }

CS CS::Mid(int first, int count) const {
  const int length = GetLength();
  if (first < 0) first = 0;
  if (count < 0) count = 0;
  if (first >= length) return CStringT();
  if (count > length - first) count = length - first;
  if (first == 0 && count == length) return *this;
  return CStringT(GetString() + first, count);
}

CS CS::Left(int count) const { return Mid(0, count); }

CS CS::Right(int count) const {
  if (count < 0) count = 0;
  const int length = GetLength();
  return count >= length ? *this : Mid(length - count, count);
}

CS CS::SpanIncluding(PCXSTR characters) const {
  if (characters == nullptr) return CStringT();
  return Left(static_cast<int>(std::wcsspn(GetString(), characters)));
}

CS CS::SpanExcluding(PCXSTR characters) const {
  if (characters == nullptr) return *this;
  return Left(static_cast<int>(std::wcscspn(GetString(), characters)));
}

CS CS::Tokenize(PCXSTR tokens, int& start) const {
  if (start < 0 || start > GetLength()) {
    start = -1;
    return CStringT();
  }
  if (tokens == nullptr || *tokens == L'\0') return start < GetLength() ? Mid(start) : (start = -1, CStringT());
  const wchar_t* p = GetString() + start;
  p += std::wcsspn(p, tokens);
  if (*p == L'\0') {
    start = -1;
    return CStringT();
  }
  const int length = static_cast<int>(std::wcscspn(p, tokens));
  const int first = static_cast<int>(p - GetString());
  start = first + length + 1;
  return Mid(first, length);
}

int CS::GetShareCount() const noexcept {
  const int refs = data_->refs.load(std::memory_order_relaxed);
  return refs < 0 ? 0 : refs;
}

CStringW operator+(const CStringW& left, const CStringW& right) {
  CStringW result(left);
  result += right;
  return result;
}

CStringW operator+(const CStringW& left, const wchar_t* right) {
  CStringW result(left);
  result += right;
  return result;
}

CStringW operator+(const wchar_t* left, const CStringW& right) {
  CStringW result(left);
  result += right;
  return result;
}

CStringW operator+(const CStringW& left, wchar_t right) {
  CStringW result(left);
  result += right;
  return result;
}

CStringW operator+(wchar_t left, const CStringW& right) {
  CStringW result(left);
  result += right;
  return result;
}
