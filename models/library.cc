// SPDX-License-Identifier: Apache-2.0
// What this library tells about itself: its models, procedures and option types.
#include "host/library.h"
#include "procedures/catalogue.h"
#include "types/catalogue.h"

class QV_EXPORT QV_ModelLibrary {
 public:
  static const QV_ModelRow* Models(long long* count);
  static const QV_ProcedureRow* Procedures(long long* count);
  static const QV_OptionTypeRow* OptionTypes(long long* count);
};

const QV_ModelRow* QV_ModelLibrary::Models(long long* count) {
#define PREFIX_OF_MODEL "Model "
#define PREFIX_OF_STRUCTURE "Structure "
#define SPECIFIED(NAME) {#NAME, "Model " #NAME "\tV11", "true"},
#define DECLARES_NOTHING(NAME, KIND) {#NAME, PREFIX_OF_##KIND #NAME "\tV11", "false"},
  static const QV_ModelRow rows[] = {
#include "models/catalogue.def"
  };
#undef SPECIFIED
#undef DECLARES_NOTHING
  *count = static_cast<long long>(sizeof rows / sizeof rows[0]);
  return rows;
}
const QV_ProcedureRow* QV_ModelLibrary::Procedures(long long* count) { return quiver::ProcedureRows(count); }
const QV_OptionTypeRow* QV_ModelLibrary::OptionTypes(long long* count) {
  return quiver::OptionTypeRows(count);
}
