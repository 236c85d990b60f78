// Processor faults arrive as signals. A thread with a translator gets each
// as a structured exception: its handler runs on the thread's alternate
// stack (so that a stack overflow can be reported too), fills the Win32
// records and calls the translator there. A translator that throws unwinds
// through the signal frame into the faulting frame, which code compiled with
// -fnon-call-exceptions can catch. A thread without a translator passes the
// signal on to whatever handled it before, by default the crash with a core.
// Where a frame's exception tables don't cover the faulting instruction, a
// throw from it would end in std::terminate; inside qnCallTranslated the
// handler sees that beforehand and throws from the runner instead.
#include <pthread.h>
#include <setjmp.h>
#include <signal.h>
#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>
#include <unwind.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <mutex>

#include "faults/faults.h"
#include "faults/instruction.h"

#define QN_THREAD_STATE thread_local __attribute__((tls_model("initial-exec")))

namespace {

// Read inside signal handlers, so plain words in the static TLS block.
QN_THREAD_STATE _se_translator_function currentTranslator = nullptr;
QN_THREAD_STATE terminate_function currentTerminate = nullptr;
QN_THREAD_STATE unexpected_function currentUnexpected = nullptr;
QN_THREAD_STATE std::uintptr_t stackLow = 0;  // lowest usable byte of the thread's stack

// One qnCallTranslated in progress: where a fault that can't be thrown from
// its own frame is thrown instead.
struct Shelter {
  sigjmp_buf resume;
  Shelter* outer = nullptr;
  std::exception_ptr thrown;
};
QN_THREAD_STATE Shelter* innermostShelter = nullptr;

constexpr int FaultSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP};
struct sigaction previousActions[NSIG];
std::once_flag handlersInstalled;

constexpr std::size_t AlternateStackSize = 256 * 1024;
constexpr std::uintptr_t StackOverflowReach = 1024 * 1024;  // below the stack: guard and gap

// The alternate signal stack of a thread that has a translator. Whatever
// stack was there before comes back when the thread ends.
class AlternateStack {
 public:
  void ensure() {
    if (memory_ != nullptr || kept_) return;
    stack_t current{};
    if (sigaltstack(nullptr, &current) == 0 && !(current.ss_flags & SS_DISABLE) &&
        current.ss_size >= AlternateStackSize) {
      kept_ = true;
      return;
    }
    const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    void* block = mmap(nullptr, AlternateStackSize + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (block == MAP_FAILED) return;
    mprotect(block, page, PROT_NONE);  // overflowing the handler's stack faults, not corrupts
    stack_t ours{};
    ours.ss_sp = static_cast<char*>(block) + page;
    ours.ss_size = AlternateStackSize;
    if (sigaltstack(&ours, &previous_) != 0) {
      munmap(block, AlternateStackSize + page);
      return;
    }
    memory_ = block;
    size_ = AlternateStackSize + page;
  }

  ~AlternateStack() {
    if (memory_ == nullptr) return;
    if (previous_.ss_flags & SS_DISABLE) {
      stack_t off{};
      off.ss_flags = SS_DISABLE;
      sigaltstack(&off, nullptr);
    } else {
      sigaltstack(&previous_, nullptr);
    }
    munmap(memory_, size_);
  }

 private:
  void* memory_ = nullptr;
  std::size_t size_ = 0;
  bool kept_ = false;
  stack_t previous_{};
};

thread_local AlternateStack alternateStack;

void learnStackBounds() {
  if (stackLow != 0) return;
  pthread_attr_t attributes;
  if (pthread_getattr_np(pthread_self(), &attributes) != 0) return;
  void* address = nullptr;
  std::size_t size = 0;
  if (pthread_attr_getstack(&attributes, &address, &size) == 0) stackLow = reinterpret_cast<std::uintptr_t>(address);
  pthread_attr_destroy(&attributes);
}

std::uintptr_t gregister(const ucontext_t& context, int index) {
  return static_cast<std::uintptr_t>(context.uc_mcontext.gregs[index]);
}

bool isStackOverflow(std::uintptr_t address) {
  return stackLow != 0 && address < stackLow + 4096 && address + StackOverflowReach >= stackLow;
}

// The page-fault error code: bit 1 a write, bit 4 an instruction fetch.
ULONG_PTR accessKind(const ucontext_t& context) {
  const std::uintptr_t error = gregister(context, REG_ERR);
  if (error & 0x10) return 8;
  return (error & 0x2) ? 1 : 0;
}

void setAccess(EXCEPTION_RECORD& record, ULONG_PTR kind, std::uintptr_t address) {
  record.NumberParameters = 2;
  record.ExceptionInformation[0] = kind;
  record.ExceptionInformation[1] = address;
}

DWORD floatingPointCode(int code, const ucontext_t& context) {
  // The signal's code joins denormal with underflow and a stack fault with an
  // invalid operation; the status words tell them apart.
  const auto* fpu = context.uc_mcontext.fpregs;
  const unsigned status = fpu ? fpu->swd : 0;
  const unsigned mxcsr = fpu ? fpu->mxcsr : 0;
  switch (code) {
    case FPE_FLTDIV: return EXCEPTION_FLT_DIVIDE_BY_ZERO;
    case FPE_FLTOVF: return EXCEPTION_FLT_OVERFLOW;
    case FPE_FLTRES: return EXCEPTION_FLT_INEXACT_RESULT;
    case FPE_FLTSUB: return EXCEPTION_ARRAY_BOUNDS_EXCEEDED;
    case FPE_FLTINV: return (status & 0x40) ? EXCEPTION_FLT_STACK_CHECK : EXCEPTION_FLT_INVALID_OPERATION;
    case FPE_FLTUND:
      if (((status & 0x02) && !(status & 0x10)) || ((mxcsr & 0x02) && !(mxcsr & 0x10))) return EXCEPTION_FLT_DENORMAL_OPERAND;
      return EXCEPTION_FLT_UNDERFLOW;
    default: return EXCEPTION_FLT_INVALID_OPERATION;
  }
}

void describe(int signal, const siginfo_t& info, const ucontext_t& context, EXCEPTION_RECORD& record) {
  std::memset(&record, 0, sizeof record);
  const std::uintptr_t ip = gregister(context, REG_RIP);
  const auto faultAddress = reinterpret_cast<std::uintptr_t>(info.si_addr);
  record.ExceptionAddress = reinterpret_cast<PVOID>(ip);
  switch (signal) {
    case SIGSEGV:
      if (info.si_code == SI_KERNEL) {
        // A general-protection fault: a privileged instruction, or an address
        // outside the canonical range, which Windows reports as all ones.
        if (qn::isPrivilegedInstruction(context)) {
          record.ExceptionCode = EXCEPTION_PRIV_INSTRUCTION;
        } else {
          record.ExceptionCode = EXCEPTION_ACCESS_VIOLATION;
          setAccess(record, 0, ~std::uintptr_t{0});
        }
      } else {
        record.ExceptionCode = isStackOverflow(faultAddress) ? EXCEPTION_STACK_OVERFLOW : EXCEPTION_ACCESS_VIOLATION;
        setAccess(record, accessKind(context), faultAddress);
      }
      break;
    case SIGBUS:
      if (info.si_code == BUS_ADRALN) {
        record.ExceptionCode = EXCEPTION_DATATYPE_MISALIGNMENT;
      } else {
        // A page that can't be brought in: a mapped file cut short, a memory error.
        record.ExceptionCode = EXCEPTION_IN_PAGE_ERROR;
        setAccess(record, accessKind(context), faultAddress);
        record.NumberParameters = 3;
        record.ExceptionInformation[2] = 0xC000009C;  // STATUS_DEVICE_DATA_ERROR
      }
      break;
    case SIGFPE:
      if (info.si_code == FPE_INTDIV || info.si_code == FPE_INTOVF) {
        // A divide error is raised for a zero divisor and for a quotient that
        // doesn't fit, as INT_MIN / -1.
        record.ExceptionCode = (info.si_code == FPE_INTOVF || qn::divideOverflowed(context)) ? EXCEPTION_INT_OVERFLOW
                                                                                            : EXCEPTION_INT_DIVIDE_BY_ZERO;
      } else {
        record.ExceptionCode = floatingPointCode(info.si_code, context);
      }
      break;
    case SIGILL:
      record.ExceptionCode = (info.si_code == ILL_PRVOPC || info.si_code == ILL_PRVREG) ? EXCEPTION_PRIV_INSTRUCTION
                                                                                      : EXCEPTION_ILLEGAL_INSTRUCTION;
      break;
    case SIGTRAP:
      if (info.si_code == TRAP_TRACE || info.si_code == TRAP_HWBKPT) {
        record.ExceptionCode = EXCEPTION_SINGLE_STEP;
      } else {
        record.ExceptionCode = EXCEPTION_BREAKPOINT;
        // INT3 leaves the instruction pointer behind itself; Windows reports
        // the breakpoint's own address.
        if (ip != 0 && *reinterpret_cast<const std::uint8_t*>(ip - 1) == 0xCC)
          record.ExceptionAddress = reinterpret_cast<PVOID>(ip - 1);
        record.NumberParameters = 1;
      }
      break;
    default: break;
  }
}

void capture(const ucontext_t& context, CONTEXT& out) {
  std::memset(&out, 0, sizeof out);
  const auto& g = context.uc_mcontext.gregs;
  out.ContextFlags = CONTEXT_CONTROL | CONTEXT_INTEGER;
  out.EFlags = static_cast<DWORD>(g[REG_EFL]);
  out.MxCsr = context.uc_mcontext.fpregs ? context.uc_mcontext.fpregs->mxcsr : 0;
  out.Rax = static_cast<DWORD64>(g[REG_RAX]);
  out.Rcx = static_cast<DWORD64>(g[REG_RCX]);
  out.Rdx = static_cast<DWORD64>(g[REG_RDX]);
  out.Rbx = static_cast<DWORD64>(g[REG_RBX]);
  out.Rsp = static_cast<DWORD64>(g[REG_RSP]);
  out.Rbp = static_cast<DWORD64>(g[REG_RBP]);
  out.Rsi = static_cast<DWORD64>(g[REG_RSI]);
  out.Rdi = static_cast<DWORD64>(g[REG_RDI]);
  out.R8 = static_cast<DWORD64>(g[REG_R8]);
  out.R9 = static_cast<DWORD64>(g[REG_R9]);
  out.R10 = static_cast<DWORD64>(g[REG_R10]);
  out.R11 = static_cast<DWORD64>(g[REG_R11]);
  out.R12 = static_cast<DWORD64>(g[REG_R12]);
  out.R13 = static_cast<DWORD64>(g[REG_R13]);
  out.R14 = static_cast<DWORD64>(g[REG_R14]);
  out.R15 = static_cast<DWORD64>(g[REG_R15]);
  out.Rip = static_cast<DWORD64>(g[REG_RIP]);
}

// The signal as if this layer had never been there.
void passOn(int signal, siginfo_t* info, void* context) {
  const struct sigaction& previous = previousActions[signal];
  if (previous.sa_flags & SA_SIGINFO) {
    if (previous.sa_sigaction != nullptr) {
      previous.sa_sigaction(signal, info, context);
      return;
    }
  } else if (previous.sa_handler != SIG_DFL && previous.sa_handler != SIG_IGN && previous.sa_handler != nullptr) {
    previous.sa_handler(signal);
    return;
  }
  // The default action. A fault from the processor comes back when the
  // instruction runs again; a trap or a sent signal is raised anew.
  struct sigaction fallback {};
  fallback.sa_handler = SIG_DFL;
  sigemptyset(&fallback.sa_mask);
  sigaction(signal, &fallback, nullptr);
  if (signal == SIGTRAP || info->si_code <= 0) {
    sigset_t only;
    sigemptyset(&only);
    sigaddset(&only, signal);
    pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
    raise(signal);
  }
}

// The compiler's exception tables. A frame with a language-specific data
// area can be unwound from an instruction only if one of its call-site
// entries covers it; elsewhere the C++ run time calls std::terminate.
const std::uint8_t* readUleb(const std::uint8_t* p, std::uintptr_t& value) {
  value = 0;
  unsigned shift = 0;
  std::uint8_t byte;
  do {
    byte = *p++;
    value |= static_cast<std::uintptr_t>(byte & 0x7F) << shift;
    shift += 7;
  } while (byte & 0x80);
  return p;
}

template <typename T>
const std::uint8_t* readFixed(const std::uint8_t* p, std::uintptr_t& value) {
  T v;
  std::memcpy(&v, p, sizeof v);
  value = static_cast<std::uintptr_t>(v);
  return p + sizeof v;
}

// The value of a DWARF pointer encoding, without its base: call-site fields
// are offsets, and the other fields are only skipped.
const std::uint8_t* readEncoded(const std::uint8_t* p, std::uint8_t encoding, std::uintptr_t& value) {
  switch (encoding & 0x0F) {
    case 0x00: return readFixed<std::uint64_t>(p, value);
    case 0x01:
    case 0x09: return readUleb(p, value);  // the sign doesn't matter for a skip or an offset
    case 0x02: return readFixed<std::uint16_t>(p, value);
    case 0x03: return readFixed<std::uint32_t>(p, value);
    case 0x04: return readFixed<std::uint64_t>(p, value);
    case 0x0A: return readFixed<std::int16_t>(p, value);
    case 0x0B: return readFixed<std::int32_t>(p, value);
    case 0x0C: return readFixed<std::int64_t>(p, value);
    default: value = 0; return nullptr;
  }
}

bool callSiteCovers(const std::uint8_t* lsda, std::uintptr_t functionStart, std::uintptr_t ip) {
  constexpr std::uint8_t Omit = 0xFF;
  std::uintptr_t ignored = 0, tableLength = 0;
  const std::uint8_t* p = lsda;
  const std::uint8_t landingPadBase = *p++;
  if (landingPadBase != Omit && !(p = readEncoded(p, landingPadBase, ignored))) return false;
  if (*p++ != Omit) p = readUleb(p, ignored);
  const std::uint8_t encoding = *p++;
  p = readUleb(p, tableLength);
  const std::uint8_t* end = p + tableLength;
  while (p < end) {
    std::uintptr_t start = 0, length = 0, pad = 0, action = 0;
    if (!(p = readEncoded(p, encoding, start)) || !(p = readEncoded(p, encoding, length)) ||
        !(p = readEncoded(p, encoding, pad))) {
      return false;
    }
    p = readUleb(p, action);
    if (ip < functionStart + start) return false;  // the table is sorted
    if (ip < functionStart + start + length) return true;
  }
  return false;
}

// Whether a throw from the faulting instruction can unwind every frame up to
// the shelter, judged as the C++ run time will judge it.
struct Walk {
  std::uintptr_t shelter;
  bool pastSignalFrame = false;
  bool reaches = false;
};

_Unwind_Reason_Code walkFrame(_Unwind_Context* frame, void* argument) {
  Walk& walk = *static_cast<Walk*>(argument);
  int beforeInstruction = 0;
  std::uintptr_t ip = _Unwind_GetIPInfo(frame, &beforeInstruction);
  if (!walk.pastSignalFrame) {
    // The handler's own frames come first; the interrupted one is marked.
    if (!beforeInstruction) return _URC_NO_REASON;
    walk.pastSignalFrame = true;
  }
  if (_Unwind_GetCFA(frame) > walk.shelter) {
    walk.reaches = true;
    return _URC_END_OF_STACK;
  }
  if (!beforeInstruction) --ip;  // a return address: the call is the instruction before
  const auto* lsda = static_cast<const std::uint8_t*>(_Unwind_GetLanguageSpecificData(frame));
  if (lsda != nullptr && !callSiteCovers(lsda, _Unwind_GetRegionStart(frame), ip)) return _URC_END_OF_STACK;
  return _URC_NO_REASON;
}

bool throwReachesShelter(const Shelter& shelter) {
  Walk walk{reinterpret_cast<std::uintptr_t>(&shelter)};
  _Unwind_Backtrace(walkFrame, &walk);
  return walk.reaches;
}

void onFault(int signal, siginfo_t* info, void* context) {
  // The alignment-check flag survives into the handler; nothing here is
  // written for it.
  asm volatile("leaq -128(%%rsp), %%rsp\n\tpushfq\n\tandq $~0x40000, (%%rsp)\n\tpopfq\n\tleaq 128(%%rsp), %%rsp" : : : "cc", "memory");
  const _se_translator_function translator = currentTranslator;
  if (translator == nullptr) {
    passOn(signal, info, context);
    return;
  }
  const auto& machine = *static_cast<const ucontext_t*>(context);
  EXCEPTION_RECORD record;
  CONTEXT registers;
  describe(signal, *info, machine, record);
  capture(machine, registers);
  EXCEPTION_POINTERS pointers{&record, &registers};
  Shelter* const shelter = innermostShelter;
  if (shelter != nullptr && !throwReachesShelter(*shelter)) {
    // A frame between here and the shelter can't be unwound from the
    // faulting instruction: the throw leaves from the shelter instead.
    try {
      translator(record.ExceptionCode, &pointers);
    } catch (...) {
      shelter->thrown = std::current_exception();
    }
    if (shelter->thrown) siglongjmp(shelter->resume, 1);
  } else {
    translator(record.ExceptionCode, &pointers);
  }
  // A translator that returns has not handled the fault.
  passOn(signal, info, context);
}

void installHandlers() {
  struct sigaction action {};
  action.sa_sigaction = onFault;
  // No signal is held while the handler runs: the translator leaves it by a
  // throw, and the thread must take its next fault the same way.
  action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
  sigemptyset(&action.sa_mask);
  for (int signal : FaultSignals) sigaction(signal, &action, &previousActions[signal]);
}

// std::terminate is process-wide; this one asks the calling thread's handler.
std::terminate_handler processTerminate = nullptr;
std::once_flag terminateInstalled;

void dispatchTerminate() {
  if (const terminate_function handler = currentTerminate) {
    handler();
  } else if (processTerminate != nullptr) {
    processTerminate();
  }
  std::abort();  // a handler that returns ends the process, as the run time does
}

// Keeps the shelter in force while the procedure runs, whichever way it ends.
[[gnu::noinline]] void runSheltered(Shelter& shelter, void (*procedure)(void*), void* context) {
  struct Restore {
    Shelter& shelter;
    ~Restore() { innermostShelter = shelter.outer; }
  } restore{shelter};
  innermostShelter = &shelter;
  procedure(context);
}

[[noreturn]] void unhandled(const EXCEPTION_RECORD& record) {
  std::fprintf(stderr, "Unhandled exception 0x%08X at %p\n", record.ExceptionCode, record.ExceptionAddress);
  std::abort();
}

}  // namespace

_se_translator_function _set_se_translator(_se_translator_function translator) {
  if (translator != nullptr) {
    learnStackBounds();
    alternateStack.ensure();
    std::call_once(handlersInstalled, installHandlers);
  }
  const _se_translator_function previous = currentTranslator;
  currentTranslator = translator;
  return previous;
}

void qnCallTranslated(void (*procedure)(void*), void* context) {
  if (procedure == nullptr) return;
  Shelter shelter;
  shelter.outer = innermostShelter;
  // The fault signals are never held (SA_NODEFER), so the mask needn't be saved.
  if (sigsetjmp(shelter.resume, 0) == 0) {
    runSheltered(shelter, procedure, context);
    return;
  }
  innermostShelter = shelter.outer;
  std::rethrow_exception(shelter.thrown);
}

terminate_function set_terminate(terminate_function handler) {
  std::call_once(terminateInstalled, [] { processTerminate = std::set_terminate(dispatchTerminate); });
  const terminate_function previous = currentTerminate;
  currentTerminate = handler;
  return previous;
}

unexpected_function set_unexpected(unexpected_function handler) {
  const unexpected_function previous = currentUnexpected;
  currentUnexpected = handler;
  return previous;
}

void unexpected() {
  if (const unexpected_function handler = currentUnexpected) handler();
  std::terminate();
}

void RaiseException(DWORD code, DWORD flags, DWORD numberOfArguments, const ULONG_PTR* arguments) {
  EXCEPTION_RECORD record{};
  record.ExceptionCode = code;
  record.ExceptionFlags = flags & EXCEPTION_NONCONTINUABLE;
  record.ExceptionAddress = __builtin_return_address(0);
  if (arguments != nullptr) {
    record.NumberParameters = numberOfArguments > EXCEPTION_MAXIMUM_PARAMETERS ? EXCEPTION_MAXIMUM_PARAMETERS : numberOfArguments;
    std::memcpy(record.ExceptionInformation, arguments, record.NumberParameters * sizeof(ULONG_PTR));
  }

  // The debugger's convention: seen first, handled, and execution goes on.
  if (code == qn::ThreadNameException && record.NumberParameters >= 3 &&
      static_cast<DWORD>(record.ExceptionInformation[0]) == 0x1000) {
    qn::nameThread(static_cast<DWORD>(record.ExceptionInformation[2]),
                   reinterpret_cast<const char*>(record.ExceptionInformation[1]));
    return;
  }

  CONTEXT registers{};
  registers.ContextFlags = CONTEXT_CONTROL;
  registers.Rip = reinterpret_cast<DWORD64>(record.ExceptionAddress);
  registers.Rsp = reinterpret_cast<DWORD64>(__builtin_frame_address(0));
  EXCEPTION_POINTERS pointers{&record, &registers};
  if (const _se_translator_function translator = currentTranslator) translator(code, &pointers);
  unhandled(record);
}
