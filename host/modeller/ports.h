// SPDX-License-Identifier: Apache-2.0
// Material ports: what a block shows of a stream that enters or leaves it, and that may turn round.
//
//   PORT(QV_MATERIALPORTRPREV, IN_F, "Feed (Required)")          IN_F.F, IN_F.Z("N2"), IN_F.ZREV("N2")
//   PORT(QV_MATERIALPORTSRPREV, IN_F, "Feed (one or more)")      IN_F(1).F, IN_F(2).F, as many as are connected
//
// F is positive from outlet to inlet. Z, H, T and AV belong to the stream that flows so; ZREV, HREV, TREV and AVREV to the
// one that flows back. A model writes Z, H, T, V and AV of its outlets and the REV members of its inlets, and reads the
// others. F in kmol/hr, H in GJ/kmol, P in bar, T in C, V in m3/kmol.
//
// A port's name tells its direction: IN... is an inlet, OUT... an outlet.
#pragma once

#include "host/arrays.h"
#include "host/modeller/variable_types.h"
#include "host/references.h"
#include "host/system.h"

class QV_API QV_MATERIALPORTRPREV : public QV_GENERICPORT {
 public:
  QV_FLOW_MOL F{true};
  QV_ARRAY_S<QV_MOLEFRACTION> Z;
  QV_ENTH_MOL H{true};
  QV_PRESSURE P{true};
  QV_TEMPERATURE T{true};
  QV_VOL_MOL V{true};
  QV_FRACTION AV{true};  // availability
  QV_ARRAY_S<QV_MOLEFRACTION> ZREV;
  QV_ENTH_MOL HREV{true};
  QV_TEMPERATURE TREV{true};
  QV_FRACTION AVREV{true};

  // Attributes of catalysts, over the sets of those names in the block; empty in blocks that have none.
  QV_External<QV_STRINGSET> CATALYST;
  QV_External<QV_INTEGERSET> SITES;
  QV_External<QV_STRINGSET> CATATTSET;
  QV_External<QV_STRINGSET> CATSITEATTSET;
  QV_ARRAY_SS<QV_NOTYPE> CATSCALAR;
  QV_ARRAY_SIS<QV_NOTYPE> CATSITE;

  QV_MATERIALPORTRPREV(bool, QV_Container* owner);
  ~QV_MATERIALPORTRPREV() override;
  QV_MATERIALPORTRPREV& operator=(const QV_MATERIALPORTRPREV&) { return *this; }
  void Construct() override;
  void SetDims() override;
  const char* QV_DefaultDESCRIPTION() override;
  bool ContainerDerivesFrom(const char* id) override;
};

// How many streams a port has: 1 until connections or the user say otherwise.
class QV_API QV_CONNECTIONCOUNT : public QV_INTEGERPARAMETER {
 public:
  using QV_INTEGERPARAMETER::QV_INTEGERPARAMETER;
  QV_Value* QV_DefaultVALUE() override;
};

// A port for any number of streams. One stream is the port itself, IN_F.F; several are IN_F(1).F, IN_F(2).F, ..., and the
// port's own members then take no part.
class QV_API QV_MATERIALPORTSRPREV : public QV_MATERIALPORTRPREV {
 public:
  QV_CONNECTIONCOUNT connections{true};
  QV_INTEGERSET STREAMS{true};  // 1 to connections where there are several, else empty
  QV_ARRAY_I<QV_MATERIALPORTRPREV> SEVERAL;

  QV_MATERIALPORTSRPREV(bool, QV_Container* owner);
  ~QV_MATERIALPORTSRPREV() override;
  QV_MATERIALPORTSRPREV& operator=(const QV_MATERIALPORTSRPREV&) { return *this; }
  void Construct() override;
  void SetDims() override;

  int Count() const;                          // of streams, at least 1
  QV_MATERIALPORTRPREV* Stream(int i) const;  // from 1; null where there is none
};
