// SPDX-License-Identifier: Apache-2.0
// Formulas as MathML: known ones as they stand, and any tree read back as a human reads the page gives the tree's value.
#include "runtime/report/mathml.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/runtime/expression/trees.h"
#include "tests/support/markup_reader.h"

namespace quiver {
namespace {

using testing::Element;
using testing::ReadMarkup;

TEST(Mathml, KnownFormulas) {
  Names names;
  const auto name = [&](int place) { return names(place); };
  const std::pair<const char*, const char*> cases[] = {
      // (2/(1 + K))^(K/(K - 1)), the critical pressure ratio of an ideal gas.
      {"20 ETA_CRIT 24 22 2.0 19 1.0 K 22 K 20 K 1.0",
       "<msub><mi>η</mi><mrow><mi "
       "mathvariant=\"normal\">CRIT</mi></mrow></msub><mo>=</mo><msup><mrow><mrow><mo>(</mo><mfrac>"
       "<mrow><mn>2</mn></mrow><mrow><mn>1</mn><mo>+</mo><mi>K</mi></mrow></mfrac><mo>)</mo></mrow></"
       "mrow><mrow><mfrac><mrow>"
       "<mi>K</mi></mrow><mrow><mi>K</mi><mo>−</mo><mn>1</mn></mrow></mfrac></mrow></msup>"},
      {"19 -1e-05 X", "<mi>X</mi><mo>=</mo><msup><mn>10</mn><mrow><mo>−</mo><mn>5</mn></mrow></msup>"},
      {"20 F 35 39 P_IN",
       "<mi>F</mi><mo>=</mo><msqrt><mrow><mo>|</mo><msub><mi>P</mi><mrow><mi "
       "mathvariant=\"normal\">IN</mi></mrow></msub>"
       "<mo>|</mo></mrow></msqrt>"},
      {"20 A 20 B 20 C D",
       "<mi>A</mi><mo>=</mo><mi>B</mi><mo>−</mo><mrow><mo>(</mo><mi>C</mi><mo>−</mo><mi>D</mi><mo>)</mo></"
       "mrow>"},
  };
  for (const auto& [stream, mathml] : cases) EXPECT_EQ(ToMathml(Read(stream, names), name).Text(), mathml);
  EXPECT_EQ(ReadMarkup(FormulaMathml(Read("5 12 A B 13 \"Yes\" \"N<o\"", names), name)).Text(),
            "A<B\u00a0and\u00a0“Yes”≠“N<o”");
  EXPECT_EQ(ReadMarkup(SymbolMathml("IN_F(2).Z_REV(1,3-butadiene)")).Text(), "INF,2.ZREV,1,3-butadiene");
  EXPECT_EQ(ReadMarkup(SymbolMathml("IN_F(2).Z_REV(N2)")).All("msub").size(), 2u);
}

// What a page shows has no invisible rows: their content is read in line.
void Flatten(const std::vector<Element>& children, std::vector<const Element*>& line) {
  for (const Element& child : children) {
    if (child.name == "mrow" || child.name == "mtable" || child.name == "mtr" || child.name == "mtd")
      Flatten(child.children, line);
    else
      line.push_back(&child);
  }
}

// Arithmetic as a reader of the page does it.
class Reader {
 public:
  Reader(const std::vector<Element>& shown, const std::vector<double>& x) : x_(x) { Flatten(shown, line_); }

  double Value() {
    const double value = Sum();
    if (next_ < line_.size()) throw std::runtime_error("what is " + line_[next_]->Text());
    return value;
  }

 private:
  bool Take(const std::string& sign) {
    if (next_ >= line_.size() || line_[next_]->name != "mo" || line_[next_]->Text() != sign) return false;
    ++next_;
    return true;
  }
  double Sum() {
    double sum = Take("−") ? -Product() : Product();
    for (;;) {
      if (Take("+"))
        sum += Product();
      else if (Take("−"))
        sum -= Product();
      else
        return sum;
    }
  }
  double Product() {
    double product = Factor();
    while (Take("·")) product *= Factor();
    return product;
  }
  double Part(const Element& element, size_t child) const {
    return Reader({element.children.at(child)}, x_).Value();
  }
  std::vector<double> Bracketed(const std::string& close) {
    std::vector<double> values;
    do values.push_back(Sum());
    while (Take(","));
    if (!Take(close)) throw std::runtime_error("no " + close);
    return values;
  }
  double Factor() {
    if (Take("(")) return Bracketed(")").at(0);
    if (Take("|")) return std::abs(Bracketed("|").at(0));
    const Element& e = *line_.at(next_++);
    if (e.name == "mn") return std::stod(e.Text());
    if (e.name == "mfrac") return Part(e, 0) / Part(e, 1);
    if (e.name == "msqrt") return std::sqrt(Reader(e.children, x_).Value());
    if (e.name == "msup")
      return e.children[0].Text() == "e" ? std::exp(Part(e, 1)) : std::pow(Part(e, 0), Part(e, 1));
    if (!Take("\u2061")) {
      if (e.name != "mi") throw std::runtime_error("no operand: " + e.Text());
      return e.Text() == "t" ? 7 : x_.at(std::stoul(e.Text().substr(1)));
    }
    if (!Take("(")) throw std::runtime_error("a function without brackets");
    const std::vector<double> of = Bracketed(")");
    const std::string f = e.Text();
    if (f == "max") return *std::max_element(of.begin(), of.end());
    if (f == "min") return *std::min_element(of.begin(), of.end());
    return f == "sin"     ? std::sin(of[0])
           : f == "cos"   ? std::cos(of[0])
           : f == "tanh"  ? std::tanh(of[0])
           : f == "exp"   ? std::exp(of[0])
           : f == "ln"    ? std::log(of[0])
           : f == "log10" ? std::log10(of[0])
           : f == "delay" ? of[0]
                          : throw std::runtime_error("what is " + f);
  }

  std::vector<const Element*> line_;
  const std::vector<double>& x_;
  size_t next_ = 0;
};

TEST(Mathml, ReadsBackToTheTreesValue) {
  RandomTrees trees(20, 4);
  // A subscript would read as another name.
  const auto name = [](int place) { return std::string("x") + static_cast<char>('0' + place) + "x"; };
  int finite = 0;
  for (int i = 0; i < 3000; ++i) {
    const Stream tree = trees.Number(1 + i % 6);
    const std::vector<double> x = trees.Point(4, -2, 2);
    const double expected = Interpret<double>(tree, x);
    if (!std::isfinite(expected) || std::abs(expected) > 1e12) continue;
    // Nor where the last digit decides, as in the sine of a large power: C libraries round powers another way.
    std::vector<double> near = x;
    for (double& value : near) value *= 1 + 1e-14;
    if (std::abs(Interpret<double>(tree, near) - expected) > 1e-9 * std::max(1.0, std::abs(expected)))
      continue;
    ++finite;
    const std::string mathml = FormulaMathml(tree, name, i % 2 ? 20 : 1e9);
    SCOPED_TRACE(FormulaText(tree, name) + "\n" + mathml);
    const double found = Reader(ReadMarkup(mathml).children, x).Value();
    ASSERT_NEAR(found, expected, 1e-8 * std::max(1.0, std::abs(expected)));
  }
  EXPECT_GT(finite, 1500);
}

// Depth is no limit, and a wide sum is broken into lines that each fit.
TEST(Mathml, LongSums) {
  Stream sum = {Token::Code(20), Token::Variable(0)};
  const int terms = 20000;
  for (int i = 1; i < terms; ++i) sum.push_back(Token::Code(19));
  for (int i = 0; i < terms; ++i) sum.push_back(Token::Variable(1));
  const EquationMathml equation = ToMathml(sum, [](int place) { return place ? "TERM" : "TOTAL"; });
  const Element lines = ReadMarkup(equation.right);
  EXPECT_EQ(lines.All("mi").size(), static_cast<size_t>(terms));
  for (const Element* row : lines.All("mtr")) ASSERT_LE(row->All("mi").size(), 12u);
}

}  // namespace
}  // namespace quiver
