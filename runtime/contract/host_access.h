// SPDX-License-Identifier: Apache-2.0
// The host's way to the private state of the contract's classes; nothing else befriends them.
#pragma once

#include "host/arrays.h"
#include "host/container.h"
#include "host/extensions.h"
#include "host/procedure.h"
#include "host/references.h"
#include "host/value.h"

namespace quiver {

// Who gave a property its value, in the order in which one may override the other.
enum class Origin : unsigned char { kNone, kAssignment, kSolution, kUser };

struct Bounds {
  double lower, upper;
  bool has_lower = false, has_upper = false;
  bool user_lower = false, user_upper = false;
};

struct HostAccess {
  static constexpr unsigned char kVariableFlag = 1, kGlobalFlag = 2, kUserSpecFlag = 4, kOwnerValueFlag = 16,
                                 kOwnerSpecFlag = 32;  // 8: kHasValueFlag
  using Kind = QV_VarParam::Kind;
  static constexpr Kind kReal = QV_VarParam::kReal, kInteger = QV_VarParam::kInteger,
                        kText = QV_VarParam::kText, kLogical = QV_VarParam::kLogical,
                        kSet = QV_VarParam::kSet, kArray = QV_VarParam::kArray;

  static unsigned& References(QV_Containable& o) { return o.references_; }

  static Kind KindOf(const QV_VarParam& p) { return p.kind_; }
  static Origin OriginOf(const QV_VarParam& p) { return static_cast<Origin>(p.origin_); }
  static void SetOrigin(QV_VarParam& p, Origin origin) { p.origin_ = static_cast<unsigned char>(origin); }
  static bool HasFlag(const QV_VarParam& p, unsigned char flag) { return (p.flags_ & flag) != 0; }
  static void SetFlag(QV_VarParam& p, unsigned char flag) {
    p.flags_ = static_cast<unsigned char>(p.flags_ | flag);
  }
  static int SpecOf(const QV_VarParam& p) { return p.spec_; }
  static void SetSpec(QV_VarParam& p, int spec) { p.spec_ = static_cast<unsigned char>(spec); }
  static int& Number(QV_VarParam& p) { return p.number_; }
  static int& PropertyIndex(QV_VarParam& p) { return p.property_; }
  static QV_Type*& Parent(QV_VarParam& p) { return p.parent_; }
  static Bounds*& BoundsOf(QV_VarParam& p) { return p.bounds_; }
  static double& Real(QV_VarParam& p) { return p.real_; }
  static SetStorage*& Set(QV_VarParam& p) { return p.set_; }

  static QV_Container*& Enclosing(QV_Container& c) { return c.enclosing_; }
  static Instance*& InstanceOf(QV_Container& c) { return c.instance_; }

  static QV_Type* NewElement(QV_ArrayBase& a) { return a.NewElement(); }
  static ArrayStorage*& Storage(QV_ArrayBase& a) { return a.storage_; }

  static QV_Type*& Target(QV_ExternalBase& r) { return r.target_; }
  static QV_Type*& Target(QV_VirtualBase& r) { return r.target_; }
  static QV_Type* NewTarget(QV_ExternalBase& r) { return r.NewTarget(); }
  static QV_Type* NewTarget(QV_VirtualBase& r) { return r.NewTarget(); }

  static SetStorage* Values(const QV_SetValue& v) { return v.values_; }

  static QV_Value::Kind KindOf(const QV_Value& v) { return v.kind_; }
  static double Real(const QV_Value& v) { return v.real_; }
  static int Integer(const QV_Value& v) { return v.integer_; }
  static bool Logical(const QV_Value& v) { return v.logical_; }
  static const char* Text(const QV_Value& v) { return v.text_; }
  static SetStorage* Set(const QV_Value& v) { return v.set_; }
  static QV_SpecType Specification(const QV_Value& v) { return v.specification_; }
  static int Index(const QV_Value& v) { return v.index_; }

  static QV_ModelExtensions* Extensions(QV_PortTypeEx& port) { return &port; }

  static QV_ProcedureType* Procedure(const QV_ProcedureEquationType& e) { return e.procedure_; }
  static int Number(const QV_ProcedureEquationType& e) { return e.number_; }
  static int Group(const QV_ProcedureEquationType& e) { return e.group_; }
  static const char* Name(const QV_ProcedureEquationType& e) { return e.name_; }
  static const char* Label(const QV_ProcedureEquationType& e) { return e.label_; }
};

}  // namespace quiver
