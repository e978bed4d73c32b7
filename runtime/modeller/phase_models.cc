// SPDX-License-Identifier: Apache-2.0
#include "host/modeller/phase_models.h"

#include <array>
#include <memory>
#include <new>
#include <span>
#include <utility>

#include "procedures/procedure_class.h"
#include "runtime/contract/host_access.h"
#include "runtime/contract/memory.h"
#include "runtime/contract/procedure_fault.h"
#include "runtime/contract/scope.h"
#include "runtime/modeller/phase_models.h"
#include "runtime/modeller/phase_state.h"
#include "runtime/modeller/property_routines.h"
#include "runtime/plugin/routine_library.h"
#include "runtime/properties/property_error.h"

// FLASHTYPE, the set of phases, the two members given, Z -> all other members in the order of the tables below.
QV_DECLARE_COMPONENT_PROCEDURE(, PPHASES, "ZX40RM_pphases", "Properties", 5, 17, 4, "s i r* r* r[n]*",
                               "r r r r r r r r r r r r r r r r[n] r[n]", kDerivatives)
QV_DECLARE_COMPONENT_PROCEDURE(, PPHASES3, "ZX40RM_pphases3", "Properties", 5, 30, 4, "s i r* r* r[n]*",
                               "r r r r r r r r r r r r r r r r[n] r[n] r r r r r r r r r r r r[n] r[n]",
                               kDerivatives)
QV_DEFINE_COMPONENT_PROCEDURE(PPHASES)
QV_DEFINE_COMPONENT_PROCEDURE(PPHASES3)

QV_Value* QV_FLASHTYPE::QV_DefaultVALUE() {
  static QV_Value value("TP");
  return &value;
}
QV_Value* QV_FLASHTYPE::QV_DefaultVALID() {
  static QV_StrSetValue set("PH\"PS\"PV\"TP\"TV\"");
  static QV_Value value(set);
  return &value;
}

namespace quiver {
namespace {

using Q = PhaseQuantity;
using C = PhaseComposition;

// One member: what it shows, and where it lies. All readers (declaration, argument list, routine) go by these tables.
template <class What, class Holder>
struct Row {
  What what;
  const char* name;
  const char* description;
  Holder& (*holder)(QV_PHASEPROPERTIES& model);
};
using ScalarRow = Row<Q, QV_VarParam>;
using ArrayRow = Row<C, QV_ARRAY_S<QV_MOLEFRACTION>>;

#define ROW(NAME, DESCRIPTION)                                                                   \
  {                                                                                              \
    Q::k##NAME, #NAME, DESCRIPTION, [](QV_PHASEPROPERTIES& m) -> QV_VarParam& { return m.NAME; } \
  }
#define ROW3(NAME, DESCRIPTION)                                                                \
  {                                                                                            \
    Q::k##NAME, #NAME, DESCRIPTION,                                                            \
        [](QV_PHASEPROPERTIES& m) -> QV_VarParam& { return static_cast<QV_PFLASH3&>(m).NAME; } \
  }
#define ARRAY_ROW(NAME, MODEL, DESCRIPTION)                                                               \
  {                                                                                                       \
    C::k##NAME, #NAME, DESCRIPTION,                                                                       \
        [](QV_PHASEPROPERTIES& m) -> QV_ARRAY_S<QV_MOLEFRACTION>& { return static_cast<MODEL&>(m).NAME; } \
  }

// Two of these five are given.
constexpr ScalarRow kState[] = {ROW(T, "Temperature"), ROW(P, "Pressure"), ROW(VF, "Vapor mole fraction"),
                                ROW(H, "Molar enthalpy"), ROW(S, "Molar entropy")};
constexpr int kGiven[][2] = {{0, 1}, {1, 3}, {1, 4}, {1, 2}, {0, 2}};  // by FlashKind
constexpr ScalarRow kScalars[] = {
    ROW(RHO, "Molar density"),         ROW(MW, "Molar weight"),         ROW(V, "Molar volume"),
    ROW(LF, "Liquid mole fraction"),   ROW(HV, "Vapor molar enthalpy"), ROW(HL, "Liquid molar enthalpy"),
    ROW(SV, "Vapor molar entropy"),    ROW(SL, "Liquid molar entropy"), ROW(RHOV, "Vapor molar density"),
    ROW(RHOL, "Liquid molar density"), ROW(MWV, "Vapor molar weight"),  ROW(MWL, "Liquid molar weight")};
constexpr ArrayRow kArrays[] = {ARRAY_ROW(Y, QV_PHASEPROPERTIES, "Vapor mole fractions"),
                                ARRAY_ROW(X, QV_PHASEPROPERTIES, "Liquid mole fractions")};
constexpr ScalarRow kScalars3[] = {
    ROW3(LF1, "First liquid mole fraction"),    ROW3(LF2, "Second liquid mole fraction"),
    ROW3(BETA, "First liquid in all liquid"),   ROW3(HL1, "First liquid molar enthalpy"),
    ROW3(HL2, "Second liquid molar enthalpy"),  ROW3(SL1, "First liquid molar entropy"),
    ROW3(SL2, "Second liquid molar entropy"),   ROW3(RHOL1, "First liquid molar density"),
    ROW3(RHOL2, "Second liquid molar density"), ROW3(MWL1, "First liquid molar weight"),
    ROW3(MWL2, "Second liquid molar weight")};
constexpr ArrayRow kArrays3[] = {ARRAY_ROW(X1, QV_PFLASH3, "First liquid mole fractions"),
                                 ARRAY_ROW(X2, QV_PFLASH3, "Second liquid mole fractions")};
#undef ROW
#undef ROW3
#undef ARRAY_ROW

// Calls scalar(row) and array(row) for the computed members in the order of the procedure's outputs.
template <class Scalar, class Array>
void ForEachOutput(FlashKind kind, bool three, Scalar scalar, Array array) {
  const auto& given = kGiven[static_cast<int>(kind)];
  for (int i = 0; i < static_cast<int>(std::size(kState)); ++i)
    if (i != given[0] && i != given[1]) scalar(kState[i]);
  for (const ScalarRow& row : kScalars) scalar(row);
  for (const ArrayRow& row : kArrays) array(row);
  if (!three) return;
  for (const ScalarRow& row : kScalars3) scalar(row);
  for (const ArrayRow& row : kArrays3) array(row);
}

constexpr long long kFailed = 3;  // out of range, as the routine libraries say it
constexpr PhaseSet kSets[] = {PhaseSet::kVapour, PhaseSet::kLiquid, PhaseSet::kAll, PhaseSet::kAll};

template <bool three>
void PhasesRoutine(double* values, long long* input_sizes, double*, long long*, long long* input_offsets,
                   long long* output_offsets, long long* failure, long long*, double*,
                   long long* derivative_dimension, double* derivatives, long long*, long long*,
                   long long* call_type) {
  *failure = kFailed;
  try {
    QV_COMPONENTLISTNAME* list = CurrentComponentList();
    if (!list) throw PropertyError("the routine was called without a component list.");
    const FlashKind kind = FlashKindOf(reinterpret_cast<const char*>(values + input_offsets[0]));
    const auto phases = *reinterpret_cast<const long long*>(values + input_offsets[1]);
    const size_t n = static_cast<size_t>(input_sizes[0]);
    const PhaseState state(*PackageOf(*list), kSets[phases], kind, values[input_offsets[2]],
                           values[input_offsets[3]], {values + input_offsets[4], n});
    constexpr long long kConstants = 2;
    long long element = 0;
    const auto write = [&](const Sloped& result, double& slot) {
      slot = result.value;
      if (*call_type == kQvCallReturnedDerivatives)
        for (size_t k = 0; k < result.slopes.size(); ++k)
          derivatives[element + (kConstants + static_cast<long long>(k)) * *derivative_dimension] =
              result.slopes[k];
      ++element;
    };
    const long long* offset = output_offsets;
    ForEachOutput(
        kind, three, [&](const ScalarRow& row) { write(state[row.what], values[*offset++]); },
        [&](const ArrayRow& row) {
          const std::vector<Sloped>& fractions = state[row.what];
          for (size_t i = 0; i < n; ++i) write(fractions[i], values[*offset + static_cast<long long>(i)]);
          ++offset;
        });
    *failure = 0;
  } catch (const std::bad_alloc&) {
    NoteOutOfMemory();
  } catch (const std::exception& error) {
    NotingMemory([&] { SetRoutineReason(error.what()); });
  }
}

void HandOver(QV_PHASEPROPERTIES& model, int phases, FlashKind kind, QV_DynamicProcExtensions& procedure) {
  const auto scalar = [&](const ScalarRow& row) { procedure.Argument(row.holder(model)); };
  const auto fractions = [&](QV_ARRAY_S<QV_MOLEFRACTION>& array) {
    procedure.Argument();
    procedure.SetDimensionSize(static_cast<int>(array.Count()));
    for (long long i = 0; i < array.Count(); ++i) procedure.Element(static_cast<QV_VarParam&>(array.At(i)));
  };
  procedure.Argument(model.FLASHTYPE.StringValue());
  procedure.Argument(phases);
  for (const int given : kGiven[static_cast<int>(kind)]) scalar(kState[given]);
  fractions(model.Z);
  ForEachOutput(kind, phases == 3, scalar, [&](const ArrayRow& row) { fractions(row.holder(model)); });
  procedure.LastArgument();
}

// Calls use(a new procedure) of the class that fits the number of phases. Throws std::bad_alloc.
template <class Use>
std::unique_ptr<QV_ProcedureType> WithProcedure(QV_PHASEPROPERTIES& model, int phases, Use use) {
  const auto make = [&](auto* made) -> std::unique_ptr<QV_ProcedureType> {
    if (!made) throw std::bad_alloc();
    std::unique_ptr<QV_ProcedureType> procedure(made);
    use(*made, FlashKindOf(model.FLASHTYPE.StringValue()));
    return procedure;
  };
  if (phases == 3) return make(new QVProc_PPHASES3(true, 0, &model.ComponentList));
  return make(new QVProc_PPHASES(true, 0, &model.ComponentList));
}

}  // namespace

void RegisterPhaseRoutines(RoutineLibraries& routines) {
  routines.RegisterBuiltIn("Properties", QVProc_PPHASES::kRoutine, &PhasesRoutine<false>);
  routines.RegisterBuiltIn("Properties", QVProc_PPHASES3::kRoutine, &PhasesRoutine<true>);
}

}  // namespace quiver

QV_PHASEPROPERTIES::QV_PHASEPROPERTIES(Phases phases, const char* id, QV_Container* owner)
    : QV_GENERICMODEL(false, owner), phases_(phases), id_(id) {}
QV_PHASEPROPERTIES::~QV_PHASEPROPERTIES() { delete procedure_; }

const char* QV_PHASEPROPERTIES::QV_DefaultDESCRIPTION() { return id_; }
bool QV_PHASEPROPERTIES::ContainerDerivesFrom(const char* id) {
  return SUValue::CompareCI(id, id_) == 0 || QV_GENERICMODEL::ContainerDerivesFrom(id);
}

void QV_PHASEPROPERTIES::Construct() {
  QV_GENERICMODEL::Construct();
  const auto add = [&](QV_Type& holder, const char* name, const char* description) {
    AddProperty(holder, this, name, description, QV_DIRECTION_NONE, false);
  };
  const auto add_row = [&](const auto& row) { add(row.holder(*this), row.name, row.description); };
  add(FLASHTYPE, "FLASHTYPE", "The two members given beside Z");
  for (const auto& row : quiver::kState) add_row(row);
  add(Z, "Z", "Mole fractions");
  for (const auto& row : quiver::kScalars) add_row(row);
  for (const auto& row : quiver::kArrays) add_row(row);
  if (phases_ != kVapourLiquidLiquid) return;
  for (const auto& row : quiver::kScalars3) add_row(row);
  for (const auto& row : quiver::kArrays3) add_row(row);
}

void QV_PHASEPROPERTIES::SetDims() {
  QV_GENERICMODEL::SetDims();
  Z.SetDim(*ComponentList);
  for (const auto& row : quiver::kArrays) row.holder(*this).SetDim(*ComponentList);
  if (phases_ != kVapourLiquidLiquid) return;
  for (const auto& row : quiver::kArrays3) row.holder(*this).SetDim(*ComponentList);
}

// So that a flash at given enthalpy starts from an enthalpy that the mixture can have, not from 0.
int QV_PHASEPROPERTIES::ExecuteAssignments(int a, int b) {
  const int result = QV_GENERICMODEL::ExecuteAssignments(a, b);
  if (result < 0 || Z.Count() == 0) return result;
  const auto start = [&](QV_VarParam& holder, double value) {
    const QV_Value* type_start = holder.QV_DefaultVALUE();
    if (!type_start || holder.RealValue() != quiver::HostAccess::Real(*type_start))
      return;  // the owner's stays
    QV_Value assigned(value, b, a);
    holder.Assign(&assigned);
  };
  try {
    const std::vector<double> equal(static_cast<size_t>(Z.Count()), 1.0 / static_cast<double>(Z.Count()));
    const quiver::PhaseState state(*quiver::PackageOf(ComponentList), quiver::kSets[phases_],
                                   quiver::FlashKind::kTP, T.RealValue(), P.RealValue(), equal);
    quiver::ForEachOutput(
        quiver::FlashKind::kTP, phases_ == kVapourLiquidLiquid,
        [&](const auto& row) { start(row.holder(*this), state[row.what].value); },
        [&](const auto& row) {
          auto& fractions = row.holder(*this);
          for (long long i = 0; i < fractions.Count(); ++i)
            start(static_cast<QV_VarParam&>(fractions.At(i)), state[row.what][static_cast<size_t>(i)].value);
        });
    for (long long i = 0; i < Z.Count(); ++i) start(static_cast<QV_VarParam&>(Z.At(i)), equal[0]);
  } catch (const std::bad_alloc&) {
    return kQvOutOfMemory;
  } catch (const std::exception&) {
    // No start: what is wrong with components or range is told when the equations are evaluated.
  }
  return result;
}

int QV_PHASEPROPERTIES::SetUpEquations() {
  int counter = QV_GENERICMODEL::SetUpEquations();
  if (counter < 0) return counter;
  first_group_ = m_stLastGroup;
  return quiver::NotingMemory([&] {
    quiver::WithProcedure(*this, phases_, [&](auto& procedure, quiver::FlashKind kind) {
      quiver::HandOver(*this, phases_, kind, procedure);
      procedure.NZAndEqnContribution(this, first_group_ + 1, counter);
    });
    return SetLocalEqnCount(counter);
  });
}

int QV_PHASEPROPERTIES::JacPattern(long long*& pattern, long long*& pattern_end,
                                   QV_EquationType** equations) {
  ResetExpressions();
  int counter = QV_GENERICMODEL::JacPattern(pattern, pattern_end, equations);
  if (counter < 0) return counter;
  delete std::exchange(procedure_, nullptr);
  return quiver::NotingMemory([&] {
    const auto emit = [&](auto& procedure, quiver::FlashKind kind) {
      quiver::HandOver(*this, phases_, kind, procedure);  // sizes
      quiver::HandOver(*this, phases_, kind, procedure);  // stores
      procedure.CreateEquationsAndSetGroup(first_group_ + 1, true, pattern, pattern_end, counter,
                                           static_cast<QV_ModelTypeEx*>(this), "PhaseProperties", false);
    };
    procedure_ = quiver::WithProcedure(*this, phases_, emit).release();
    return counter;
  });
}

QV_PVAP::QV_PVAP(bool, QV_Container* owner) : QV_PHASEPROPERTIES(kVapour, "Model PVAP", owner) {}
QV_PLIQ::QV_PLIQ(bool, QV_Container* owner) : QV_PHASEPROPERTIES(kLiquid, "Model PLIQ", owner) {}
QV_PFLASH2::QV_PFLASH2(bool, QV_Container* owner)
    : QV_PHASEPROPERTIES(kVapourLiquid, "Model PFLASH2", owner) {}
QV_PFLASH3::QV_PFLASH3(bool, QV_Container* owner) : QV_PFLASH3("Model PFLASH3", owner) {}
QV_PFLASH3::QV_PFLASH3(const char* id, QV_Container* owner) : QV_PFLASH2(kVapourLiquidLiquid, id, owner) {}
QV_PFLASH2W::QV_PFLASH2W(bool, QV_Container* owner) : QV_PFLASH3("Model PFLASH2W", owner) {}
