// SPDX-License-Identifier: Apache-2.0
// A relief valve, from the state in front of it to its orifice: flashes the inlet, lets one of the flow methods find the mass
// flux, and relates mass flow and area by the corrections of API Standard 520 Part I. Our own making; the flow methods are
// sub-models with texts of their own.
//
//   fix: {P: 11 bar, T: 150 degC, Z: {water: 1}, P_OUT: 1 bar, AREA: 325 mm2}       rates the valve: W comes out
//   fix: {..., W: 5000 kg/h}  set: {FLOW_CALC: Compressible Fluid}                 sizes it: AREA, ORIFICE come out
//
// FLASHTYPE tells what is given of the inlet beside Z: TP, PH, PS, PV (P and VF) or TV. VALIDPHASES says which phases are looked
// for. Only the chosen method exists as a sub-model, FSIMPLE(1) for example; the states that it needs are elements of the phase
// sub-models PVAP, PLIQ, PFLASH2, PFLASH2W or PFLASH3, numbered by FluidState below.
//
// Which method for which inlet: liquid far below boiling: Incompressible Fluid, Schmidt-Westphal, Ideal HEM (Simpson); subcooled:
// the last two and Leung-Grolmes (back pressure below the saturation pressure); boiling: those, Ideal HEM (DIERS) and, where boiling
// is delayed, Diener; two phases in short nozzles: also Henry-Fauske Frozen; gas (VALIDPHASES Vapor-Only above the critical
// temperature): Compressible Fluid and the equilibrium methods, near the critical point the latter only. DIERS fits one line from the
// inlet to HEM_ETA times its pressure: for a subcooled inlet HEM_ETA must lie below the saturation pressure.
//
// STAGCALC "Ideal HEM (Simpson)" brings a moving inlet to rest first, by AREA_RATIO; under "Shortcut" only Incompressible and
// Compressible Fluid correct for AREA_RATIO, the others take the inlet for a state at rest. HEATINPUT "Yes" asks for both phases.
#include "models/relief/method_inputs.h"
#include "models/relief/orifices.h"

struct QV_EXPORT QV_PSV_BASE : QV_GENERICMODEL {
  MODEL_TEXT(PSV_BASE)

  PARAMETER(QV_FLOWMETHODS_PSV_BASE, FLOW_CALC, "Flow method")
  PARAMETER(QV_FLASHMETHODS_PSV_BASE, FLASH_CALC, "How reference and throat states follow from the inlet")
  PARAMETER(QV_STAGCALCTYPE_PSV_BASE, STAGCALC, "Shortcut: the inlet state is the stagnation state")
  PARAMETER(QV_CONNECTED_PSV_BASE, FLOW_CONNECTED, "Connected: the outlet state is computed")
  PARAMETER(QV_VALIDPHASETYPE, VALIDPHASES, "Valid phases")
  PARAMETER(QV_FLASHTYPE, FLASHTYPE, "What is given of the inlet beside Z: TP, PH, PS, PV or TV")
  PARAMETER(QV_YESNO, VISCCORR, "Is the capacity corrected for viscosity?")
  PARAMETER(QV_YESNO, HEATINPUT, "Does a heat input set the mass flow?")

  SET(QV_INTEGERSET, QV_FSIMPLE_SET1)
  SET(QV_INTEGERSET, QV_FVAP_SET1)
  SET(QV_INTEGERSET, QV_FSW_SET1)
  SET(QV_INTEGERSET, QV_FHFF_SET1)
  SET(QV_INTEGERSET, QV_FHEMD_SET1)
  SET(QV_INTEGERSET, QV_FHEMS_SET1)
  SET(QV_INTEGERSET, QV_FDIENER_SET1)
  SET(QV_INTEGERSET, QV_FSC_SET1)
  SET(QV_INTEGERSET, PVAP_SET)
  SET(QV_INTEGERSET, PLIQ_SET)
  SET(QV_INTEGERSET, PFLASH2_SET)
  SET(QV_INTEGERSET, PFLASH2W_SET)
  SET(QV_INTEGERSET, PFLASH3_SET)

  VARIABLE(QV_TEMPERATURE, T, "Inlet temperature")
  VARIABLE(QV_PRESSURE, P, "Inlet (relieving) pressure")
  VARIABLE(QV_FRACTION, VF, "Inlet vapor mole fraction")
  ARRAY(QV_MOLEFRACTION, Z, OVER(ComponentList), "Mole fractions")
  VARIABLE(QV_ENTH_MOL, H, "Inlet molar enthalpy")
  VARIABLE(QV_ENTR_MOL, S, "Inlet molar entropy")
  VARIABLE(QV_DENS_MOL, RHO, "Inlet molar density")
  VARIABLE(QV_MOLWEIGHT, MW, "Molar weight")
  VARIABLE(QV_PRESSURE, P_OUT, "Back pressure")
  VARIABLE(QV_POSITIVE, ETA_A, "Exit pressure ratio")
  VARIABLE(QV_PRESSURE, P_SAT, "Saturation pressure at the inlet temperature")
  VARIABLE(QV_FRACTION, VFACTOR, "Distance from vapor: 1 - P_SAT/P")
  VARIABLE(QV_FRACTION, LFACTOR, "Distance from liquid: 1 - P/P_SAT")
  VARIABLE(QV_CONSTANT, AREA_RATIO, "Throat area to inlet area")
  VARIABLE(QV_PRESSURE, P_STAG, "Stagnation pressure")
  VARIABLE(QV_VELOCITY, INLET_VELOCITY, "Velocity of approach")

  VARIABLE(QV_FLUX_MASS, FLUX, "Mass flux of the ideal nozzle")
  VARIABLE(QV_REALVARIABLE, CRITICAL_FLOW, "Critical flow flag (1=critical)")
  VARIABLE(QV_PRESSURE, P_CRIT, "Critical pressure")

  VARIABLE(QV_POSITIVE, KD, "Discharge coefficient")
  VARIABLE(QV_POSITIVE, KB, "Back-pressure correction")
  VARIABLE(QV_POSITIVE, KC, "Combination correction, 0.9 behind a rupture disk")
  VARIABLE(QV_POSITIVE, KV, "Viscosity correction")
  VARIABLE(QV_POSITIVE, RE, "Reynolds number in the orifice, of the flow before the viscosity correction")
  VARIABLE(QV_POSITIVE, VISC, "Liquid viscosity (cP)")
  VARIABLE(QV_FLOW_MASS, W, "Relieving mass flow")
  VARIABLE(QV_FLOW_MOL, F, "Relieving molar flow")
  VARIABLE(QV_ENTHFLOW, HEATLOAD, "Heat input that the relieving flow carries away")
  VARIABLE(QV_ENTH_MOL, LATENT, "Heat of evaporation at the inlet")
  VARIABLE(QV_AREA, AREA, "Effective discharge area, required or given")
  VARIABLE(QV_REALVARIABLE, ORIFICE, "API 526 orifice: 1-14 are D E F G H J K L M N P Q R T; 15 is larger than T")
  VARIABLE(QV_AREA, ORIFICE_AREA, "Effective area of that orifice")
  VARIABLE(QV_FLOW_MASS, W_ORIFICE, "Mass flow through that orifice")
  VARIABLE(QV_TEMPERATURE, T_OUT, "Outlet temperature")
  VARIABLE(QV_ENTH_MOL, H_OUT, "Outlet molar enthalpy")
  VARIABLE(QV_FRACTION, VF_OUT, "Outlet vapor mole fraction")

  ARRAY(QV_PVAP, PVAP, OVER(PVAP_SET), "Vapor properties")
  ARRAY(QV_PLIQ, PLIQ, OVER(PLIQ_SET), "Liquid properties")
  ARRAY(QV_PFLASH2, PFLASH2, OVER(PFLASH2_SET), "Vapor-liquid flashes")
  ARRAY(QV_PFLASH2W, PFLASH2W, OVER(PFLASH2W_SET), "Flashes with free water")
  ARRAY(QV_PFLASH3, PFLASH3, OVER(PFLASH3_SET), "Vapor-liquid-liquid flashes")
  ARRAY(QV_PSV_SIMPLE, FSIMPLE, OVER(QV_FSIMPLE_SET1), "Incompressible Fluid")
  ARRAY(QV_PSV_VAP, FVAP, OVER(QV_FVAP_SET1), "Compressible Fluid")
  ARRAY(QV_PSV_SW, FSW, OVER(QV_FSW_SET1), "Schmidt-Westphal")
  ARRAY(QV_PSV_HFF, FHFF, OVER(QV_FHFF_SET1), "Henry-Fauske Frozen")
  ARRAY(QV_PSV_HEMD, FHEMD, OVER(QV_FHEMD_SET1), "Ideal HEM (DIERS)")
  ARRAY(QV_PSV_HEMS, FHEMS, OVER(QV_FHEMS_SET1), "Ideal HEM (Simpson)")
  ARRAY(QV_PSV_DIENER, FDIENER, OVER(QV_FDIENER_SET1), "Diener")
  ARRAY(QV_PSV_SUBCOOLED, FSC, OVER(QV_FSC_SET1), "Leung-Grolmes")

  // States that the phase sub-models are asked for.
  enum FluidState { kInlet = 1, kStagnation, kMiddle, kReference, kSecondReference, kOutlet, kSaturation };

  void Assignments(Assigner& set) {
    set.range(QV_FSIMPLE_SET1, is(FLOW_CALC, "Incompressible Fluid"));
    set.range(QV_FVAP_SET1, is(FLOW_CALC, "Compressible Fluid"));
    set.range(QV_FSW_SET1, is(FLOW_CALC, "Schmidt-Westphal"));
    set.range(QV_FHFF_SET1, is(FLOW_CALC, "Henry-Fauske Frozen"));
    set.range(QV_FHEMD_SET1, is(FLOW_CALC, "Ideal HEM (DIERS)"));
    set.range(QV_FHEMS_SET1, is(FLOW_CALC, "Ideal HEM (Simpson)"));
    set.range(QV_FDIENER_SET1, is(FLOW_CALC, "Diener"));
    set.range(QV_FSC_SET1, is(FLOW_CALC, "Leung-Grolmes"));

    const std::string states = States();
    const std::string phases = SubModel();
    const auto give = [&](QV_INTEGERSET& target, const char* name) {
      QV_IntSetValue value(phases == name ? states.c_str() : "");
      set(target, value);
    };
    give(PVAP_SET, "PVAP");
    give(PLIQ_SET, "PLIQ");
    give(PFLASH2_SET, "PFLASH2");
    give(PFLASH2W_SET, "PFLASH2W");
    give(PFLASH3_SET, "PFLASH3");
    set(P, 10.0);
    GiveFlashTypes(set, PVAP_SET, PVAP);
    GiveFlashTypes(set, PLIQ_SET, PLIQ);
    GiveFlashTypes(set, PFLASH2_SET, PFLASH2);
    GiveFlashTypes(set, PFLASH2W_SET, PFLASH2W);
    GiveFlashTypes(set, PFLASH3_SET, PFLASH3);

    const auto start = [&](auto& methods) {
      if (methods.Count()) set(methods(1).FLUX, 5000.0);
    };
    const auto tell_phases = [&](auto& methods) {
      if (methods.Count()) set(methods(1).VALIDPHASES, PhasesOfMethod());
      start(methods);
    };
    // Flow leaves the vessel; what an approach velocity couples starts from the inlet.
    start(FSIMPLE);
    start(FVAP);
    tell_phases(FSW);
    tell_phases(FHFF);
    tell_phases(FHEMD);
    tell_phases(FHEMS);
    tell_phases(FDIENER);
    tell_phases(FSC);

    set(FLUX, 5000.0);
    set(P_STAG, P);

    const auto given = [&](QV_VarParam& variable, double value) {
      set(variable, value);
      set.spec(variable, QV_SPEC_GIVEN);
    };
    given(KD, 0.975);
    given(KB, 1.0);
    given(KC, 1.0);
    given(AREA_RATIO, 0.0);
    set(Z, 1.0 / size(ComponentList));
    set(AREA, 1e-3);
  }

  void Equations(Equate& eq) {
    QV_PHASEPROPERTIES& inlet = At(kInlet);
    eq("InletT", T == inlet.T);
    eq("InletP", P == inlet.P);
    eq("InletVF", VF == inlet.VF);
    eq("InletH", H == inlet.H);
    eq("InletS", S == inlet.S);
    eq("InletRHO", RHO == inlet.RHO);
    eq("InletMW", MW == inlet.MW);
    eq.each(ComponentList, [&](const char* c) { eq("InletZ", Z(c) == inlet.Z(c)); });
    eq("ExitPressureRatio", ETA_A * P == P_OUT);

    Stagnation(eq);
    QV_PHASEPROPERTIES& source = At(Source());
    if (Saturated()) Saturation(eq, source);
    quiver::relief::MethodInputs from{ComponentList, PhasesOfMethod(), source, P_OUT, VFACTOR, LFACTOR};
    if (!Approach()) from.area_ratio = &AREA_RATIO;
    if (Saturated()) from.saturated = &At(kSaturation);
    if (References() > 0) Feed(eq, *(from.reference = &At(kReference)));
    if (References() > 1) Feed(eq, *(from.second_reference = &At(kSecondReference)));
    eq.each(QV_FSIMPLE_SET1, [&](int i) {
      Connect(eq, FSIMPLE(i), from);
      eq("Flux", FLUX == FSIMPLE(i).FLUX);
      eq("CriticalFlow", CRITICAL_FLOW == 0);
    });
    eq.each(QV_FVAP_SET1, [&](int i) { ConnectBothWays(eq, FVAP(i), from); });
    eq.each(QV_FSW_SET1, [&](int i) { ConnectBothWays(eq, FSW(i), from); });
    eq.each(QV_FHFF_SET1, [&](int i) { ConnectBothWays(eq, FHFF(i), from); });
    eq.each(QV_FHEMD_SET1, [&](int i) { ConnectBothWays(eq, FHEMD(i), from); });
    eq.each(QV_FHEMS_SET1, [&](int i) { ConnectBothWays(eq, FHEMS(i), from); });
    eq.each(QV_FDIENER_SET1, [&](int i) { ConnectBothWays(eq, FDIENER(i), from); });
    eq.each(QV_FSC_SET1, [&](int i) { ConnectBothWays(eq, FSC(i), from); });

    Capacity(eq);
    Orifice(eq);
    if (is(FLOW_CONNECTED, "Connected")) {
      QV_PHASEPROPERTIES& outlet = At(kOutlet);
      Feed(eq, outlet);
      eq("OutletPressure", outlet.P == P_OUT);
      eq("OutletEnthalpy", outlet.H == H);  // far behind the valve, where the velocity is small again
      eq("OutletT", T_OUT == outlet.T);
      eq("OutletH", H_OUT == outlet.H);
      eq("OutletVF", VF_OUT == outlet.VF);
    }
  }

 private:
  // ---- Which states, of which phases.

  bool ComparesPhases() { return is(FLOW_CALC, "Schmidt-Westphal") || is(FLOW_CALC, "Leung-Grolmes"); }
  bool Saturated() { return ComparesPhases() || (is(FLOW_CALC, "Ideal HEM (Simpson)") && !is(VALIDPHASES, "Vapor-Only")); }
  bool Approach() { return is(STAGCALC, "Ideal HEM (Simpson)"); }
  int References() {
    if (is(FLOW_CALC, "Ideal HEM (Simpson)") || is(FLOW_CALC, "Diener")) return 2;
    return is(FLOW_CALC, "Ideal HEM (DIERS)");
  }
  FluidState Source() { return Approach() ? kStagnation : kInlet; }

  std::string States() {
    std::string states = "1\"";
    const auto add = [&](FluidState state, bool wanted) {
      if (wanted) states += std::to_string(state) + "\"";
    };
    add(kStagnation, Approach());
    add(kMiddle, Approach());
    add(kReference, References() > 0);
    add(kSecondReference, References() > 1);
    add(kOutlet, is(FLOW_CONNECTED, "Connected"));
    add(kSaturation, Saturated());
    return states;
  }

  // A liquid that may boil on its way needs both phases, and so do methods that compare the two.
  std::string SubModel() {
    if (is(VALIDPHASES, "Vapor-Liquid-Liquid")) return "PFLASH3";
    if (is(VALIDPHASES, "Vapor-Liquid-FreeWater")) return "PFLASH2W";
    const bool one_phase = is(FLOW_CALC, "Incompressible Fluid") || is(FLOW_CALC, "Compressible Fluid");
    if (is(VALIDPHASES, "Vapor-Only") && !ComparesPhases()) return "PVAP";
    return is(VALIDPHASES, "Liquid-Only") && one_phase ? "PLIQ" : "PFLASH2";
  }
  const char* PhasesOfMethod() {
    if (is(VALIDPHASES, "Vapor-Liquid-FreeWater")) return "Vapor-Liquid-Liquid";
    return is(VALIDPHASES, "Liquid-Only") ? "Vapor-Liquid" : VALIDPHASES.StringValue();
  }

  QV_PHASEPROPERTIES& At(FluidState state) {
    const std::string phases = SubModel();
    if (phases == "PVAP") return PVAP(state);
    if (phases == "PLIQ") return PLIQ(state);
    if (phases == "PFLASH2W") return PFLASH2W(state);
    if (phases == "PFLASH3") return PFLASH3(state);
    return PFLASH2(state);
  }

  template <class Array>
  void GiveFlashTypes(Assigner& set, QV_INTEGERSET& states, Array& array) {
    if (size(states) != array.Count()) return;  // sized in the next round
    quiver::frame::language::ForEach(*states, [&](int state) {
      auto& type = array(state).FLASHTYPE;
      set(array(state).P, P);
      switch (state) {
        case kInlet: set(type, FLASHTYPE); break;
        // Methods with two reference states are those of an isentropic path by definition.
        case kReference: set(type, References() > 1 || is(FLASH_CALC, "Constant Entropy") ? "PS" : "PH"); break;
        case kOutlet: set(type, "PH"); break;
        case kSaturation: set(type, "TV"); break;
        default: set(type, "PS"); break;
      }
    });
  }

  void Feed(Equate& eq, QV_PHASEPROPERTIES& state) {
    eq.each(ComponentList, [&](const char* c) { eq("Composition", state.Z(c) == Z(c)); });
  }

  // ---- The state at rest from which the methods start.

  // Static inlet to rest at constant entropy, w^2/2 = integral of v dP, by Simpson's rule over three states. The methods
  // that know AREA_RATIO themselves then get 0.
  void Stagnation(Equate& eq) {
    if (!Approach()) {
      eq("StagnationPressure", P_STAG == P);
      return;
    }
    QV_PHASEPROPERTIES &inlet = At(kInlet), &middle = At(kMiddle), &rest = At(kStagnation);
    Feed(eq, middle);
    Feed(eq, rest);
    eq("MiddleEntropy", middle.S == S);
    eq("StagnationEntropy", rest.S == S);
    eq("MiddlePressure", middle.P == 0.5 * (P + P_STAG));
    eq("RestPressure", rest.P == P_STAG);
    eq("ApproachVelocity", INLET_VELOCITY * (RHO * MW) == FLUX * AREA_RATIO);
    eq("StagnationPressure", 0.5 * sqr(INLET_VELOCITY) * MW ==
                                 1e5 * (P_STAG - P) / 6.0 * (inlet.V + 4 * middle.V + rest.V));
  }

  // The saturated state at the temperature and vapor fraction of the source: its bubble point for a liquid, its dew point for a
  // vapor, itself for two phases.
  void Saturation(Equate& eq, QV_PHASEPROPERTIES& source) {
    QV_PHASEPROPERTIES& saturated = At(kSaturation);
    Feed(eq, saturated);
    eq("SaturationT", saturated.T == source.T);
    eq("SaturationVF", saturated.VF == source.VF);
    eq("SaturationPressure", P_SAT == saturated.P);
    eq("VaporFactor", VFACTOR == max(0.0, 1 - P_SAT / source.P));
    eq("LiquidFactor", LFACTOR == max(0.0, 1 - source.P / P_SAT));
  }

  template <class Method>
  void ConnectBothWays(Equate& eq, Method& method, const quiver::relief::MethodInputs& from) {
    Connect(eq, method, from);
    eq("Flux", FLUX == method.FLUX);
    eq("CriticalFlow", CRITICAL_FLOW == method.CRITICAL_FLOW);
    eq("CriticalPressure", P_CRIT == method.P_CRIT);
  }

  // ---- From flux to flow and area.

  void Capacity(Equate& eq) {
    eq("MassFlow", W == 3600.0 * (KD * KB * KC * KV) * FLUX * AREA);
    eq("MolarFlow", F * MW == W);
    if (is(VISCCORR, "Yes")) {
      eq("Viscosity", VISC == PVISC_LIQ(T, P, At(kInlet).X));
      // 4 m / (pi D viscosity) of a round orifice of this area and of the flow without the correction: the procedure gives no
      // derivatives, and this way a given area needs none and a given flow converges without.
      eq("Reynolds", RE * (3.6 * VISC) * sqrt(3.141592653589793 * AREA) == 2.0 * abs(3600.0 * (KD * KB * KC) * FLUX * AREA));
      eq("ViscosityCorrection", KV == PVISCCORR(RE));
    } else {
      eq("ViscosityCorrection", KV == 1);
    }
    if (is(HEATINPUT, "Yes")) {
      eq("HeatOfEvaporation", LATENT == At(kInlet).HV - At(kInlet).HL);
      eq("HeatInput", F * LATENT == HEATLOAD);
    }
  }

  void Orifice(Equate& eq) {
    using quiver::relief::kOrifices;
    {
      auto choice = eq.given(kOrifices[0].label, AREA <= kOrifices[0].area_m2, [&] { OrificeIs(eq, 0); });
      for (int k = 1; k < quiver::relief::kOrificeCount; ++k)
        choice.orGiven(kOrifices[k].label, AREA <= kOrifices[k].area_m2, [&] { OrificeIs(eq, k); });
      choice.otherwise([&] {
        eq("OrificeArea", ORIFICE_AREA == AREA);
        eq("OrificeNumber", ORIFICE == quiver::relief::kOrificeCount + 1);
      });
    }
    eq("OrificeFlow", W_ORIFICE * AREA == W * ORIFICE_AREA);
  }
  void OrificeIs(Equate& eq, int k) {
    eq("OrificeArea", ORIFICE_AREA == quiver::relief::kOrifices[k].area_m2);
    eq("OrificeNumber", ORIFICE == k + 1);
  }
};
EXPORT_MODEL(PSV_BASE)
