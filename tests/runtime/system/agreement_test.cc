// SPDX-License-Identifier: Apache-2.0
// Models that lie: what they set up and what they emit disagree, or is no equation at all. Each lie is a finding that
// names the model and, where there is one, the equation; none does any harm.
#include "runtime/system/equation_system.h"
#include "tests/support/test_sheet.h"

using namespace quiver;
using namespace quiver::tests;
using testing::AllOf;
using testing::HasSubstr;

namespace {

// Written by hand, without the frame. As it stands it is honest: X = Y.
struct QV_LIAR : QV_GENERICMODEL {
  QV_LIAR(bool, QV_Container* owner) : QV_GENERICMODEL(false, owner) {}
  QV_REALVARIABLE X{true}, Y{true}, Z{true};
  std::function<int(QV_LIAR&)> set_up = [](QV_LIAR& m) { return m.SetUpLine(); };
  std::function<int(QV_LIAR&)> emit = [](QV_LIAR& m) { return m.EmitLine(); };
  int group = 0, counter = 0;
  long long **pattern = nullptr, **end = nullptr;

  void Construct() override {
    QV_GENERICMODEL::Construct();
    QV_Type::AddProperty(X, this, "X", nullptr, QV_DIRECTION_NONE, false);
    QV_Type::AddProperty(Y, this, "Y", nullptr, QV_DIRECTION_NONE, false);
    QV_Type::AddProperty(Z, this, "Z", nullptr, QV_DIRECTION_NONE, false);
  }
  int SetUpEquations() override {
    group = m_stLastGroup + 1;
    return set_up(*this);
  }
  int JacPattern(long long*& next, long long*& last, QV_EquationType**) override {
    ResetExpressions();
    counter = 0;
    pattern = &next, end = &last;
    return emit(*this);
  }

  int SetUp(std::initializer_list<QV_VarParam*> nonzeros, int count = 1) {
    SetGroupLimits(group);
    for (QV_VarParam* v : nonzeros) AddNonZero(*v);
    return SetLocalEqnCount(count);
  }
  int SetUpLine(int count = 1) { return SetUp({&X, &Y}, count); }
  void Open(int in_group = 0) { AddEquation("line", counter, in_group ? in_group : group); }
  void Op(int code) { AddOp(static_cast<EOp>(code), counter - 1); }
  void Term(QV_VarParam& v, int equation = -1) {
    AddTerm(v, *pattern, *end, equation < 0 ? counter - 1 : equation);
  }
  int Emit(std::initializer_list<QV_VarParam*> terms) {
    Open();
    for (size_t k = 1; k < terms.size(); ++k) Op(20);
    for (QV_VarParam* v : terms) Term(*v);
    return counter;
  }
  int EmitLine() { return Emit({&X, &Y}); }
  int EmitCodes(std::initializer_list<int> codes) {  // around the honest line's terms
    Open();
    for (const int code : codes) code == 1000 ? Term(X) : code == 1001 ? Term(Y) : Op(code);
    return counter;
  }
};

using Act = std::function<int(QV_LIAR&)>;
struct Lie {
  const char* what;
  Act set_up, emit;  // null: honestly
  const char* finding;
};

// clang-format off
const Lie kLies[] = {
    {"one equation too many counted", [](QV_LIAR& m) { return m.SetUpLine(2); }, {}, "2 equations were set up, 1 emitted"},
    {"another result", {}, [](QV_LIAR& m) { return m.EmitLine() + 1; }, "1 equations were set up, 2 emitted"},
    {"another group", {}, [](QV_LIAR& m) { m.Open(m.group + 5); m.Op(20); m.Term(m.X); m.Term(m.Y); return 1; }, "equation line was set up in group"},
    {"an occurrence missing", {}, [](QV_LIAR& m) { return m.EmitCodes({20, 1000, 20, 1000, 1000}); }, "occurrence 2 of equation line was set up as Y, emitted as X"},
    {"an occurrence not emitted", [](QV_LIAR& m) { return m.SetUp({&m.X, &m.Y, &m.Z}); }, {}, "occurrence 3 of equation line was set up as Z, emitted as nothing"},
    {"an occurrence not set up", [](QV_LIAR& m) { return m.SetUp({&m.X}); }, {}, "line"},
    {"reordered", {}, [](QV_LIAR& m) { return m.Emit({&m.Y, &m.X}); }, "occurrence 1 of equation line was set up as X, emitted as Y"},
    {"another variable", {}, [](QV_LIAR& m) { return m.Emit({&m.X, &m.Z}); }, "set up as Y, emitted as Z"},
    {"a call that is none", [](QV_LIAR& m) { m.AddProcContribution(m.group, 1, 2); return m.SetLocalEqnCount(1); }, {}, "equation line was set up as a procedure call"},
    {"fewer emitted", [](QV_LIAR& m) { m.SetUpLine(); return m.SetUpLine(2); }, [](QV_LIAR& m) { return m.EmitLine() + 1; }, "fewer equations were emitted"},
    {"more emitted", {}, [](QV_LIAR& m) { m.EmitLine(); m.counter = 0; return m.EmitLine(); }, "more equations were emitted"},
    {"nothing emitted", {}, [](QV_LIAR&) { return 1; }, "fewer equations were emitted"},
    {"tokens of another equation", {}, [](QV_LIAR& m) { m.EmitLine(); m.Term(m.X, 5); return 1; }, "equation 5"},
    {"tokens before any equation", {}, [](QV_LIAR& m) { m.Term(m.X, 0); return m.EmitLine(); }, "equation 0"},
    {"tokens of the equation before",
     [](QV_LIAR& m) { m.SetUpLine(); ++m.group; return m.SetUpLine(2); },
     [](QV_LIAR& m) { --m.group; m.EmitLine(); ++m.group; m.EmitLine(); m.AddTerm(1.0, 0); return 2; }, "equation 0"},
    {"the pattern full", {}, [](QV_LIAR& m) { for (int k = 0; k < 50; ++k) m.EmitLine(); return 1; }, "more occurrences of variables than were set up"},
    {"set-up fails", [](QV_LIAR&) { return -7; }, {}, "SetUpEquations failed with status -7"},
    {"emission fails", {}, [](QV_LIAR&) { return -8; }, "JacPattern failed with status -8"},
    {"no stream", [](QV_LIAR& m) { return m.SetUp({}); }, [](QV_LIAR& m) { m.Open(); return 1; }, "line: the stream is no tree"},
    {"a stream too long", {}, [](QV_LIAR& m) { m.EmitLine(); m.AddTerm(1.0, 0); return 1; }, "line: the stream is no tree"},
    {"a stream too short", {}, [](QV_LIAR& m) { return m.EmitCodes({20, 20, 1000, 1001}); }, "line: the stream is no tree"},
    {"an unknown code", {}, [](QV_LIAR& m) { return m.EmitCodes({20, 1000, 33, 1001}); }, "line: the stream is no tree"},
    {"a code out of all bounds", {}, [](QV_LIAR& m) { return m.EmitCodes({20, 1000, -2000000000, 1001}); }, "line: the stream is no tree"},
    {"a list not closed", {}, [](QV_LIAR& m) { return m.EmitCodes({44, 1000, 1001}); }, "line: the stream is no tree"},
    {"code 1 within", {}, [](QV_LIAR& m) { return m.EmitCodes({20, 1000, 1, 1001}); }, "line: the stream is no tree"},
    {"a text in a sum", {}, [](QV_LIAR& m) { m.Open(); m.Op(20); m.Op(20); m.Term(m.X); m.Term(m.Y); m.AddTerm("Yes", 0); return 1; }, "line: the stream is no tree"},
    {"no text at all", {}, [](QV_LIAR& m) { m.EmitLine(); m.AddTerm(static_cast<const char*>(nullptr), 0); return 1; }, "line: the stream is no tree"},
    {"a set as a term", {}, [](QV_LIAR& m) { m.EmitLine(); QV_IntSetValue set("1\""); m.AddTerm(set, 0); return 1; }, "set has no value"},
    {"a number below 0", {}, [](QV_LIAR& m) { m.counter = -3; m.EmitLine(); return 1; }, "line"},
    {"a number too large", {}, [](QV_LIAR& m) { m.counter = 7; m.EmitLine(); return 1; }, "line"},
    {"no test in a condition", {}, [](QV_LIAR& m) { m.EmitLine(); m.AddCondExpress(1, "If", 0); m.EndCondExpress(0); return 1; }, "line: condition If is no tree"},
    {"a condition that is a number", {}, [](QV_LIAR& m) { m.EmitLine(); m.AddCondExpress(1, "If", 0); m.AddTerm(1.0, 0); m.EndCondExpress(0); return 1; }, "line: condition If is no tree"},
    {"a condition not set up", {}, [](QV_LIAR& m) { m.EmitLine(); m.AddCondExpress(1, nullptr, 0); m.Op(9); m.Term(m.Z); m.AddTerm(1, 0); m.EndCondExpress(0); return 1; }, "line"},
    {"a condition not closed", [](QV_LIAR& m) { return m.SetUp({&m.X, &m.Y, &m.Z}); }, [](QV_LIAR& m) { m.EmitLine(); m.AddCondExpress(1, "If", 0); m.Op(9); m.Term(m.Z); m.AddTerm(1, 0); return 1; }, "condition If of equation line"},
    {"a condition within another", [](QV_LIAR& m) { return m.SetUp({&m.X, &m.Y, &m.Z}); }, [](QV_LIAR& m) { m.EmitLine(); m.AddCondExpress(1, "If", 0); m.Op(9); m.Term(m.Z); m.AddTerm(1, 0); m.AddCondExpress(2, "Or", 0); m.Op(9); m.AddTerm(1, 0); m.AddTerm(2, 0); m.EndCondExpress(0); return 1; }, "condition If of equation line"},
    {"a condition closed twice", {}, [](QV_LIAR& m) { m.EmitLine(); m.EndCondExpress(0); return 1; }, "equation 0"},
    {"a condition of another equation", {}, [](QV_LIAR& m) { m.EmitLine(); m.AddCondExpress(1, "If", 3); m.EndCondExpress(3); return 1; }, "equation 3"},
    {"a call to nothing", {}, [](QV_LIAR& m) { m.EmitLine(); m.AddProcExpression(nullptr, 0, 4, nullptr); return 1; }, "equation 4"},
};
// clang-format on

std::string FindingsOf(const Lie& lie) {
  TestSheet sheet;
  auto& model = sheet.Add<QV_LIAR>("m");
  if (lie.set_up) model.set_up = lie.set_up;
  if (lie.emit) model.emit = lie.emit;
  sheet.Size();
  try {
    EquationSystem system(sheet.sheet);
    return "";
  } catch (const Error& error) {
    return error.what();
  }
}

}  // namespace

TEST(Agreement, AnHonestModelHasNoFindings) { EXPECT_EQ(FindingsOf({"", {}, {}, ""}), ""); }

TEST(Agreement, EveryLieIsFoundAndNamed) {
  for (const Lie& lie : kLies)
    EXPECT_THAT(FindingsOf(lie), AllOf(testing::StartsWith("m"), HasSubstr(lie.finding))) << lie.what;
}

// The listing of such a model is refused or printed, never worse.
TEST(Agreement, AListingSurvivesEveryLie) {
  for (const Lie& lie : kLies) {
    TestSheet sheet;
    auto& model = sheet.Add<QV_LIAR>("m");
    if (lie.set_up) model.set_up = lie.set_up;
    if (lie.emit) model.emit = lie.emit;
    try {
      for (const auto& e : sheet.Equations(model).equations) EXPECT_NE(FormulaOf(e), "\1") << lie.what;
    } catch (const Error& error) {
      EXPECT_THAT(error.what(), HasSubstr("m")) << lie.what;
    }
  }
}
