// SPDX-License-Identifier: Apache-2.0
// Mixes the streams of one port in flowsheets whose streams may turn round.
#include "models/junctions/inlet_mean.h"

struct QV_EXPORT QV_INLETMIXER : QV_GENERICMODEL {
  MODEL_TEXT(INLETMIXER)

  GLOBAL(EPS)
  GLOBAL_OF(QV_LOGICALPARAMETER, GLOBALPDRIVEN, "Simulation is pressure driven")
  GLOBAL_OF(QV_LOGICALPARAMETER, GLOBALRFLOW, "Simulation supports reverse flow")
  PARAMETER(QV_INTEGERPARAMETER, NC)
  PARAMETER(QV_LOGICALPARAMETER, PDRIVEN, "Model is pressure driven")
  VARIABLE(QV_FLOW_MOL, FIN, "Total molar flow rate of inlet streams")
  ARRAY(QV_MOLEFRACTION, ZIN, OVER(ComponentList), "Mean composition of inlet streams")
  VARIABLE(QV_ENTH_MOL, HIN, "Mean molar enthalpy of inlet streams")
  VARIABLE(QV_PRESSURE, PIN, "Inlet pressure")
  VARIABLE(QV_NOTYPE, DUMMYVAR, "Dummy variable to force all inlet variables to be active")
  PORT(QV_MATERIALPORTSRPREV, IN_F, "Feed (Required; one or more)")

  void Assignments(Assigner& set) {
    quiver::junctions::InletMixerDefaults(*this, set);
    set(GLOBALRFLOW, false);
  }

  void Equations(Equate& eq) {
    quiver::junctions::MeanOfInlets(*this, eq);
    if (quiver::junctions::IsReversible(*this))
      quiver::junctions::SamePressure(*this, eq, "QV_Eqn8");
    else if (quiver::junctions::IsPressureDriven(*this))
      quiver::junctions::SamePressure(*this, eq, "QV_Eqn9");
    else
      quiver::junctions::LowestPressure(*this, eq, "QV_Eqn10");
    eq("QV_Eqn11", DUMMYVAR == quiver::junctions::OverStreams(IN_F, [](auto& s) { return s.V + s.T; }));
  }
};
EXPORT_MODEL(INLETMIXER)
