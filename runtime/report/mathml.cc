// SPDX-License-Identifier: Apache-2.0
// A tree in prefix order is written from its last token to its first, with a stack of finished pieces: no recursion, so depth is
// no limit.
#include "runtime/report/mathml.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "runtime/expression/operators.h"
#include "runtime/io/utf8.h"
#include "runtime/report/markup.h"

namespace quiver {
namespace {

// A place where a long formula may go on in the next line: in front of an operator outside of all brackets.
struct Break {
  std::size_t offset;
  double width;  // of what stands before it
};

struct Piece {
  std::string text;
  Precedence precedence = Precedence::kCall;
  double width = 0;
  bool negative = false;     // starts with a minus
  bool end_of_list = false;  // nothing but a mark
  std::vector<Break> breaks;
};

const char* const kGreek[][2] = {{"ALPHA", "α"},  {"BETA", "β"}, {"GAMMA", "γ"}, {"DELTA", "Δ"},
                                 {"EPS", "ε"},    {"ETA", "η"},  {"THETA", "θ"}, {"KAPPA", "κ"},
                                 {"LAMBDA", "λ"}, {"MU", "μ"},   {"PHI", "φ"},   {"PI", "π"},
                                 {"PSI", "ψ"},    {"RHO", "ρ"},  {"SIGMA", "σ"}, {"TAU", "τ"},
                                 {"OMEGA", "ω"},  {"XI", "ξ"},   {"ZETA", "ζ"}};

std::string Identifier(std::string_view text) {
  for (const auto& [name, letter] : kGreek)
    if (text == name) return fmt::format("<mi>{}</mi>", letter);
  return fmt::format("<mi>{}</mi>", Escaped(text));
}

// "PFLASH2(1)", "P_CRIT", "Z(N2)": head and subscript.
Piece SymbolPart(std::string_view part) {
  std::string_view indices;
  if (const std::size_t open = part.find('('); open != std::string_view::npos && part.back() == ')') {
    indices = part.substr(open + 1, part.size() - open - 2);
    part = part.substr(0, open);
  }
  std::string_view head = part, below;
  const std::size_t mark = part.find('_', 1);
  if (mark != std::string_view::npos && mark + 1 < part.size()) {
    head = part.substr(0, mark);
    below = part.substr(mark + 1);
  } else if (const std::size_t digits = part.find_first_of("0123456789");
             digits == 1 && part.find_first_not_of("0123456789", 1) == std::string_view::npos) {
    head = part.substr(0, 1);  // P1
    below = part.substr(1);
  }
  std::string subscript;
  if (!below.empty()) subscript = fmt::format("<mi mathvariant=\"normal\">{}</mi>", Escaped(below));
  if (!indices.empty())
    subscript += fmt::format("{}<mi mathvariant=\"normal\">{}</mi>", subscript.empty() ? "" : "<mo>,</mo>",
                             Escaped(indices));
  Piece piece;
  piece.width =
      static_cast<double>(CharacterCount(head)) + 0.7 * static_cast<double>(below.size() + indices.size());
  piece.text = subscript.empty() ? Identifier(head)
                                 : fmt::format("<msub>{}<mrow>{}</mrow></msub>", Identifier(head), subscript);
  return piece;
}

Piece Symbol(std::string_view name) {
  Piece whole;
  std::size_t start = 0;
  int depth = 0, parts = 0;
  for (std::size_t i = 0; i <= name.size(); ++i) {
    if (i < name.size() && name[i] == '(') ++depth;
    if (i < name.size() && name[i] == ')') --depth;
    if (i < name.size() && (name[i] != '.' || depth > 0)) continue;
    const Piece part = SymbolPart(name.substr(start, i - start));
    if (parts++ > 0) whole.text += "<mo lspace=\"0\" rspace=\"0\">.</mo>";
    whole.text += part.text;
    whole.width += part.width + (parts > 1 ? 0.5 : 0);
    start = i + 1;
  }
  if (parts > 1) whole.text = "<mrow>" + whole.text + "</mrow>";
  return whole;
}

Piece Number(double value) {
  Piece piece;
  std::string digits = fmt::format("{:.12g}", value);  // what rounding left behind says nothing
  const bool negative = digits[0] == '-';
  if (negative) digits.erase(0, 1);
  std::string text;
  const std::size_t e = digits.find('e');
  if (e == std::string::npos) {
    text = fmt::format("<mn>{}</mn>", digits);
  } else {
    const std::string mantissa = digits.substr(0, e);
    const int exponent = std::atoi(digits.c_str() + e + 1);
    const std::string power = fmt::format("<msup><mn>10</mn><mrow>{}<mn>{}</mn></mrow></msup>",
                                          exponent < 0 ? "<mo>−</mo>" : "", std::abs(exponent));
    text = mantissa == "1" ? power : fmt::format("<mn>{}</mn><mo>·</mo>{}", mantissa, power);
    if (mantissa != "1") piece.precedence = Precedence::kScaling;
  }
  if (negative) text = "<mo>−</mo>" + text;
  piece.negative = negative;
  piece.text = negative || piece.precedence == Precedence::kScaling ? "<mrow>" + text + "</mrow>" : text;
  piece.width = static_cast<double>(digits.size() + (negative ? 1 : 0));
  return piece;
}

Piece Leaf(const Token& token, const VariableName& name) {
  Piece piece;
  switch (token.kind) {
    case Token::kVariable:
      return Symbol(name(token.index));
    case Token::kText:
      piece.text = fmt::format("<mtext>“{}”</mtext>", Escaped(token.text ? token.text : ""));
      piece.width = 2 + static_cast<double>(std::string_view(token.text ? token.text : "").size());
      return piece;
    default:
      return Number(token.real);
  }
}

void Bracket(Piece& piece, const char* open = "(", const char* close = ")") {
  piece.text = fmt::format("<mrow><mo>{}</mo>{}<mo>{}</mo></mrow>", open, piece.text, close);
  piece.width += 1.5;
  piece.precedence = Precedence::kCall;
  piece.negative = false;
  piece.breaks.clear();
}

std::string Row(const Piece& piece) { return "<mrow>" + piece.text + "</mrow>"; }

// a, an operator, b: what both bring of breaks outside of brackets stays.
Piece Joined(Piece a, const std::string& sign, double sign_width, Precedence precedence, Piece b) {
  if (precedence != Precedence::kComparing) a.breaks.push_back({a.text.size(), a.width});
  a.text += sign;
  a.width += sign_width;
  for (const Break& b_break : b.breaks)
    a.breaks.push_back({a.text.size() + b_break.offset, a.width + b_break.width});
  a.text += b.text;
  a.width += b.width;
  a.precedence = precedence;
  a.negative = a.negative && precedence >= Precedence::kAdding;
  return a;
}

Piece Infix(const OperatorInfo& info, Piece a, Piece b, bool right_of_same_rank_needs_brackets = true) {
  if (a.precedence < info.precedence) Bracket(a);
  if (b.precedence < info.precedence || b.negative ||
      (right_of_same_rank_needs_brackets && b.precedence == info.precedence))
    Bracket(b);
  const char* sign = nullptr;
  switch (info.op) {
    case Operator::kSubtract:
      sign = "−";
      break;
    case Operator::kMultiply:
      sign = "·";
      break;
    case Operator::kEqual:
      sign = "=";
      break;
    case Operator::kNotEqual:
      sign = "≠";
      break;
    case Operator::kLessOrEqual:
      sign = "≤";
      break;
    case Operator::kGreaterOrEqual:
      sign = "≥";
      break;
    case Operator::kLess:
      sign = "&lt;";
      break;
    case Operator::kGreater:
      sign = "&gt;";
      break;
    default:
      break;
  }
  if (info.role == Role::kLogical)
    return Joined(std::move(a),
                  fmt::format("<mtext>&#xa0;{}&#xa0;</mtext>", info.op == Operator::kAnd ? "and" : "or"), 5,
                  info.precedence, std::move(b));
  return Joined(std::move(a), fmt::format("<mo>{}</mo>", sign ? sign : "+"),
                sign && info.op == Operator::kMultiply ? 1 : 2.5, info.precedence, std::move(b));
}

Piece Call(const OperatorInfo& info, std::vector<Piece>& operands) {
  Piece piece;
  for (Piece& operand : operands) {
    if (!piece.text.empty()) piece.text += "<mo>,</mo>";
    piece.text += operand.text;
    piece.width += operand.width + 1;
  }
  Bracket(piece);
  std::string name = fmt::format("<mi>{}</mi>", info.text);
  if (info.op == Operator::kDecimalLogarithm) name = "<msub><mi>log</mi><mn>10</mn></msub>";
  piece.text = name + "<mo>&#x2061;</mo>" + piece.text;
  piece.width += static_cast<double>(std::string_view(info.text).size());
  return piece;
}

Piece Raised(Piece base, Piece exponent) {
  if (base.precedence < Precedence::kCall || base.negative) Bracket(base);
  Piece piece;
  piece.text = fmt::format("<msup>{}{}</msup>", Row(base), Row(exponent));
  piece.width = base.width + 0.7 * exponent.width;
  piece.precedence = Precedence::kRaising;
  return piece;
}

Piece Operation(const OperatorInfo& info, std::vector<Piece> operands) {
  Piece piece;
  switch (info.op) {
    case Operator::kResidual:
      return std::move(operands[0]);
    case Operator::kTime:
      piece.text = "<mi>t</mi>";
      piece.width = 1;
      return piece;
    case Operator::kDivide:
      piece.text = fmt::format("<mfrac>{}{}</mfrac>", Row(operands[0]), Row(operands[1]));
      piece.width = std::max(operands[0].width, operands[1].width) + 0.5;
      piece.precedence = Precedence::kRaising;  // its line holds it together but for a power of it
      return piece;
    case Operator::kPower:
      return Raised(std::move(operands[0]), std::move(operands[1]));
    case Operator::kSquare:
      return Raised(std::move(operands[0]), Number(2));
    case Operator::kExponential:
      if (operands[0].width > 12) return Call(info, operands);
      piece.text = "<mi mathvariant=\"normal\">e</mi>";
      piece.width = 1;
      return Raised(std::move(piece), std::move(operands[0]));
    case Operator::kSquareRoot:
      piece.text = fmt::format("<msqrt>{}</msqrt>", operands[0].text);
      piece.width = operands[0].width + 1;
      return piece;
    case Operator::kAbsolute:
      Bracket(operands[0], "|", "|");
      return std::move(operands[0]);
    case Operator::kNegate:
      if (operands[0].precedence < Precedence::kScaling || operands[0].negative) Bracket(operands[0]);
      piece.text = "<mo form=\"prefix\">−</mo>" + operands[0].text;
      piece.width = operands[0].width + 1;
      piece.precedence = Precedence::kAdding;
      piece.negative = true;
      return piece;
    default:
      break;
  }
  if (info.role == Role::kList && (info.op == Operator::kSum || info.op == Operator::kProduct)) {
    if (operands.empty()) return Number(info.empty_value);
    Piece all = std::move(operands[0]);
    for (std::size_t i = 1; i < operands.size(); ++i)
      all = Infix(*FindOperator(static_cast<int>(info.joins)), std::move(all), std::move(operands[i]), false);
    return all;
  }
  if (info.arity == 2 && info.precedence != Precedence::kCall)
    return Infix(info, std::move(operands[0]), std::move(operands[1]));
  return Call(info, operands);
}

// The finished pieces, the first one on top.
std::vector<Piece> Pieces(std::span<const Token> tokens, const VariableName& name) {
  std::vector<Piece> stack;
  for (auto token = tokens.rbegin(); token != tokens.rend(); ++token) {
    const OperatorInfo* info = token->kind == Token::kOperator ? FindOperator(token->index) : nullptr;
    if (token->kind == Token::kOperator && info == nullptr) continue;
    if (info == nullptr) {
      stack.push_back(Leaf(*token, name));
      continue;
    }
    std::vector<Piece> operands;
    if (info->role == Role::kEndOfList) {
      stack.emplace_back().end_of_list = true;
      continue;
    }
    const bool list = info->arity == OperatorInfo::kAnyNumber;
    while (!stack.empty() && (list || operands.size() < static_cast<std::size_t>(info->arity))) {
      Piece piece = std::move(stack.back());
      stack.pop_back();
      if (piece.end_of_list) break;
      operands.push_back(std::move(piece));
    }
    stack.push_back(Operation(*info, std::move(operands)));
  }
  return stack;
}

Piece Whole(std::span<const Token> tokens, const VariableName& name) {
  std::vector<Piece> pieces = Pieces(tokens, name);
  return pieces.empty() ? Piece() : std::move(pieces.back());
}

// Lines of a formula that is too wide for one.
std::string Lines(const Piece& piece, double line_width) {
  if (piece.width <= line_width || piece.breaks.empty()) return piece.text;
  std::string rows;
  std::size_t begin = 0;
  double begin_width = 0;
  for (std::size_t i = 0; i < piece.breaks.size(); ++i) {
    const double next = i + 1 < piece.breaks.size() ? piece.breaks[i + 1].width : piece.width;
    if (next - begin_width <= line_width || piece.breaks[i].offset == begin) continue;
    rows += fmt::format("<mtr><mtd>{}</mtd></mtr>", piece.text.substr(begin, piece.breaks[i].offset - begin));
    begin = piece.breaks[i].offset;
    begin_width = piece.breaks[i].width;
  }
  rows += fmt::format("<mtr><mtd>{}</mtd></mtr>", piece.text.substr(begin));
  return "<mtable class=\"lines\" displaystyle=\"true\">" + rows + "</mtable>";
}

}  // namespace

EquationMathml ToMathml(std::span<const Token> stream, const VariableName& name, double line_width) {
  if (stream.empty()) return {};
  Piece left, right = Number(0);
  switch (FormOf(stream)) {
    case EquationForm::kDifference: {
      std::vector<Piece> sides = Pieces(stream.subspan(1), name);
      if (sides.size() != 2) return {};
      left = std::move(sides[1]);
      right = std::move(sides[0]);
      break;
    }
    case EquationForm::kValue:
      left = Whole(stream.subspan(2), name);
      right = Number(0.0 - stream[1].real);
      break;
    case EquationForm::kZero:
      left = Whole(stream, name);
  }
  const double room = std::max(line_width - left.width, line_width / 2);
  return {left.text, Lines(right, room), left.width + 2 + std::min(right.width, room)};
}

std::string FormulaMathml(std::span<const Token> tree, const VariableName& name, double line_width) {
  return Lines(Whole(tree, name), line_width);
}

std::string SymbolMathml(std::string_view name) { return Symbol(name).text; }

std::string NumberMathml(double value) { return Number(value).text; }

}  // namespace quiver
