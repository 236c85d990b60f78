#include "faults/instruction.h"

#include <cstring>

namespace qn {

namespace {

// General registers in the encoding's order (RAX, RCX, RDX, RBX, RSP, RBP,
// RSI, RDI, R8..R15) as indexes of the signal context.
constexpr int RegisterSlots[16] = {REG_RAX, REG_RCX, REG_RDX, REG_RBX, REG_RSP, REG_RBP, REG_RSI, REG_RDI,
                                   REG_R8,  REG_R9,  REG_R10, REG_R11, REG_R12, REG_R13, REG_R14, REG_R15};

std::uint64_t reg(const ucontext_t& context, int number) {
  return static_cast<std::uint64_t>(context.uc_mcontext.gregs[RegisterSlots[number & 15]]);
}

struct Prefixes {
  const std::uint8_t* opcode = nullptr;
  bool operand16 = false;
  bool address32 = false;
  bool segmented = false;  // FS or GS override: a base we can't see
  std::uint8_t rex = 0;
};

Prefixes skipPrefixes(const std::uint8_t* p) {
  Prefixes result;
  for (int i = 0; i < 14; ++i, ++p) {
    switch (*p) {
      case 0x66: result.operand16 = true; continue;
      case 0x67: result.address32 = true; continue;
      case 0x64:
      case 0x65: result.segmented = true; continue;
      case 0xF0: case 0xF2: case 0xF3: case 0x2E: case 0x36: case 0x3E: case 0x26: continue;
      default: break;
    }
    break;
  }
  if ((*p & 0xF0) == 0x40) result.rex = *p++;
  result.opcode = p;
  return result;
}

}  // namespace

bool divideOverflowed(const ucontext_t& context) {
  const auto* ip = reinterpret_cast<const std::uint8_t*>(context.uc_mcontext.gregs[REG_RIP]);
  const Prefixes prefixes = skipPrefixes(ip);
  const std::uint8_t* p = prefixes.opcode;
  const bool byteOperand = *p == 0xF6;
  if (!byteOperand && *p != 0xF7) return false;
  ++p;
  const std::uint8_t modrm = *p++;
  const int mod = modrm >> 6, op = (modrm >> 3) & 7, rm = modrm & 7;
  if (op != 6 && op != 7) return false;  // not DIV or IDIV
  const bool rexW = prefixes.rex & 8, rexR = prefixes.rex & 4, rexX = prefixes.rex & 2, rexB = prefixes.rex & 1;
  (void)rexR;
  const int width = byteOperand ? 1 : rexW ? 8 : prefixes.operand16 ? 2 : 4;

  std::uint64_t divisor = 0;
  if (mod == 3) {
    if (byteOperand && prefixes.rex == 0 && rm >= 4) {
      divisor = (reg(context, rm - 4) >> 8) & 0xFF;  // AH, CH, DH, BH
    } else {
      divisor = reg(context, rm + (rexB ? 8 : 0));
    }
  } else {
    if (prefixes.segmented) return false;
    std::uint64_t address = 0;
    if (rm == 4) {
      const std::uint8_t sib = *p++;
      const int scale = sib >> 6, index = ((sib >> 3) & 7) + (rexX ? 8 : 0), base = sib & 7;
      if (index != 4) address += reg(context, index) << scale;
      if (base == 5 && mod == 0) {
        std::int32_t displacement;
        std::memcpy(&displacement, p, 4);
        p += 4;
        address += static_cast<std::uint64_t>(static_cast<std::int64_t>(displacement));
      } else {
        address += reg(context, base + (rexB ? 8 : 0));
      }
    } else if (rm == 5 && mod == 0) {
      std::int32_t displacement;
      std::memcpy(&displacement, p, 4);
      p += 4;
      // Relative to the next instruction; F6/F7 /6 and /7 carry no immediate.
      address = reinterpret_cast<std::uint64_t>(p) + static_cast<std::uint64_t>(static_cast<std::int64_t>(displacement));
    } else {
      address = reg(context, rm + (rexB ? 8 : 0));
    }
    if (mod == 1) {
      address += static_cast<std::uint64_t>(static_cast<std::int64_t>(static_cast<std::int8_t>(*p)));
    } else if (mod == 2) {
      std::int32_t displacement;
      std::memcpy(&displacement, p, 4);
      address += static_cast<std::uint64_t>(static_cast<std::int64_t>(displacement));
    }
    if (prefixes.address32) address &= 0xFFFFFFFFu;
    // The processor read this operand before it raised the error.
    std::memcpy(&divisor, reinterpret_cast<const void*>(address), static_cast<std::size_t>(width));
  }
  if (width < 8) divisor &= (std::uint64_t{1} << (width * 8)) - 1;
  return divisor != 0;
}

bool isPrivilegedInstruction(const ucontext_t& context) {
  const auto* ip = reinterpret_cast<const std::uint8_t*>(context.uc_mcontext.gregs[REG_RIP]);
  const std::uint8_t* p = skipPrefixes(ip).opcode;
  switch (p[0]) {
    case 0xF4:                                   // HLT
    case 0xFA: case 0xFB:                        // CLI, STI
    case 0xE4: case 0xE5: case 0xE6: case 0xE7:  // IN, OUT with an immediate port
    case 0xEC: case 0xED: case 0xEE: case 0xEF:  // IN, OUT through DX
    case 0x6C: case 0x6D: case 0x6E: case 0x6F:  // INS, OUTS
      return true;
    case 0x0F: break;
    default: return false;
  }
  const int op = (p[2] >> 3) & 7;
  switch (p[1]) {
    case 0x06: case 0x07: case 0x08: case 0x09:  // CLTS, SYSRET, INVD, WBINVD
    case 0x20: case 0x21: case 0x22: case 0x23:  // MOV to and from control and debug registers
    case 0x30: case 0x32: case 0x35:             // WRMSR, RDMSR, SYSEXIT
      return true;
    case 0x00: return op == 2 || op == 3;                      // LLDT, LTR
    case 0x01: return op == 2 || op == 3 || op == 6 || op == 7;  // LGDT, LIDT, LMSW, INVLPG/SWAPGS
    default: return false;
  }
}

}  // namespace qn
