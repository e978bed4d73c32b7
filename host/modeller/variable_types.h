// SPDX-License-Identifier: Apache-2.0
// The standard variable and option types of the modeller library, one class per row of its tables.
#pragma once

#include "host/property.h"

#define VARIABLE_TYPE(NAME, START, LOWER, UPPER, UNIT, QUANTITY) \
  class QV_API NAME : public QV_REALVARIABLE {                   \
   public:                                                       \
    using QV_REALVARIABLE::QV_REALVARIABLE;                      \
    QV_Value* QV_DefaultVALUE() override;                        \
    QV_Value* QV_DefaultLOWER() override;                        \
    QV_Value* QV_DefaultUPPER() override;                        \
    QV_Value* QV_DefaultBASEUOMNAME() override;                  \
    QV_Value* QV_DefaultPHYSICALQUANTITY() override;             \
  };
#include "host/modeller/variable_types.def"
#undef VARIABLE_TYPE

#define STANDARD_OPTION(NAME)                     \
  class QV_API NAME : public QV_STRINGPARAMETER { \
   public:                                        \
    using QV_STRINGPARAMETER::QV_STRINGPARAMETER; \
    QV_Value* QV_DefaultVALUE() override;         \
    QV_Value* QV_DefaultVALID() override;         \
  }
STANDARD_OPTION(QV_HEADTYPE);
STANDARD_OPTION(QV_VALIDPHASETYPE);
STANDARD_OPTION(QV_VESSTYPE);
STANDARD_OPTION(QV_YESNO);
#undef STANDARD_OPTION
