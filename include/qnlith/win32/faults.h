/// @file
/// Structured exceptions: processor faults (delivered as signals) and
/// RaiseException, described by the Win32 records, and the run time's
/// per-thread translator, terminate and unexpected handlers.
#pragma once

#include <qnlith/win32/types.h>

#include <memory>
#include <type_traits>

/// The most arguments an exception record carries.
#define EXCEPTION_MAXIMUM_PARAMETERS 15
/// The record's flag for an exception that execution can't continue after.
#define EXCEPTION_NONCONTINUABLE 0x1

/// Exception codes of processor faults and of the system, by their
/// documented numbers (an access violation's record holds the kind of access
/// and the address as its two arguments).
///@{
#define EXCEPTION_ACCESS_VIOLATION 0xC0000005u
#define EXCEPTION_DATATYPE_MISALIGNMENT 0x80000002u
#define EXCEPTION_BREAKPOINT 0x80000003u
#define EXCEPTION_SINGLE_STEP 0x80000004u
#define EXCEPTION_GUARD_PAGE 0x80000001u
#define EXCEPTION_IN_PAGE_ERROR 0xC0000006u
#define EXCEPTION_ILLEGAL_INSTRUCTION 0xC000001Du
#define EXCEPTION_NONCONTINUABLE_EXCEPTION 0xC0000025u
#define EXCEPTION_INVALID_DISPOSITION 0xC0000026u
#define EXCEPTION_ARRAY_BOUNDS_EXCEEDED 0xC000008Cu
#define EXCEPTION_FLT_DENORMAL_OPERAND 0xC000008Du
#define EXCEPTION_FLT_DIVIDE_BY_ZERO 0xC000008Eu
#define EXCEPTION_FLT_INEXACT_RESULT 0xC000008Fu
#define EXCEPTION_FLT_INVALID_OPERATION 0xC0000090u
#define EXCEPTION_FLT_OVERFLOW 0xC0000091u
#define EXCEPTION_FLT_STACK_CHECK 0xC0000092u
#define EXCEPTION_FLT_UNDERFLOW 0xC0000093u
#define EXCEPTION_INT_DIVIDE_BY_ZERO 0xC0000094u
#define EXCEPTION_INT_OVERFLOW 0xC0000095u
#define EXCEPTION_PRIV_INSTRUCTION 0xC0000096u
#define EXCEPTION_STACK_OVERFLOW 0xC00000FDu
///@}

/// Filter results of an exception handler.
///@{
#define EXCEPTION_EXECUTE_HANDLER 1
#define EXCEPTION_CONTINUE_SEARCH 0
#define EXCEPTION_CONTINUE_EXECUTION (-1)
///@}

/// Context flags: the x86-64 record, with its control registers, with its integer registers.
///@{
#define CONTEXT_AMD64 0x00100000u
#define CONTEXT_CONTROL (CONTEXT_AMD64 | 0x1u)
#define CONTEXT_INTEGER (CONTEXT_AMD64 | 0x2u)
///@}

/// What a structured exception is: code, flags, address and arguments.
typedef struct _EXCEPTION_RECORD {
  /// The exception's code (EXCEPTION_ACCESS_VIOLATION and the like).
  DWORD ExceptionCode;
  /// EXCEPTION_NONCONTINUABLE or 0.
  DWORD ExceptionFlags;
  /// An exception raised while this one was handled, or null.
  struct _EXCEPTION_RECORD* ExceptionRecord;
  /// The address of the faulting instruction.
  PVOID ExceptionAddress;
  /// How many of the arguments below are set.
  DWORD NumberParameters;
  /// The exception's arguments.
  ULONG_PTR ExceptionInformation[EXCEPTION_MAXIMUM_PARAMETERS];
} EXCEPTION_RECORD, *PEXCEPTION_RECORD;

/// The processor state at the exception: the x86-64 general registers, the
/// instruction pointer and the flags. Floating-point state is not kept.
typedef struct _CONTEXT {
  /// Which parts of the record are filled (CONTEXT_ flags).
  DWORD ContextFlags;
  /// The SSE control and status register.
  DWORD MxCsr;
  /// The processor flags.
  DWORD EFlags;
  /// The general registers.
  ///@{
  DWORD64 Rax, Rcx, Rdx, Rbx, Rsp, Rbp, Rsi, Rdi;
  DWORD64 R8, R9, R10, R11, R12, R13, R14, R15;
  ///@}
  /// The instruction pointer.
  DWORD64 Rip;
} CONTEXT, *PCONTEXT;

/// The exception record and processor state handed to a translator or filter.
typedef struct _EXCEPTION_POINTERS {
  /// The exception.
  PEXCEPTION_RECORD ExceptionRecord;
  /// The processor state at the exception.
  PCONTEXT ContextRecord;
} EXCEPTION_POINTERS, *PEXCEPTION_POINTERS;

/// The C run time's handler types: a structured-exception translator, and
/// terminate and unexpected handlers.
///@{
typedef void (*_se_translator_function)(unsigned int code, struct _EXCEPTION_POINTERS* pointers);
typedef void (*terminate_function)();
typedef void (*unexpected_function)();
typedef void (*terminate_handler)();
typedef void (*unexpected_handler)();
///@}

extern "C" {
/// Raises a structured exception on the calling thread. At most
/// EXCEPTION_MAXIMUM_PARAMETERS arguments are kept; a larger count is cut to
/// that. The thread's translator gets it first and may throw; an exception
/// that nothing takes ends the process, as an unhandled one does on Windows.
/// The debugger's thread-name exception (0x406D1388) is consumed here, as a
/// debugger would: it names the thread and execution continues.
WINBASEAPI void WINAPI RaiseException(DWORD code, DWORD flags, DWORD numberOfArguments, const ULONG_PTR* arguments);

/// The calling thread's translator, called on the faulting thread with the
/// code and the records; it may throw, and the throw leaves from the faulting
/// instruction. Returns the previous translator. A thread without one keeps
/// each signal's earlier behaviour.
WINBASEAPI _se_translator_function _set_se_translator(_se_translator_function translator);

/// The calling thread's terminate and unexpected handlers; each returns the
/// previous one (null: the run time's default). These are the global names of
/// the Windows run time, not std::set_terminate, which stays process-wide.
///@{
WINBASEAPI terminate_function set_terminate(terminate_function handler);
WINBASEAPI unexpected_function set_unexpected(unexpected_function handler);
///@}
/// Calls the thread's unexpected handler, then terminates.
[[noreturn]] WINBASEAPI void unexpected();

/// This layer's own: calls procedure(context) so that every processor fault
/// in it reaches the thread's translator and the translator's throw leaves
/// this call, whatever the compiler made of the faulting code. Frames that
/// can be unwound from the faulting instruction are unwound as usual (their
/// destructors run and their catch clauses see the throw); if any frame in
/// between can't be (see docs/faults-threads-boxes.md), the throw starts here
/// instead and the procedure's frames are left without running their
/// destructors. Without a translator a fault behaves as before. C++
/// exceptions pass through unchanged.
WINBASEAPI void WINAPI qnCallTranslated(void (*procedure)(void*), void* context);
}

/// The same for any callable.
template <typename Callable>
void qnCallTranslated(Callable&& callable) {
  using Target = std::remove_reference_t<Callable>;
  qnCallTranslated([](void* target) { (*static_cast<Target*>(target))(); },
                   const_cast<void*>(static_cast<const volatile void*>(std::addressof(callable))));
}
