// SPDX-License-Identifier: Apache-2.0
// Instances that take over the equations of a like one: they have the equations that they would have told themselves.
#include <cmath>
#include <cstring>

#include "frame/model.h"
#include "procedures/calls.h"
#include "runtime/cases/installation.h"
#include "runtime/contract/set_storage.h"
#include "runtime/system/equation_system.h"
#include "tests/support/test_sheet.h"

using namespace quiver;
using namespace quiver::tests;

namespace {

using Choice = std::map<std::string, std::string>;  // options by name

bool SameBits(const std::vector<double>& a, const std::vector<double>& b) {
  return a.size() == b.size() &&
         (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0);
}

// Everything that solvers and users see of a system, evaluated at a point off the start.
std::string Difference(EquationSystem& a, EquationSystem& b) {
  if (a.EquationCount() != b.EquationCount()) return "number of equations";
  if (a.VariableCount() != b.VariableCount()) return "number of variables";
  for (int v = 0; v < a.VariableCount(); ++v) {
    if (a.IsFree(v) != b.IsFree(v) || a.TakesPart(v) != b.TakesPart(v) ||
        a.IsLeftSide(v) != b.IsLeftSide(v) || a.Scale(v) != b.Scale(v) ||
        a.VariableName(v) != b.VariableName(v))
      return fmt::format("variable {}", a.VariableName(v));
  }
  std::vector<double> x = a.StartValues();
  if (!SameBits(x, b.StartValues())) return "start values";
  for (size_t v = 0; v < x.size(); ++v)
    if (a.IsFree(static_cast<int>(v))) x[v] = x[v] * 1.01 + 1e-3 * static_cast<double>(v % 7);
  for (int e = 0; e < a.EquationCount(); ++e) {
    const std::span<const int> one(&e, 1), row = a.ResidualVariables(e), condition = a.ConditionVariables(e);
    const std::string name = a.EquationName(e);
    if (name != b.EquationName(e) || !std::ranges::equal(row, b.ResidualVariables(e)) ||
        !std::ranges::equal(condition, b.ConditionVariables(e)) ||
        a.HasAlternatives(e) != b.HasAlternatives(e) || a.AlternativeName(e, 1) != b.AlternativeName(e, 1))
      return "equation " + name;
    if (a.DecideAlternatives(one, x.data()) != b.DecideAlternatives(one, x.data()) ||
        a.CurrentAlternative(e) != b.CurrentAlternative(e))
      return "alternative of " + name;
    std::vector<double> r(2), ga(row.size()), gb(row.size());
    const bool good = a.Evaluate(one, x.data(), &r[0], ga.data());
    if (good != b.Evaluate(one, x.data(), &r[1], gb.data())) return "whether " + name + " has a value";
    if (a.FirstFault().reason != b.FirstFault().reason) return "fault of " + name;
    if (good && (!SameBits({r[0]}, {r[1]}) || !SameBits(ga, gb))) return "value of " + name;
  }
  return "";
}

// Two sheets with the same instances, of which some are alike: of each choice three, their values different.
class Twins {
 public:
  using Add = std::function<void(Flowsheet&, const std::string& name)>;
  using Set = std::function<void(Instance&, const Choice&, int k)>;

  Twins(const Add& add, const std::vector<Choice>& choices, const Set& set) {
    for (Flowsheet* sheet : {&replayed_, &written_}) {
      sheet->SetComponents({"water", "nitrogen"});
      for (size_t k = 0; k < 3 * choices.size(); ++k) add(*sheet, fmt::format("b{}", k));
      sheet->SizeAndAssign([&] {
        for (size_t k = 0; k < sheet->blocks().size(); ++k)
          set(*sheet->blocks()[k], choices[k % choices.size()], static_cast<int>(k));
      });
    }
  }

  // "" where both agree; also where both refuse, in which case what is wrong is told of one of like instances at least.
  std::string Compare() {
    std::string refused, refused_too;
    try {
      EquationSystem written(written_, {}, {.written_out = true});
      EquationSystem replayed(replayed_);
      summary = replayed.Summary();
      told_by_all = written.Summary().instances_written_out;
      return Difference(replayed, written);
    } catch (const Error& error) {
      return std::string("refused: ") + error.what();
    }
  }

  SystemSummary summary;
  int told_by_all = 0;

 private:
  Flowsheet replayed_{TheLibrary()}, written_{TheLibrary()};
};

void Give(QV_VarParam& holder, const QV_Value& value) { SetFromValue(holder, value, Origin::kUser); }

// Sets the options, and gives every parameter that has no value one of its own.
void GiveAll(Instance& instance, const Choice& choice, int k) {
  for (size_t p = 0; p < instance.type().properties.size(); ++p) {
    QV_Type* object = instance.Object(static_cast<int>(p));
    const auto wanted = choice.find(instance.type().properties[p].name);
    const auto give = [&](QV_VarParam& holder) {
      const auto kind = HostAccess::KindOf(holder);
      if (wanted != choice.end() && kind == HostAccess::kInteger)
        Give(holder, QV_Value(std::stoi(wanted->second)));
      else if (wanted != choice.end())
        Give(holder, QV_Value(wanted->second.c_str()));
      else if (kind == HostAccess::kReal && (holder.IsVariable() || !HasValue(holder)))
        Give(holder, QV_Value(holder.RealValue() * (1 + 0.01 * k) + (holder.IsVariable() ? 0 : 0.5)));
      else if (kind == HostAccess::kInteger && !HasValue(holder))
        Give(holder, QV_Value(2));
    };
    if (auto* array = dynamic_cast<QV_ArrayBase*>(object)) {
      for (long long e = 0; e < array->Count(); ++e)
        if (auto* holder = dynamic_cast<QV_VarParam*>(&array->At(e))) give(*holder);
    } else if (auto* holder = dynamic_cast<QV_VarParam*>(object)) {
      give(*holder);
    }
  }
}

// The choices of a model: its defaults, then each option by itself at each of its values, then all of them mixed.
std::vector<Choice> ChoicesOf(const std::string& model) {
  Flowsheet sheet(TheLibrary());
  Instance& instance = sheet.AddBlock("b", model);
  std::vector<Choice> choices(1);
  std::vector<std::pair<std::string, std::vector<std::string>>> options;
  for (size_t p = 0; p < instance.type().properties.size(); ++p) {
    auto* holder = dynamic_cast<QV_VarParam*>(instance.Object(static_cast<int>(p)));
    const QV_Value* valid = holder ? holder->QV_DefaultVALID() : nullptr;
    if (!valid || HostAccess::KindOf(*holder) == HostAccess::kArray) continue;
    const SetStorage& set = *HostAccess::Set(*valid);
    std::vector<std::string> values = set.texts;
    for (const int value : set.integers)
      if (values.size() < 4) values.push_back(std::to_string(value));
    for (const std::string& value : values) choices.push_back({{instance.type().properties[p].name, value}});
    if (!values.empty()) options.emplace_back(instance.type().properties[p].name, values);
  }
  for (size_t mix = 0; mix < 12 && options.size() > 1; ++mix) {
    Choice& all = choices.emplace_back();
    for (size_t o = 0; o < options.size(); ++o)
      all[options[o].first] = options[o].second[(mix * 7 + o * 3 + mix * o) % options[o].second.size()];
  }
  return choices;
}

}  // namespace

TEST(Replay, AgreesWithWhatEachInstanceTellsOverTheCatalogueAndItsOptions) {
  UseLibraries();
  int compared = 0, saved = 0, refused = 0;
  for (const std::string& model : TheLibrary().ModelNames()) {
    for (const Choice& choice : ChoicesOf(model)) {
      Twins twins([&](Flowsheet& sheet, const std::string& name) { sheet.AddBlock(name, model); },
                  {choice, {}}, GiveAll);
      const std::string difference = twins.Compare();
      if (difference.starts_with("refused: ")) {
        ++refused;
        continue;
      }
      ++compared;
      saved += twins.told_by_all - twins.summary.instances_written_out;
      EXPECT_EQ(difference, "") << model << fmt::format(" {}", choice);
    }
  }
  EXPECT_GT(compared, 300);
  EXPECT_LT(refused, compared / 2);
  EXPECT_GT(saved, 300);
}

// A model whose text reads in every way there is.
struct QV_READER : QV_GENERICMODEL {
  MODEL_TEXT(READER)
  PARAMETER(QV_REALPARAMETER, K)
  PARAMETER(QV_YESNO, FLAG)
  PARAMETER(QV_INTEGERPARAMETER, N)
  SET(QV_INTEGERSET, PLACES)
  VARIABLE(QV_CONSTANT, A)
  VARIABLE(QV_CONSTANT, B)
  ARRAY(QV_CONSTANT, PART, OVER(PLACES))
  int hidden = 0;
  void Assignments(Assigner& set) {
    set(K, 2.0);
    set(N, 1);
    set.range(PLACES, N.IntegerValue());
  }
  void Equations(Equate& eq) {
    eq.when(A.LowerBound() > 5, [&] { eq("bounded below", A == K); }).otherwise([&] {
      eq("free", B == K * A);
    });
    eq.when(A.UpperBound() < 5, [&] { eq("bounded above", A == 1); });
    eq.when(!A.HoldsDefault(), [&] { eq("given", B == A); });
    eq.when(K.RealValue() > 3, [&] { eq("large", B == 3 * K); });
    eq.when(FLAG.LogicalValue(), [&] { eq("flagged", A == sigma(PART)); });
    eq.when(PART.Count() > 2, [&] { eq("many", A == PART(3)); });
    eq.given("same", same(FLAG, "Yes"), [&] { eq("text", A == 1); }).otherwise([&] { eq("text", A == 2); });
    eq.when(hidden == 1, [&] { eq("hidden", B == 7); });
  }
};

std::string CompareReaders(
    const std::function<void(QV_READER&, int)>& set, SystemSummary* summary,
    const std::function<void(QV_READER&, int)>& make = [](QV_READER&, int) {}) {
  int made = 0;
  Twins twins(
      [&](Flowsheet& sheet, const std::string& name) {
        auto* model = new QV_READER(true, nullptr);
        model->AddRef();
        sheet.AddBlock(name, model);
        make(*model, made++ % 6);
      },
      {{}, {}},
      [&](Instance& instance, const Choice&, int k) { set(static_cast<QV_READER&>(instance.object()), k); });
  const std::string difference = twins.Compare();
  *summary = twins.summary;
  return difference;
}

TEST(Replay, EveryWayOfReadingTellsInstancesApart) {
  using Act = std::function<void(QV_READER&, int)>;
  const auto odd = [](int k) { return k % 2 == 1; };
  const std::pair<const char*, Act> kWays[] = {
      {"lower bound",
       [&](QV_READER& m, int k) {
         QV_Value v(9.0);
         if (odd(k)) m.A.Lower().Assign(&v);
       }},
      {"upper bound",
       [&](QV_READER& m, int k) {
         QV_Value v(1.0);
         if (odd(k)) m.A.Upper().Assign(&v);
       }},
      {"origin",
       [&](QV_READER& m, int k) {
         if (odd(k)) Give(m.A, QV_Value(4.0));
       }},
      {"real value", [&](QV_READER& m, int k) { Give(m.K, QV_Value(odd(k) ? 4.0 : 2.0)); }},
      {"logical value and text in a condition",
       [&](QV_READER& m, int k) { Give(m.FLAG, QV_Value(odd(k) ? "Yes" : "No")); }},
      {"size of an array", [&](QV_READER& m, int k) { Give(m.N, QV_Value(odd(k) ? 3 : 1)); }},
  };
  for (const auto& [what, act] : kWays) {
    SystemSummary summary;
    EXPECT_EQ(CompareReaders(act, &summary), "") << what;
    // Two kinds of three instances each: the first and the second of each tell, the third takes over.
    EXPECT_EQ(summary.instances_written_out, 4) << what;
  }
}

// What no property tells is found out when the second instance is asked, too; from then on all are asked.
TEST(Replay, AModelWithChoicesOfItsOwnIsAskedEachTime) {
  SystemSummary summary;
  EXPECT_EQ(CompareReaders([](QV_READER&, int) {}, &summary, [](QV_READER& m, int k) { m.hidden = k % 2; }),
            "");
  EXPECT_EQ(summary.instances_written_out, 6);
}

// Two references to one object make another equation than two references to two.
struct QV_PAIR : QV_GENERICMODEL {
  MODEL_TEXT(PAIR)
  EXTERNAL(QV_CONSTANT, LEFT)
  EXTERNAL(QV_CONSTANT, RIGHT)
  VARIABLE(QV_CONSTANT, SUM)
  void Equations(Equate& eq) { eq("product", SUM == LEFT * RIGHT); }
};
TEST(Replay, ReferencesThatMeetAreNotTakenForTwo) {
  Twins twins(
      [&](Flowsheet& sheet, const std::string& name) {
        auto* model = new QV_PAIR(true, nullptr);
        model->AddRef();
        sheet.AddBlock(name, model);
        if (name == "b2" || name == "b4") HostAccess::Target(model->RIGHT) = model->LEFT.Target();
      },
      {{}, {}}, [](Instance&, const Choice&, int) {});
  EXPECT_EQ(twins.Compare(), "");
}
