// SPDX-License-Identifier: Apache-2.0
// One token of an equation or condition in prefix order, as the host records it from a model's emission:
//
//   Token stream[] = {Token::Code(20), Token::Variable(3), Token::Real(2.5)};   // x[3] - 2.5
//
// A text stands only below codes 8 and 13, and there on both sides: the value of a text parameter is put in
// as text when the stream is recorded. Texts compare without regard to the case of ASCII letters; a token
// borrows its text.
#pragma once

#include <cstdint>

namespace quiver {

struct Token {
  enum Kind : std::int32_t { kOperator, kVariable, kReal, kInteger, kText };

  Kind kind = kReal;
  std::int32_t index = 0;  // operator: code; variable: place in x; integer: the number
  union {
    double real = 0;   // value of a real or integer literal
    const char* text;  // of kText
  };

  static Token Code(int code) { return Token(kOperator, code, 0); }
  static Token Variable(int place) { return Token(kVariable, place, 0); }
  static Token Real(double value) { return Token(kReal, 0, value); }
  static Token Integer(int value) { return Token(kInteger, value, value); }
  static Token Text(const char* text) {
    Token token(kText, 0, 0);
    token.text = text;
    return token;
  }

  Token() = default;
  bool IsLiteral() const { return kind == kReal || kind == kInteger; }

 private:
  Token(Kind k, std::int32_t i, double value) : kind(k), index(i), real(value) {}
};
static_assert(sizeof(Token) == 16);

}  // namespace quiver
