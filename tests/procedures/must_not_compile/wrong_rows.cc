// SPDX-License-Identifier: Apache-2.0
// Rows that the compiler has to refuse, one per value of ROW; 0 is a right one, to show that the refusals have no other
// cause.
#include "procedures/procedure_class.h"

#if ROW == 0
QV_DECLARE_PROCEDURE(, TROW, "row", "Test", 3, 1, 1, "r* r[n,n]* s", "r[n]", kDerivatives)
#elif ROW == 1  // an input too few
QV_DECLARE_PROCEDURE(, TROW, "row", "Test", 3, 1, 1, "r* r[n,n]*", "r[n]", kDerivatives)
#elif ROW == 2  // an output too many
QV_DECLARE_PROCEDURE(, TROW, "row", "Test", 3, 1, 1, "r* r[n,n]* s", "r[n] r", kDerivatives)
#elif ROW == 3  // no such type
QV_DECLARE_PROCEDURE(, TROW, "row", "Test", 3, 1, 1, "r* d[n,n]* s", "r[n]", kDerivatives)
#elif ROW == 4  // an output is no variable input
QV_DECLARE_PROCEDURE(, TROW, "row", "Test", 3, 1, 1, "r* r[n,n]* s", "r[n]*", kDerivatives)
#elif ROW == 5  // no such variant
QV_DECLARE_PROCEDURE(, TROW, "row", "Test", 3, 1, 3, "r* r[n,n]* s", "r[n]", kDerivatives)
#endif

QV_ProcedureType* New() { return new QVProc_TROW(true, 0); }
