// SPDX-License-Identifier: Apache-2.0
// Checks that a token stream is exactly one well-formed tree, before anything else reads it. Takes any
// garbage and any depth of nesting.
//
//   if (auto fault = CheckEquation(stream)) Report(fault->Message());
//   // "token 3 of 5: found end of list (0), expected operand 2 of Divide (22)"
#pragma once

#include <cstddef>
#include <limits>
#include <optional>
#include <span>
#include <string>

#include "runtime/expression/token.h"

namespace quiver {

struct StreamFault {
  std::size_t position = 0;  // index of the offending token; the stream's size where it ends early
  std::size_t size = 0;      // of the stream
  std::string found;
  std::string expected;

  std::string Message() const;
};

// An equation: a number tree, or code 1 and a number tree. Variables must lie below variable_count.
std::optional<StreamFault> CheckEquation(std::span<const Token> stream,
                                         int variable_count = std::numeric_limits<int>::max());

// A condition: comparisons of number trees or texts, joined by codes 5 and 6.
std::optional<StreamFault> CheckCondition(std::span<const Token> stream,
                                          int variable_count = std::numeric_limits<int>::max());

}  // namespace quiver
