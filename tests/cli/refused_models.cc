// SPDX-License-Identifier: Apache-2.0
// A model library that no host may use: built for another version of the contract (QUIVER_wrong_version), or without a block that
// would tell (QUIVER_no_block). Whoever asks it for more than its list of models ends.
#include <cstdlib>

#include "host/library.h"

class QV_EXPORT QV_ModelLibrary {
 public:
  static const QV_ModelRow* Models(long long* count);
  static const QV_ProcedureRow* Procedures(long long* count);
  static const QV_OptionTypeRow* OptionTypes(long long* count);
};

const QV_ModelRow* QV_ModelLibrary::Models(long long* count) {
  static const QV_ModelRow rows[] = {{"STRANGER", "Model STRANGER", "true"}};
  *count = 1;
  return rows;
}
const QV_ProcedureRow* QV_ModelLibrary::Procedures(long long*) { std::abort(); }
const QV_OptionTypeRow* QV_ModelLibrary::OptionTypes(long long*) { std::abort(); }

extern "C" QV_EXPORT QV_Containable* STRANGERFactory();
QV_Containable* STRANGERFactory() { std::abort(); }

#if defined(QUIVER_wrong_version)
extern "C" QV_EXPORT const QV_CompatibilityBlock _CompatibilitySTRANGER;
const QV_CompatibilityBlock _CompatibilitySTRANGER = {kQvCompatibilityVersion + 1, {}};
#endif
