// SPDX-License-Identifier: Apache-2.0
// Who may give a holder its value, what values it takes, and what it answers.
#include <cmath>

#include "frame/model.h"
#include "host/modeller/variable_types.h"
#include "tests/support/test_sheet.h"

using namespace quiver;
using namespace quiver::tests;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {
class LEVEL : public QV_INTEGERPARAMETER {
 public:
  using QV_INTEGERPARAMETER::QV_INTEGERPARAMETER;
  QV_Value* QV_DefaultVALID() override {
    static QV_IntSetValue values("1\":3\"7\"");
    static QV_Value valid(values);
    return &valid;
  }
};
}  // namespace

struct QV_VALUES : QV_GENERICMODEL {
  MODEL_TEXT(VALUES)
  GLOBAL(UCF)
  PARAMETER(QV_REALPARAMETER, R)
  PARAMETER(QV_INTEGERPARAMETER, I)
  PARAMETER(QV_LOGICALPARAMETER, B)
  PARAMETER(QV_STRINGPARAMETER, T)
  PARAMETER(QV_YESNO, OPT)
  PARAMETER(LEVEL, CHOICE)
  SET(QV_INTEGERSET, PLACES)
  VARIABLE(QV_FRACTION, X)
  ARRAY(QV_FRACTION, A, OVER(PLACES))
};

class Values : public testing::Test {
 protected:
  TestSheet sheet_;
  QV_VALUES& m = sheet_.Add<QV_VALUES>("m");
  template <class Value>
  static int Assign(QV_VarParamProp& target, Value value) {
    QV_Value v(value, 0, 1, 1);
    return target.Assign(&v);
  }
  // The sentence of the refusal; empty when the value was taken.
  template <class Value>
  std::string Refusal(QV_VarParamProp& target, Value value) {
    const CurrentGuard guard({&sheet_.sheet.scope(), &InstanceOf(m), nullptr, nullptr});
    sheet_.sheet.scope().faults.clear();
    const int status = Assign(target, value);
    const auto& faults = sheet_.faults();
    EXPECT_EQ(status < 0, !faults.empty());
    return faults.empty() ? "" : faults[0];
  }
};

TEST_F(Values, AHolderIsSmall) {
  EXPECT_EQ(sizeof(QV_REALVARIABLE), 48u);
  EXPECT_EQ(sizeof(QV_YESNO), 48u);
  EXPECT_EQ(sizeof(QV_INTEGERSET), 48u);
}

TEST_F(Values, UserBeforeSolutionBeforeAssignmentBeforeDefault) {
  EXPECT_EQ(m.X.RealValue(), 0.5);  // the type's
  EXPECT_TRUE(m.X.HoldsDefault());
  EXPECT_EQ(Assign(m.X, 0.25), 0);
  EXPECT_EQ(Assign(m.X, 0.2), 0);  // a later assignment of the model's replaces an earlier
  EXPECT_EQ(m.X.RealValue(), 0.2);
  EXPECT_TRUE(m.X.HoldsDefault());
  m.X.SetCurrentValue(0.7);
  EXPECT_FALSE(m.X.HoldsDefault());
  EXPECT_EQ(Assign(m.X, 0.1), 0);
  EXPECT_EQ(m.X.RealValue(), 0.7);
  TestSheet::Give(m.X, 0.9);
  EXPECT_EQ(Assign(m.X, 0.1), 0);
  EXPECT_EQ(m.X.RealValue(), 0.9);
  m.X.SetCurrentValue(0.95);  // a solution moves the value, it stays the user's
  EXPECT_EQ(Assign(m.X, 0.1), 0);
  EXPECT_EQ(m.X.RealValue(), 0.95);
  EXPECT_EQ(HostAccess::OriginOf(m.X), Origin::kUser);
}

TEST_F(Values, BoundsAndKindAreTargetsOfTheirOwn) {
  EXPECT_EQ(m.X.LowerBound(), 0.0);
  EXPECT_EQ(m.X.UpperBound(), 1.0);
  EXPECT_EQ(m.R.LowerBound(), -HUGE_VAL);
  EXPECT_EQ(Assign(m.X.Lower(), -1), 0);
  EXPECT_EQ(Assign(m.X.Upper(), 2.5), 0);
  EXPECT_EQ(Assign(m.X.Spec(), QV_SPEC_GIVEN), 0);
  EXPECT_THAT((std::vector{m.X.LowerBound(), m.X.UpperBound(), m.X.RealValue()}), ElementsAre(-1, 2.5, 0.5));
  EXPECT_EQ(HostAccess::SpecOf(m.X), QV_SPEC_GIVEN);
  EXPECT_EQ(Assign(m.X, QV_SPEC_COMPUTED), 0);
  EXPECT_EQ(HostAccess::SpecOf(m.X), QV_SPEC_COMPUTED);
  EXPECT_TRUE(m.X.HoldsDefault());
  EXPECT_THAT(Refusal(m.X.Lower(), "low"), HasSubstr("m.X"));
  EXPECT_THAT(Refusal(m.X.Spec(), "Given"), HasSubstr("m.X"));
  EXPECT_THAT(Refusal(m.X.Spec(), std::nan("")), HasSubstr("m.X"));
  EXPECT_EQ(HostAccess::SpecOf(m.X), QV_SPEC_COMPUTED);
  QV_VarParamProp& lower_of_x = m.X.Lower();
  QV_VarParamProp& upper_of_r = m.R.Upper();
  EXPECT_EQ(Assign(lower_of_x, -3.0) | Assign(upper_of_r, 4.0), 0);
  EXPECT_EQ(m.X.LowerBound(), -3.0);
  EXPECT_EQ(m.R.UpperBound(), 4.0);
}

TEST_F(Values, ConvertWhatFits) {
  EXPECT_EQ(Refusal(m.R, 3), "");
  EXPECT_EQ(m.R.RealValue(), 3.0);
  EXPECT_EQ(Refusal(m.I, -4.0), "");
  EXPECT_EQ(m.I.IntegerValue(), -4);
  EXPECT_EQ(m.I.RealValue(), -4.0);
  for (const char* yes : {"Yes", "TRUE", "yes"}) {
    EXPECT_EQ(Refusal(m.B, false), "");
    EXPECT_EQ(Refusal(m.B, yes), "");
    EXPECT_TRUE(m.B.LogicalValue());
  }
  EXPECT_EQ(Refusal(m.B, 0), "");
  EXPECT_FALSE(m.B.LogicalValue());
  EXPECT_EQ(Refusal(m.OPT, "yES"), "");
  EXPECT_TRUE(m.OPT.LogicalValue());
  EXPECT_EQ(Refusal(m.T, static_cast<const char*>(nullptr)), "");
  EXPECT_STREQ(m.T.StringValue(), "");
  EXPECT_EQ(Refusal(m.CHOICE, 7), "");
  m.I.SetCurrentValue(12);
  m.T.SetCurrentValue("some text");
  EXPECT_EQ(m.I.IntegerValue(), 12);
  EXPECT_STREQ(m.T.StringValue(), "some text");
}

TEST_F(Values, RefuseWhatDoesNotFitAndKeepWhatTheyHave) {
  EXPECT_EQ(Refusal(m.I, 5) + Refusal(m.T, "a") + Refusal(m.OPT, "No") + Refusal(m.CHOICE, 2), "");
  EXPECT_THAT(Refusal(m.R, "six"),
              testing::AllOf(HasSubstr("m.R"), HasSubstr("number"), HasSubstr("\"six\"")));
  EXPECT_THAT(Refusal(m.R, true), HasSubstr("number"));
  EXPECT_THAT(Refusal(m.R, std::nan("")), HasSubstr("m.R"));
  EXPECT_THAT(Refusal(m.I, 5.5), HasSubstr("whole number"));
  EXPECT_THAT(Refusal(m.I, 3e9), HasSubstr("whole number"));
  EXPECT_THAT(Refusal(m.B, 2), HasSubstr("true or false"));
  EXPECT_THAT(Refusal(m.B, "maybe"), HasSubstr("true or false"));
  EXPECT_THAT(Refusal(m.T, 1.0), HasSubstr("text"));
  EXPECT_THAT(Refusal(m.OPT, "Perhaps"), testing::AllOf(HasSubstr("m.OPT"), HasSubstr("\"Yes\"")));
  EXPECT_THAT(Refusal(m.CHOICE, 4), testing::AllOf(HasSubstr("m.CHOICE"), HasSubstr("7")));
  EXPECT_THAT(Refusal(m.PLACES, 3), HasSubstr("set"));
  EXPECT_THAT(m.I.IntegerValue(), 5);
  EXPECT_STREQ(m.T.StringValue(), "a");
  EXPECT_STREQ(m.OPT.StringValue(), "No");
  EXPECT_EQ(m.CHOICE.IntegerValue(), 2);
  EXPECT_LT(m.R.Assign(nullptr), 0);
}

TEST_F(Values, CopiesCarryTheValueNotTheIdentity) {
  TestSheet::Give(m.X, 0.75);
  Assign(m.X.Upper(), 0.8);
  QV_FRACTION copy = m.X;
  EXPECT_EQ(HostAccess::Number(copy), -1);
  EXPECT_EQ(copy.RealValue(), 0.75);
  EXPECT_EQ(copy.UpperBound(), 0.8);
  EXPECT_TRUE(copy.IsVariable());
  QV_INTEGERSET places(true);
  QV_IntSetValue three("1\":3\"");
  QV_Value value(three);
  EXPECT_EQ(places.Assign(&value), 0);
  QV_INTEGERSET same = places, moved = std::move(places);
  m.PLACES = same;
  EXPECT_EQ(size(m.PLACES), 3);
  EXPECT_EQ(size(moved), 3);
  const int number = HostAccess::Number(m.X);
  m.X = copy;
  EXPECT_EQ(HostAccess::Number(m.X), number);
  EXPECT_EQ(QualifiedName(m.X), "m.X");
}

TEST_F(Values, AnArrayTakesAValueForEveryElementThatIsFree) {
  QV_IntSetValue three("1\":3\"");
  QV_Value value(three);
  m.PLACES.Assign(&value);
  m.A.SetDim(*m.PLACES);
  TestSheet::Give(m.A(2), 0.9);
  EXPECT_EQ(Assign(m.A, 0.1), 0);
  EXPECT_THAT((std::vector{m.A(1).RealValue(), m.A(2).RealValue(), m.A(3).RealValue()}),
              ElementsAre(0.1, 0.9, 0.1));
}

// ---- Globals of two models.

struct QV_FIRST_USER : QV_GENERICMODEL {
  MODEL_TEXT(FIRST_USER)
  GLOBAL(SHARED)
  GLOBAL_OF(QV_YESNO, MODE)
  GLOBAL_OF(QV_LOGICALPARAMETER, FLAG)
  GLOBAL_OF(QV_STRINGSET, SPECIES)
  GLOBAL(OWN)
  GLOBAL(CLASH)
  void Assignments(Assigner& set) {
    set(SHARED, 5000.0);
    set(FLAG, true);
    set(SPECIES, QV_StrSetValue("A\"B\""));
    set(CLASH, 1.0);
  }
};
struct QV_SECOND_USER : QV_GENERICMODEL {
  MODEL_TEXT(SECOND_USER)
  double shared = 5000;
  PARAMETER(QV_REALPARAMETER, OWN)
  GLOBAL_OF(QV_REALPARAMETER, Shared)
  GLOBAL_OF(QV_LOGICALPARAMETER, FLAG)
  GLOBAL_OF(QV_STRINGSET, SPECIES)
  void Assignments(Assigner& set) {
    set(Shared, shared);
    set(OWN, 3.0);
    set(FLAG, true);
    set(SPECIES, QV_StrSetValue("A\"B\""));
  }
};
struct QV_THIRD_USER : QV_GENERICMODEL {
  MODEL_TEXT(THIRD_USER)
  GLOBAL_OF(QV_INTEGERPARAMETER, CLASH)
  void Assignments(Assigner& set) { set(CLASH, 2); }
};

TEST(Globals, AreSharedByNameAndKeepTheFirstDefault) {
  TestSheet sheet;
  auto& first = sheet.Add<QV_FIRST_USER>("a");
  auto& second = sheet.Add<QV_SECOND_USER>("b");
  EXPECT_EQ(&*first.SHARED, &*second.Shared);
  EXPECT_NE(static_cast<QV_VarParam*>(&*first.OWN), &second.OWN);
  EXPECT_EQ(HolderName(*second.Shared, &InstanceOf(second)), "SHARED");
  EXPECT_STREQ((*first.MODE).StringValue(), HostAccess::Text(*QV_YESNO(true).QV_DefaultVALUE()));
  sheet.Size();
  EXPECT_THAT(sheet.sheet.scope().notes, testing::IsEmpty());  // equal re-assignment
  EXPECT_EQ(second.OWN.RealValue(), 3.0);
  EXPECT_EQ((*first.OWN).RealValue(), 0.0);

  second.shared = 4000;
  sheet.Size();
  EXPECT_EQ((*first.SHARED).RealValue(), 5000.0);
  ASSERT_EQ(sheet.sheet.scope().notes.size(), 1u) << "one note, in however many rounds";
  EXPECT_THAT(sheet.sheet.scope().notes[0],
              testing::AllOf(HasSubstr("SHARED"), HasSubstr("5000"), HasSubstr("4000")));
  EXPECT_EQ(sheet.faults().size(), 0u);
}

TEST(Globals, OfTwoTypesAreAFaultThatNamesBoth) {
  TestSheet sheet;
  sheet.Add<QV_FIRST_USER>("a");
  auto& third = sheet.Add<QV_THIRD_USER>("c");
  ASSERT_EQ(sheet.faults().size(), 1u);
  EXPECT_THAT(sheet.faults()[0], testing::AllOf(HasSubstr("CLASH"), HasSubstr("QV_REALPARAMETER"),
                                                HasSubstr("QV_INTEGERPARAMETER")));
  sheet.Size();
  EXPECT_EQ((*third.CLASH).IntegerValue(), 2);
}
