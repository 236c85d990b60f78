// A look at the x86-64 instruction that raised a fault, for the few cases in
// which the signal alone does not say what Windows reports.
#pragma once

#include <ucontext.h>

#include <cstdint>

#include "../errors/api.h"

namespace qn {

// For a divide error (#DE) at the context's instruction pointer: whether the
// divisor of that DIV or IDIV is known to be non-zero, i.e. the quotient
// overflowed. False when it is zero or the instruction can't be decoded.
QN_INTERNAL bool divideOverflowed(const ucontext_t& context);

// For a general-protection fault: whether the instruction is one that user
// mode may not run (HLT, CLI, IN, OUT, moves to control registers, ...).
QN_INTERNAL bool isPrivilegedInstruction(const ucontext_t& context);

}  // namespace qn
