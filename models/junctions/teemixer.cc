// SPDX-License-Identifier: Apache-2.0
// A pipe tee that joins a straight feed and a feed from its leg. The leg costs velocity heads, KHEAD of them forward and
// KHEADREV in reverse. Where pressures drive the flow and streams may turn round, every stream enters the mixture in its own
// direction only; else both feeds enter.
//
//   quiver equations TEEMIXER --components N2,O2 --set GLOBALPDRIVEN=true --set GLOBALRFLOW=true
#include "models/junctions/leg.h"

struct QV_EXPORT QV_TEEMIXER : QV_GENERICMODEL {
  MODEL_TEXT(TEEMIXER)

#define STREAM VARIABLE
#define LEG_TEXT "Inlet "
#define TEE_GLOBALS
#include "models/junctions/tee_properties.def"
#undef TEE_GLOBALS
#define TEE_LOCALS
#include "models/junctions/tee_properties.def"
#undef TEE_LOCALS
#undef LEG_TEXT
#undef STREAM
  PARAMETER(QV_INTEGERPARAMETER, NC)
  VARIABLE(QV_FRACTION, IN_F_AV)
  VARIABLE(QV_FRACTION, IN_LEG_AV)
  VARIABLE(QV_FRACTION, OUT_P_AVREV)
  VARIABLE(QV_PRESS_DIFF, P_DROPR, "Specified pressure drop")
  VARIABLE(QV_PRESSURE, PLEG)
  VARIABLE(QV_PRESSURE, PSTRAIGHT)
  PARAMETER(QV_YESNO, POLYMER_IN_LEG, "Yes if leg feed stream contains any polymer")
  PARAMETER(QV_YESNO, CATALYST_IN_LEG, "Yes if leg feed stream contains any ZN catalyst")
  PORT(QV_MATERIALPORTRPREV, IN_F, "Feed to straight line (Required)")
  PORT(QV_MATERIALPORTRPREV, IN_LEG, "Feed to leg (Required)")
  PORT(QV_MATERIALPORTRPREV, OUT_P, "Product (Required)")

  void Assignments(Assigner& set) {
    quiver::junctions::TeeDefaults(*this, set);
    set(NC, size(ComponentList));
    set.spec(P_DROPR, QV_SPEC_GIVEN);
    set(POLYMER_IN_LEG, "No");
    set(CATALYST_IN_LEG, "No");
  }

  void Equations(Equate& eq) {
    const bool reversible = quiver::junctions::IsReversible(*this);
    if (reversible)
      ReversibleMixing(eq);
    else
      ForwardMixing(eq);
    Pressures(eq);
    quiver::junctions::LegContents(*this, eq, "QV_If3", IN_LEG, IN_LEG.Z, IN_LEG.H, Z, H);
    if (quiver::junctions::IsPressureDriven(*this)) {
      quiver::junctions::LegLoss(*this, eq, IN_LEG);
      if (reversible)
        eq("P_dropC_eq_rflow", P_DROPC == P_DROP);
      else
        eq("P_dropC_eq", P_DROPC == PMINRAMP(P_DROP, DPMIN, EPS));
    }
    Product(eq);
    quiver::junctions::MixtureProperties(*this, eq);
    quiver::junctions::LegProperties(*this, eq, IN_LEG, "MwlegVL");
    CatalystAttributes(eq);
  }

 private:
  void ReversibleMixing(Equate& eq) {
    const auto feed = quiver::junctions::InletWeight(*this, IN_F), leg = quiver::junctions::InletWeight(*this, IN_LEG);
    const auto product = quiver::junctions::OutletWeight(*this, OUT_P);
    eq.each(ComponentList, [&](const char* c) {
      eq("QV_Eqn77", Z(c) * (feed + leg - product) == feed * IN_F.Z(c) + leg * IN_LEG.Z(c) - product * OUT_P.ZREV(c));
    });
    eq("QV_Eqn78", IN_F.F + IN_LEG.F == OUT_P.F);
    eq.each(ComponentList, [&](const char* c) { eq("QV_Eqn79", OUT_P.Z(c) == Z(c)); });
    eq.each(ComponentList, [&](const char* c) { eq("QV_Eqn80", IN_F.ZREV(c) == Z(c)); });
    eq.each(ComponentList, [&](const char* c) { eq("QV_Eqn81", IN_LEG.ZREV(c) == Z(c)); });
    eq("QV_Eqn88", H * (feed + leg - product) == feed * IN_F.H + leg * IN_LEG.H - product * OUT_P.HREV);
    eq("QV_Eqn89", OUT_P.H == H);
    eq("QV_Eqn90", IN_F.HREV == H);
    eq("QV_Eqn91", IN_LEG.HREV == H);
    eq("InFTrev", IN_F.TREV == T);
    eq("InlegTrev", IN_LEG.TREV == T);

    eq("InAvPD", IN_F_AV == IN_F.AV);
    eq("InlegAvPD", IN_LEG_AV == IN_LEG.AV);
    eq("OutPAvrevPD", OUT_P_AVREV == OUT_P.AVREV);
    eq("AvPD", AV == max(max(IN_F_AV, IN_LEG_AV), OUT_P_AVREV));
    eq("InAvrevPD", IN_F.AVREV == AV);
    eq("InlegAvrevPD", IN_LEG.AVREV == AV);
    eq("OutPAvPD", OUT_P.AV == AV);
  }

  void ForwardMixing(Equate& eq) {
    eq("QV_Eqn82", F_IN == IN_F.F + IN_LEG.F);
    eq.given("QV_If1", F_IN > EPS, [&] {
        eq.each(ComponentList, [&](const char* c) {
          eq("QV_Eqn83", F_IN * Z_IN(c) == IN_F.F * IN_F.Z(c) + IN_LEG.F * IN_LEG.Z(c));
        });
      }).otherwise([&] {
        eq.each(ComponentList, [&](const char* c) { eq("QV_Eqn84", 2 * Z_IN(c) == IN_F.Z(c) + IN_LEG.Z(c)); });
      });
    eq("QV_Eqn85", OUT_P.F == F_IN);
    eq.each(ComponentList, [&](const char* c) { eq("QV_Eqn86", Z(c) == Z_IN(c)); });
    eq.each(ComponentList, [&](const char* c) { eq("QV_Eqn87", OUT_P.Z(c) == Z_IN(c)); });
    eq.given("QV_If2", F_IN > EPS, [&] {
        eq("QV_Eqn92", F_IN * H_IN == IN_F.F * IN_F.H + IN_LEG.F * IN_LEG.H);
      }).otherwise([&] {
        eq("QV_Eqn93", 2 * H_IN == IN_F.H + IN_LEG.H);
      });
    eq("QV_Eqn94", H == H_IN);
    eq("QV_Eqn95", OUT_P.H == H_IN);
    eq("OutPAvFD", OUT_P.AV == max(IN_F.AV, IN_LEG.AV));
  }

  void Pressures(Equate& eq) {
    if (quiver::junctions::IsPressureDriven(*this)) {
      eq("PDInP", IN_F.P == P_IN);
      eq("PDInlegP", IN_LEG.P == P_IN + P_DROP);
    } else {
      eq("FDPdrop", P_DROP == P_DROPR);
      eq("FDPleg", PLEG + P_DROP == IN_LEG.P);
      eq("FDPstraight", PSTRAIGHT == IN_F.P);
      eq("FDPin", P_IN == min(PLEG, PSTRAIGHT));
    }
    eq("Pintee", P == P_IN);
    eq("OutPP", OUT_P.P == P);
  }

  void Product(Equate& eq) {
    eq("outPT", OUT_P.T == T);
    eq("OutPFout", OUT_P.F == FOUT);
    eq("OutPFvol", OUT_P.F == FVOL * RHO);
    eq("OutPFmass", OUT_P.F * MW == FMASS);
    eq("OutFvlstd", FVLSTD == FOUT * sigma(*ComponentList, [&](const char* c) { return Z(c) * VLSTDC(c); }));
    eq("OutFmass", FVLSTD * RHOML_STD == FMASS);
    eq("molarvol", 1.0 == OUT_P.V * RHO);
  }

  // Attributes go with the flow of their catalyst; where none flows, they are plain averages.
  void CatalystAttributes(Equate& eq) {
    eq.each(CATALYST, [&](const char* c) {
      const auto feed = max(ZERO, IN_F.F) * IN_F.Z(c), leg = max(ZERO, IN_LEG.F) * IN_LEG.Z(c);
      eq.given("QV_If4", feed + leg > EPS, [&] {
          eq.each(SITES, [&](int s) {
            eq.each(CATSITEATTSET, [&](const char* a) {
              eq("QV_Eqn165", CATSITE_IN(c, s, a) * (feed + leg) == feed * IN_F.CATSITE(c, s, a) + leg * IN_LEG.CATSITE(c, s, a));
            });
          });
          eq.each(CATATTSET, [&](const char* a) {
            eq("QV_Eqn166", CATSCALAR_IN(c, a) * (feed + leg) == feed * IN_F.CATSCALAR(c, a) + leg * IN_LEG.CATSCALAR(c, a));
          });
        }).otherwise([&] {
          eq.each(SITES, [&](int s) {
            eq.each(CATSITEATTSET, [&](const char* a) {
              eq("QV_Eqn165", 2 * CATSITE_IN(c, s, a) == IN_F.CATSITE(c, s, a) + IN_LEG.CATSITE(c, s, a));
            });
          });
          eq.each(CATATTSET, [&](const char* a) {
            eq("QV_Eqn166", 2 * CATSCALAR_IN(c, a) == IN_F.CATSCALAR(c, a) + IN_LEG.CATSCALAR(c, a));
          });
        });
    });
  }
};
EXPORT_MODEL(TEEMIXER)
