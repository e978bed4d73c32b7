// SPDX-License-Identifier: Apache-2.0
// Encodings: AMD64 Architecture Programmer's Manual, volumes 3 and 4; Intel's manual, volume 2, for EVEX.
#include "runtime/expression/vector_assembler.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cstring>

namespace quiver {
namespace {

constexpr int kNoRegister = 0;        // an operand that an instruction does not have is encoded as 0
constexpr int kLanesOfAConstant = 4;  // constants are spread for AVX2, which reads them whole

}  // namespace

void VectorAssembler::Write32(std::int32_t number) {
  for (int shift = 0; shift < 32; shift += 8)
    Write(static_cast<std::uint8_t>(static_cast<std::uint32_t>(number) >> shift));
}

void VectorAssembler::BeginLoop() {
  for (const int byte : {0x45, 0x31, 0xC0}) Write(static_cast<std::uint8_t>(byte));  // xor r8d, r8d
  loop_ = bytes_.size();
}

void VectorAssembler::EndLoop() {
  for (const int byte :
       {0x49, 0x83, 0xC0, bytes(), 0x49, 0x39, 0xC8, 0x0F, 0x82})  // add r8, ..; cmp r8, rcx; jb
    Write(static_cast<std::uint8_t>(byte));
  Write32(static_cast<std::int32_t>(loop_) - static_cast<std::int32_t>(bytes_.size()) - 4);
}

void VectorAssembler::Return() {
  for (const int byte : {0xC5, 0xF8, 0x77, 0xC3}) Write(static_cast<std::uint8_t>(byte));  // vzeroupper; ret
}

void VectorAssembler::Load(int to, const Address& from, int mask) {
  if (from.is_single && width_ != VectorWidth::kScalar) {
    Emit({.prefix = 1, .map = 2, .opcode = 0x19, .mask = mask}, to, kNoRegister, {.address = &from});
  } else {
    Emit({.prefix = ArithmeticPrefix(), .map = 1, .opcode = 0x10, .mask = mask}, to, kNoRegister,
         {.address = &from});
  }
}

void VectorAssembler::Store(const Address& to, int from) {
  Emit({.prefix = ArithmeticPrefix(), .map = 1, .opcode = 0x11}, from, kNoRegister, {.address = &to});
}

void VectorAssembler::Arithmetic(Operation operation, int to, int a, int b) {
  Emit({.prefix = IsLogical(operation) ? 1 : ArithmeticPrefix(), .map = 1, .opcode = operation}, to, a,
       {.reg = b});
}

void VectorAssembler::Arithmetic(Operation operation, int to, int a, const Address& b) {
  assert(CanRead(b));
  Emit({.prefix = IsLogical(operation) ? 1 : ArithmeticPrefix(), .map = 1, .opcode = operation}, to, a,
       {.address = &b});
}

void VectorAssembler::SquareRoot(int to, int from) {
  // Single numbers take the rest of the register from their first operand.
  Emit({.prefix = ArithmeticPrefix(), .map = 1, .opcode = kSquareRoot}, to,
       width_ == VectorWidth::kScalar ? from : kNoRegister, {.reg = from});
}

Address VectorAssembler::Constant(double value) {
  const auto is_same = [&](double other) {
    return std::bit_cast<std::uint64_t>(other) == std::bit_cast<std::uint64_t>(value);
  };
  const auto known = std::find_if(constants_.begin(), constants_.end(), is_same);
  const auto number = static_cast<std::int32_t>(known - constants_.begin());
  if (known == constants_.end()) constants_.push_back(value);
  return {.base = Address::kPool, .offset = number, .is_single = width_ == VectorWidth::kAvx512};
}

void VectorAssembler::Compare(Predicate predicate, int to, int a, int b) {
  assert(!has_masks());
  Emit({.prefix = ArithmeticPrefix(), .map = 1, .opcode = 0xC2, .immediate = predicate}, to, a, {.reg = b});
}

void VectorAssembler::Choose(int to, int a, int b, int holds) {
  assert(!has_masks());
  Emit({.prefix = 1, .map = 3, .opcode = 0x4B, .immediate = holds << 4}, to, a, {.reg = b});
}

void VectorAssembler::CompareToMask(Predicate predicate, int mask, int a, int b, int under) {
  assert(has_masks());
  Emit({.prefix = 1, .map = 1, .opcode = 0xC2, .mask = under, .immediate = predicate}, mask, a, {.reg = b});
}

void VectorAssembler::ChooseByMask(int to, int a, int b, int mask) {
  assert(has_masks());
  Emit({.prefix = 1, .map = 2, .opcode = 0x65, .mask = mask}, to, a, {.reg = b});
}

void VectorAssembler::MoveWhere(int mask, int to, int from) {
  assert(has_masks());
  Emit({.prefix = 1, .map = 1, .opcode = 0x28, .mask = mask, .clears = true}, to, kNoRegister, {.reg = from});
}

void VectorAssembler::MultiplyWhere(int mask, int to, int a, int b) {
  assert(has_masks());
  Emit({.prefix = 1, .map = 1, .opcode = kMultiply, .mask = mask, .clears = true}, to, a, {.reg = b});
}

void VectorAssembler::Emit(const Encoding& encoding, int reg, int first, const Source& second) {
  const Address* const address = second.address;
  if (address && address->pointer >= 0) {  // mov rax, [rdi + pointer]
    for (const int byte : {0x48, 0x8B, 0x87}) Write(static_cast<std::uint8_t>(byte));
    Write32(address->pointer);
  }
  // Extension bits stand inverted. The index is r8; of base registers only those without an extension are used.
  const bool is_indexed = address && address->is_indexed;
  const int from = address ? 0 : second.reg;
  const auto bit = [](int number, int n) { return (number >> n) & 1; };
  const int not_r = bit(~reg, 3);
  const int not_x = address ? !is_indexed : bit(~from, 4);
  const int not_b = bit(~from, 3);
  if (has_masks()) {
    Write(0x62);
    Write(static_cast<std::uint8_t>(not_r << 7 | not_x << 6 | not_b << 5 | bit(~reg, 4) << 4 | encoding.map));
    Write(static_cast<std::uint8_t>(0x80 | (~first & 15) << 3 | 4 | encoding.prefix));
    const bool spreads = address && address->is_single && encoding.opcode != 0x19;
    Write(static_cast<std::uint8_t>(encoding.clears << 7 | 2 << 5 | spreads << 4 | bit(~first, 4) << 3 |
                                    encoding.mask));
  } else {
    const int length = width_ == VectorWidth::kAvx2;
    const int rest = (~first & 15) << 3 | length << 2 | encoding.prefix;
    if (encoding.map == 1 && not_x && not_b) {
      Write(0xC5);
      Write(static_cast<std::uint8_t>(not_r << 7 | rest));
    } else {
      Write(0xC4);
      Write(static_cast<std::uint8_t>(not_r << 7 | not_x << 6 | not_b << 5 | encoding.map));
      Write(static_cast<std::uint8_t>(rest));
    }
  }
  Write(encoding.opcode);
  EmitOperand(encoding, reg, second);
  if (encoding.immediate >= 0) Write(static_cast<std::uint8_t>(encoding.immediate));
}

void VectorAssembler::EmitOperand(const Encoding& encoding, int reg, const Source& second) {
  const auto mode = [&](int mod, int rm) {
    Write(static_cast<std::uint8_t>(mod << 6 | (reg & 7) << 3 | (rm & 7)));
  };
  if (!second.address) return mode(3, second.reg);
  const Address& address = *second.address;
  if (address.base == Address::kPool) {  // relative to the next instruction
    mode(0, 5);
    fixups_.push_back(
        {bytes_.size(), static_cast<std::size_t>(address.offset), encoding.immediate >= 0 ? 1 : 0});
    return Write32(0);
  }
  // Short distances count whole operands where there are masks.
  const int unit = !has_masks() ? 1 : address.is_single ? 8 : bytes();
  const bool is_short =
      address.offset % unit == 0 && address.offset / unit >= -128 && address.offset / unit <= 127;
  const int mod = address.offset == 0 ? 0 : is_short ? 1 : 2;
  if (address.is_indexed) {
    mode(mod, 4);
    Write(static_cast<std::uint8_t>(address.base));  // r8, once
  } else {
    mode(mod, address.base);
  }
  if (mod == 1) Write(static_cast<std::uint8_t>(address.offset / unit));
  if (mod == 2) Write32(address.offset);
}

std::vector<std::uint8_t> VectorAssembler::Finish() {
  constexpr std::size_t kLine = 64;
  while (bytes_.size() % kLine != 0) Write(0xCC);
  const std::size_t pool = bytes_.size();
  for (const double constant : constants_) {
    std::uint8_t number[sizeof constant];
    std::memcpy(number, &constant, sizeof constant);
    for (int lane = 0; lane < kLanesOfAConstant; ++lane)
      bytes_.insert(bytes_.end(), number, number + sizeof number);
  }
  for (const Fixup& fixup : fixups_) {
    const std::size_t to = pool + fixup.constant * kLanesOfAConstant * sizeof(double);
    const std::size_t next = fixup.place + 4 + static_cast<std::size_t>(fixup.behind);
    const auto distance = static_cast<std::int32_t>(to - next);
    std::memcpy(bytes_.data() + fixup.place, &distance, sizeof distance);
  }
  return std::move(bytes_);
}

}  // namespace quiver
