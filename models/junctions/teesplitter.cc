// SPDX-License-Identifier: Apache-2.0
// A pipe tee that divides its feed into a straight product and one from its leg, by the split fractions SF(1) and SF(2). The
// leg costs velocity heads, KHEAD of them forward and KHEADREV in reverse. Where pressures drive the flow and streams may
// turn round, every stream enters the mixture in its own direction only.
//
//   quiver equations TEESPLITTER --components N2,O2 --set GLOBALPDRIVEN=true
#include "models/junctions/leg.h"

struct QV_EXPORT QV_TEESPLITTER : QV_GENERICMODEL {
  MODEL_TEXT(TEESPLITTER)

#define STREAM(TYPE, NAME, ...) ARRAY(TYPE, NAME, OVER(OUTLETS), __VA_ARGS__)
#define LEG_TEXT "leg "
#define TEE_GLOBALS
#include "models/junctions/tee_properties.def"
#undef TEE_GLOBALS
  SET(QV_INTEGERSET, OUTLETS)  // 1: OUT_P, 2: OUT_LEG
#define TEE_LOCALS
#include "models/junctions/tee_properties.def"
#undef TEE_LOCALS
#undef LEG_TEXT
#undef STREAM
  ARRAY(QV_FRACTION, SF, OVER(OUTLETS), "Material stream split fraction")
  VARIABLE(QV_FRACTION, IN_F_AV)
  VARIABLE(QV_FRACTION, OUT_P_AVREV)
  VARIABLE(QV_FRACTION, OUT_LEG_AVREV)
  PORT(QV_MATERIALPORTRPREV, IN_F, "Feed (Required")  // the open bracket is meant
  PORT(QV_MATERIALPORTRPREV, OUT_P, "Product to straight line (Required)")
  PORT(QV_MATERIALPORTRPREV, OUT_LEG, "Product to leg (Required)")

  void Assignments(Assigner& set) {
    quiver::junctions::TeeDefaults(*this, set);
    set.range(OUTLETS, 2);
    if (!quiver::junctions::IsPressureDriven(*this)) set.spec(P_DROP, QV_SPEC_GIVEN);
    if (quiver::junctions::IsReversible(*this)) {  // a product that comes back makes the other more than the feed
      set.lower(SF, -1e30);
      set.upper(SF, 1e30);
    }
  }

  void Equations(Equate& eq) {
    Split(eq);
    if (quiver::junctions::IsReversible(*this))
      ReversibleMixing(eq);
    else
      ForwardMixing(eq);
    eq("InFP", IN_F.P == P_IN);
    eq("Pin", P == P_IN);
    eq("OutPP", OUT_P.P == P);
    eq("OutlegP", OUT_LEG.P + P_DROP == P_IN);
    quiver::junctions::LegContents(*this, eq, "QV_If1", OUT_LEG, Z, H, OUT_LEG.ZREV, OUT_LEG.HREV);
    if (quiver::junctions::IsPressureDriven(*this)) {
      quiver::junctions::LegLoss(*this, eq, OUT_LEG);
      if (quiver::junctions::IsReversible(*this))
        eq("PdropC", P_DROPC == P_DROP);
      else
        eq("PdropC", P_DROPC == PMINRAMP(P_DROP, DPMIN, EPS));
    }
    Products(eq);
    quiver::junctions::MixtureProperties(*this, eq);
    quiver::junctions::LegProperties(*this, eq, OUT_LEG, "MwlegVLeq");
  }

 private:
  void Split(Equate& eq) {
    eq("Fineq", F_IN == IN_F.F);
    eq.each(ComponentList, [&](const char* c) { eq("zineq", Z_IN(c) == IN_F.Z(c)); });
    if (quiver::junctions::IsReversible(*this)) {
      eq("overallbal", IN_F.F == OUT_P.F + OUT_LEG.F);
      // Of exactly no feed there are no parts: where flow only passes from one product to the other, nothing satisfies this, and
      // where nothing flows, any SF does.
      eq("sfPPD", OUT_P.F * sigma(SF) == SF(1) * F_IN);
    } else if (quiver::junctions::IsPressureDriven(*this)) {
      eq("sfPPD", OUT_P.F * sigma(SF) == SF(1) * F_IN);
      eq("sflegPD", OUT_LEG.F * sigma(SF) == SF(2) * F_IN);
    } else {
      eq("sfPFD", OUT_P.F == SF(1) * F_IN);
      eq("sflegFD", OUT_LEG.F == SF(2) * F_IN);
    }
    eq("sigmasf", -1.0 + sigma(SF) == 0);
  }

  void ReversibleMixing(Equate& eq) {
    const auto feed = quiver::junctions::InletWeight(*this, IN_F);
    const auto product = quiver::junctions::OutletWeight(*this, OUT_P), leg = quiver::junctions::OutletWeight(*this, OUT_LEG);
    eq.each(ComponentList, [&](const char* c) {
      eq("QV_Eqn77", Z(c) * (feed - product - leg) == feed * IN_F.Z(c) - product * OUT_P.ZREV(c) - leg * OUT_LEG.ZREV(c));
    });
    eq.each(ComponentList, [&](const char* c) { eq("outPz", OUT_P.Z(c) == Z(c)); });
    eq.each(ComponentList, [&](const char* c) { eq("inFzrev", IN_F.ZREV(c) == Z(c)); });
    eq.each(ComponentList, [&](const char* c) { eq("OutLegz", OUT_LEG.Z(c) == Z(c)); });
    eq("meanh", H * (feed - product - leg) == feed * IN_F.H - product * OUT_P.HREV - leg * OUT_LEG.HREV);
    eq("OUthPD", OUT_P.H == H);
    eq("OutlegPD", OUT_LEG.H == H);
    eq("InfhrevPD", IN_F.HREV == H);
    eq("InFTrev", IN_F.TREV == T);

    eq("InAvPD", IN_F_AV == IN_F.AV);
    eq("OutPAvrevPD", OUT_P_AVREV == OUT_P.AVREV);
    eq("OutlegAvrevPD", OUT_LEG_AVREV == OUT_LEG.AVREV);
    eq("AvPD", AV == max(max(IN_F_AV, OUT_P_AVREV), OUT_LEG_AVREV));
    eq("InAvrevPD", IN_F.AVREV == AV);
    eq("OutPAvPD", OUT_P.AV == AV);
    eq("OutlegAvPD", OUT_LEG.AV == AV);
  }

  void ForwardMixing(Equate& eq) {
    eq.each(ComponentList, [&](const char* c) { eq("zin", Z(c) == Z_IN(c)); });
    eq.each(ComponentList, [&](const char* c) { eq("outPzin", OUT_P.Z(c) == Z_IN(c)); });
    eq.each(ComponentList, [&](const char* c) { eq("outlegzin", OUT_LEG.Z(c) == Z_IN(c)); });
    eq("hinFD", H_IN == IN_F.H);
    eq("hinFD2", H == H_IN);
    eq("outPh", OUT_P.H == H_IN);
    eq("outlegH", OUT_LEG.H == H_IN);
    eq("OutPAvFD", OUT_P.AV == IN_F.AV);
    eq("OutlegAvFD", OUT_LEG.AV == IN_F.AV);
  }

  void Products(Equate& eq) {
    const auto standard_volume = sigma(*ComponentList, [&](const char* c) { return Z(c) * VLSTDC(c); });
    eq("outPT", OUT_P.T == T);
    LegTemperature(eq);
    eq("OutPvol", 1.0 == OUT_P.V * RHO);
    eq("OutlegVol", 1.0 == OUT_LEG.V * RHO_LEG);
    eq("OutPFout", OUT_P.F == FOUT(1));
    eq("OutlegFout", OUT_LEG.F == FOUT(2));
    // MW for both: what leaves has the composition of the mixture.
    eq("OutPFmass", OUT_P.F * MW == FMASS(1));
    eq("OutlefFmass", OUT_LEG.F * MW == FMASS(2));
    eq("FvlPFmass", FVLSTD(1) * RHOML_STD(1) == FMASS(1));
    eq("FvllegFmass", FVLSTD(2) * RHOML_STD(2) == FMASS(2));
    eq("FvlPRho", FVLSTD(1) == FOUT(1) * standard_volume);
    eq("FvllegRho", FVLSTD(2) == FOUT(2) * standard_volume);
    eq("OutPFvol", OUT_P.F == FVOL(1) * RHO);
    eq("OutlegFvol", OUT_LEG.F == FVOL(2) * RHO_LEG);
  }

  void LegTemperature(Equate& eq) {
    using quiver::junctions::Phases;
    switch (quiver::junctions::PhasesOf(*this)) {
      case Phases::kVapor: return eq("OutlegT", OUT_LEG.T == PVAPLEG(1).T);
      case Phases::kLiquid: return eq("OutlegT", OUT_LEG.T == PLIQLEG(1).T);
      case Phases::kVaporLiquid: return eq("OutlegT", OUT_LEG.T == PFLASH2LEG(1).T);
      case Phases::kVaporLiquidLiquid: return eq("OutlegT", OUT_LEG.T == PFLASH3LEG(1).T);
    }
  }
};
EXPORT_MODEL(TEESPLITTER)
