// SPDX-License-Identifier: Apache-2.0
// What an equation's text becomes in the stream. Every row gives the text and, as the equation's name, the tokens that
// must come of it; a condition's label holds the tokens of the condition.
#include "frame/model.h"
#include "tests/support/test_sheet.h"

using namespace quiver::tests;

struct QV_STREAMS : QV_GENERICMODEL {
  MODEL_TEXT(STREAMS)

  GLOBAL(EPS)
  PARAMETER(QV_REALPARAMETER, K)
  PARAMETER(QV_INTEGERPARAMETER, N)
  PARAMETER(QV_YESNO, OPT)
  EXTERNAL(QV_YESNO, OUTER)
  SET(QV_INTEGERSET, PLACES)
  SET(QV_INTEGERSET, NOTHING)
  VARIABLE(QV_CONSTANT, X)
  VARIABLE(QV_CONSTANT, Y)
  VARIABLE(QV_CONSTANT, Z)
  ARRAY(QV_CONSTANT, V, OVER(PLACES))
  ARRAY(QV_CONSTANT, W, OVER(ComponentList, PLACES))

  void Assignments(Assigner& set) {
    set.range(PLACES, 3);
    set(OPT, "Yes");
  }

  void Equations(Equate& eq) {
    const auto row = [&](const char* tokens, quiver::frame::EquationText text) { eq(tokens, text); };

    // A literal on the right of a lone variable; nothing else is folded.
    row("19 -1.0 X", X == 1);
    row("19 -0.5 X", X == 0.5);
    row("19 2.0 X", X == -2);
    row("1 X", X == 0);
    row("1 X", X == 0.0);
    row("1 EPS", EPS == 0);
    row("1 V(2)", V(2) == 0);
    row("20 i1 X", 1 == X);
    row("20 0.0 X", 0.0 == X);
    row("20 X K", X == K);
    row("20 X EPS", X == EPS);
    row("20 X N", X == N);
    row("20 19 X Y i1", X + Y == 1);
    row("20 15 X 1.0", -X == 1.0);
    row("20 X 21 i1 i3", X == lit(1) * 3);

    // Zero on the right leaves the bare left side.
    row("19 X Y", X + Y == 0);
    row("15 X", -X == 0);
    row("35 X", sqrt(X) == 0.0);
    row("20 19 X Y 1e-300", X + Y == 1e-300);

    // Literals keep their kind; a negated literal is a negative literal.
    row("20 21 i2 X 21 2.0 X", 2 * X == 2.0 * X);
    row("20 19 -1.0 K X", -1.0 + K == X);
    row("20 19 i-1 K X", -1 + K == X);
    row("20 20 X i-3 Y", X - -3 == Y);
    row("20 19 -1.0 15 K X", -1.0 + -K == X);
    row("20 21 0.2271305223166002 X Y", 0.2271305223166002 * X == Y);

    // To the left, brackets kept, nothing regrouped, repeated terms repeated.
    row("20 20 20 X Y Z K", X - Y - Z == K);
    row("20 20 X 20 Y Z K", X - (Y - Z) == K);
    row("20 22 21 X Y Z K", X * Y / Z == K);
    row("20 21 X 22 Y Z K", X * (Y / Z) == K);
    row("20 19 X 21 Y Z K", X + Y * Z == K);
    row("20 21 19 X Y Z K", (X + Y) * Z == K);
    row("20 21 X X 40 X", X * X == sqr(X));
    row("20 15 15 X 15 19 X Y", -(-X) == -(X + Y));
    row("20 24 24 X i2 K Y", pow(pow(X, 2), K) == Y);

    // A named part used several times is written out every time.
    const auto part = X / K;
    row("20 19 22 X K 21 22 X K 22 X K 22 X K", part + part * part == part);

    // Every function and operator code.
    row("20 26 X 27 X", sin(X) == cos(X));
    row("20 34 X 36 X", tanh(X) == exp(X));
    row("20 37 X 38 X", ln(X) == log10(X));
    row("20 39 X 35 X", abs(X) == sqrt(X));
    row("20 98 X 0.0 99 i1 X", max(X, 0.0) == min(1, X));
    row("20 57 X Y 55", delay(X, Y) == simulation_time());
    row("20 24 10.0 X 24 X 0.5", pow(10.0, X) == pow(X, 0.5));

    // Lists: whole slices, single operands, one term per element, nothing at all.
    row("19 -1.0 V(3)", V(3) == 1);
    row("20 44 V 0 i1", sigma(V) == 1);
    row("20 19 -1.0 44 V 0 X", -1 * 1.0 + sigma(V) == X);
    row("20 45 V X 2.0 0 K", product(V, X, 2.0) == K);
    row("20 46 X Y 0 47 X 19 Y Z K 0", maxof(X, Y) == minof(X, Y + Z, K));
    row("20 44 21 V(1) K 21 V(2) K 21 V(3) K 0 X", sigma(*PLACES, [&](int i) { return V(i) * K; }) == X);
    row("20 44 W(A,2) W(B,2) 0 45 19 W(A,1) i1 19 W(B,1) i1 0",
        sigma(
            *ComponentList, [&](const char* c) -> auto& { return W(c, 2); }) ==
            product(*ComponentList, [&](const char* c) { return W(c, 1) + 1; }));
    row("20 44 44 W(A,1) W(B,1) 0 44 W(A,2) W(B,2) 0 44 W(A,3) W(B,3) 0 0 X",
        sigma(*PLACES, [&](int i) {
          return sigma(
              *ComponentList, [&](const char* c) -> auto& { return W(c, i); });
        }) == X);
    row("20 44 0 X", sigma(*NOTHING, [&](int i) { return V(i) * K; }) == X);

    // An iterator stands for its element.
    QV_IntegerSetIter place(*PLACES);
    while (place.Next())
      if (place.Value() == 2) row("20 21 i2 V(2) X", place * V(place.Value()) == X);
    eq.each(PLACES, [&](int i) {
      if (i == 3) row("20 V(3) V(2)", V(i) == V(i - 1));
    });

    // Conditions: literals of texts first, codes 5, 6, 8 to 13, nested as bracketed.
    const auto tested = [&](const char* tokens, quiver::frame::Condition condition) {
      eq.given(tokens, condition, [&] { row("20 X Y", X == Y); });
    };
    tested("12 X Y", X < Y);
    tested("10 X 18.5", X <= 18.5);
    tested("9 X i0", X > 0);
    tested("11 i0 X", 0 >= X);
    tested("8 'Yes' OPT", same(OPT, "Yes"));
    tested("13 'No' OUTER", differs(OUTER, "No"));
    tested("5 5 9 X Y 9 Y Z 9 Z K", X > Y && Y > Z && Z > K);
    tested("5 9 X Y 6 9 Y Z 8 'No' OPT", X > Y && (Y > Z || same(OPT, "No")));
    tested("6 5 12 X 26 Y 10 39 X V(1) 9 44 V 0 EPS", (X < sin(Y) && abs(X) <= V(1)) || sigma(V) > EPS);
    const auto twice = X > Y;
    tested("6 9 X Y 5 9 X Y 9 Y Z", twice || (twice && Y > Z));
  }
};

TEST(Streams, AreWhatTheTextSays) {
  TestSheet sheet;
  sheet.sheet.SetComponents({"A", "B"});
  auto& model = sheet.Add<QV_STREAMS>("m");
  sheet.Size();
  const auto all = sheet.Equations(model);
  ASSERT_EQ(all.equations.size(), 63u);
  for (const auto& equation : all.equations) {
    EXPECT_EQ(Tokens(equation.tokens), equation.name);
    for (const auto& condition : equation.conditions) EXPECT_EQ(Tokens(condition.tokens), condition.label);
  }
}

// A slice is one token, but an occurrence per element; occurrences of parameters count too.
TEST(Streams, OccurrencesFollowTheTokens) {
  TestSheet sheet;
  sheet.sheet.SetComponents({"A"});
  auto& model = sheet.Add<QV_STREAMS>("m");
  sheet.Size();
  std::map<std::string, std::string> occurrences;
  for (const auto& e : sheet.Equations(model).equations)
    occurrences[e.name + (e.conditions.empty() ? "" : " if " + e.conditions[0].label)] =
        fmt::format("{}", fmt::join(e.nonzeros, " "));
  EXPECT_EQ(occurrences["20 45 V X 2.0 0 K"], "V(1) V(2) V(3) X K");
  EXPECT_EQ(occurrences["20 21 X X 40 X"], "X X X");
  EXPECT_EQ(occurrences["20 44 0 X"], "X");
  EXPECT_EQ(occurrences["20 21 i2 V(2) X"], "V(2) X");
  EXPECT_EQ(occurrences["20 X Y if 5 9 X Y 6 9 Y Z 8 'No' OPT"], "X Y X Y Y Z OPT");
}
