// SPDX-License-Identifier: Apache-2.0
// The 61 procedure classes of the model library: QVProc_PSQRT, QVProc_PPCURVE, ...
//
//   QVProc_PSQRT root(true, 0);   root.Argument(DP);   root.Argument(FLOW);   root.LastArgument();
#pragma once

#include "procedures/procedure_class.h"

#define PROCEDURE(...) QV_DECLARE_PROCEDURE(QV_EXPORT, __VA_ARGS__)
#define COMPONENT_PROCEDURE(...) QV_DECLARE_COMPONENT_PROCEDURE(QV_EXPORT, __VA_ARGS__)
#include "procedures/catalogue.def"
#undef PROCEDURE
#undef COMPONENT_PROCEDURE

namespace quiver {
// The rows of the table, in its order, constant for the life of the library.
const QV_ProcedureRow* ProcedureRows(long long* count);
}  // namespace quiver
