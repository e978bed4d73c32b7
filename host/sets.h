// SPDX-License-Identifier: Apache-2.0
// Integer sets, string sets, component lists and their iterators.
//
//   QV_IntegerSetIter i(*NPOINTS);   while (i.Next()) Use(i.Value());
#pragma once

#include "host/property.h"

class QV_API QV_Set {
 public:
  virtual ~QV_Set();
};

class QV_API QV_SetIter {
 public:
  explicit QV_SetIter(QV_Set& set);
  virtual ~QV_SetIter();
  bool Next();  // false at the end; stands before the first element until the first call

 protected:
  const quiver::SetStorage* set_;
  long long position_ = -1;

 private:
  friend struct quiver::HostAccess;
};

class QV_API QV_IntegerSetIter : public QV_SetIter {
 public:
  using QV_SetIter::QV_SetIter;
  int Value() const;
};

class QV_API QV_StringSetIter : public QV_SetIter {
 public:
  using QV_SetIter::QV_SetIter;
  const char* Value() const;
};

class QV_API QV_INTEGERSET : public QV_VarParam {
 public:
  explicit QV_INTEGERSET(bool);
  QV_Set& operator*();
};

class QV_API QV_STRINGSET : public QV_VarParam {
 public:
  explicit QV_STRINGSET(bool);
  QV_Set& operator*();
};

class QV_API QV_COMPONENTLISTNAME : public QV_VarParam {
 public:
  explicit QV_COMPONENTLISTNAME(bool);
  QV_Set& operator*();
  // Around a routine that asks for properties of this list's components.
  void BeginPropertiesCall();
  void EndPropertiesCall();
};
