// SPDX-License-Identifier: Apache-2.0
#include "types/catalogue.h"

#include <iterator>

#define OPTION(NAME, DEFAULT, ...)                                                                   \
  static_assert(quiver::Lists(DEFAULT, __VA_ARGS__), "the default of " #NAME " is not in its list"); \
  QV_DEFINE_DEFAULT(NAME, VALUE, DEFAULT)                                                            \
  QV_DEFINE_VALID(NAME, QV_StrSetValue, quiver::ListText(__VA_ARGS__).data())
#define FREE_TEXT(NAME) QV_DEFINE_VALID(NAME, QV_StrSetValue, "")
#define NUMBER_CHOICE(NAME, DEFAULT, VALID) \
  QV_DEFINE_DEFAULT(NAME, VALUE, DEFAULT)   \
  QV_DEFINE_VALID(NAME, QV_IntSetValue, VALID)
#define NUMBER_WITHOUT_DEFAULT(NAME, SET) QV_DEFINE_VALID(NAME, QV_IntSetValue, SET)
#define NUMBER_FROM(NAME, DEFAULT, LOWER_BOUND) \
  QV_DEFINE_DEFAULT(NAME, VALUE, DEFAULT)       \
  QV_DEFINE_DEFAULT(NAME, LOWER, LOWER_BOUND)
#define SETTING(NAME, DEFAULT, LOWER_BOUND, UPPER_BOUND, UNIT, QUANTITY) \
  QV_DEFINE_DEFAULT(NAME, VALUE, DEFAULT)                                \
  QV_DEFINE_DEFAULT(NAME, LOWER, LOWER_BOUND)                            \
  QV_DEFINE_DEFAULT(NAME, UPPER, UPPER_BOUND)                            \
  QV_DEFINE_DEFAULT(NAME, BASEUOMNAME, UNIT)                             \
  QV_DEFINE_DEFAULT(NAME, PHYSICALQUANTITY, QUANTITY)
#define SWITCH(NAME, DEFAULT) QV_DEFINE_DEFAULT(NAME, VALUE, DEFAULT)
#define VARIABLE_FROM(NAME, BASE, DEFAULT, LOWER_BOUND) \
  QV_DEFINE_DEFAULT(NAME, VALUE, DEFAULT)               \
  QV_DEFINE_DEFAULT(NAME, LOWER, LOWER_BOUND)
#include "types/catalogue.def"
#include "types/undefine_rows.h"

namespace quiver {

const QV_OptionTypeRow* OptionTypeRows(long long* count) {
  static constexpr QV_OptionTypeRow kRows[] = {
#define QV_ROW(NAME, BASE) {#NAME, #BASE, &NewHeld<NAME>},
#define OPTION(NAME, ...) QV_ROW(NAME, QV_STRINGPARAMETER)
#define FREE_TEXT(NAME) QV_ROW(NAME, QV_STRINGPARAMETER)
#define NUMBER_CHOICE(NAME, ...) QV_ROW(NAME, QV_INTEGERPARAMETER)
#define NUMBER_WITHOUT_DEFAULT(NAME, ...) QV_ROW(NAME, QV_INTEGERPARAMETER)
#define NUMBER_FROM(NAME, ...) QV_ROW(NAME, QV_INTEGERPARAMETER)
#define SETTING(NAME, ...) QV_ROW(NAME, QV_REALPARAMETER)
#define SWITCH(NAME, DEFAULT) QV_ROW(NAME, QV_LOGICALPARAMETER)
#define VARIABLE_FROM(NAME, BASE, ...) QV_ROW(NAME, BASE)
#include "types/catalogue.def"
#include "types/undefine_rows.h"
#undef QV_ROW
  };
  *count = std::ssize(kRows);
  return kRows;
}

}  // namespace quiver
