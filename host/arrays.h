// SPDX-License-Identifier: Apache-2.0
// Indexed arrays: an untyped base for each shape, on which the host works, and over it the typed array of a
// model.
//
//   QV_ARRAY_SI<QV_MOLEFRACTION> X;   (*X).SetDim(*ComponentList, *NPOINTS);   X("water",
//   2).SetCurrentValue(0.3);
//
// Elements lie in index order, the last index fastest. Sizing again keeps the elements whose indices stay.
#pragma once

#include <utility>

#include "host/sets.h"

namespace quiver {
struct ArrayStorage;
}

class QV_API QV_ArrayBase : public QV_VarParam {
 public:
  QV_ArrayBase();
  QV_ArrayBase(const QV_ArrayBase&) = delete;          // the typed array copies itself
  QV_ArrayBase& operator=(const QV_ArrayBase& other);  // dimensions and element values
  ~QV_ArrayBase() override;
  long long Count() const;
  int Rank() const;  // number of indices, 0 before the array is sized
  long long Size(int dimension) const;
  QV_Type& At(long long position) const;  // from 0

 protected:
  virtual QV_Type* NewElement() = 0;
  void Resize(QV_Set* const* sets, int rank);
  QV_Type& FindElement(const void* const* indices, const char* shape) const;
  // Dimensions and element values of an array of the same type and shape.
  void CopyElements(const QV_ArrayBase& other);
  void TakeElements(QV_ArrayBase& other) noexcept;

 private:
  friend struct quiver::HostAccess;
  quiver::ArrayStorage* storage_ = nullptr;  // owned
};

// One untyped base per shape; a letter per index: I an integer set, S a string set.
#define QV_INDEX_I int
#define QV_INDEX_S const char*
#define QV_POINTER_I(x) &x
#define QV_POINTER_S(x) x

#define QV_BASE_1(SHAPE, A)                              \
  class QV_API QV_BASE_##SHAPE : public QV_ArrayBase {   \
   public:                                               \
    void SetDim(QV_Set& a) {                             \
      QV_Set* const sets[] = {&a};                       \
      Resize(sets, 1);                                   \
    }                                                    \
    QV_Type& Find(QV_INDEX_##A a) const {                \
      const void* const indices[] = {QV_POINTER_##A(a)}; \
      return FindElement(indices, #SHAPE);               \
    }                                                    \
  }
#define QV_BASE_2(SHAPE, A, B)                                              \
  class QV_API QV_BASE_##SHAPE : public QV_ArrayBase {                      \
   public:                                                                  \
    void SetDim(QV_Set& a, QV_Set& b) {                                     \
      QV_Set* const sets[] = {&a, &b};                                      \
      Resize(sets, 2);                                                      \
    }                                                                       \
    QV_Type& Find(QV_INDEX_##A a, QV_INDEX_##B b) const {                   \
      const void* const indices[] = {QV_POINTER_##A(a), QV_POINTER_##B(b)}; \
      return FindElement(indices, #SHAPE);                                  \
    }                                                                       \
  }
#define QV_BASE_3(SHAPE, A, B, C)                                                              \
  class QV_API QV_BASE_##SHAPE : public QV_ArrayBase {                                         \
   public:                                                                                     \
    void SetDim(QV_Set& a, QV_Set& b, QV_Set& c) {                                             \
      QV_Set* const sets[] = {&a, &b, &c};                                                     \
      Resize(sets, 3);                                                                         \
    }                                                                                          \
    QV_Type& Find(QV_INDEX_##A a, QV_INDEX_##B b, QV_INDEX_##C c) const {                      \
      const void* const indices[] = {QV_POINTER_##A(a), QV_POINTER_##B(b), QV_POINTER_##C(c)}; \
      return FindElement(indices, #SHAPE);                                                     \
    }                                                                                          \
  }
QV_BASE_1(I, I);
QV_BASE_1(S, S);
QV_BASE_2(II, I, I);
QV_BASE_2(IS, I, S);
QV_BASE_2(SI, S, I);
QV_BASE_2(SS, S, S);
QV_BASE_3(III, I, I, I);
QV_BASE_3(SII, S, I, I);
QV_BASE_3(SIS, S, I, S);
QV_BASE_3(SSS, S, S, S);
class QV_API QV_BASE_SISS : public QV_ArrayBase {
 public:
  void SetDim(QV_Set& a, QV_Set& b, QV_Set& c, QV_Set& d) {
    QV_Set* const sets[] = {&a, &b, &c, &d};
    Resize(sets, 4);
  }
  QV_Type& Find(const char* a, int b, const char* c, const char* d) const {
    const void* const indices[] = {a, &b, c, d};
    return FindElement(indices, "SISS");
  }
};
#undef QV_BASE_1
#undef QV_BASE_2
#undef QV_BASE_3
#undef QV_INDEX_I
#undef QV_INDEX_S
#undef QV_POINTER_I
#undef QV_POINTER_S

// The typed array over one of the bases: constructs its T, and gives its elements as T&.
template <class T, class Base>
class QV_ARRAY_OF : public Base {
 public:
  using Element = T;
  QV_ARRAY_OF() = default;
  QV_ARRAY_OF(const QV_ARRAY_OF& other) : Base() { this->CopyElements(other); }
  QV_ARRAY_OF(QV_ARRAY_OF&& other) noexcept : Base() { this->TakeElements(other); }
  QV_ARRAY_OF& operator=(const QV_ARRAY_OF& other) {
    if (this != &other) this->CopyElements(other);
    return *this;
  }
  QV_ARRAY_OF& operator=(QV_ARRAY_OF&& other) noexcept {
    if (this != &other) this->TakeElements(other);
    return *this;
  }
  Base& operator*() { return *this; }
  template <class... Indices>
  T& operator()(Indices... indices) const {
    return static_cast<T&>(this->Find(indices...));
  }

 protected:
  QV_Type* NewElement() override { return quiver::NewHeld<T>(); }
};

template <class T>
class QV_ARRAY_I : public QV_ARRAY_OF<T, QV_BASE_I> {};
template <class T>
class QV_ARRAY_S : public QV_ARRAY_OF<T, QV_BASE_S> {};
template <class T>
class QV_ARRAY_II : public QV_ARRAY_OF<T, QV_BASE_II> {};
template <class T>
class QV_ARRAY_IS : public QV_ARRAY_OF<T, QV_BASE_IS> {};
template <class T>
class QV_ARRAY_SI : public QV_ARRAY_OF<T, QV_BASE_SI> {};
template <class T>
class QV_ARRAY_SS : public QV_ARRAY_OF<T, QV_BASE_SS> {};
template <class T>
class QV_ARRAY_III : public QV_ARRAY_OF<T, QV_BASE_III> {};
template <class T>
class QV_ARRAY_SII : public QV_ARRAY_OF<T, QV_BASE_SII> {};
template <class T>
class QV_ARRAY_SIS : public QV_ARRAY_OF<T, QV_BASE_SIS> {};
template <class T>
class QV_ARRAY_SSS : public QV_ARRAY_OF<T, QV_BASE_SSS> {};
template <class T>
class QV_ARRAY_SISS : public QV_ARRAY_OF<T, QV_BASE_SISS> {};
