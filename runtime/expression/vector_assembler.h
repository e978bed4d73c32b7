// SPDX-License-Identifier: Apache-2.0
// Writes arithmetic on vectors as instructions of x86-64 machines, of one width throughout: single numbers, 4 (AVX2) or
// 8 (AVX-512).
//
//   VectorAssembler code(VectorWidth::kAvx2);
//   code.BeginLoop();                                                      // index = 0, width, ... up to the fourth argument
//   code.Load(0, {.base = Address::kRsi, .offset = 512, .is_indexed = true});
//   code.Arithmetic(VectorAssembler::kAdd, 1, 0, 0);                       // register 1 = register 0 + register 0
//   code.Store({.base = Address::kRsi, .offset = 1024, .is_indexed = true}, 1);
//   code.EndLoop();
//   code.Return();
//   std::vector<std::uint8_t> bytes = code.Finish();
//
// What is written takes up to four arguments, in rdi, rsi, rdx and rcx, and keeps nothing on the stack.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace quiver {

enum class VectorWidth : std::uint8_t { kScalar, kAvx2, kAvx512 };

// Where numbers lie in memory.
struct Address {
  enum Base : std::uint8_t { kRax = 0, kRcx = 1, kRdx = 2, kRsi = 6, kRdi = 7, kPool = 16 };
  Base base = kRsi;
  std::int32_t offset = 0;  // bytes
  bool is_indexed = false;  // the loop's index is added
  bool is_single = false;   // one number for all lanes
  // If not negative, rax is first loaded with the pointer at rdi + pointer; the base is rax then.
  std::int32_t pointer = -1;
};

class VectorAssembler {
 public:
  enum Operation : std::uint8_t {
    kSquareRoot = 0x51,
    kAnd = 0x54,
    kOr = 0x56,
    kXor = 0x57,
    kAdd = 0x58,
    kMultiply = 0x59,
    kSubtract = 0x5C,
    kDivide = 0x5E,
  };
  // Of the instruction set; what they say of not-a-number is in their names there: ordered or unordered, quiet.
  enum Predicate : std::uint8_t {
    kUnordered = 0x03,
    kUnequal = 0x04,  // or unordered
    kOrdered = 0x07,
    kLess = 0x11,
    kLessOrEqual = 0x12,
    kNotLessOrEqual = 0x16,  // or unordered
    kNotGreaterOrEqual = 0x19,
    kGreaterOrEqual = 0x1D,
  };

  explicit VectorAssembler(VectorWidth width) : width_(width) {}

  VectorWidth width() const { return width_; }
  // Whether lanes are chosen by registers of their own for masks; else masks are vectors, all bits of a lane set or none.
  bool has_masks() const { return width_ == VectorWidth::kAvx512; }
  int register_count() const { return has_masks() ? 32 : 16; }
  int bytes() const { return width_ == VectorWidth::kScalar ? 8 : width_ == VectorWidth::kAvx2 ? 32 : 64; }
  // Whether an instruction can read its second operand there; what has to be spread to all lanes must be loaded first,
  // where instructions cannot do that.
  bool CanRead(const Address& address) const { return !address.is_single || width_ != VectorWidth::kAvx2; }

  void BeginLoop();
  void EndLoop();
  void Return();

  void Load(int to, const Address& from) { Load(to, from, 0); }
  void Store(const Address& to, int from);
  void Arithmetic(Operation operation, int to, int a, int b);
  void Arithmetic(Operation operation, int to, int a, const Address& b);
  void SquareRoot(int to, int from);
  // A number that lies behind the code.
  Address Constant(double value);

  // Without masks: to = whether a and b are so related, in each lane; and if it holds b, else a.
  void Compare(Predicate predicate, int to, int a, int b);
  void Choose(int to, int a, int b, int holds);

  // With masks, 1 to 7. `under`: a mask to which the result is limited, 0 for none.
  void CompareToMask(Predicate predicate, int mask, int a, int b, int under = 0);
  void ChooseByMask(int to, int a, int b, int mask);
  // Where the mask is set, else 0.
  void MoveWhere(int mask, int to, int from);
  void MultiplyWhere(int mask, int to, int a, int b);
  // Where the mask is set; other lanes keep what they hold.
  void Load(int to, const Address& from, int mask);

  // The code with its constants behind it. Nothing may be written afterwards.
  std::vector<std::uint8_t> Finish();
  std::size_t size() const { return bytes_.size(); }

 private:
  // The second source of an instruction: a register, or memory.
  struct Source {
    int reg = -1;
    const Address* address = nullptr;
  };
  struct Encoding {
    int prefix;  // 0: none, 1: 66, 2: F3, 3: F2
    int map;     // 1: 0F, 2: 0F38, 3: 0F3A
    std::uint8_t opcode;
    int mask = 0;         // with masks
    bool clears = false;  // lanes that are not in the mask
    int immediate = -1;
  };
  struct Fixup {
    std::size_t place;  // of the distance, four bytes
    std::size_t constant;
    int behind;  // bytes of the instruction behind the distance
  };

  void Write(std::uint8_t byte) { bytes_.push_back(byte); }
  void Write32(std::int32_t number);
  void Emit(const Encoding& encoding, int reg, int first, const Source& second);
  void EmitOperand(const Encoding& encoding, int reg, const Source& second);
  int ArithmeticPrefix() const { return width_ == VectorWidth::kScalar ? 3 : 1; }
  static bool IsLogical(Operation operation) { return operation >= kAnd && operation <= kXor; }

  VectorWidth width_;
  std::vector<std::uint8_t> bytes_;
  std::vector<double> constants_;
  std::vector<Fixup> fixups_;
  std::size_t loop_ = 0;
};

}  // namespace quiver
