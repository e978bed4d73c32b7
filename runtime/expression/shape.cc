// SPDX-License-Identifier: Apache-2.0
// Interning of streams: canonical words, their hash, and a table of the shapes seen so far.
#include "runtime/expression/shape.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cmath>

#include "runtime/expression/operators.h"

namespace quiver {
namespace {

constexpr std::uint64_t kGolden = 0x9E3779B97F4A7C15u;

// Two independent chains of multiplications, joined at the end: half the latency of one.
std::uint64_t HashOf(std::span<const ShapeWord> words) {
  std::uint64_t even = words.size(), odd = kGolden;
  std::size_t i = 0;
  for (; i + 1 < words.size(); i += 2) {
    even = (std::rotl(even, 23) ^ words[i].bits()) * kGolden;
    odd = (std::rotl(odd, 23) ^ words[i + 1].bits()) * 0xC2B2AE3D27D4EB4Fu;
  }
  if (i < words.size()) even = (std::rotl(even, 23) ^ words[i].bits()) * kGolden;
  const std::uint64_t hash = (even ^ std::rotl(odd, 31)) * kGolden;
  return hash ^ (hash >> 32);
}

// The word behind the tree that begins at words[i].
std::size_t EndOfTree(std::span<const ShapeWord> words, std::size_t i) {
  int open_lists = 0;
  for (int missing = 1; missing > 0 || open_lists > 0; ++i) {
    if (words[i].kind() != ShapeWord::kOperator) {
      missing -= open_lists == 0;
      continue;
    }
    const OperatorInfo& info = *FindOperator(words[i].index());
    if (info.role == Role::kList) {
      ++open_lists;
    } else if (info.role == Role::kEndOfList) {
      missing -= --open_lists == 0;
    } else if (open_lists == 0) {
      missing += info.arity - 1;
    }
  }
  return i;
}

// Small multiples of 1/2 simplify what is built from them.
bool StaysLiteral(double value) { return std::fabs(value) <= 16 && 2 * value == std::floor(2 * value); }

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

}  // namespace

bool SameText(const char* a, const char* b) {
  for (; Lower(*a) == Lower(*b); ++a, ++b) {
    if (*a == '\0') return true;
  }
  return false;
}

bool Shape::IsLinear() const {
  const std::vector<bool>& constant = programs->constant_derivative;
  return std::find(constant.begin(), constant.end(), false) == constant.end();
}

int ShapeStore::Intern(std::span<const Token> stream, std::vector<int>& gather) {
  assert(!stream.empty());
  const std::size_t first = gather.size();
  const std::size_t length = WriteWords(stream, gather);  // may move scratch_
  const std::span<const ShapeWord> words(scratch_.data(), length);
  const std::uint64_t hash = HashOf(words);
  if (const int known = shape_of_.Find(words, hash); known >= 0) return known;
  return Add(words, hash, static_cast<int>(gather.size() - first));
}

// Writes the canonical stream to scratch_ and returns its length.
std::size_t ShapeStore::WriteWords(std::span<const Token> stream, std::vector<int>& gather) {
  PrepareNumbering(stream.size());
  if (scratch_.size() < stream.size()) scratch_.resize(stream.size());
  const std::size_t first = gather.size();
  ShapeWord* const begin = scratch_.data();
  ShapeWord* end = begin;
  for (std::size_t i = 0; i < stream.size(); ++i) {
    const Token& token = stream[i];
    switch (token.kind) {
      case Token::kOperator:
        *end++ = ShapeWord::Code(token.index);
        break;
      case Token::kVariable:
        *end++ = ShapeWord::Variable(NumberOf(token.index, gather, first));
        break;
      case Token::kReal:
      case Token::kInteger:
        *end++ = ShapeWord::Literal(token.real);
        break;
      case Token::kText: {
        // The first text of two: the comparison is the word before.
        assert(end != begin && i + 1 < stream.size() && stream[i + 1].kind == Token::kText);
        const auto comparison = static_cast<Operator>(end[-1].index());
        const double differ = SameText(token.text, stream[i + 1].text) ? 0 : 1;
        end[-1] = ShapeWord::Truth(ValueOf<double>(comparison, differ, 0.0) != 0);
        ++i;
        break;
      }
    }
  }
  return static_cast<std::size_t>(end - begin);
}

void ShapeStore::PrepareNumbering(std::size_t tokens) {
  const std::size_t size = std::bit_ceil(2 * tokens + 2);
  if (numbered_.size() < size) numbered_.resize(size);
  numbered_mask_ = size - 1;
  if (++turn_ == 0) {  // after 2^32 streams old entries would look new
    std::fill(numbered_.begin(), numbered_.end(), Numbered{});
    turn_ = 1;
  }
}

int ShapeStore::NumberOf(int variable, std::vector<int>& gather, std::size_t first) {
  std::size_t i = ((static_cast<std::uint32_t>(variable) * kGolden) >> 32) & numbered_mask_;
  for (;; i = (i + 1) & numbered_mask_) {
    Numbered& entry = numbered_[i];
    if (entry.turn != turn_) {
      entry = {turn_, variable, static_cast<int>(gather.size() - first)};
      gather.push_back(variable);
      return entry.number;
    }
    if (entry.variable == variable) return entry.number;
  }
}

int ShapeStore::Add(std::span<const ShapeWord> words, std::uint64_t hash, int variables) {
  std::vector<double> parameters;
  const int form = FormOf(words, variables, parameters);
  Shape& shape = shapes_.emplace_back();
  shape.variable_count = variables;
  if (words[0].kind() == ShapeWord::kTruth) {
    shape.is_condition = true;
  } else if (words[0].kind() == ShapeWord::kOperator) {
    const Role role = FindOperator(words[0].index())->role;
    shape.is_condition = role == Role::kComparison || role == Role::kLogical;
  }
  shape.form = form;
  shape.programs = &forms_[form];
  shape.constants = shape.programs->constants.Values(parameters);
  return shape_of_.Add(words, hash);
}

// The form of a shape that has none yet: its literals become parameters, but for those that stay.
int ShapeStore::FormOf(std::span<const ShapeWord> words, int variables, std::vector<double>& parameters) {
  std::vector<ShapeWord> form(words.begin(), words.end());
  std::vector<std::size_t> exponents;  // where exponents begin, the next one last
  std::size_t exponent_end = 0;        // words before it belong to an exponent
  for (std::size_t i = 0; i < form.size(); ++i) {
    if (words[i] == ShapeWord::Code(static_cast<int>(Operator::kPower))) {
      exponents.push_back(EndOfTree(words, i + 1));
    }
    while (!exponents.empty() && exponents.back() == i) {
      exponents.pop_back();
      exponent_end = std::max(exponent_end, EndOfTree(words, i));
    }
    if (i < exponent_end || words[i].kind() != ShapeWord::kLiteral || StaysLiteral(words[i].literal()))
      continue;
    form[i] = ShapeWord::Parameter(static_cast<int>(parameters.size()));
    parameters.push_back(words[i].literal());
  }
  const std::uint64_t hash = HashOf(form);
  if (const int known = form_of_.Find(form, hash); known >= 0) return known;
  forms_.push_back(compiler_.Compile(form, variables));
  return form_of_.Add(form, hash);
}

int ShapeStore::Table::Find(std::span<const ShapeWord> words, std::uint64_t hash) const {
  if (entries_.empty()) return -1;
  const std::size_t mask = entries_.size() - 1;
  for (std::size_t i = hash & mask; entries_[i].id >= 0; i = (i + 1) & mask) {
    if (entries_[i].hash != hash) continue;
    const Key& key = keys_[entries_[i].id];
    if (key.size == words.size() && std::equal(words.begin(), words.end(), words_.begin() + key.offset))
      return entries_[i].id;
  }
  return -1;
}

int ShapeStore::Table::Add(std::span<const ShapeWord> words, std::uint64_t hash) {
  if (2 * (keys_.size() + 1) > entries_.size()) Grow();
  const int id = static_cast<int>(keys_.size());
  keys_.push_back({words_.size(), words.size()});
  words_.insert(words_.end(), words.begin(), words.end());
  std::size_t i = hash & (entries_.size() - 1);
  while (entries_[i].id >= 0) i = (i + 1) & (entries_.size() - 1);
  entries_[i] = {hash, id};
  return id;
}

void ShapeStore::Table::Grow() {
  std::vector<Entry> old(std::max<std::size_t>(64, 2 * entries_.size()));
  old.swap(entries_);
  for (const Entry& entry : old) {
    if (entry.id < 0) continue;
    std::size_t i = entry.hash & (entries_.size() - 1);
    while (entries_[i].id >= 0) i = (i + 1) & (entries_.size() - 1);
    entries_[i] = entry;
  }
}

}  // namespace quiver
