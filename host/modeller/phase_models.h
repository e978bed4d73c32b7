// SPDX-License-Identifier: Apache-2.0
// The phase properties of a mixture as sub-models that the host supplies over its property package.
//
//   SUBMODEL(QV_PFLASH2, FLASH)                          one, or an array over a set:
//   ARRAY(QV_PFLASH2, PFLASH2, OVER(NPOINTS))            a sub-model for every element, none where there are none
//   set(FLASH.FLASHTYPE, "PH");                          what is given; the rest is computed
//   eq("Pressure", FLASH.P == P);   eq("Enthalpy", FLASH.H == H);   eq.each(ComponentList, ... FLASH.Z(c) == Z(c));
//
// FLASHTYPE names the two members that the owner gives besides Z: "TP" (as it stands), "PH", "PS", "PV" (pressure and VF)
// or "TV". All other members are computed by one procedure with exact derivatives. With PH, PS, PV and TV a pure component
// is also found between boiling and condensing. Fractions in Z count relative to their sum. T in C, P in bar, H in GJ/kmol,
// S in kJ/kmol/K, RHO in kmol/m3, V in m3/kmol, MW in kg/kmol; without a suffix of the mixture, with V, L, L1 or L2 of a
// phase. VF, LF, LF1 and LF2 are moles per mole of mixture.
//
// A phase that is absent has the fraction 0 and the properties of the incipient phase: the composition that would appear
// first, at the T and P of the state. At the boundary it joins the phase that is present without a jump. Far from it, where
// nothing would appear, or above the critical point, it has the composition of the mixture. The second liquid, when absent,
// repeats the first, and BETA is 1.
#pragma once

#include "host/arrays.h"
#include "host/modeller/variable_types.h"
#include "host/system.h"

class QV_API QV_FLASHTYPE : public QV_STRINGPARAMETER {
 public:
  using QV_STRINGPARAMETER::QV_STRINGPARAMETER;
  QV_Value* QV_DefaultVALUE() override;
  QV_Value* QV_DefaultVALID() override;
};

// What all of them have.
class QV_API QV_PHASEPROPERTIES : public QV_GENERICMODEL {
 public:
  QV_FLASHTYPE FLASHTYPE{true};
  QV_TEMPERATURE T{true};
  QV_PRESSURE P{true};
  QV_ARRAY_S<QV_MOLEFRACTION> Z;
  QV_FRACTION VF{true};
  QV_ENTH_MOL H{true};
  QV_ENTR_MOL S{true};
  QV_DENS_MOL RHO{true};
  QV_MOLWEIGHT MW{true};
  QV_VOL_MOL V{true};
  QV_FRACTION LF{true};
  QV_ENTH_MOL_VAP HV{true};
  QV_ENTH_MOL_LIQ HL{true};
  QV_ENTR_MOL SV{true};
  QV_ENTR_MOL SL{true};
  QV_DENS_MOL_VAP RHOV{true};
  QV_DENS_MOL_LIQ RHOL{true};
  QV_MOLWEIGHT MWV{true};
  QV_MOLWEIGHT MWL{true};
  QV_ARRAY_S<QV_MOLEFRACTION> Y;
  QV_ARRAY_S<QV_MOLEFRACTION> X;

  ~QV_PHASEPROPERTIES() override;
  QV_PHASEPROPERTIES& operator=(const QV_PHASEPROPERTIES&) { return *this; }
  void Construct() override;
  void SetDims() override;
  // Start values: those of a mixture of equal parts at the start values of T and P.
  int ExecuteAssignments(int a, int b) override;
  int SetUpEquations() override;
  int JacPattern(long long*& pattern, long long*& pattern_end, QV_EquationType** equations) override;
  const char* QV_DefaultDESCRIPTION() override;
  bool ContainerDerivesFrom(const char* id) override;

 protected:
  enum Phases : int { kVapour, kLiquid, kVapourLiquid, kVapourLiquidLiquid };
  QV_PHASEPROPERTIES(Phases phases, const char* id, QV_Container* owner);

 private:
  const Phases phases_;
  const char* const id_;
  QV_ProcedureType* procedure_ = nullptr;  // owned, from emission to emission
  int first_group_ = 0;
};

// Without a look at the equilibrium, a vapour or a liquid whatever the amount; VF and LF are 1 and 0, or 0 and 1, and all
// phase members are those of the one phase. TP, PH and PS only.
class QV_API QV_PVAP : public QV_PHASEPROPERTIES {
 public:
  QV_PVAP(bool, QV_Container* owner);
};
class QV_API QV_PLIQ : public QV_PHASEPROPERTIES {
 public:
  QV_PLIQ(bool, QV_Container* owner);
};

// Vapour and liquid at equilibrium. Where two liquids form, the liquid members are those of both together.
class QV_API QV_PFLASH2 : public QV_PHASEPROPERTIES {
 public:
  QV_PFLASH2(bool, QV_Container* owner);

 protected:
  using QV_PHASEPROPERTIES::QV_PHASEPROPERTIES;
};

// Vapour and two liquids, the lighter one first; BETA is the share of the first in all liquid.
class QV_API QV_PFLASH3 : public QV_PFLASH2 {
 public:
  QV_FRACTION LF1{true};
  QV_FRACTION LF2{true};
  QV_FRACTION BETA{true};
  QV_ENTH_MOL_LIQ HL1{true};
  QV_ENTH_MOL_LIQ HL2{true};
  QV_ENTR_MOL SL1{true};
  QV_ENTR_MOL SL2{true};
  QV_DENS_MOL_LIQ RHOL1{true};
  QV_DENS_MOL_LIQ RHOL2{true};
  QV_MOLWEIGHT MWL1{true};
  QV_MOLWEIGHT MWL2{true};
  QV_ARRAY_S<QV_MOLEFRACTION> X1;
  QV_ARRAY_S<QV_MOLEFRACTION> X2;

  QV_PFLASH3(bool, QV_Container* owner);

 protected:
  QV_PFLASH3(const char* id, QV_Container* owner);
};

// Free water: the same as three phases. The water is found with what dissolves in it, not taken as pure.
class QV_API QV_PFLASH2W : public QV_PFLASH3 {
 public:
  QV_PFLASH2W(bool, QV_Container* owner);
};
