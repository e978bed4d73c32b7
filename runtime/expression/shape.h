// SPDX-License-Identifier: Apache-2.0
// Shapes: what the equations of a million instances have in common. A shape is a tree in which variables are
// numbered by first appearance; literals belong to it (1 and 1.0 alike, as they have one value), comparisons
// of texts are settled. Shapes that differ in literals alone have one form, and a form is compiled once; exponents and
// small numbers like 0, 1, 2 or 0.5 belong to the form, because derivatives become simpler where they are known.
//
//   ShapeStore shapes;
//   std::vector<int> gather;
//   int id = shapes.Intern(stream, gather);       // x*y - x with x = x[7], y = x[3]: appends 7, 3
//   const Shape& shape = shapes[id];              // stays where it is while the store lives
#pragma once

#include <cstdint>
#include <deque>
#include <span>
#include <vector>

#include "runtime/expression/formula_compiler.h"
#include "runtime/expression/program.h"
#include "runtime/expression/shape_word.h"
#include "runtime/expression/token.h"

namespace quiver {

struct Shape {
  int variable_count = 0;
  bool is_condition = false;
  int form = 0;                             // number among the forms of its store
  const ShapePrograms* programs = nullptr;  // of the form
  std::vector<double> constants;            // what stands in the programs' constant registers for this shape

  // Whether the derivative by a gather entry is the same everywhere. Decided from the formula as written, so
  // that "no" may also be said of a derivative that would cancel. Not for conditions.
  bool HasConstantDerivative(int entry) const { return programs->constant_derivative[entry]; }
  bool IsLinear() const;
};

class ShapeStore {
 public:
  // Id of the stream's shape. Appends the variable of each first appearance to `gather`. The stream must have
  // passed CheckEquation or CheckCondition. Nothing is allocated for a known shape once `gather` has its
  // capacity.
  int Intern(std::span<const Token> stream, std::vector<int>& gather);

  const Shape& operator[](int id) const { return shapes_[id]; }
  int size() const { return static_cast<int>(shapes_.size()); }
  int FormCount() const { return static_cast<int>(forms_.size()); }

 private:
  struct Numbered {  // scratch: a variable's number in the stream of the given turn
    std::uint32_t turn = 0;
    int variable = 0;
    int number = 0;
  };
  struct Entry {  // of the hash table
    std::uint64_t hash = 0;
    int id = -1;
  };
  struct Key {
    std::size_t offset = 0, size = 0;  // in words_
  };

  std::size_t WriteWords(std::span<const Token> stream, std::vector<int>& gather);
  void PrepareNumbering(std::size_t tokens);
  int NumberOf(int variable, std::vector<int>& gather, std::size_t first);
  int Add(std::span<const ShapeWord> words, std::uint64_t hash, int variables);
  int FormOf(std::span<const ShapeWord> words, int variables, std::vector<double>& parameters);

  // Sequences of words and their numbers.
  class Table {
   public:
    int Find(std::span<const ShapeWord> words, std::uint64_t hash) const;  // -1: none
    int Add(std::span<const ShapeWord> words, std::uint64_t hash);

   private:
    void Grow();

    std::vector<Key> keys_;         // by number
    std::vector<ShapeWord> words_;  // of all sequences
    std::vector<Entry> entries_;    // open addressing; a power of two, at most half full
  };

  std::deque<Shape> shapes_;
  Table shape_of_, form_of_;
  std::deque<ShapePrograms> forms_;
  FormulaCompiler compiler_;
  std::vector<ShapeWord> scratch_;
  std::vector<Numbered> numbered_;  // open addressing; entries of earlier turns count as empty
  std::size_t numbered_mask_ = 0;
  std::uint32_t turn_ = 0;
};

// Whether two texts are equal without regard to the case of ASCII letters.
bool SameText(const char* a, const char* b);

}  // namespace quiver
