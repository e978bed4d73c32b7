// SPDX-License-Identifier: Apache-2.0
#include "host/modeller/variable_types.h"

#define VARIABLE_TYPE(NAME, START, LOWER, UPPER, UNIT, QUANTITY) \
  QV_Value* NAME::QV_DefaultVALUE() {                            \
    static QV_Value value(START);                                \
    return &value;                                               \
  }                                                              \
  QV_Value* NAME::QV_DefaultLOWER() {                            \
    static QV_Value value(LOWER);                                \
    return &value;                                               \
  }                                                              \
  QV_Value* NAME::QV_DefaultUPPER() {                            \
    static QV_Value value(UPPER);                                \
    return &value;                                               \
  }                                                              \
  QV_Value* NAME::QV_DefaultBASEUOMNAME() {                      \
    static QV_Value value(UNIT);                                 \
    return &value;                                               \
  }                                                              \
  QV_Value* NAME::QV_DefaultPHYSICALQUANTITY() {                 \
    static QV_Value value(QUANTITY);                             \
    return &value;                                               \
  }
#include "host/modeller/variable_types.def"
#undef VARIABLE_TYPE

#define STANDARD_OPTION(NAME, DEFAULT, VALID) \
  QV_Value* NAME::QV_DefaultVALUE() {         \
    static QV_Value value(DEFAULT);           \
    return &value;                            \
  }                                           \
  QV_Value* NAME::QV_DefaultVALID() {         \
    static QV_StrSetValue set(VALID);         \
    static QV_Value value(set);               \
    return &value;                            \
  }
STANDARD_OPTION(QV_HEADTYPE, "Elliptical", "Conical\"Elliptical\"Flat\"Hemispherical\"Torispherical\"")
STANDARD_OPTION(QV_VALIDPHASETYPE, "Vapor-Liquid",
                "Liquid-Only\"Vapor-Liquid\"Vapor-Liquid-FreeWater\"Vapor-Liquid-Liquid\"Vapor-Only\"")
STANDARD_OPTION(QV_VESSTYPE, "Vertical", "Horizontal\"Vertical\"")
STANDARD_OPTION(QV_YESNO, "No", "No\"Yes\"")
#undef STANDARD_OPTION
