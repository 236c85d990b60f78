// Faults on purpose, for the tests of fault translation. Each raises its
// fault in inline assembly, so that neither the compiler nor a sanitizer
// gets in first, and each is called through a pointer the compiler can't see
// through, so that the call stays one that may throw.
#pragma once

#include <cstdint>

namespace faults {

[[gnu::noinline]] inline int divideImpl(int dividend, int divisor) {
  int quotient;
  asm volatile("cltd\n\tidivl %2" : "=a"(quotient) : "a"(dividend), "r"(divisor) : "edx", "cc");
  return quotient;
}

// The divisor comes from memory, as with a divisor held in a variable.
[[gnu::noinline]] inline int divideByMemoryImpl(int dividend, const int* divisor) {
  int quotient;
  asm volatile("cltd\n\tidivl (%2)" : "=a"(quotient) : "a"(dividend), "r"(divisor) : "edx", "cc", "memory");
  return quotient;
}

[[gnu::noinline]] inline int readImpl(std::uintptr_t address) {
  int value;
  asm volatile("movl (%1), %0" : "=r"(value) : "r"(address) : "memory");
  return value;
}

[[gnu::noinline]] inline void writeImpl(std::uintptr_t address) {
  asm volatile("movl $1, (%0)" : : "r"(address) : "memory");
}

[[gnu::noinline]] inline void illegalImpl() { asm volatile("ud2"); }
[[gnu::noinline]] inline void breakpointImpl() { asm volatile("int3"); }
[[gnu::noinline]] inline void privilegedImpl() { asm volatile("hlt"); }

// Sets the trap flag: the processor stops after the next instruction.
[[gnu::noinline]] inline void singleStepImpl() {
  asm volatile("leaq -128(%%rsp), %%rsp\n\tpushfq\n\torq $0x100, (%%rsp)\n\tpopfq\n\tleaq 128(%%rsp), %%rsp\n\tnop" : : : "cc", "memory");
}

inline int (*volatile recurseThrough)(int) = nullptr;
[[gnu::noinline]] inline int recurseImpl(int depth) {
  volatile char frame[512];
  frame[0] = static_cast<char>(depth);
  return recurseThrough(depth + 1) + frame[0];
}
inline const bool recursionReady = (recurseThrough = recurseImpl, true);

// SSE arithmetic with the given exceptions unmasked (MXCSR bits 7 to 12).
[[gnu::noinline]] inline double sseImpl(double a, double b, unsigned unmask, int operation) {
  unsigned saved, changed;
  asm volatile("stmxcsr %0" : "=m"(saved));
  changed = (saved & ~0x3Fu) & ~unmask;
  asm volatile("ldmxcsr %0" : : "m"(changed));
  double result = a;
  if (operation == 0) asm volatile("divsd %1, %0" : "+x"(result) : "x"(b));
  else if (operation == 1) asm volatile("mulsd %1, %0" : "+x"(result) : "x"(b));
  else asm volatile("addsd %1, %0" : "+x"(result) : "x"(b));
  asm volatile("ldmxcsr %0" : : "m"(saved));
  return result;
}

// Nine pushes on the eight-deep x87 stack with invalid operations unmasked.
[[gnu::noinline]] inline void x87StackImpl() {
  unsigned short control = 0x037E;
  asm volatile(
      "fninit\n\tfldcw %0\n\t"
      "fld1\n\tfld1\n\tfld1\n\tfld1\n\tfld1\n\tfld1\n\tfld1\n\tfld1\n\tfld1\n\tfwait\n\tfninit"
      : : "m"(control) : "memory", "st", "st(1)", "st(2)", "st(3)", "st(4)", "st(5)", "st(6)", "st(7)");
}

inline int (*volatile divide)(int, int) = divideImpl;
inline int (*volatile divideByMemory)(int, const int*) = divideByMemoryImpl;
inline int (*volatile read)(std::uintptr_t) = readImpl;
inline void (*volatile write)(std::uintptr_t) = writeImpl;
inline void (*volatile illegal)() = illegalImpl;
inline void (*volatile breakpoint)() = breakpointImpl;
inline void (*volatile privileged)() = privilegedImpl;
inline void (*volatile singleStep)() = singleStepImpl;
inline int (*volatile overflowStack)(int) = recurseImpl;
inline double (*volatile sse)(double, double, unsigned, int) = sseImpl;
inline void (*volatile x87Stack)() = x87StackImpl;

// MXCSR mask bits.
constexpr unsigned Invalid = 1u << 7, Denormal = 1u << 8, ZeroDivide = 1u << 9, Overflow = 1u << 10,
                   Underflow = 1u << 11, Inexact = 1u << 12;

}  // namespace faults

#if defined(__SANITIZE_ADDRESS__)
#define QN_UNDER_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QN_UNDER_ASAN 1
#endif
#endif
