// SPDX-License-Identifier: Apache-2.0
// The direct bases of what a model library generates: models, global structures and ports.
#pragma once

#include "host/extensions.h"

class QV_API QV_GENERICMODEL : public QV_ModelTypeEx2 {
 public:
  QV_GENERICMODEL(bool, QV_Container* owner);
  ~QV_GENERICMODEL() override;
};

class QV_API QV_GENERICSTRUCTURE : public QV_StructureTypeEx {
 public:
  QV_GENERICSTRUCTURE(bool, QV_Container* owner);
  ~QV_GENERICSTRUCTURE() override;
};

class QV_API QV_GENERICPORT : public QV_PortTypeEx {
 public:
  QV_GENERICPORT(bool, QV_Container* owner);
  ~QV_GENERICPORT() override;
};
