// SPDX-License-Identifier: Apache-2.0
// The 78 parameter and option types of the model library, a class per row of the table.
//
//   QV_CONNECTED_PSV_BASE connected(true);   QV_Value* start = connected.QV_DefaultVALUE();   // "Connected"
#pragma once

#include "host/library.h"
#include "host/modeller/variable_types.h"
#include "types/option_type.h"

#define OPTION(NAME, ...) QV_DECLARE_TYPE(NAME, QV_STRINGPARAMETER, QV_OVERRIDES(VALUE) QV_OVERRIDES(VALID))
#define FREE_TEXT(NAME) QV_DECLARE_TYPE(NAME, QV_STRINGPARAMETER, QV_OVERRIDES(VALID))
#define NUMBER_CHOICE(NAME, ...) \
  QV_DECLARE_TYPE(NAME, QV_INTEGERPARAMETER, QV_OVERRIDES(VALUE) QV_OVERRIDES(VALID))
#define NUMBER_WITHOUT_DEFAULT(NAME, ...) QV_DECLARE_TYPE(NAME, QV_INTEGERPARAMETER, QV_OVERRIDES(VALID))
#define NUMBER_FROM(NAME, ...) \
  QV_DECLARE_TYPE(NAME, QV_INTEGERPARAMETER, QV_OVERRIDES(VALUE) QV_OVERRIDES(LOWER))
#define SETTING(NAME, ...)                                                                              \
  QV_DECLARE_TYPE(NAME, QV_REALPARAMETER,                                                               \
                  QV_OVERRIDES(VALUE) QV_OVERRIDES(LOWER) QV_OVERRIDES(UPPER) QV_OVERRIDES(BASEUOMNAME) \
                      QV_OVERRIDES(PHYSICALQUANTITY))
#define SWITCH(NAME, DEFAULT) QV_DECLARE_TYPE(NAME, QV_LOGICALPARAMETER, QV_OVERRIDES(VALUE))
#define VARIABLE_FROM(NAME, BASE, ...) QV_DECLARE_TYPE(NAME, BASE, QV_OVERRIDES(VALUE) QV_OVERRIDES(LOWER))
#include "types/catalogue.def"
#include "types/undefine_rows.h"

namespace quiver {
// The rows of the table, in its order, constant for the life of the library.
const QV_OptionTypeRow* OptionTypeRows(long long* count);
}  // namespace quiver
