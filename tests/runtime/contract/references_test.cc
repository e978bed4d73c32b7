// SPDX-License-Identifier: Apache-2.0
// What references are bound to, and sub-models: built, named, driven, taken down.
#include "frame/model.h"
#include "tests/support/test_sheet.h"

using namespace quiver;
using namespace quiver::tests;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {
std::vector<std::string> log_of_instances;  // "SUB(2) sized", in the order in which it happened
}

// A sub-model that tells what the host does with it.
struct QV_PART : QV_GENERICMODEL {
  MODEL_TEXT(PART)
  EXTERNAL(QV_REALPARAMETER, RATE)
  EXTERNAL(QV_REALPARAMETER, NOWHERE)
  EXTERNAL(QV_REALPARAMETER, DISTANT)
  EXTERNAL(QV_ARRAY_I<QV_FRACTION>, SHARE)
  SET(QV_INTEGERSET, PARTS)
  VARIABLE(QV_PRESSURE, P)
  ARRAY(QV_FRACTION, X, OVER(ComponentList))
  ARRAY(QV_FRACTION, Y, OVER(PARTS))
  void Assignments(Assigner& set) {
    log_of_instances.push_back(InstanceName(InstanceOf(*this)));
    set(P, 7.0);
    set.range(PARTS, 1);
  }
  void Equations(Equate& eq) { eq("e", P == sigma(X) * RATE + sigma(Y)); }
};
struct QV_SPARE : QV_GENERICMODEL {
  MODEL_TEXT(SPARE)
  VARIABLE(QV_PRESSURE, Q)
  void Equations(Equate& eq) { eq("spare", Q == 2); }
};
struct QV_OWNER : QV_GENERICMODEL {
  MODEL_TEXT(OWNER)
  PARAMETER(QV_REALPARAMETER, rate)  // letter case is ignored
  EXTERNAL(QV_REALPARAMETER, DISTANT)
  PARAMETER(QV_INTEGERPARAMETER, N)
  SET(QV_INTEGERSET, PLACES)
  ARRAY(QV_FRACTION, SHARE, OVER(PLACES))
  SUBMODEL(QV_PART, ONE)
  ARRAY(QV_PART, SUB, OVER(PLACES))
  VIRTUAL(QV_SPARE, OTHER)
  void Assignments(Assigner& set) {
    set(rate, 0.5);
    set.range(PLACES, N.IntegerValue());
  }
  void Equations(Equate& eq) {
    eq("total", (*OTHER).Q == sigma(
                                  *PLACES, [&](int i) -> auto& { return SUB(i).P; }));
  }
};
struct QV_OUTER : QV_GENERICMODEL {
  MODEL_TEXT(OUTER)
  PARAMETER(QV_REALPARAMETER, DISTANT)
  SUBMODEL(QV_OWNER, IN)
};

TEST(References, AreFoundInTheOwnerByNameOrStandAlone) {
  TestSheet sheet;
  auto& outer = sheet.Add<QV_OUTER>("top");
  QV_PART& one = outer.IN.ONE;
  EXPECT_EQ(&*one.RATE, &outer.IN.rate);
  EXPECT_EQ(&*outer.IN.DISTANT, &outer.DISTANT);
  EXPECT_EQ(&*one.DISTANT, &outer.DISTANT);  // what the owner's own reference is bound to
  EXPECT_EQ(&*one.SHARE, &outer.IN.SHARE);
  EXPECT_EQ(QualifiedName(*one.NOWHERE), "top.IN.ONE.NOWHERE");
  EXPECT_EQ(QualifiedName(*one.RATE), "top.IN.rate");
}

TEST(SubModels, AreSizedAssignedAndReadInTheirOwnersOrder) {
  TestSheet sheet;
  sheet.sheet.SetComponents({"water", "air"});
  auto& owner = sheet.Add<QV_OWNER>("m");
  TestSheet::Give(owner.N, 2);
  log_of_instances.clear();
  sheet.Size();
  std::vector<std::string> names;
  for (const Instance* instance : sheet.sheet.Instances()) names.push_back(InstanceName(*instance));
  EXPECT_THAT(names, ElementsAre("m", "m.ONE", "m.SUB(1)", "m.SUB(2)", "m.OTHER"));
  EXPECT_THAT(log_of_instances, testing::Contains("m.SUB(2)"));
  EXPECT_EQ(QualifiedName(owner.SUB(2).P), "m.SUB(2).P");
  EXPECT_EQ(QualifiedName(owner.SUB(1).X("air")), "m.SUB(1).X(air)");
  EXPECT_EQ(owner.SUB(2).P.RealValue(), 7.0);
  EXPECT_EQ(owner.SUB(2).Y.Count(), 1);
  EXPECT_EQ(&*owner.SUB(2).RATE, &owner.rate);
  EXPECT_THAT(sheet.Equations(owner).equations[0].nonzeros, ElementsAre("OTHER.Q", "SUB(1).P", "SUB(2).P"));
  EXPECT_THAT(sheet.Equations(owner.SUB(2)).equations[0].nonzeros,
              ElementsAre("P", "X(water)", "X(air)", "RATE", "Y(1)"));
  EXPECT_THAT(sheet.faults(), testing::IsEmpty());
}

// An array of sub-models that shrinks takes their variables with it: nothing may point to them.
TEST(SubModels, ThatGoAreForgotten) {
  TestSheet sheet;
  sheet.sheet.SetComponents({"water"});
  auto& owner = sheet.Add<QV_OWNER>("m");
  TestSheet::Give(owner.N, 3);
  sheet.Size();
  owner.SUB(1).P.SetCurrentValue(9.0);
  const int gone = HostAccess::Number(owner.SUB(3).P),
            gone_element = HostAccess::Number(owner.SUB(3).X("water"));
  TestSheet::Give(owner.N, 1);
  sheet.Size();
  EXPECT_EQ(sheet.sheet.scope().Holder(gone), nullptr);
  EXPECT_EQ(sheet.sheet.scope().Holder(gone_element), nullptr);
  EXPECT_EQ(owner.SUB.Count(), 1);
  EXPECT_EQ(owner.SUB(1).P.RealValue(), 9.0);
  EXPECT_EQ(sheet.sheet.Instances().size(), 4u);
}

// ---- Global structures: one object for all, built and driven once.

struct QV_MECHANISM : QV_GENERICSTRUCTURE {
  STRUCTURE_TEXT(MECHANISM)
  SET(QV_STRINGSET, SPECIES)
  PARAMETER(QV_REALPARAMETER, ORDER)
  ARRAY(QV_CONSTANT, RATE, OVER(SPECIES))
  void Assignments(Assigner& set) {
    set(SPECIES, QV_StrSetValue("M\"P\""));
    set(ORDER, 2.0);
    set(RATE, 4.0);
  }
};
struct QV_REACTION : QV_GENERICMODEL {
  MODEL_TEXT(REACTION)
  STRUCTURE_REFERENCE(QV_MECHANISM, CHEMISTRY)
  PARAMETER(QV_REALPARAMETER, TOTAL)
  VARIABLE(QV_CONSTANT, X)
  void Assignments(Assigner& set) {
    set(TOTAL, Sigma(*(*CHEMISTRY).SPECIES, [&](const char* s) { return (*CHEMISTRY).RATE(s).RealValue(); }));
  }
  void Equations(Equate& eq) { eq("rate", X == (*CHEMISTRY).RATE("P") * (*CHEMISTRY).ORDER); }
};

TEST(Structures, AreSharedBuiltAndDriven) {
  TestSheet sheet;
  auto& a = sheet.Add<QV_REACTION>("a");
  auto& b = sheet.Add<QV_REACTION>("b");
  ASSERT_EQ(&*a.CHEMISTRY, &*b.CHEMISTRY);
  sheet.Size();
  EXPECT_EQ((*a.CHEMISTRY).ORDER.RealValue(), 2.0);
  EXPECT_EQ((*a.CHEMISTRY).RATE.Count(), 2);
  EXPECT_EQ(a.TOTAL.RealValue(), 8.0);
  EXPECT_EQ(QualifiedName((*a.CHEMISTRY).RATE("P")), "CHEMISTRY.RATE(P)");
  EXPECT_THAT(sheet.Equations(b).equations[0].nonzeros,
              ElementsAre("X", "CHEMISTRY.RATE(P)", "CHEMISTRY.ORDER"));
}

// A structure that comes with a sub-model, while arrays are sized, is sized before its own assignments, too.
struct QV_INVENTORY : QV_GENERICSTRUCTURE {
  STRUCTURE_TEXT(INVENTORY)
  ARRAY(QV_CONSTANT, SHARE, OVER(ComponentList))
  long long at_first_assignments = -1;
  void Assignments(Assigner& set) {
    if (at_first_assignments < 0) at_first_assignments = SHARE.Count();
    set(SHARE, 1.0);
  }
};
struct QV_BIN : QV_GENERICMODEL {
  MODEL_TEXT(BIN)
  STRUCTURE_REFERENCE(QV_INVENTORY, STOCK)
};
struct QV_STORE : QV_GENERICMODEL {
  MODEL_TEXT(STORE)
  SET(QV_INTEGERSET, PLACES)
  ARRAY(QV_BIN, BINS, OVER(PLACES))
  void Assignments(Assigner& set) { set.range(PLACES, 2); }
};
TEST(Structures, ThatComeWithSubModelsAreSizedFirst) {
  TestSheet sheet;
  sheet.sheet.SetComponents({"water", "nitrogen"});
  auto& store = sheet.Add<QV_STORE>("s");
  sheet.Size();
  ASSERT_EQ(store.BINS.Count(), 2);
  EXPECT_EQ(&*store.BINS(1).STOCK, &*store.BINS(2).STOCK);
  EXPECT_EQ((*store.BINS(1).STOCK).at_first_assignments, 2);
}

// A reference whose name stands for something else in the owner must not be read as what it is not.
struct QV_WRONG_PART : QV_GENERICMODEL {
  MODEL_TEXT(WRONG_PART)
  EXTERNAL(QV_REALPARAMETER, OPT)
  EXTERNAL(QV_ARRAY_I<QV_FRACTION>, P)
};
struct QV_WRONG_OWNER : QV_GENERICMODEL {
  MODEL_TEXT(WRONG_OWNER)
  PARAMETER(QV_YESNO, OPT)
  VARIABLE(QV_PRESSURE, P)
  SUBMODEL(QV_WRONG_PART, SUB)
};
TEST(References, OfAnotherKindAreAFault) {
  TestSheet sheet;
  auto& owner = sheet.Add<QV_WRONG_OWNER>("m");
  ASSERT_EQ(sheet.faults().size(), 2u);
  EXPECT_THAT(sheet.faults()[0], testing::AllOf(HasSubstr("m.SUB"), HasSubstr("OPT"), HasSubstr("QV_YESNO")));
  EXPECT_THAT(sheet.faults()[1],
              testing::AllOf(HasSubstr("m.SUB"), HasSubstr("P"), HasSubstr("QV_PRESSURE")));
  EXPECT_EQ((*owner.SUB.P).Count(), 0);
}

// A class whose instances declare different things.
struct QV_FICKLE : QV_GENERICMODEL {
  QV_FICKLE(bool, QV_Container* owner) : QV_GENERICMODEL(false, owner) {}
  QV_PRESSURE P{true}, Q{true};
  static int built;
  void Construct() override {
    QV_GENERICMODEL::Construct();
    QV_Type::AddProperty(P, this, "P", nullptr, QV_DIRECTION_NONE, false);
    if (built++ == 0) QV_Type::AddProperty(Q, this, "Q", nullptr, QV_DIRECTION_NONE, false);
  }
};
int QV_FICKLE::built = 0;
TEST(SubModels, InstancesOfAClassDeclareTheSame) {
  TestSheet sheet;
  sheet.Add<QV_FICKLE>("a");
  EXPECT_THAT(sheet.faults(), testing::IsEmpty());
  sheet.Add<QV_FICKLE>("b");
  ASSERT_EQ(sheet.faults().size(), 1u);
  EXPECT_THAT(sheet.faults()[0], testing::AllOf(testing::StartsWith("b:"), HasSubstr("QV_FICKLE")));
}
