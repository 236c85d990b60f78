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

cString cExceptionDispatcher::formatException(DWORD code, EXCEPTION_RECORD* record) {
  wchar_t path[260];
  path[0] = L'\0';
  GetModuleFileNameW(GetModuleHandleW(nullptr), path, 260);

  // Addresses are 64 bits here: %Ix prints them whole.
  void* const address = record->ExceptionAddress;
  cString text;
  switch (code) {
    case EXCEPTION_ACCESS_VIOLATION:
      text.format(L"An access violation occurred at \naddress 0x%Ix in file\n%s\nAddress 0x%Ix could not be %s!", address,
                  path, record->ExceptionInformation[1], record->ExceptionInformation[0] == 0 ? L"read" : L"written");
      break;
    case EXCEPTION_GUARD_PAGE:
      text.format(L"A Guard Page exception occurred at \naddress 0x%Ix in file %s", address, path);
      break;
    case EXCEPTION_DATATYPE_MISALIGNMENT:
      text.format(L"A data misalignment violation occurred at \naddress 0x%Ix in file %s", address, path);
      break;
    case EXCEPTION_BREAKPOINT:
    case EXCEPTION_SINGLE_STEP:
      break;
    case EXCEPTION_IN_PAGE_ERROR:
      text.format(L"An inpage error violation occurred at \naddress 0x%Ix in file %s", address, path);
      break;
    case EXCEPTION_ILLEGAL_INSTRUCTION:
      text.format(L"An illegal instruction violation occurred at \naddress 0x%Ix in file %s", address, path);
      break;
    case EXCEPTION_NONCONTINUABLE_EXCEPTION:
      // The record beneath says what really happened; its text stands alone.
      if (record->ExceptionRecord != nullptr)
        return formatException(record->ExceptionRecord->ExceptionCode, record->ExceptionRecord);
      text.format(L"A noncontinuable exception violation occurred at \naddress 0x%Ix in file %s", address, path);
      break;
    case EXCEPTION_INVALID_DISPOSITION:
      text.format(L"An invalid disposition violation occurred at \naddress 0x%Ix in file %s", address, path);
      break;
    case EXCEPTION_ARRAY_BOUNDS_EXCEEDED:
      text.format(L"An Array Bounds violation occurred at \naddress 0x%Ix in file %s", address, path);
      break;
    case EXCEPTION_FLT_DENORMAL_OPERAND:
      text.format(L"A Float Denormal Operand violation occurred at \naddress 0x%Ix in file %s", address, path);
      break;
    case EXCEPTION_FLT_DIVIDE_BY_ZERO:
    case EXCEPTION_FLT_INVALID_OPERATION:
    case EXCEPTION_FLT_OVERFLOW:
    case EXCEPTION_FLT_STACK_CHECK:
    case EXCEPTION_FLT_UNDERFLOW:
      text.format(L"A Floating Point violation occurred at \naddress 0x%Ix in file %s", address, path);
      break;
    case EXCEPTION_INT_DIVIDE_BY_ZERO:
      text.format(L"An integer divide by 0 violation occurred at \naddress 0x%Ix in file %s", address, path);
      break;
    case EXCEPTION_INT_OVERFLOW:
      text.format(L"An integer overflow violation occurred at \naddress 0x%Ix in file %s", address, path);
      break;
    case EXCEPTION_PRIV_INSTRUCTION:
      text.format(L"A privledged instruction violation occurred at \naddress 0x%Ix in file %s", address, path);
      break;
    case EXCEPTION_STACK_OVERFLOW:
      text.format(L"An stack overflow violation occurred at \naddress 0x%Ix in file %s", address, path);
      break;
    default:
      text.format(L"A User exception 0x%x occurred at \naddress 0x%Ix in file %s", code, address, path);
      break;
  }
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
