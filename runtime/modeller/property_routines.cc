// SPDX-License-Identifier: Apache-2.0
#include "runtime/modeller/property_routines.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <new>
#include <span>
#include <string>
#include <vector>

#include "runtime/contract/memory.h"
#include "runtime/contract/procedure_fault.h"
#include "runtime/contract/scope.h"
#include "runtime/contract/set_storage.h"
#include "runtime/modeller/phase_models.h"
#include "runtime/properties/property_error.h"

namespace quiver {

std::shared_ptr<const PropertyPackage> PackageOf(QV_COMPONENTLISTNAME& list) {
  thread_local std::map<std::vector<std::string>, std::shared_ptr<const PropertyPackage>> packages;
  const std::vector<std::string>& names = ElementsOf(*list).texts;
  auto& package = packages[names];
  if (!package) {
    if (names.empty())
      throw PropertyError("the case has no components; list them, for example components: [water].");
    package = std::make_shared<const PropertyPackage>(names);
  }
  return package;
}

namespace {

constexpr long long kFailed = 3;  // out of range, as the routine libraries say it
constexpr double kJoulePerKilojoule = 1e3;
constexpr double kPascalSecondPerCentipoise = 1e-3;

// A call's arguments in the units of the models: T in C, P in bar.
class Arguments {
 public:
  Arguments(double* values, const long long* input_sizes, const long long* output_sizes,
            const long long* input_offsets, const long long* output_offsets)
      : values_(values),
        input_sizes_(input_sizes),
        output_sizes_(output_sizes),
        input_offsets_(input_offsets),
        output_offsets_(output_offsets) {}

  double Real(int argument) const { return values_[input_offsets_[argument]]; }
  double Kelvin(int argument) const { return Real(argument) + kZeroCelsius; }
  double Pascal(int argument) const { return Real(argument) * kPascalPerBar; }
  // `order`: the how-manieth array argument it is.
  std::span<const double> Array(int argument, int order) const {
    return {values_ + input_offsets_[argument], static_cast<size_t>(input_sizes_[order])};
  }
  double& Output(int output) const { return values_[output_offsets_[output]]; }
  // `order` as of Array. Throws PropertyError where the array has not one element for each of the results.
  void SetOutputs(int output, int order, std::span<const double> results) const {
    if (output_sizes_[order] != static_cast<long long>(results.size()))
      throw PropertyError(
          fmt::format("output {} has {} elements, and there are {} components. Size its array by the "
                      "component list.",
                      output + 1, output_sizes_[order], results.size()));
    std::copy(results.begin(), results.end(), &Output(output));
  }

 private:
  double* values_;
  const long long* input_sizes_;
  const long long* output_sizes_;
  const long long* input_offsets_;
  const long long* output_offsets_;
};

using Body = void (*)(const PropertyPackage& package, const Arguments& call);

template <Body body>
void Routine(double* values, long long* input_sizes, double*, long long* output_sizes,
             long long* input_offsets, long long* output_offsets, long long* failure, long long*, double*,
             long long*, double*, long long*, long long*, long long*) {
  *failure = kFailed;
  try {
    QV_COMPONENTLISTNAME* list = CurrentComponentList();
    if (!list) throw PropertyError("the routine was called without a component list.");
    body(*PackageOf(*list), Arguments(values, input_sizes, output_sizes, input_offsets, output_offsets));
    *failure = 0;
  } catch (const std::bad_alloc&) {
    NoteOutOfMemory();
  } catch (const std::exception& error) {
    NotingMemory([&] { SetRoutineReason(error.what()); });
  }
}

// Procedures (T, P, composition) -> value.
template <PhaseKind kind, double PhaseProperties::*member, int divisor>
void OfPhase(const PropertyPackage& package, const Arguments& call) {
  call.Output(0) = package.Phase(kind, call.Kelvin(0), call.Pascal(1), call.Array(2, 0)).*member / divisor;
}

// The variants with polymer arguments: without segments there is no polymer, and the plain property is the answer.
template <Body plain>
void WithoutPolymer(const PropertyPackage& package, const Arguments& call) {
  if (!call.Array(4, 1).empty() || !call.Array(5, 2).empty())
    throw PropertyError("properties of polymers are not available; leave SEGMENTS empty.");
  plain(package, call);
}

void Enthalpy(const PropertyPackage& package, const Arguments& call) {
  call.Output(0) =
      package.Phase(PhaseKind::kLiquid, call.Kelvin(0), call.Pascal(1), call.Array(2, 0)).enthalpy /
      kJoulePerGigajoule;
}
template <PhaseKind kind>
void Viscosity(const PropertyPackage& package, const Arguments& call) {
  call.Output(0) =
      package.Viscosity(kind, call.Kelvin(0), call.Pascal(1), call.Array(2, 0)) / kPascalSecondPerCentipoise;
}
void LiquidConductivity(const PropertyPackage& package, const Arguments& call) {
  call.Output(0) = package.Conductivity(PhaseKind::kLiquid, call.Kelvin(0), call.Pascal(1), call.Array(2, 0));
}
void SurfaceTension(const PropertyPackage& package, const Arguments& call) {
  call.Output(0) = package.SurfaceTension(call.Kelvin(0), call.Array(2, 0));
}
void ActivityCoefficients(const PropertyPackage& package, const Arguments& call) {
  std::vector<double> gamma(package.size());
  package.ActivityCoefficients(call.Kelvin(0), call.Pascal(1), call.Array(2, 0), gamma);
  call.SetOutputs(0, 0, gamma);
}
void VapourPressures(const PropertyPackage& package, const Arguments& call) {
  std::vector<double> pressures(package.size());
  package.VapourPressures(call.Kelvin(0), pressures);
  for (double& pressure : pressures) pressure /= kPascalPerBar;
  call.SetOutputs(0, 0, pressures);
}
void MolarMass(const PropertyPackage& package, const Arguments& call) {
  call.Output(0) = package.MolarMass(call.Array(0, 0));
}
void MolarMasses(const PropertyPackage& package, const Arguments& call) {
  call.SetOutputs(0, 0, package.molar_masses());
}

// T, vapour fraction, z, estimate of P -> P, fraction of the first liquid in the liquids, y, x1, x2, molar enthalpies.
void FlashThreePhases(const PropertyPackage& package, const Arguments& call) {
  const std::span<const double> z = call.Array(2, 0);
  const FlashResult flash = package.FlashTemperatureVapourFraction(call.Kelvin(0), call.Real(1), z);
  const EquilibriumPhase* vapour = nullptr;
  const EquilibriumPhase* liquids[2] = {nullptr, nullptr};
  int found = 0;
  for (const EquilibriumPhase& phase : flash.phases) {
    if (phase.kind == PhaseKind::kVapour)
      vapour = &phase;
    else if (found < 2)
      liquids[found++] = &phase;
  }
  if (!liquids[1]) liquids[1] = liquids[0];
  const double both = (found > 0 ? liquids[0]->fraction : 0) + (found > 1 ? liquids[1]->fraction : 0);
  call.Output(0) = flash.pressure / kPascalPerBar;
  call.Output(1) = found > 1 && both > 0 ? liquids[0]->fraction / both : 1;
  const EquilibriumPhase* phases[3] = {vapour, liquids[0], liquids[1]};
  for (int k = 0; k < 3; ++k) {
    // A phase that is absent shows the composition of the feed.
    const std::span<const double> composition = phases[k] ? std::span<const double>(phases[k]->x) : z;
    call.SetOutputs(2 + k, k, composition);
    const PhaseProperties properties = phases[k]
                                           ? package.Phase(*phases[k], flash.temperature, flash.pressure)
                                           : package.Phase(k == 0 ? PhaseKind::kVapour : PhaseKind::kLiquid,
                                                           flash.temperature, flash.pressure, z);
    call.Output(5 + k) = properties.enthalpy / kJoulePerGigajoule;
  }
}

// Solids are no part of a simulation of this host.
void SolidsMode(double* values, long long*, double*, long long*, long long*, long long* output_offsets,
                long long* failure, long long*, double*, long long*, double*, long long*, long long*,
                long long*) {
  values[output_offsets[0]] = 0;
  *failure = 0;
}

}  // namespace

void RegisterPropertyRoutines(RoutineLibraries& routines) {
  constexpr PhaseKind kVapour = PhaseKind::kVapour, kLiquid = PhaseKind::kLiquid;
  constexpr int kKilo = static_cast<int>(kJoulePerKilojoule);
  constexpr Body liquid_cp = OfPhase<kLiquid, &PhaseProperties::cp, kKilo>;
  constexpr Body liquid_density = OfPhase<kLiquid, &PhaseProperties::molar_density, 1>;
  const struct {
    const char* routine;
    QV_Routine address;
  } rows[] = {
      {"ZX40RM_pact_coeff_liq", &Routine<ActivityCoefficients>},
      {"ZX40RM_pcond_liq", &Routine<LiquidConductivity>},
      {"ZX40RM_pcp_mol_liq", &Routine<liquid_cp>},
      {"ZX40RM_pcp_mol_liqp", &Routine<WithoutPolymer<liquid_cp>>},
      {"ZX40RM_pcp_mol_vap", &Routine<OfPhase<kVapour, &PhaseProperties::cp, kKilo>>},
      {"ZX40RM_pcv_mol_vap", &Routine<OfPhase<kVapour, &PhaseProperties::cv, kKilo>>},
      {"ZX40RM_pdens_mass_liq", &Routine<OfPhase<kLiquid, &PhaseProperties::mass_density, 1>>},
      {"ZX40RM_pdens_mol_liq", &Routine<liquid_density>},
      {"ZX40RM_pdens_mol_liqp", &Routine<WithoutPolymer<liquid_density>>},
      {"ZX40RM_pdens_mol_vap", &Routine<OfPhase<kVapour, &PhaseProperties::molar_density, 1>>},
      {"ZX40RM_penth_mol_liq", &Routine<Enthalpy>},
      {"ZX40RM_pflash3tv", &Routine<FlashThreePhases>},
      {"ZX40RM_pmolweight", &Routine<MolarMass>},
      {"ZX40RM_pmolweights", &Routine<MolarMasses>},
      {"ZX40RM_psolmode", &SolidsMode},
      {"ZX40RM_psurf_tens", &Routine<SurfaceTension>},
      {"ZX40RM_psurf_tensy", &Routine<SurfaceTension>},
      {"ZX40RM_pvap_pressures", &Routine<VapourPressures>},
      {"ZX40RM_pvisc_liq", &Routine<Viscosity<kLiquid>>},
      {"ZX40RM_pvisc_mol_liqp", &Routine<WithoutPolymer<Viscosity<kLiquid>>>},
      {"ZX40RM_pvisc_vap", &Routine<Viscosity<kVapour>>},
  };
  for (const auto& row : rows) routines.RegisterBuiltIn("Properties", row.routine, row.address);
  RegisterPhaseRoutines(routines);
}

}  // namespace quiver
