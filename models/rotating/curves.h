// SPDX-License-Identifier: Apache-2.0
// What the performance maps of compressors and pumps share: which flow is the abscissa, which result the
// ordinate, the number of each procedure call, the sizes of the tables, and the default map.
//
//   const auto flows = Flows();   const FlowChoice* flow = Chosen(FLOWVAR, flows);
//   eq(Label(Calls(flow->flow, kHead, kPolytropic).compressor[laws ? 0 : 1]), outputs(...) == PPCURVE(...));
#pragma once

#include <array>
#include <initializer_list>

#include "frame/model.h"
#include "models/rotating/labels.h"

namespace quiver::rotating {

enum Flow { kVolumeFlow, kMassFlow, kFlowPerSpeed, kFlowCoefficient };
enum Result {
  kHead,
  kPower,
  kDischargePressure,
  kPressureRatio,
  kPressureChange,
  kHeadCoefficient,
  kEfficiency
};
enum Kind { kAnyKind, kPolytropic, kIsentropic };

// The number in "QV_Eqn..." of every procedure call, first with the laws of similarity on, then with them
// off. The rule: a section per flow; in it the results one after another, each on before off, a compressor's
// polytropic before its isentropic ones; a pressure has no value at the reference speed, so one call serves
// both. A compressor's performance call takes one number. A pump's takes five: the curve, limit and tie of
// the ordinate, limit and tie of the abscissa. An efficiency takes two: curve and limit. So a compressor
// fills 9 to 62 and a pump 8 to 113 without a gap.
struct CallNumbers {
  Flow flow;
  Result result;
  Kind kind;
  int compressor[2], pump[2];
};
// clang-format off
inline constexpr CallNumbers kCalls[] = {
    // abscissa        ordinate            of a compressor  compressor    pump
    {kVolumeFlow,      kHead,              kPolytropic,     {9, 10},      {8, 13}},
    {kVolumeFlow,      kHead,              kIsentropic,     {11, 12},     {8, 13}},
    {kVolumeFlow,      kPower,             kAnyKind,        {13, 14},     {18, 23}},
    {kVolumeFlow,      kDischargePressure, kAnyKind,        {15, 15},     {28, 28}},
    {kVolumeFlow,      kPressureRatio,     kAnyKind,        {16, 16},     {33, 33}},
    {kVolumeFlow,      kPressureChange,    kAnyKind,        {17, 17},     {38, 38}},
    {kVolumeFlow,      kEfficiency,        kPolytropic,     {18, 20},     {43, 45}},
    {kVolumeFlow,      kEfficiency,        kIsentropic,     {22, 24},     {43, 45}},
    {kMassFlow,        kHead,              kPolytropic,     {26, 27},     {47, 52}},
    {kMassFlow,        kHead,              kIsentropic,     {28, 29},     {47, 52}},
    {kMassFlow,        kPower,             kAnyKind,        {30, 31},     {57, 62}},
    {kMassFlow,        kDischargePressure, kAnyKind,        {32, 32},     {67, 67}},
    {kMassFlow,        kPressureRatio,     kAnyKind,        {33, 33},     {72, 72}},
    {kMassFlow,        kPressureChange,    kAnyKind,        {34, 34},     {77, 77}},
    {kMassFlow,        kEfficiency,        kPolytropic,     {35, 37},     {82, 84}},
    {kMassFlow,        kEfficiency,        kIsentropic,     {39, 41},     {82, 84}},
    {kFlowPerSpeed,    kHeadCoefficient,   kAnyKind,        {43, 44},     {86, 91}},
    {kFlowPerSpeed,    kEfficiency,        kPolytropic,     {45, 47},     {96, 98}},
    {kFlowPerSpeed,    kEfficiency,        kIsentropic,     {49, 51},     {96, 98}},
    {kFlowCoefficient, kHeadCoefficient,   kAnyKind,        {53, 54},     {100, 105}},
    {kFlowCoefficient, kEfficiency,        kPolytropic,     {55, 57},     {110, 112}},
    {kFlowCoefficient, kEfficiency,        kIsentropic,     {59, 61},     {110, 112}},
};
// clang-format on

// A pair that has no row of its own is a valid choice all the same: its call takes the first number of the
// flow's section.
constexpr CallNumbers Calls(Flow flow, Result result, Kind kind) {
  const CallNumbers* first = nullptr;
  for (const CallNumbers& row : kCalls) {
    if (row.flow != flow) continue;
    if (!first) first = &row;
    if (row.result == result && (row.kind == kAnyKind || kind == kAnyKind || row.kind == kind)) return row;
  }
  return {flow, result, kind, {first->compressor[0], first->compressor[0]}, {first->pump[0], first->pump[0]}};
}

// One value of FLOWVAR: the flow at the operating and at the reference speed (flows that hold for every speed
// are their own reference), and its tables.
struct FlowChoice {
  const char* option;
  Flow flow;
  QV_VarParam &actual, &reference;
  QV_BASE_II &table, &efficiency_table;
};

// One value of PERFVAR or EFFVAR: what is read at the operating and at the reference speed, and its table. A
// pressure has no reference and is read at the operating speed always.
struct ResultChoice {
  const char* option;
  Result result;
  QV_VarParam &actual, &reference;
  QV_BASE_II& table;

  bool HasReference() const { return &actual != &reference; }
};

// The entry whose option is chosen; null when there is none, "None" for example.
template <class Choices>
auto Chosen(const QV_STRINGPARAMETER& option, const Choices& choices) -> decltype(choices.data()) {
  for (const auto& choice : choices)
    if (is(option, choice.option)) return &choice;
  return nullptr;
}

// ---- Assignments.

using frame::Assigner;

template <class... Properties>
void Given(Assigner& set, Properties&... properties) {
  (set.spec(properties, QV_SPEC_GIVEN), ...);
}

inline void Ranges(Assigner& set, std::initializer_list<QV_INTEGERSET*> sets, int n) {
  for (QV_INTEGERSET* each : sets) set.range(*each, n);
}

// A polynomial has this many coefficients unless the user says otherwise: up to the fifth power. Those not
// given are 0.
inline constexpr int kCoefficients = 6;

// Numbers of curves and points: of the tables or of the polynomials, as the format says; the others have one
// row.
template <class Map>
void SizeMap(Map& m, Assigner& set) {
  const bool tabular = is(m.CURVEFORMAT, "Tabular data");
  set(m.NCT, tabular ? m.NCURVE.IntegerValue() : 1);
  set(m.NPT, tabular ? m.NPOINT.IntegerValue() : 1);
  set(m.NPTE, tabular ? m.NPOINTE.IntegerValue() : 1);
  set(m.NCP, tabular ? 1 : m.NCURVE.IntegerValue());
  Ranges(set,
         {&m.QV_VOLFLOWTAB_SET1, &m.QV_MASSFLOWTAB_SET1, &m.QV_VOLFLOWNTAB_SET1, &m.QV_FLOWCOEFTAB_SET1,
          &m.QV_HEADTAB_SET1, &m.QV_HEADCOEFTAB_SET1, &m.QV_POWERTAB_SET1, &m.QV_PRESTAB_SET1,
          &m.QV_PRESRATIOTAB_SET1, &m.QV_PRESDIFFTAB_SET1, &m.QV_VOLFLOWTABE_SET1, &m.QV_MASSFLOWTABE_SET1,
          &m.QV_VOLFLOWNTABE_SET1, &m.QV_FLOWCOEFTABE_SET1},
         m.NCT.IntegerValue());
  Ranges(set,
         {&m.QV_VOLFLOWTAB_SET2, &m.QV_MASSFLOWTAB_SET2, &m.QV_VOLFLOWNTAB_SET2, &m.QV_FLOWCOEFTAB_SET2,
          &m.QV_HEADTAB_SET2, &m.QV_HEADCOEFTAB_SET2, &m.QV_POWERTAB_SET2, &m.QV_PRESTAB_SET2,
          &m.QV_PRESRATIOTAB_SET2, &m.QV_PRESDIFFTAB_SET2},
         m.NPT.IntegerValue());
  Ranges(set,
         {&m.QV_VOLFLOWTABE_SET2, &m.QV_MASSFLOWTABE_SET2, &m.QV_VOLFLOWNTABE_SET2, &m.QV_FLOWCOEFTABE_SET2},
         m.NPTE.IntegerValue());
  Ranges(set, {&m.QV_COEFP_SET1, &m.QV_COEFE_SET1}, m.NCP.IntegerValue());
  set(m.COEFP, 0.0);
  set(m.COEFE, 0.0);
  Ranges(set, {&m.QV_VOLFLOWR_SET1, &m.QV_HEADR_SET1, &m.QV_EFFR_SET1}, m.NPOINTD.IntegerValue());
}

// The tables in use are given. Of the others nothing is asked, nor are they shown with the results.
inline void GivenTables(Assigner& set, const FlowChoice* flow, const ResultChoice* result,
                        const ResultChoice* efficiency) {
  if (flow) Given(set, flow->table, flow->efficiency_table);
  if (result) Given(set, result->table);
  if (efficiency) Given(set, efficiency->table);
}

// A map as parts of its design point.
struct ReducedPoint {
  double flow, head, efficiency;
};
struct DesignPoint {
  double volume_flow_m3_per_h, head_kj_per_kg, efficiency;
};

template <class Map, size_t n>
void ReducedCurve(Map& m, Assigner& set, const ReducedPoint (&points)[n]) {
  for (long long k = 0; k < m.VOLFLOWR.Count() && k < static_cast<long long>(n); ++k) {
    set(static_cast<QV_VarParam&>(m.VOLFLOWR.At(k)), points[k].flow);
    set(static_cast<QV_VarParam&>(m.HEADR.At(k)), points[k].head);
    set(static_cast<QV_VarParam&>(m.EFFR.At(k)), points[k].efficiency);
  }
}

// Every curve of a table: the reduced column times the value at the design point. Points that the table or
// the column does not have are left out.
inline void FillCurves(Assigner& set, const QV_BASE_II& table, const QV_BASE_I& reduced, double design) {
  if (table.Rank() != 2) return;  // not sized yet
  const long long points = table.Size(1);
  for (long long curve = 0; curve < table.Size(0); ++curve)
    for (long long k = 0; k < points && k < reduced.Count(); ++k)
      set(static_cast<QV_VarParam&>(table.At(curve * points + k)),
          design * static_cast<QV_VarParam&>(reduced.At(k)).RealValue());
}

}  // namespace quiver::rotating

// A table over curves and points, or a row over points, with index sets of its own.
#define CURVE_TABLE(TYPE, NAME, ...)   \
  SET(QV_INTEGERSET, QV_##NAME##_SET1) \
  SET(QV_INTEGERSET, QV_##NAME##_SET2) \
  ARRAY(TYPE, NAME, OVER(QV_##NAME##_SET1, QV_##NAME##_SET2), __VA_ARGS__)
#define CURVE_ROW(TYPE, NAME, ...)     \
  SET(QV_INTEGERSET, QV_##NAME##_SET1) \
  ARRAY(TYPE, NAME, OVER(QV_##NAME##_SET1), __VA_ARGS__)
