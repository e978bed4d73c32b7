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
#include "host/modeller/phase_models.h"
#include "models/relief/orifices.h"
#include "models/relief/psv_hemd.h"
#include "models/relief/psv_simple.h"
#include "models/relief/psv_subcooled.h"
#include "models/relief/psv_sw.h"
#include "models/relief/psv_vap.h"

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
  SET(QV_INTEGERSET, QV_FHEMD_SET1)
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
  VARIABLE(QV_POSITIVE, RE, "Reynolds number in the orifice")
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
  ARRAY(QV_PSV_HEMD, FHEMD, OVER(QV_FHEMD_SET1), "Ideal HEM (DIERS)")
  ARRAY(QV_PSV_SUBCOOLED, FSC, OVER(QV_FSC_SET1), "Leung-Grolmes")

  // States that the phase sub-models are asked for.
  enum FluidState { kInlet = 1, kStagnation, kMiddle, kReference, kOutlet, kSaturation };

  void Assignments(Assigner& set) {
    set.range(QV_FSIMPLE_SET1, is(FLOW_CALC, "Incompressible Fluid"));
    set.range(QV_FVAP_SET1, is(FLOW_CALC, "Compressible Fluid"));
    set.range(QV_FSW_SET1, is(FLOW_CALC, "Schmidt-Westphal"));
    set.range(QV_FHEMD_SET1, is(FLOW_CALC, "Ideal HEM (DIERS)"));
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
    GiveFlashTypes(set, PVAP_SET, PVAP);
    GiveFlashTypes(set, PLIQ_SET, PLIQ);
    GiveFlashTypes(set, PFLASH2_SET, PFLASH2);
    GiveFlashTypes(set, PFLASH2W_SET, PFLASH2W);
    GiveFlashTypes(set, PFLASH3_SET, PFLASH3);

    if (FSW.Count()) set(FSW(1).VALIDPHASES, PhasesOfMethod());
    if (FSC.Count()) set(FSC(1).VALIDPHASES, PhasesOfMethod());
    if (FHEMD.Count()) set(FHEMD(1).VALIDPHASES, PhasesOfMethod());

    const auto given = [&](QV_VarParam& variable, double value) {
      set(variable, value);
      set.spec(variable, QV_SPEC_GIVEN);
    };
    given(KD, 0.975);
    given(KB, 1.0);
    given(KC, 1.0);
    given(AREA_RATIO, 0.0);
    set(Z, 1.0 / size(ComponentList));
    set(P, 10.0);
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
    eq.each(QV_FSIMPLE_SET1, [&](int i) { Connect(eq, FSIMPLE(i), source); });
    eq.each(QV_FVAP_SET1, [&](int i) { Connect(eq, FVAP(i), source); });
    eq.each(QV_FSW_SET1, [&](int i) { Connect(eq, FSW(i), source); });
    eq.each(QV_FHEMD_SET1, [&](int i) { Connect(eq, FHEMD(i), source); });
    eq.each(QV_FSC_SET1, [&](int i) { Connect(eq, FSC(i), source); });

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

  bool Saturated() { return is(FLOW_CALC, "Schmidt-Westphal") || is(FLOW_CALC, "Leung-Grolmes"); }
  bool Approach() { return is(STAGCALC, "Ideal HEM (Simpson)"); }
  bool Referenced() { return is(FLOW_CALC, "Ideal HEM (DIERS)"); }
  FluidState Source() { return Approach() ? kStagnation : kInlet; }

  std::string States() {
    std::string states = "1\"";
    const auto add = [&](FluidState state, bool wanted) {
      if (wanted) states += std::to_string(state) + "\"";
    };
    add(kStagnation, Approach());
    add(kMiddle, Approach());
    add(kReference, Referenced());
    add(kOutlet, is(FLOW_CONNECTED, "Connected"));
    add(kSaturation, Saturated());
    return states;
  }

  // Methods that compare liquid and vapor need both, also where only one is expected at the inlet.
  std::string SubModel() {
    if (is(VALIDPHASES, "Vapor-Liquid-Liquid")) return "PFLASH3";
    if (is(VALIDPHASES, "Vapor-Liquid-FreeWater")) return "PFLASH2W";
    if (is(VALIDPHASES, "Vapor-Liquid") || Saturated()) return "PFLASH2";
    return is(VALIDPHASES, "Vapor-Only") ? "PVAP" : "PLIQ";
  }
  const char* PhasesOfMethod() {
    if (is(VALIDPHASES, "Vapor-Liquid-FreeWater")) return "Vapor-Liquid-Liquid";
    return is(VALIDPHASES, "Liquid-Only") ? "Vapor-Liquid" : VALIDPHASES.StringValue();
  }
  bool TwoLiquids() { return SUValue::CompareCI(PhasesOfMethod(), "Vapor-Liquid-Liquid") == 0; }

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
      switch (state) {
        case kInlet: set(type, FLASHTYPE); break;
        case kReference: set(type, is(FLASH_CALC, "Constant Entropy") ? "PS" : "PH"); break;
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

  // ---- What the methods get.

  auto AreaRatio() { return Approach() ? 0.0 * AREA_RATIO : 1.0 * AREA_RATIO; }

  template <class Method>
  void ReadBack(Equate& eq, Method& method) {
    eq("Flux", FLUX == method.FLUX);
    eq("CriticalFlow", CRITICAL_FLOW == method.CRITICAL_FLOW);
    eq("CriticalPressure", P_CRIT == method.P_CRIT);
  }

  void Connect(Equate& eq, QV_PSV_SIMPLE& method, QV_PHASEPROPERTIES& source) {
    eq("MethodP_DROP", method.P_DROP == source.P - P_OUT);
    eq("MethodMW", method.MW == source.MW);
    eq("MethodRHO", method.RHO == source.RHO);
    eq("MethodAREA_RATIO", method.AREA_RATIO == AreaRatio());
    eq("Flux", FLUX == method.FLUX);
    eq("CriticalFlow", CRITICAL_FLOW == 0);
  }

  void Connect(Equate& eq, QV_PSV_VAP& method, QV_PHASEPROPERTIES& source) {
    eq("MethodMW", method.MW == source.MW);
    eq("MethodRHO", method.RHO == source.RHO);
    eq("MethodAREA_RATIO", method.AREA_RATIO == AreaRatio());
    eq("MethodT", method.T == source.T);
    eq("MethodP", method.P == source.P);
    eq("MethodETA_A", method.ETA_A * source.P == P_OUT);
    eq.each(ComponentList, [&](const char* c) { eq("MethodY", method.Y(c) == source.Y(c)); });
    ReadBack(eq, method);
  }

  // Composition and heats of the liquid, for the methods that ask for its heat capacity.
  template <class Method>
  void Liquid(Equate& eq, Method& method, QV_PHASEPROPERTIES& source) {
    if (!TwoLiquids()) {
      eq.each(ComponentList, [&](const char* c) { eq("MethodX", method.X(c) == source.X(c)); });
      eq("MethodLFACTOR", method.LFACTOR == LFACTOR);
    } else {
      auto& liquids = static_cast<QV_PFLASH3&>(source);
      eq.each(ComponentList, [&](const char* c) {
        eq("MethodX1", method.X1(c) == liquids.X1(c));
        eq("MethodX2", method.X2(c) == liquids.X2(c));
      });
      eq("MethodBETA", method.BETA == liquids.BETA);
      eq("MethodL1FACTOR", method.L1FACTOR == LFACTOR);
      eq("MethodL2FACTOR", method.L2FACTOR == 0);
    }
    eq("MethodVFACTOR", method.VFACTOR == VFACTOR);
    QV_PHASEPROPERTIES& saturated = At(kSaturation);
    eq("MethodHL", method.HL == saturated.HL);
    eq("MethodHV", method.HV == saturated.HV);
    eq("MethodMWL", method.MWL == saturated.MWL);
    eq("MethodMWV", method.MWV == saturated.MWV);
    eq("MethodRHOV", method.RHOV == saturated.RHOV);
    // The density of the liquid that is there; of a vapor's condensate that at saturation.
    eq("MethodRHOL", method.RHOL == source.LF * source.RHOL + source.VF * saturated.RHOL);
  }

  void Connect(Equate& eq, QV_PSV_SW& method, QV_PHASEPROPERTIES& source) {
    eq("MethodT", method.T == source.T);
    eq("MethodP", method.P == source.P);
    eq("MethodETA_A", method.ETA_A * source.P == P_OUT);
    eq("MethodE0", method.E0 * (source.VF * method.RHOL + source.LF * method.RHOV) == source.VF * method.RHOL);
    eq.each(ComponentList, [&](const char* c) { eq("MethodY", method.Y(c) == source.Y(c)); });
    Liquid(eq, method, source);
    ReadBack(eq, method);
  }

  void Connect(Equate& eq, QV_PSV_SUBCOOLED& method, QV_PHASEPROPERTIES& source) {
    eq("MethodT", method.T == source.T);
    eq("MethodP", method.P == source.P);
    eq("MethodP_OUT", method.P_OUT == P_OUT);
    eq("MethodETA", method.ETA * source.P == P_OUT);
    Liquid(eq, method, source);
    ReadBack(eq, method);
  }

  void Connect(Equate& eq, QV_PSV_HEMD& method, QV_PHASEPROPERTIES& source) {
    eq("MethodT", method.T == source.T);
    eq("MethodP", method.P == source.P);
    eq("MethodETA_A", method.ETA_A * source.P == P_OUT);
    eq("MethodSV0", method.SV0 == source.SV);
    eq("MethodLF", method.LF == source.LF);
    eq("MethodVF", method.VF == source.VF);
    eq("MethodRHOV", method.RHOV == source.RHOV);
    eq("MethodRHOL", method.RHOL == source.RHOL);
    eq("MethodMWV", method.MWV == source.MWV);
    eq("MethodMWL", method.MWL == source.MWL);
    Reference(eq, method, source);
    ReadBack(eq, method);
  }

  // The state at the member's pressure PA, reached at constant enthalpy or entropy.
  template <class Method>
  void Reference(Equate& eq, Method& method, QV_PHASEPROPERTIES& source) {
    QV_PHASEPROPERTIES& reference = At(kReference);
    Feed(eq, reference);
    eq("ReferencePressure", reference.P == method.PA);
    if (is(FLASH_CALC, "Constant Entropy"))
      eq("ReferenceEntropy", reference.S == source.S);
    else
      eq("ReferenceEnthalpy", reference.H == source.H);
    eq("ReferenceT", method.TA == reference.T);
    eq("ReferenceVF", method.VFA == reference.VF);
    eq("ReferenceLF", method.LFA == reference.LF);
    eq("ReferenceRHOV", method.RHOVA == reference.RHOV);
    eq("ReferenceRHOL", method.RHOLA == reference.RHOL);
    eq("ReferenceMWV", method.MWVA == reference.MWV);
    eq("ReferenceMWL", method.MWLA == reference.MWL);
  }

  // ---- From flux to flow and area.

  void Capacity(Equate& eq) {
    eq("MassFlow", W == 3600.0 * (KD * KB * KC * KV) * FLUX * AREA);
    eq("MolarFlow", F * MW == W);
    if (is(VISCCORR, "Yes")) {
      eq("Viscosity", VISC == PVISC_LIQ(T, P, At(kInlet).X));
      // 4 m / (pi D viscosity) with the diameter of a round orifice of this area.
      eq("Reynolds", RE * (3.6 * VISC) * sqrt(3.141592653589793 * AREA) == 2.0 * abs(W));
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
