// SPDX-License-Identifier: Apache-2.0
// The property lines of a model's text. A line both makes the member, in the language's own order of construction, and
// registers it for the two readers that declare and dimension: there is no second list.
//
//   GLOBAL(DPMAX, "Pressure drop upper limit (bar)")              a value shared by all models of a simulation
//   EXTERNAL(QV_CONSTANT, FL)                                     an object of the owner
//   EXTERNAL_ARRAY(QV_MOLEFRACTION, Z, OVER(ComponentList))       an array of the owner; without an owner, one over these sets
//   VIRTUAL(QV_PVAP, PVAP)                                        a sub-model that the user may substitute
//   STRUCTURE_REFERENCE(QV_FRGLOBAL, CHEMISTRY)                   a global structure
//   PARAMETER(QV_YESNO, POLYMERPROP)   VARIABLE(QV_PRESSURE, P, "Inlet pressure")   SET(QV_INTEGERSET, NPOINTS)
//   ARRAY(QV_PERCENT, POSX, OVER(NPOINTS), "Valve % Opening")     over sets declared before it, and ComponentList
//   SUBMODEL(QV_PFLASH2, FLASH)   PORT(QV_MATERIALPORTRPREV, IN_F, "Feed (Required)")
//   ROW(QV_PRESSURE, 2, P_ENDS)   ARRAY_ROW(QV_FRACTION, 2, X_ENDS, OVER(ComponentList))   NAME1, NAME2, ...
#pragma once

#include <array>
#include <cstdio>
#include <utility>

#include "frame/assignments.h"
#include "host/arrays.h"
#include "host/container.h"
#include "host/references.h"

namespace quiver::frame {

template <int k>
struct LineNumber {};

constexpr const char* Description() { return nullptr; }
constexpr const char* Description(const char* text) { return text; }

// A fixed row of like holders.
template <class T, int n>
class Row {
 public:
  Row() : Row(std::make_integer_sequence<int, n>()) {}
  T& operator[](int i) { return items_[static_cast<size_t>(i)]; }
  const T& operator[](int i) const { return items_[static_cast<size_t>(i)]; }
  auto begin() { return items_.begin(); }
  auto end() { return items_.end(); }

 private:
  static T New() {
    if constexpr (requires { T(true); })
      return T(true);
    else
      return T();
  }
  template <int... i>
  explicit Row(std::integer_sequence<int, i...>) : items_{((void)i, New())...} {}
  std::array<T, n> items_;
};

// The names NAME1 to NAMEn of a row, once per property line.
template <int n>
struct RowNames {
  static constexpr size_t kLongest = 48;  // with the number and the closing zero
  explicit RowNames(const char* name) {
    for (int i = 0; i < n; ++i) std::snprintf(names[i], kLongest, "%s%d", name, i + 1);
  }
  char names[n][kLongest];
};

// The letter of an index set.
template <class SetProperty>
consteval char IndexLetter() {
  using T = std::remove_cvref_t<SetProperty>;
  if constexpr (Reference<T>)
    return IndexLetter<typename T::Held>();
  else
    return std::derived_from<T, QV_INTEGERSET> ? 'I' : 'S';
}

template <class T, char... letters>
struct ArrayShape;
#define QV_SHAPE(SHAPE, ...)          \
  template <class T>                  \
  struct ArrayShape<T, __VA_ARGS__> { \
    using Type = QV_ARRAY_##SHAPE<T>; \
  };
QV_SHAPE(I, 'I')
QV_SHAPE(S, 'S')
QV_SHAPE(II, 'I', 'I')
QV_SHAPE(IS, 'I', 'S')
QV_SHAPE(SI, 'S', 'I')
QV_SHAPE(SS, 'S', 'S')
QV_SHAPE(III, 'I', 'I', 'I')
QV_SHAPE(SII, 'S', 'I', 'I')
QV_SHAPE(SIS, 'S', 'I', 'S')
QV_SHAPE(SSS, 'S', 'S', 'S')
QV_SHAPE(SISS, 'S', 'I', 'S', 'S')
#undef QV_SHAPE
template <class T, class... Sets>
auto ShapeOver(Sets&... sets) -> typename ArrayShape<T, IndexLetter<Sets>()...>::Type;

// Reads the property lines: tells them to the host, or sizes the arrays.
class PropertyReader {
 public:
  enum Purpose { kDeclare, kDimension };
  PropertyReader(Purpose purpose, QV_Container& model)
      : purpose_(purpose), owner_(model.Enclosing() ? model.Enclosing() : &model) {}

  void Local(QV_Type& holder, const char* name, const char* description) const {
    if (purpose_ == kDeclare)
      QV_Type::AddProperty(holder, owner_, name, description, QV_DIRECTION_NONE, false);
  }
  void Global(QV_ExternalBase& holder, const char* name, const char* description) const {
    if (purpose_ == kDeclare)
      QV_GlobalBase::AddProperty(holder, owner_, name, description, QV_DIRECTION_NONE, false);
  }
  void External(QV_ExternalBase& holder, const char* name, const char* description) const {
    if (purpose_ == kDeclare)
      QV_ExternalBase::AddProperty(holder, owner_, name, description, QV_DIRECTION_NONE, false);
  }
  void Structure(QV_ExternalBase& holder, const char* name, const char* description) const {
    if (purpose_ == kDeclare)
      QV_GlobalStructureRefBase::AddProperty(holder, owner_, name, description, QV_DIRECTION_NONE, false);
  }
  void Virtual(QV_VirtualBase& holder, const char* name, const char* description) const {
    if (purpose_ == kDeclare)
      QV_VirtualBase::AddProperty(holder, owner_, name, description, QV_DIRECTION_NONE, false);
  }
  template <class Array, class... Sets>
  void IndexedArray(Array& array, const char* name, const char* description, Sets&... sets) const {
    if (purpose_ == kDeclare)
      QV_Type::AddProperty(array, owner_, name, description, QV_DIRECTION_NONE, false);
    else
      (*array).SetDim(SetOf(sets)...);
  }
  template <class Array, class... Sets>
  void ExternalArray(QV_External<Array>& holder, const char* name, const char* description,
                     Sets&... sets) const {
    if (purpose_ == kDeclare)
      External(holder, name, description);
    else if ((*holder).Rank() == 0)
      (*holder).SetDim(SetOf(sets)...);
  }
  template <class T, int n, class... Sets>
  void RowOf(Row<T, n>& row, const RowNames<n>& names, const char* description, Sets&... sets) const {
    for (int i = 0; i < n; ++i) {
      const char* name = names.names[i];
      if constexpr (sizeof...(Sets) > 0)
        IndexedArray(row[i], name, description, sets...);
      else
        Local(row[i], name, description);
    }
  }

 private:
  Purpose purpose_;
  QV_Container* owner_;
};

// Calls the property lines of a model one after another.
template <int k = 0, class Model>
void ReadPropertyLines(Model& model, const PropertyReader& reader) {
  if constexpr (requires { model.PropertyLine(LineNumber<k>(), reader); }) {
    model.PropertyLine(LineNumber<k>(), reader);
    ReadPropertyLines<k + 1>(model, reader);
  }
}

}  // namespace quiver::frame

#define QV_LINE \
  quiver::frame::LineNumber<__COUNTER__ - kLinesBefore - 1>, const quiver::frame::PropertyReader& reader

#define QV_LOCAL_PROPERTY(TYPE, NAME, INIT, ...) \
  TYPE NAME INIT;                                \
  void PropertyLine(QV_LINE) { reader.Local(NAME, #NAME, quiver::frame::Description(__VA_ARGS__)); }
#define QV_REFERENCE_PROPERTY(KIND, HOLDER, NAME, ...) \
  HOLDER NAME;                                         \
  void PropertyLine(QV_LINE) { reader.KIND(NAME, #NAME, quiver::frame::Description(__VA_ARGS__)); }
#define QV_ONE \
  { true }
#define QV_OWN \
  { true, this }

#define GLOBAL(NAME, ...) QV_REFERENCE_PROPERTY(Global, QV_External<QV_REALPARAMETER>, NAME, __VA_ARGS__)
#define GLOBAL_OF(TYPE, NAME, ...) QV_REFERENCE_PROPERTY(Global, QV_External<TYPE>, NAME, __VA_ARGS__)
#define EXTERNAL(TYPE, NAME, ...) QV_REFERENCE_PROPERTY(External, QV_External<TYPE>, NAME, __VA_ARGS__)
#define STRUCTURE_REFERENCE(TYPE, NAME, ...) \
  QV_REFERENCE_PROPERTY(Structure, QV_External<TYPE>, NAME, __VA_ARGS__)
#define VIRTUAL(TYPE, NAME, ...) QV_REFERENCE_PROPERTY(Virtual, QV_Virtual<TYPE>, NAME, __VA_ARGS__)
#define PARAMETER(TYPE, NAME, ...) QV_LOCAL_PROPERTY(TYPE, NAME, QV_ONE, __VA_ARGS__)
#define VARIABLE(TYPE, NAME, ...) QV_LOCAL_PROPERTY(TYPE, NAME, QV_ONE, __VA_ARGS__)
#define SET(TYPE, NAME, ...) QV_LOCAL_PROPERTY(TYPE, NAME, QV_ONE, __VA_ARGS__)
#define SUBMODEL(TYPE, NAME, ...) QV_LOCAL_PROPERTY(TYPE, NAME, QV_OWN, __VA_ARGS__)
#define PORT(TYPE, NAME, ...) QV_LOCAL_PROPERTY(TYPE, NAME, QV_OWN, __VA_ARGS__)
#define ROW(TYPE, COUNT, NAME, ...)                                          \
  quiver::frame::Row<TYPE, COUNT> NAME;                                      \
  void PropertyLine(QV_LINE) {                                               \
    static_assert(sizeof #NAME + 10 < quiver::frame::RowNames<1>::kLongest); \
    static const quiver::frame::RowNames<COUNT> names(#NAME);                \
    reader.RowOf(NAME, names, quiver::frame::Description(__VA_ARGS__));      \
  }
#define OVER(...) __VA_ARGS__
#define ARRAY(TYPE, NAME, SETS, ...)                                                 \
  decltype(quiver::frame::ShapeOver<TYPE>(SETS)) NAME;                               \
  void PropertyLine(QV_LINE) {                                                       \
    reader.IndexedArray(NAME, #NAME, quiver::frame::Description(__VA_ARGS__), SETS); \
  }
#define ARRAY_ROW(TYPE, COUNT, NAME, SETS, ...)                                   \
  quiver::frame::Row<decltype(quiver::frame::ShapeOver<TYPE>(SETS)), COUNT> NAME; \
  void PropertyLine(QV_LINE) {                                                    \
    static_assert(sizeof #NAME + 10 < quiver::frame::RowNames<1>::kLongest);      \
    static const quiver::frame::RowNames<COUNT> names(#NAME);                     \
    reader.RowOf(NAME, names, quiver::frame::Description(__VA_ARGS__), SETS);     \
  }
#define EXTERNAL_ARRAY(TYPE, NAME, SETS, ...)                                         \
  QV_External<decltype(quiver::frame::ShapeOver<TYPE>(SETS))> NAME;                   \
  void PropertyLine(QV_LINE) {                                                        \
    reader.ExternalArray(NAME, #NAME, quiver::frame::Description(__VA_ARGS__), SETS); \
  }
