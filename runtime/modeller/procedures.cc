// SPDX-License-Identifier: Apache-2.0
#include "procedures/host_procedures.h"

#include <iterator>

#define PROCEDURE(NAME, ...) QV_DEFINE_PROCEDURE(NAME)
#define COMPONENT_PROCEDURE(NAME, ...) QV_DEFINE_COMPONENT_PROCEDURE(NAME)
#include "procedures/host_procedures.def"
#undef PROCEDURE
#undef COMPONENT_PROCEDURE

namespace quiver {

const QV_ProcedureRow* HostProcedureRows(long long* count) {
  static constexpr QV_ProcedureRow kRows[] = {
#define PROCEDURE(NAME, ...) QV_ROW_OF_PROCEDURE(NAME)
#define COMPONENT_PROCEDURE(NAME, ...) QV_ROW_OF_PROCEDURE(NAME)
#include "procedures/host_procedures.def"
#undef PROCEDURE
#undef COMPONENT_PROCEDURE
  };
  *count = std::ssize(kRows);
  return kRows;
}

}  // namespace quiver
