// SPDX-License-Identifier: Apache-2.0
#include "host/modeller/ports.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>

#include "runtime/contract/instance.h"
#include "runtime/contract/scope.h"

namespace {
constexpr int kMostStreams = 1000;
constexpr const char* kIdentity = "Port MATERIALPORTRPREV\tV11";

void Declare(QV_Type& holder, QV_Container* owner, const char* name, const char* description) {
  QV_Type::AddProperty(holder, owner, name, description, QV_DIRECTION_NONE, false);
}
void Refer(QV_ExternalBase& holder, QV_Container* owner, const char* name) {
  QV_ExternalBase::AddProperty(holder, owner, name, nullptr, QV_DIRECTION_NONE, false);
}
}  // namespace

QV_MATERIALPORTRPREV::QV_MATERIALPORTRPREV(bool, QV_Container* owner) : QV_GENERICPORT(false, owner) {}
QV_MATERIALPORTRPREV::~QV_MATERIALPORTRPREV() = default;
const char* QV_MATERIALPORTRPREV::QV_DefaultDESCRIPTION() { return kIdentity; }
bool QV_MATERIALPORTRPREV::ContainerDerivesFrom(const char* id) {
  return SUValue::CompareCI(id, kIdentity) == 0 || QV_GENERICPORT::ContainerDerivesFrom(id);
}

void QV_MATERIALPORTRPREV::Construct() {
  QV_GENERICPORT::Construct();
  Declare(F, this, "F", "Molar flow");
  Declare(Z, this, "Z", "Mole fractions");
  Declare(H, this, "H", "Molar enthalpy");
  Declare(P, this, "P", "Pressure");
  Declare(T, this, "T", "Temperature");
  Declare(V, this, "V", "Molar volume");
  Declare(AV, this, "AV", "Availability");
  Declare(ZREV, this, "ZREV", "Mole fractions of reverse flow");
  Declare(HREV, this, "HREV", "Molar enthalpy of reverse flow");
  Declare(TREV, this, "TREV", "Temperature of reverse flow");
  Declare(AVREV, this, "AVREV", "Availability of reverse flow");
  Refer(CATALYST, this, "CATALYST");
  Refer(SITES, this, "SITES");
  Refer(CATATTSET, this, "CATATTSET");
  Refer(CATSITEATTSET, this, "CATSITEATTSET");
  Declare(CATSCALAR, this, "CATSCALAR", "Catalyst attributes");
  Declare(CATSITE, this, "CATSITE", "Catalyst site attributes");
}

void QV_MATERIALPORTRPREV::SetDims() {
  QV_GENERICPORT::SetDims();
  Z.SetDim(*ComponentList);
  ZREV.SetDim(*ComponentList);
  CATSCALAR.SetDim(**CATALYST, **CATATTSET);
  CATSITE.SetDim(**CATALYST, **SITES, **CATSITEATTSET);
}

QV_Value* QV_CONNECTIONCOUNT::QV_DefaultVALUE() {
  static QV_Value value(1);
  return &value;
}

QV_MATERIALPORTSRPREV::QV_MATERIALPORTSRPREV(bool, QV_Container* owner)
    : QV_MATERIALPORTRPREV(false, owner) {}
QV_MATERIALPORTSRPREV::~QV_MATERIALPORTSRPREV() = default;

void QV_MATERIALPORTSRPREV::Construct() {
  QV_MATERIALPORTRPREV::Construct();
  Declare(connections, this, "connections", "Number of connected streams");
  Declare(STREAMS, this, "STREAMS", nullptr);
  Declare(SEVERAL, this, quiver::kUnnamedArray, nullptr);
}

void QV_MATERIALPORTSRPREV::SetDims() {
  QV_MATERIALPORTRPREV::SetDims();
  const int count = Count();
  if (const int given = connections.IntegerValue(); given != count)
    if (quiver::Scope* scope = quiver::ThisThread().scope)
      scope->Fault(fmt::format("{} is {}; it can be from 1 to {}.", quiver::QualifiedName(connections), given,
                               kMostStreams));
  QV_IntSetValue streams(count > 1 ? ("1\":" + std::to_string(count) + "\"").c_str() : "");
  QV_Value value(streams);
  STREAMS.Assign(&value);
  SEVERAL.SetDim(*STREAMS);
}

int QV_MATERIALPORTSRPREV::Count() const { return std::clamp(connections.IntegerValue(), 1, kMostStreams); }

QV_MATERIALPORTRPREV* QV_MATERIALPORTSRPREV::Stream(int i) const {
  if (i < 1 || i > Count()) return nullptr;
  if (SEVERAL.Count() == 0) return Count() == 1 ? const_cast<QV_MATERIALPORTSRPREV*>(this) : nullptr;
  return i <= SEVERAL.Count() ? &SEVERAL(i) : nullptr;
}
