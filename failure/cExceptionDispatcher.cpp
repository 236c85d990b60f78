#include <qnlith/failure/cExceptionDispatcher.h>
#include <qnlith/failure/cException.h>
#include <qnlith/failure/cMessageBox.h>
#include <qnlith/win32.h>

#include <atomic>
#include <new>

#include "../core/trace.h"

namespace {

// What the thread-local slot holds for a covered thread.
struct cExceptionThreadState {
  cExceptionDispatcher* dispatcher = nullptr;
  _se_translator_function previousTranslator = nullptr;
  terminate_function previousTerminate = nullptr;
  unexpected_function previousUnexpected = nullptr;
};

// Taken once and never given back.
std::atomic<DWORD> slotIndex{TLS_OUT_OF_INDEXES};

// Two threads may meet at the first call: the one that stores its slot
// first wins, the other gives its own back.
DWORD takeSlot() {
  DWORD slot = TlsAlloc();
  if (slot == TLS_OUT_OF_INDEXES) return TLS_OUT_OF_INDEXES;
  DWORD expected = TLS_OUT_OF_INDEXES;
  if (!slotIndex.compare_exchange_strong(expected, slot)) {
    TlsFree(slot);
    return expected;
  }
  return slot;
}

bool makeRecord(DWORD slot) {
  auto* record = new (std::nothrow) cExceptionThreadState();
  if (record == nullptr) return false;
  if (!TlsSetValue(slot, record)) {
    delete record;
    return false;
  }
  return true;
}

cExceptionThreadState* threadRecord() {
  const DWORD slot = slotIndex.load();
  if (slot == TLS_OUT_OF_INDEXES) return nullptr;
  return static_cast<cExceptionThreadState*>(TlsGetValue(slot));
}

}  // namespace

bool cExceptionDispatcher::handleExceptionsFor() {
  bool result = false;
  DWORD slot = slotIndex.load();
  if (slot == TLS_OUT_OF_INDEXES) {
    slot = takeSlot();
    if (slot == TLS_OUT_OF_INDEXES) return false;
    result = makeRecord(slot);
  }
  if (TlsGetValue(slot) == nullptr) result = makeRecord(slot);
  if (!result) return false;

  auto* record = static_cast<cExceptionThreadState*>(TlsGetValue(slot));
  record->previousTranslator = _set_se_translator(windowsSEHFilter);
  record->previousTerminate = ::set_terminate(Terminator);
  record->previousUnexpected = ::set_unexpected(Unexpected);
  return true;
}

bool cExceptionDispatcher::stopHandlingExceptionsFor() {
  cExceptionThreadState* record = threadRecord();
  if (record == nullptr) return false;  // the caller sees to a record; without one nothing changes
  _set_se_translator(record->previousTranslator);
  ::set_terminate(record->previousTerminate);
  ::set_unexpected(record->previousUnexpected);
  delete record;
  return TlsSetValue(slotIndex.load(), nullptr) != 0;
}

cExceptionDispatcher::cExceptionDispatcher() {
  if (cExceptionThreadState* record = threadRecord()) record->dispatcher = this;
}

cExceptionDispatcher::~cExceptionDispatcher() {
  if (cExceptionThreadState* record = threadRecord()) record->dispatcher = nullptr;
}

cExceptionDispatcher& cExceptionDispatcher::operator=(const cExceptionDispatcher&) { return *this; }

void cExceptionDispatcher::windowsSEHFilter(unsigned int, EXCEPTION_POINTERS* pointers) {
  EXCEPTION_RECORD* record = pointers->ExceptionRecord;
  const cString text = formatException(record->ExceptionCode, record);
  const cException exception(text.c_str());
  QNLITH_TRACE(0x0800000000000000ull, exception.text);
  throw cException(exception);
}

namespace {

// The codes whose text takes the faulting address and the main module's path.
struct CodeText {
  DWORD code;
  const wchar_t* format;
};

constexpr CodeText CodeTexts[] = {
    {EXCEPTION_GUARD_PAGE, L"A Guard Page exception occurred at \naddress 0x%Ix in file %s"},
    {EXCEPTION_DATATYPE_MISALIGNMENT, L"A data misalignment violation occurred at \naddress 0x%Ix in file %s"},
    {EXCEPTION_IN_PAGE_ERROR, L"An inpage error violation occurred at \naddress 0x%Ix in file %s"},
    {EXCEPTION_ILLEGAL_INSTRUCTION, L"An illegal instruction violation occurred at \naddress 0x%Ix in file %s"},
    {EXCEPTION_NONCONTINUABLE_EXCEPTION,
     L"A noncontinuable exception violation occurred at \naddress 0x%Ix in file %s"},
    {EXCEPTION_INVALID_DISPOSITION, L"An invalid disposition violation occurred at \naddress 0x%Ix in file %s"},
    {EXCEPTION_ARRAY_BOUNDS_EXCEEDED, L"An Array Bounds violation occurred at \naddress 0x%Ix in file %s"},
    {EXCEPTION_FLT_DENORMAL_OPERAND, L"A Float Denormal Operand violation occurred at \naddress 0x%Ix in file %s"},
    {EXCEPTION_FLT_DIVIDE_BY_ZERO, L"A Floating Point violation occurred at \naddress 0x%Ix in file %s"},
    {EXCEPTION_FLT_INVALID_OPERATION, L"A Floating Point violation occurred at \naddress 0x%Ix in file %s"},
    {EXCEPTION_FLT_OVERFLOW, L"A Floating Point violation occurred at \naddress 0x%Ix in file %s"},
    {EXCEPTION_FLT_STACK_CHECK, L"A Floating Point violation occurred at \naddress 0x%Ix in file %s"},
    {EXCEPTION_FLT_UNDERFLOW, L"A Floating Point violation occurred at \naddress 0x%Ix in file %s"},
    {EXCEPTION_INT_DIVIDE_BY_ZERO, L"An integer divide by 0 violation occurred at \naddress 0x%Ix in file %s"},
    {EXCEPTION_INT_OVERFLOW, L"An integer overflow violation occurred at \naddress 0x%Ix in file %s"},
    {EXCEPTION_PRIV_INSTRUCTION, L"A privledged instruction violation occurred at \naddress 0x%Ix in file %s"},
    {EXCEPTION_STACK_OVERFLOW, L"An stack overflow violation occurred at \naddress 0x%Ix in file %s"},
};

}  // namespace

cString cExceptionDispatcher::formatException(DWORD code, EXCEPTION_RECORD* record) {
  wchar_t path[260];
  path[0] = L'\0';
  GetModuleFileNameW(GetModuleHandleW(nullptr), path, 260);

  // The record beneath a noncontinuable one says what really happened; its
  // text stands alone.
  if (code == EXCEPTION_NONCONTINUABLE_EXCEPTION && record->ExceptionRecord != nullptr)
    return formatException(record->ExceptionRecord->ExceptionCode, record->ExceptionRecord);

  // Addresses are 64 bits here: %Ix prints them whole.
  void* const address = record->ExceptionAddress;
  cString text;
  if (code == EXCEPTION_BREAKPOINT || code == EXCEPTION_SINGLE_STEP) return text;
  if (code == EXCEPTION_ACCESS_VIOLATION) {
    text.format(L"An access violation occurred at \naddress 0x%Ix in file\n%s\nAddress 0x%Ix could not be %s!", address,
                path, record->ExceptionInformation[1], record->ExceptionInformation[0] == 0 ? L"read" : L"written");
    return text;
  }
  for (const CodeText& entry : CodeTexts) {
    if (entry.code == code) {
      text.format(entry.format, address, path);
      return text;
    }
  }
  text.format(L"A User exception 0x%x occurred at \naddress 0x%Ix in file %s", code, address, path);
  return text;
}

void cExceptionDispatcher::Terminator() {
  cException exception(L"An Unrecoverable Error was encountered\nThe application will be terminated now");
  showExceptionMessageBox(exception, nullptr, L"Unrecoverable Application Error", false);
}

void cExceptionDispatcher::Unexpected() {
  cException exception(L"An Unexpected Exception was thrown");
  showExceptionMessageBox(exception, nullptr, L"Unrecoverable Application Error", false);
}
