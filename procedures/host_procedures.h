// SPDX-License-Identifier: Apache-2.0
// The 34 procedure classes that the host supplies to every model library. Their bodies are in the host
// (runtime/modeller/procedures.cc), which includes this header: classes and table have one home.
#pragma once

#include "procedures/procedure_class.h"

#define PROCEDURE(...) QV_DECLARE_PROCEDURE(QV_API, __VA_ARGS__)
#define COMPONENT_PROCEDURE(...) QV_DECLARE_COMPONENT_PROCEDURE(QV_API, __VA_ARGS__)
#include "procedures/host_procedures.def"
#undef PROCEDURE
#undef COMPONENT_PROCEDURE

namespace quiver {
// The rows of the table, in its order.
QV_API const QV_ProcedureRow* HostProcedureRows(long long* count);
}  // namespace quiver
