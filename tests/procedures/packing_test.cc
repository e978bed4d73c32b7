// SPDX-License-Identifier: Apache-2.0
// What a routine sees: every type of argument, by value and by reference, for both kinds of language; and
// what it gives back.
#include "host/arrays.h"
#include "tests/procedures/routine_double.h"

using namespace quiver;
using namespace quiver::tests;
using testing::ElementsAre;

#define PACKING_PROCEDURE(DO)                                                                 \
  DO(TMIXED, "mixed", "Test", 7, 3, 1, "r* i* s* r[n]* i[n]* s[n]* r[n,n]*", "r[n,n] i r", 0) \
  DO(TSCALARS, "scalars", "Test", 5, 1, 1, "r* i s r* r*", "r", kDerivatives)                 \
  DO(TGIVEBACK, "give_back", "Test", 5, 1, 1, "r* r* i* s* r", "r", 0)                        \
  DO(TTEXT, "text", "Test", 1, 2, 1, "s*", "s s[n]", 0)
#define DECLARE(...) QV_DECLARE_PROCEDURE(, __VA_ARGS__)
#define DEFINE(NAME, ...) QV_DEFINE_PROCEDURE(NAME)
PACKING_PROCEDURE(DECLARE)
PACKING_PROCEDURE(DEFINE)

namespace {

void AssignSet(QV_VarParam& holder, QV_SetValue&& values) {
  QV_Value value(values);
  ASSERT_EQ(holder.Assign(&value), 0);
}
struct Sizes {
  QV_INTEGERSET two{true}, three{true};
  Sizes() {
    AssignSet(two, QV_IntSetValue("1\":2\""));
    AssignSet(three, QV_IntSetValue("1\":3\""));
  }
};
template <class Array>
void HandOver(QV_DynamicProcExtensions& procedure, Array& array, std::initializer_list<int> sizes) {
  procedure.Argument();
  for (const int size : sizes) procedure.SetDimensionSize(size);
  for (long long i = 0; i < array.Count(); ++i) procedure.Element(static_cast<QV_VarParam&>(array.At(i)));
}

class MixedArguments : public testing::TestWithParam<int> {};

TEST_P(MixedArguments, lie_where_the_offsets_say) {
  const int base = GetParam();
  Sizes sets;
  QV_REALVARIABLE x(true), last(true);
  QV_INTEGERPARAMETER whole(true), whole_output(true);
  QV_STRINGPARAMETER text(true);
  QV_ARRAY_I<QV_REALVARIABLE> reals;
  QV_ARRAY_I<QV_INTEGERPARAMETER> wholes;
  QV_ARRAY_I<QV_STRINGPARAMETER> texts;
  QV_ARRAY_II<QV_REALVARIABLE> matrix, result;
  reals.SetDim(*sets.three);
  wholes.SetDim(*sets.two);
  texts.SetDim(*sets.two);
  matrix.SetDim(*sets.two, *sets.two);
  result.SetDim(*sets.three, *sets.two);
  Give(x, 1.5);
  whole.SetCurrentValue(-7);
  text.SetCurrentValue("LINEAR");
  for (int i = 1; i <= 3; ++i) Give(reals(i), 10.0 * i);
  for (int i = 1; i <= 2; ++i) {
    wholes(i).SetCurrentValue(100 * i);
    texts(i).SetCurrentValue(i == 1 ? "first" : "second");
    for (int j = 1; j <= 2; ++j) Give(matrix(i, j), 10.0 * i + j);
    for (int k = 1; k <= 3; ++k) Give(result(k, i), 0.5);
  }
  whole_output.SetCurrentValue(40);
  Give(last, 2.0);

  RoutineDouble routine(
      [base](RoutineCall& c) {
        c.values -= base;  // as the arrays of that language count
        c.outputs -= base;
        const auto text_at = [&](int argument, int slots) {
          return std::string(reinterpret_cast<const char*>(&c.Input(argument, slots)));
        };
        EXPECT_EQ(c.Input(0), 1.5);
        EXPECT_EQ(c.Whole(1), -7);
        EXPECT_EQ(text_at(2, 0), "LINEAR");
        EXPECT_THAT(std::vector<double>(&c.Input(3), &c.Input(3, 3)), ElementsAre(10, 20, 30));
        EXPECT_EQ(c.Whole(4, 1), 200);
        if (base == 0) {  // an array of texts opens with pointers to them
          for (int k = 0; k < 2; ++k) {
            const char* pointed;
            std::memcpy(&pointed, &c.Input(5, k), sizeof pointed);
            EXPECT_EQ(pointed, reinterpret_cast<const char*>(&c.Input(5, 2 + 32 * k)));
            EXPECT_STREQ(pointed, k == 0 ? "first" : "second");
          }
        } else {
          EXPECT_EQ(text_at(5, 0), "first");
          EXPECT_EQ(text_at(5, 32), "second");
        }
        EXPECT_THAT(std::vector<double>(&c.Input(6), &c.Input(6, 4)), ElementsAre(11, 12, 21, 22));
        EXPECT_THAT(std::vector<long long>(c.input_sizes, c.input_sizes + 5), ElementsAre(3, 2, 2, 2, 2));
        EXPECT_THAT(std::vector<long long>(c.output_sizes, c.output_sizes + 2), ElementsAre(3, 2));
        EXPECT_EQ(c.output_sizes, c.input_sizes + 5);
        EXPECT_EQ(c.input_offsets[0], base);
        const int text_array = base == 0 ? 2 + 64 : 64;
        EXPECT_EQ(c.output_offsets[0], base + 1 + 1 + 32 + 3 + 2 + text_array + 4);
        EXPECT_EQ(c.output_offsets[2], c.output_offsets[0] + 7);
        EXPECT_EQ(*c.input_count, 1 + 1 + 1 + 3 + 2 + 2 + 4);
        EXPECT_EQ(*c.output_count, 8);
        for (int k = 0; k < 6; ++k) c.Output(0, k) = k;
        const long long minus_two = -2;
        std::memcpy(&c.Output(1), &minus_two, sizeof minus_two);
        c.Output(2) = 9.0;
      },
      base);
  QVProc_TMIXED procedure(true, 0);
  GiveTwice(procedure, [&](auto& p) {
    p.Argument(x), p.Argument(whole), p.Argument(text);
    HandOver(p, reals, {3}), HandOver(p, wholes, {2}), HandOver(p, texts, {2}), HandOver(p, matrix, {2, 2});
    HandOver(p, result, {3, 2});
    p.Argument(whole_output), p.Argument(last);
  });
  double r[9];
  int i = 1;
  ASSERT_EQ(procedure.Residuals(r, i), 0) << LastProcedureFault().sentence;
  EXPECT_EQ(i, 9);
  EXPECT_THAT(std::vector<double>(r + 1, r + 9), ElementsAre(0.5, -0.5, -1.5, -2.5, -3.5, -4.5, 42, -7));
}
INSTANTIATE_TEST_SUITE_P(of_both_languages, MixedArguments, testing::Values(0, 1));

// The routine counts constants among its inputs; the rows that the host reads are by element.
TEST(Packing, constants_and_iterators_by_value) {
  Sizes sets;
  QV_STRINGSET names(true);
  AssignSet(names, QV_StrSetValue("water\"ethanol\""));
  QV_REALVARIABLE a(true), b(true), y(true);
  Give(a, 2.0), Give(b, 3.0), Give(y, 0.0);
  RoutineDouble routine([](RoutineCall& c) {
    EXPECT_EQ(c.Whole(1), 3);
    EXPECT_STREQ(reinterpret_cast<const char*>(&c.Input(2)), "ethanol");
    EXPECT_EQ(c.Input(3), 0.25);
    EXPECT_EQ(*c.input_count, 5);
    c.Output(0) = c.Input(0) * c.Input(4);
    for (int k = 0; k < 5; ++k) c.derivatives[k * *c.derivative_dimension] = 100.0 + k;
  });
  QVProc_TSCALARS procedure(true, 0);
  for (int pass = 0; pass < 2; ++pass) {
    QV_IntegerSetIter number(*sets.three);
    QV_StringSetIter name(*names);
    while (number.Next()) {
    }
    number = QV_IntegerSetIter(*sets.three);
    number.Next(), number.Next(), number.Next();
    name.Next(), name.Next();
    procedure.Argument(a), procedure.Argument(number), procedure.Argument(name);
    procedure.Argument(0.25), procedure.Argument(b), procedure.Argument(y);
    procedure.LastArgument();
  }
  double r[1], rows[3];
  for (int time = 0; time < 2; ++time) {  // the second time without a call: signs are not turned again
    ASSERT_TRUE(EvaluateProcedure(procedure, r, rows)) << LastProcedureFault().sentence;
    EXPECT_EQ(r[0], -6.0);
    EXPECT_THAT(rows, ElementsAre(-100, -104, 1));
  }
  EXPECT_THAT(routine.types, ElementsAre(4));
}

TEST(Packing, texts_are_compared_and_never_cut) {
  QV_STRINGPARAMETER in(true), out(true), one(true), two(true);
  out.SetCurrentValue("A"), one.SetCurrentValue("B"), two.SetCurrentValue("other");
  in.SetCurrentValue(std::string(255, 'x').c_str());
  RoutineDouble routine([](RoutineCall& c) {
    std::strcpy(reinterpret_cast<char*>(&c.Output(0)), "A");
    for (int k = 0; k < 2; ++k) {
      char* pointed;
      std::memcpy(&pointed, &c.Output(1, k), sizeof pointed);
      std::strcpy(pointed, k == 0 ? "B" : "C");
    }
  });
  QVProc_TTEXT procedure(true, 0);
  GiveTwice(procedure, [&](auto& p) {
    p.Argument(in), p.Argument(out), p.Argument(), p.SetDimensionSize(2), p.Element(one), p.Element(two);
  });
  double r[3];
  int i = 0;
  ASSERT_EQ(procedure.Residuals(r, i), 0) << LastProcedureFault().sentence;
  EXPECT_THAT(r, ElementsAre(0, 0, 1));

  in.SetCurrentValue(std::string(256, 'x').c_str());
  i = 0;
  EXPECT_EQ(procedure.Residuals(r, i), kArgumentsUnfit);
  EXPECT_EQ(LastProcedureFault().sentence, "Routine text of library Test: the text \"" +
                                               std::string(40, 'x') +
                                               "...\" has 256 characters; a routine takes at most 255.");
  EXPECT_EQ(routine.types.size(), 1u);
  in.SetCurrentValue("short");
  i = 0;
  EXPECT_EQ(procedure.Residuals(r, i), 0);
}

// Inputs come back by the route by which they got their value; inputs that are not flagged are left alone.
TEST(Packing, outputs_go_in_and_changed_inputs_come_back) {
  QV_REALVARIABLE by_default(true), by_solution(true), unflagged(true), y(true);
  QV_INTEGERPARAMETER whole(true);
  QV_STRINGPARAMETER text(true);
  QV_Value start(1.0);
  by_default.Assign(&start);
  Give(by_solution, 2.0), Give(unflagged, 8.0), Give(y, 77.0), whole.SetCurrentValue(3),
      text.SetCurrentValue("old");
  RoutineDouble routine([](RoutineCall& c) {
    EXPECT_EQ(c.Output(0), 77.0);
    c.Input(0) += 10, c.Input(1) += 10, c.Input(4) += 10;
    const long long four = 4;
    std::memcpy(&c.Input(2), &four, sizeof four);
    std::strcpy(reinterpret_cast<char*>(&c.Input(3)), "new");
    c.Output(0) = 5;
  });
  routine.found.preset_outputs = routine.found.postset_inputs = true;
  QVProc_TGIVEBACK procedure(true, 0);
  GiveTwice(procedure, All(by_default, by_solution, whole, text, unflagged, y));
  double r[1];
  int i = 0;
  const long long before = InputsChangedByRoutines();
  ASSERT_EQ(procedure.Residuals(r, i), 0);
  EXPECT_EQ(r[0], 72.0);
  EXPECT_EQ(by_default.RealValue(), 11.0);
  EXPECT_TRUE(by_default.HoldsDefault());
  EXPECT_EQ(by_solution.RealValue(), 12.0);
  EXPECT_EQ(unflagged.RealValue(), 8.0);
  EXPECT_EQ(whole.IntegerValue(), 4);
  EXPECT_STREQ(text.StringValue(), "new");
  EXPECT_EQ(InputsChangedByRoutines() - before, 4);
}

TEST(Packing, the_sixteen_pointer_form_has_two_lasting_work_arrays) {
  QV_REALVARIABLE a(true), y(true);
  Give(a, 4.0), Give(y, 0.0);
  int calls = 0;
  RoutineDouble routine(
      [&](RoutineCall& c) {
        for (double* work : c.work) {
          ASSERT_NE(work, nullptr);
          for (int k = 0; k < 5; ++k)
            EXPECT_EQ(work[k], calls * k);  // as long as the derivatives: 1 output, 5 inputs
          for (int k = 0; k < 5; ++k) work[k] = k;
        }
        ++calls;
        c.Output(0) = 1.0;
      },
      0, true);
  QVProc_TSCALARS procedure(true, 0);
  EXPECT_EQ(procedure.GetProcedureAddress(), nullptr);
  GiveTwice(procedure, [&](auto& p) {
    p.Argument(a), p.Argument(1), p.Argument("t"), p.Argument(a), p.Argument(a), p.Argument(y);
  });
  double r[1];
  for (const double value : {4.0, 5.0}) {
    Give(a, value);
    int i = 0;
    ASSERT_EQ(procedure.Residuals(r, i), 0);
  }
  EXPECT_EQ(calls, 2);
  EXPECT_NE(routine.work[0], routine.work[1]);
}

TEST(Packing, copies_have_their_own_slots_constants_and_sizes) {
  QV_REALVARIABLE a(true), b(true), y(true);
  Give(a, 2.0), Give(b, 5.0), Give(y, 0.0);
  RoutineDouble routine(
      [](RoutineCall& c) { c.Output(0) = c.Input(0) + c.Input(3) + static_cast<double>(c.Whole(1)); });
  const auto list = [&](QV_VarParam& first) {
    return [&](auto& p) {
      p.Argument(first), p.Argument(30), p.Argument("name"), p.Argument(0.5), p.Argument(b), p.Argument(y);
    };
  };
  auto* original = new QVProc_TSCALARS(true, 0);
  GiveTwice(*original, list(a));
  QVProc_TSCALARS copy(*original), assigned(true, 0);
  QV_REALVARIABLE other(true);
  Give(other, 100.0);
  GiveTwice(assigned, list(other));
  double r[1];
  int i = 0;
  ASSERT_EQ(assigned.Residuals(r, i),
            0);  // has slots, elements and a last call of its own, all to be replaced
  EXPECT_EQ(r[0], -130.5);
  assigned = *original;
  delete original;
  for (QVProc_TSCALARS* one : {&copy, &assigned}) {
    Give(a, a.RealValue() + 1);
    i = 0;
    ASSERT_EQ(one->Residuals(r, i), 0) << LastProcedureFault().sentence;
    EXPECT_EQ(r[0], -(a.RealValue() + 30.5));
    EXPECT_STREQ(one->GetStringArg(2), "name");
    EXPECT_EQ(one->GetOffset(3), 34);
  }
}

}  // namespace
