// SPDX-License-Identifier: Apache-2.0
// The check of token streams: one pass with a stack of open operators.
#include "runtime/expression/stream_check.h"

#include <fmt/format.h>

#include <cmath>
#include <vector>

#include "runtime/expression/operators.h"

namespace quiver {
namespace {

// What may stand at the next place.
enum class Want : unsigned char { kEquation, kCondition, kNumber, kNumberOrText, kText, kNothing };

// An operator whose operands are not complete yet. The frames are a stack of our own, so that the depth of a
// stream is limited by memory and not by the thread's stack.
struct Open {
  const OperatorInfo* info;
  int operands = 0;  // complete ones
  bool of_text = false;
};

class Checker {
 public:
  Checker(std::span<const Token> stream, Want root, int variable_count)
      : stream_(stream), root_(root), variable_count_(variable_count) {}

  std::optional<StreamFault> Run() {
    for (position_ = 0; position_ < stream_.size(); ++position_) {
      if (!Accept(stream_[position_], Wanted())) return Fault(Found(stream_[position_]));
    }
    if (Wanted() != Want::kNothing) return Fault("the end of the stream");
    return std::nullopt;
  }

 private:
  Want Wanted() const {
    if (open_.empty()) return position_ == 0 ? root_ : Want::kNothing;
    const Open& top = open_.back();
    switch (top.info->role) {
      case Role::kLogical:
        return Want::kCondition;
      case Role::kComparison:
        if (top.operands == 0 && ComparesTexts(top.info->op)) return Want::kNumberOrText;
        return top.of_text ? Want::kText : Want::kNumber;
      default:
        return Want::kNumber;
    }
  }

  static bool ComparesTexts(Operator op) { return op == Operator::kEqual || op == Operator::kNotEqual; }

  bool Accept(const Token& token, Want want) {
    const bool number_fits = want == Want::kNumber || want == Want::kNumberOrText || want == Want::kEquation;
    switch (token.kind) {
      case Token::kOperator:
        return AcceptOperator(FindOperator(token.index), want, number_fits);
      case Token::kVariable:
        if (!number_fits || token.index < 0 || token.index >= variable_count_) return false;
        break;
      case Token::kReal:
      case Token::kInteger:
        if (!number_fits || !std::isfinite(token.real)) return false;
        break;
      case Token::kText:
        if ((want != Want::kText && want != Want::kNumberOrText) || token.text == nullptr) return false;
        open_.back().of_text = true;
        break;
      default:
        return false;
    }
    CompleteOperand();
    return true;
  }

  bool AcceptOperator(const OperatorInfo* info, Want want, bool number_fits) {
    if (info == nullptr) return false;
    switch (info->role) {
      case Role::kEndOfList:
        if (open_.empty() || open_.back().info->role != Role::kList) return false;
        open_.pop_back();
        CompleteOperand();
        return true;
      case Role::kResidual:
        if (want != Want::kEquation) return false;
        break;
      case Role::kLogical:
      case Role::kComparison:
        if (want != Want::kCondition) return false;
        break;
      case Role::kArithmetic:
      case Role::kList:
        if (!number_fits) return false;
        break;
    }
    if (info->arity == 0) {
      CompleteOperand();
    } else {
      open_.push_back({info});
    }
    return true;
  }

  void CompleteOperand() {
    while (!open_.empty()) {
      Open& top = open_.back();
      ++top.operands;
      if (top.info->arity == OperatorInfo::kAnyNumber || top.operands < top.info->arity) return;
      open_.pop_back();
    }
  }

  StreamFault Fault(std::string found) const {
    return {position_, stream_.size(), std::move(found), Expected()};
  }

  std::string Expected() const {
    const Want want = Wanted();
    if (want == Want::kNothing) return "nothing more, the tree is complete";
    if (open_.empty()) return want == Want::kCondition ? "a comparison, 5 or 6" : "an equation";
    const Open& top = open_.back();
    const std::string owner = fmt::format("{} ({})", top.info->name, top.info->code());
    if (top.info->role == Role::kList)
      return fmt::format("an operand of {} or the end of its list (0)", owner);
    const char* kind = want == Want::kText        ? ", a text like the first"
                       : want == Want::kCondition ? ", a comparison, 5 or 6"
                                                  : "";
    return fmt::format("operand {} of {}{}", top.operands + 1, owner, kind);
  }

  std::string Found(const Token& token) const {
    switch (token.kind) {
      case Token::kOperator:
        if (const OperatorInfo* info = FindOperator(token.index)) {
          return fmt::format("{} ({})", info->name, token.index);
        }
        return fmt::format("unknown operator code {}", token.index);
      case Token::kVariable:
        if (token.index < 0 || token.index >= variable_count_) {
          return fmt::format("variable {}, which does not exist", token.index);
        }
        return fmt::format("variable {}", token.index);
      case Token::kReal:
      case Token::kInteger:
        return fmt::format("the number {}", token.real);
      case Token::kText:
        return token.text == nullptr ? "a missing text" : fmt::format("the text \"{}\"", token.text);
    }
    return fmt::format("a token of unknown kind {}", static_cast<int>(token.kind));
  }

  std::span<const Token> stream_;
  Want root_;
  int variable_count_;
  std::size_t position_ = 0;
  std::vector<Open> open_;
};

}  // namespace

std::string StreamFault::Message() const {
  return fmt::format("token {} of {}: found {}, expected {}", position + 1, size, found, expected);
}

std::optional<StreamFault> CheckEquation(std::span<const Token> stream, int variable_count) {
  return Checker(stream, Want::kEquation, variable_count).Run();
}

std::optional<StreamFault> CheckCondition(std::span<const Token> stream, int variable_count) {
  return Checker(stream, Want::kCondition, variable_count).Run();
}

}  // namespace quiver
