// SPDX-License-Identifier: Apache-2.0
// A value to assign: the number, text, set or specification kind, with the assignment's pass numbers and
// index.
//
//   QV_Value value(5000.0, b, a, 1);   holder.Assign(&value);
#pragma once

#include "host/export.h"

namespace quiver {
struct HostAccess;
class SetStorage;
}  // namespace quiver

enum QV_SpecType : int { QV_SPEC_COMPUTED = 1, QV_SPEC_GIVEN = 4 };

struct QV_API SUValue {
  // 0 when equal; letters A to Z and a to z are the same, all other bytes must match. Null counts as "".
  static int CompareCI(const char* a, const char* b);
};

// The values of a set written as text, each followed by a double quote: Linear"Hermite" or 1":3" for 1 to 3.
class QV_API QV_SetValue {
 public:
  QV_SetValue() = default;
  QV_SetValue(const QV_SetValue& other);
  QV_SetValue& operator=(const QV_SetValue& other);
  virtual ~QV_SetValue();

 protected:
  explicit QV_SetValue(quiver::SetStorage* values) : values_(values) {}

 private:
  friend struct quiver::HostAccess;
  quiver::SetStorage* values_ = nullptr;  // owned
};

class QV_API QV_StrSetValue : public QV_SetValue {
 public:
  explicit QV_StrSetValue(const char* text);
};

class QV_API QV_IntSetValue : public QV_SetValue {
 public:
  explicit QV_IntSetValue(const char* text);
};

class QV_API QV_Value {
 public:
  enum Kind : int { kReal, kInteger, kText, kLogical, kSet, kSpecification };

  QV_Value(double value, int b = 0, int a = 0, int index = 0);
  QV_Value(int value, int b = 0, int a = 0, int index = 0);
  QV_Value(const char* value, int b = 0, int a = 0, int index = 0);
  QV_Value(bool value, int b = 0, int a = 0, int index = 0);
  QV_Value(QV_SetValue& value, int b = 0, int a = 0, int index = 0);
  QV_Value(QV_SpecType value, int b = 0, int a = 0, int index = 0);
  QV_Value(const QV_Value&) = delete;
  QV_Value& operator=(const QV_Value&) = delete;
  ~QV_Value();

 private:
  friend struct quiver::HostAccess;
  Kind kind_;
  union {
    double real_;
    int integer_;
    bool logical_;
    const char* text_;         // owned copy
    quiver::SetStorage* set_;  // owned copy
    QV_SpecType specification_;
  };
  int b_, a_, index_;
};
