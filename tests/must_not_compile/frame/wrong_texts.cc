// SPDX-License-Identifier: Apache-2.0
// Model texts that must not compile: CASE picks the line; 0 is right, and compiles.
#include "frame/model.h"
#include "procedures/calls.h"

struct QV_WRONG : QV_GENERICMODEL {
  MODEL_TEXT(WRONG)
  GLOBAL(EPS)
  PARAMETER(QV_YESNO, OPT)
  PARAMETER(QV_YESNO, OTHER)
  PARAMETER(QV_REALPARAMETER, K)
  EXTERNAL(QV_STRINGPARAMETER, OUTER)
  SET(QV_INTEGERSET, PLACES)
  VARIABLE(QV_CONSTANT, X)
  VARIABLE(QV_CONSTANT, Y)
  ARRAY(QV_CONSTANT, V, OVER(PLACES))
  ARRAY(QV_CONSTANT, W, OVER(ComponentList, PLACES))

  void Assignments([[maybe_unused]] Assigner& set) {
#if CASE == 9
    if (is(K, "Yes")) set(X, 1.0);
#endif
  }
  void Equations(Equate& eq) {
    eq("right", X == PLIMIT(Y, K, EPS));
    eq.given("right", same(OPT, "Yes") || X > V(1), [&] { eq("right", W("a", 1) == sigma(V)); });
#if CASE == 1
    eq("too few", X == PLIMIT(Y, K));
#elif CASE == 2
    eq("a text for a number", X == PLIMIT(Y, K, OPT));
#elif CASE == 3
    eq("an array for a number", X == PLIMIT(Y, K, V));
#elif CASE == 4
    eq("another number of outputs", outputs(X, Y) == PLIMIT(Y, K, EPS));
#elif CASE == 5
    eq("an array as output", V == PLIMIT(Y, K, EPS));
#elif CASE == 6
    eq("two texts", OPT == OTHER);
#elif CASE == 7
    eq("a text in a sum", X == Y + OPT);
#elif CASE == 8
    eq("a set in a sum", X == PLACES * 2);
#elif CASE == 10
    eq.given("a number as a text", same(K, "Yes"), []{});
#elif CASE == 11
    eq.given("an equation for a condition", X == Y, [] {});
#endif
  }
};
EXPORT_MODEL(WRONG)
