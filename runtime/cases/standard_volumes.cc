// SPDX-License-Identifier: Apache-2.0
#include "runtime/cases/standard_volumes.h"

#include <cmath>

#include "runtime/contract/array_storage.h"
#include "runtime/contract/error.h"
#include "runtime/contract/set_storage.h"
#include "runtime/modeller/property_routines.h"

namespace quiver {
namespace {

constexpr char kName[] = "VLSTDC";
constexpr double kStandardTemperature = 288.15;  // K
constexpr double kNearCritical =
    0.95;  // of the critical temperature: the liquid's volume rises steeply above

void Supply(QV_ArrayBase& volumes, QV_ModelType& model) {
  std::shared_ptr<const PropertyPackage> package;
  try {
    package = PackageOf(model.ComponentList);
  } catch (const Error&) {
    return;  // told where a property is asked for
  }
  if (volumes.Count() != static_cast<long long>(package->size())) return;
  for (long long i = 0; i < volumes.Count(); ++i) {
    auto& volume = static_cast<QV_VarParam&>(volumes.At(i));
    const double value = StandardLiquidVolume(package->component(static_cast<size_t>(i)));
    if (volume.HoldsDefault() && std::isfinite(value))
      SetFromValue(volume, QV_Value(value), Origin::kAssignment);
  }
}

}  // namespace

double StandardLiquidVolume(const Component& component) {
  if (!component.correlation(Property::kLiquidDensity).available()) return std::nan("");
  const bool liquid = kStandardTemperature < kNearCritical * component.tc;
  return 1 /
         Evaluate(component, Property::kLiquidDensity, liquid ? kStandardTemperature : component.tb).value;
}

void SupplyStandardVolumes(Flowsheet& flowsheet) {
  for (Instance* instance : flowsheet.Instances()) {
    const int property = instance->type().Find(kName);
    auto* model = dynamic_cast<QV_ModelType*>(&instance->object());
    if (property < 0 || !model) continue;
    if (auto* volumes = dynamic_cast<QV_ArrayBase*>(instance->Object(property))) Supply(*volumes, *model);
  }
}

}  // namespace quiver
