// SPDX-License-Identifier: Apache-2.0
// Inlets of relief devices and their isentropic expansion from the property package, and what each method is given of them.
//
//   Expansion steam({"water"}, {1}, Expansion::Boiling(10, 0.3));      // 10 bar, vapour fraction 0.3
//   ModelRun hems("PSV_HEMS", steam.components, "", steam.For("PSV_HEMS", 0.2));
//   steam.LargestFlux();                                             // of rigorous flashes along the path
#pragma once

#include <algorithm>
#include <cmath>
#include <functional>

#include "runtime/properties/property_error.h"
#include "runtime/properties/property_package.h"
#include "tests/models/relief/model_run.h"

namespace quiver::tests {

// Units of the models: bar, C, kmol/m3, kg/kmol, GJ/kmol, kJ/kmol/K; volume in m3/kg of the whole.
struct PhaseValues {
  double pressure, temperature, volume;
  double vf, lf, rhov, rhol, mwv, mwl, hv, hl, sv, sl;
  std::vector<double> y, x;
};

class Expansion {
 public:
  using Inlet = std::function<FlashResult(const PropertyPackage&, std::span<const double>)>;
  static Inlet Boiling(double bar, double vapour_fraction) {
    return
        [=](const auto& p, auto z) { return p.FlashPressureVapourFraction(bar * 1e5, vapour_fraction, z); };
  }
  static Inlet At(double bar, double celsius) {
    return [=](const auto& p, auto z) { return p.FlashTemperaturePressure(celsius + 273.15, bar * 1e5, z); };
  }

  Expansion(std::vector<std::string> names, std::vector<double> fractions, const Inlet& make)
      : components(std::move(names)), z(std::move(fractions)), package_(components) {
    const FlashResult flash = make(package_, z);
    entropy_ = package_.Entropy(flash);
    inlet = ValuesOf(flash);
    // Saturation pressure over the inlet's; 1 for two phases. The missing phase is that of saturation at the inlet temperature.
    if (flash.phases.size() == 1) {
      const bool vapour = inlet.vf == 1;
      try {
        const FlashResult saturated =
            package_.FlashTemperatureVapourFraction(flash.temperature, vapour ? 1 : 0, z);
        saturation = saturated.pressure / flash.pressure;
        if ((saturation > 1) != vapour) saturation = 1;
        const PhaseValues s = ValuesOf(saturated);
        if (vapour)
          inlet.rhol = s.rhol, inlet.mwl = s.mwl, inlet.hl = s.hl, inlet.sl = s.sl, inlet.x = s.x;
        else
          inlet.rhov = s.rhov, inlet.mwv = s.mwv, inlet.hv = s.hv, inlet.sv = s.sv, inlet.y = s.y;
      } catch (const PropertyError&) {
        saturation = vapour ? 2 : 1;  // above the critical temperature
      }
    }
  }

  std::vector<std::string> components;
  std::vector<double> z;
  PhaseValues inlet;
  double saturation = 1;

  PhaseValues AtPressure(double bar) const {
    return ValuesOf(package_.FlashPressureEntropy(bar * 1e5, entropy_, z));
  }

  // Everything that `model` takes from its owner, at an exit pressure ratio.
  Values For(const std::string& model, double exit) const {
    Values v = {{"P", inlet.pressure}, {model == "PSV_SUBCOOLED" ? "ETA" : "ETA_A", exit}};
    const double boils_at = std::min(1.0, saturation);
    if (model == "PSV_VAP") {
      v = With(v, {{"T", inlet.temperature}, {"MW", inlet.mwv}, {"RHO", inlet.rhov}, {"AREA_RATIO", 0}});
      Composition("Y", inlet.y, v);
      return v;
    }
    v = With(v, {{"RHOV", inlet.rhov}, {"RHOL", inlet.rhol}, {"MWV", inlet.mwv}, {"MWL", inlet.mwl}});
    if (model == "PSV_SW" || model == "PSV_SUBCOOLED") {
      v = With(v, {{"T", inlet.temperature}, {"HV", inlet.hv}, {"HL", inlet.hl}});
      Factors(v);
      Composition("X", inlet.x, v);
      if (model == "PSV_SUBCOOLED") return v;
      const double vapour = inlet.vf / inlet.rhov, liquid = inlet.lf / inlet.rhol;
      v["E0"] = vapour / (vapour + liquid);
      Composition("Y", inlet.y, v);
      return v;
    }
    v = With(v, {{"VF", inlet.vf}, {"LF", inlet.lf}});
    if (model == "PSV_HEMD") {
      State(AtPressure(0.9 * inlet.pressure), "A", v);
    } else if (model == "PSV_HEMS") {
      Factors(v);
      State(AtPressure(kFit * boils_at * inlet.pressure), "I", v);
      State(AtPressure(kFit * kFit * boils_at * inlet.pressure), "A", v);
    } else if (model == "PSV_DIENER") {
      State(AtPressure(kFit * inlet.pressure), "A", v);
      State(AtPressure(kFit * kFit * inlet.pressure), "O", v);
    } else if (model == "PSV_HFF") {
      v = With(v, {{"T", inlet.temperature}, {"SV0", inlet.sv}, {"SL0", inlet.sl}});
      Composition("X", inlet.x, v);
      Composition("Y", inlet.y, v);
    } else if (model == "PSV_SPECVOLC") {
      Factors(v);
      for (int i = 1; i <= 6; ++i)
        State(AtPressure(boils_at * inlet.pressure * (1 - i * 0.5 / 6)), fmt::format("A({})", i), v);
    }
    return v;
  }

  // G^2 = -2 int v dp / v^2, largest over the throat pressure down to a tenth of the inlet's: Simpson's rule over flashes.
  double LargestFlux(double* ratio = nullptr, int steps = 60) const {
    const double start = inlet.pressure * std::min(1.0, saturation);
    double work = (inlet.pressure - start) * 1e5 * inlet.volume, best = std::sqrt(2 * work) / inlet.volume,
           at = 1;
    double above = AtPressure(start * (1 - 1e-9)).volume;
    const double h = 0.9 * start / steps;
    for (int i = 1; i <= steps; ++i) {
      const double bar = start - i * h, middle = AtPressure(bar + h / 2).volume,
                   below = AtPressure(bar).volume;
      work += h * 1e5 * (above + 4 * middle + below) / 6;
      above = below;
      const double flux = std::sqrt(2 * work) / below;
      if (flux > best) best = flux, at = bar / inlet.pressure;
      if (flux < 0.9 * best) break;
    }
    if (ratio) *ratio = at;
    return best;
  }

  static constexpr double kFit = 0.75;  // HEM_ETA as it stands

 private:
  PhaseValues ValuesOf(const FlashResult& flash) const {
    PhaseValues v = {flash.pressure / 1e5,
                     flash.temperature - 273.15,
                     0,
                     flash.vapour_fraction(),
                     1 - flash.vapour_fraction(),
                     1,
                     10,
                     package_.MolarMass(z),
                     package_.MolarMass(z),
                     0,
                     -0.03,
                     200,
                     100,
                     z,
                     z};
    for (const EquilibriumPhase& phase : flash.phases) {
      const PhaseProperties p = package_.Phase(phase, flash.temperature, flash.pressure);
      v.volume += phase.fraction / p.molar_density / package_.MolarMass(z);
      if (phase.kind == PhaseKind::kVapour)
        v.rhov = p.molar_density, v.mwv = p.molar_mass, v.hv = p.enthalpy / 1e9, v.sv = p.entropy / 1e3,
        v.y = phase.x;
      else
        v.rhol = p.molar_density, v.mwl = p.molar_mass, v.hl = p.enthalpy / 1e9, v.sl = p.entropy / 1e3,
        v.x = phase.x;
    }
    return v;
  }
  static void State(const PhaseValues& s, const std::string& suffix, Values& v) {
    v = With(v, {{"VF" + suffix, s.vf},
                 {"LF" + suffix, s.lf},
                 {"RHOV" + suffix, s.rhov},
                 {"RHOL" + suffix, s.rhol},
                 {"MWV" + suffix, s.mwv},
                 {"MWL" + suffix, s.mwl}});
  }
  void Factors(Values& v) const {
    v["VFACTOR"] = saturation < 1 ? 1 - saturation : 0;
    v["LFACTOR"] = saturation > 1 ? 1 - 1 / saturation : 0;
  }
  void Composition(const std::string& name, const std::vector<double>& fractions, Values& v) const {
    for (size_t i = 0; i < components.size(); ++i)
      v[fmt::format("{}({})", name, components[i])] = fractions[i];
  }
  PropertyPackage package_;
  double entropy_ = 0;
};

}  // namespace quiver::tests
