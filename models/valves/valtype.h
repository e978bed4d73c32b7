// SPDX-License-Identifier: Apache-2.0
// Valve coefficient by the inherent characteristic, and, from a user table over the opening, the pressure recovery factor FL
// and the pressure drop ratio factor XT of the owning valve. Openings in percent.
#pragma once

#include <cctype>

#include "frame/model.h"
#include "procedures/calls.h"
#include "types/catalogue.h"

namespace quiver::valves {
// The leading integer of a version, "13.2" is 13; 0 without digits.
inline int LeadingInteger(const char* text) {
  long long value = 0;
  for (; std::isdigit(static_cast<unsigned char>(*text)) && value < 1'000'000'000; ++text) value = 10 * value + (*text - '0');
  return static_cast<int>(value < 1'000'000'000 ? value : 1'000'000'000);
}
}  // namespace quiver::valves

struct QV_EXPORT QV_VALTYPE : QV_GENERICMODEL {
  MODEL_TEXT(VALTYPE)

  EXTERNAL(QV_CONSTANT, FL)
  EXTERNAL(QV_FRACTION, XT)
  PARAMETER(QV_STRINGPARAMETER, BLOCKVERSION)
  PARAMETER(QV_VALVECHAR_VALTYPE, CHAR_EQN, "Valve characteristic")
  PARAMETER(QV_INTEGERPARAMETER, NPTS, "No. of user points")
  SET(QV_INTEGERSET, NPOINTS)
  PARAMETER(QV_INTEGERPARAMETER, CVOPT, "CV calculation opt")
  PARAMETER(QV_INTEGERPARAMETER, XTOPT, "XT calculation opt")
  PARAMETER(QV_INTEGERPARAMETER, FLOPT, "FL calculation opt")
  VARIABLE(QV_CONSTANT, CVMAX, "Maximum valve coefficient")
  VARIABLE(QV_CONSTANT, CV, "Valve coefficient")
  VARIABLE(QV_PERCENT, POS, "Valve open position")
  ARRAY(QV_PERCENT, POSX, OVER(NPOINTS), "Valve % Opening")
  ARRAY(QV_CONSTANT, CVAL, OVER(NPOINTS), "Valve coefficient")
  ARRAY(QV_CONSTANT, FLVAL, OVER(NPOINTS), "Pressure recovery factor")
  ARRAY(QV_FRACTION, XTVAL, OVER(NPOINTS), "Pressure drop ratio factor")
  VARIABLE(QV_CONSTANT, CVLOW)
  VARIABLE(QV_CONSTANT, CVUP)
  VARIABLE(QV_CONSTANT, FLLOW)
  VARIABLE(QV_CONSTANT, FLUP)
  VARIABLE(QV_FRACTION, XTLOW)
  VARIABLE(QV_FRACTION, XTUP)
  PARAMETER(QV_YESNO, FL_DAT, "Pressure recovery factor data available")
  PARAMETER(QV_YESNO, XT_DAT, "Pressure recovery factor data available")  // the same words as FL_DAT, as published

  // Before version 20 the characteristic USRTAB brings both tables, from then on each has its own flag.
  bool OldVersion() const { return quiver::valves::LeadingInteger(BLOCKVERSION.StringValue()) < 20; }
  bool TableOfFL() const { return OldVersion() ? is(CHAR_EQN, "USRTAB") : is(FL_DAT, "Yes"); }
  bool TableOfXT() const { return OldVersion() ? is(CHAR_EQN, "USRTAB") : is(XT_DAT, "Yes"); }

  void Assignments(Assigner& set) {
    set(BLOCKVERSION, "13.2");
    set(NPTS, 0);
    set.range(NPOINTS, NPTS.IntegerValue());
    set.spec(CVMAX, QV_SPEC_GIVEN);
    set.spec(POSX, QV_SPEC_GIVEN);
    set.spec(CVAL, QV_SPEC_GIVEN);
    set.spec(FLVAL, QV_SPEC_GIVEN);
    set.spec(XTVAL, QV_SPEC_GIVEN);
    set.spec(CVLOW, QV_SPEC_GIVEN);
    set.spec(CVUP, QV_SPEC_GIVEN);
    set.spec(FLLOW, QV_SPEC_GIVEN);
    set.spec(FLUP, QV_SPEC_GIVEN);
    set.spec(XTLOW, QV_SPEC_GIVEN);
    set.spec(XTUP, QV_SPEC_GIVEN);
    set(FL_DAT, "No");
    set(XT_DAT, "No");
    set.spec(FL, TableOfFL() ? QV_SPEC_COMPUTED : QV_SPEC_GIVEN);
    set.spec(XT, TableOfXT() ? QV_SPEC_COMPUTED : QV_SPEC_GIVEN);
  }

  void Equations(Equate& eq) {
    const bool fl = TableOfFL(), xt = TableOfXT();
    const char* fl_label = OldVersion() ? "QV_Eqn5" : xt ? "QV_Eqn3" : "QV_Eqn2";
    const char* xt_label = OldVersion() ? "QV_Eqn6" : fl ? "QV_Eqn4" : "QV_Eqn1";
    if (fl) eq(fl_label, FL == PUSRVAL(NPTS, POSX, FLVAL, POS, FLLOW, FLUP, FLOPT));
    if (xt) eq(xt_label, XT == PUSRVAL(NPTS, POSX, XTVAL, POS, XTLOW, XTUP, XTOPT));

    // Every form gives CVMAX at 100 % and nothing at 0 %.
    eq.when(is(CHAR_EQN, "LINEAR"), [&] {
        eq("QV_Eqn7", 100 * CV == CVMAX * POS);
      }).orWhen(is(CHAR_EQN, "PARABOLIC"), [&] {
        eq("QV_Eqn8", 100 * CV == 0.01 * (CVMAX * sqr(POS)));
      }).orWhen(is(CHAR_EQN, "HYPERBOLIC"), [&] {
        eq("QV_Eqn9", 100 * CV == CVMAX * (0.1 * POS) / sqrt(1.0 - 9.9e-5 * sqr(POS)));
      }).orWhen(is(CHAR_EQN, "SQUARE-ROOT"), [&] {
        eq("QV_Eqn10", 100 * CV == 10.0 * (CVMAX * sqrt(POS)));
      }).orWhen(is(CHAR_EQN, "QUICK-OPENING"), [&] {
        eq("QV_Eqn11", 100 * CV == CVMAX * (10.0 * POS) / sqrt(1.0 + 0.0099 * sqr(POS)));
      }).orWhen(is(CHAR_EQN, "EQUAL-PERCENTAGE"), [&] {
        // A rational form, not an exponential in the opening: it closes tightly.
        eq("QV_Eqn12", 100 * CV == CVMAX * (0.01 * sqr(POS)) / sqrt(2.0 - 1e-8 * pow(POS, 4)));
      }).orWhen(is(CHAR_EQN, "USRTAB"), [&] {
        eq("QV_Eqn13", CV == PUSRVAL(NPTS, POSX, CVAL, POS, CVLOW, CVUP, CVOPT));
      });
  }
};
