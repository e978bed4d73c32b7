// SPDX-License-Identifier: Apache-2.0
// References: to a global parameter or an object of the owner (QV_External), to a substitutable sub-model
// (QV_Virtual). The host binds them when the Construct of the instance that declares them has returned.
//
//   QV_External<QV_REALPARAMETER> EPS;   double eps = (*EPS).RealValue();
#pragma once

#include "host/property.h"

class QV_API QV_ExternalBase {
 public:
  explicit QV_ExternalBase(QV_Type* target = nullptr) : target_(target) {}
  QV_ExternalBase(const QV_ExternalBase&) = default;
  QV_ExternalBase& operator=(const QV_ExternalBase&) = default;
  virtual ~QV_ExternalBase();
  QV_Type* Target() const { return target_; }
  static void AddProperty(QV_ExternalBase& holder, QV_Container* owner, const char* name,
                          const char* description, QV_Direction direction, bool flag);

 protected:
  // A free-standing object of the held type: the first declaration of a global and a reference that finds
  // nothing get one.
  virtual QV_Type* NewTarget();

 private:
  friend struct quiver::HostAccess;
  QV_Type* target_;
};

struct QV_API QV_GlobalBase {
  static void AddProperty(QV_ExternalBase& holder, QV_Container* owner, const char* name,
                          const char* description, QV_Direction direction, bool flag);
};

struct QV_API QV_GlobalStructureRefBase {
  static void AddProperty(QV_ExternalBase& holder, QV_Container* owner, const char* name,
                          const char* description, QV_Direction direction, bool flag);
};

class QV_API QV_VirtualBase {
 public:
  explicit QV_VirtualBase(QV_Type* target = nullptr) : target_(target) {}
  QV_VirtualBase(const QV_VirtualBase&) = default;
  QV_VirtualBase& operator=(const QV_VirtualBase&) = default;
  virtual ~QV_VirtualBase();
  QV_Type* Target() const { return target_; }
  static void AddProperty(QV_VirtualBase& holder, QV_Container* owner, const char* name,
                          const char* description, QV_Direction direction, bool flag);

 protected:
  virtual QV_Type* NewTarget();  // the sub-model that stands where the user substitutes no other

 private:
  friend struct quiver::HostAccess;
  QV_Type* target_;
};

template <class T>
class QV_External : public QV_ExternalBase {
 public:
  using Held = T;
  QV_External() : QV_ExternalBase(nullptr) {}
  QV_External(const QV_External& other) = default;
  QV_External(QV_External&& other) noexcept = default;
  QV_External& operator=(const QV_External& other) = default;
  QV_External& operator=(QV_External&& other) noexcept = default;
  T& operator*() const { return static_cast<T&>(*Target()); }

 protected:
  QV_Type* NewTarget() override { return quiver::NewHeld<T>(); }
};

template <class T>
class QV_Virtual : public QV_VirtualBase {
 public:
  using Held = T;
  QV_Virtual() : QV_VirtualBase(nullptr) { QV_STRINGPARAMETER::InitializeSystemAttributes(*this); }
  QV_Virtual(const QV_Virtual& other) = default;
  QV_Virtual(QV_Virtual&& other) noexcept = default;
  QV_Virtual& operator=(const QV_Virtual& other) = default;
  QV_Virtual& operator=(QV_Virtual&& other) noexcept = default;
  T& operator*() const { return static_cast<T&>(*Target()); }

 protected:
  QV_Type* NewTarget() override { return quiver::NewHeld<T>(); }
};
