// SPDX-License-Identifier: Apache-2.0
// Equation systems in the .nl format, text or binary, as D. M. Gay describes it ("Writing .nl Files", Sandia National
// Laboratories, 2005). Every equation is a constraint with both sides equal, the objective is the constant 0, the start is
// the point at which the system was expressed.
//
//   std::ofstream file("case.nl", std::ios::binary);
//   const NlNames names = WriteNl(exported, {}, file);      // names of the rows and columns in the file's order
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "runtime/export/system_export.h"

namespace quiver {

struct NlOptions {
  bool binary = false;  // of this machine's byte order, little-endian
};

// One name per line makes the files .row and .col. The format puts nonlinear rows and columns first, so the order is not that
// of the system.
struct NlNames {
  std::vector<std::string> rows, columns;
  int nonlinear_rows = 0, nonlinear_columns = 0, nonzeros = 0;
};
NlNames WriteNl(const ExportedSystem& system, const NlOptions& options, std::ostream& out);

// "%%MatrixMarket matrix coordinate real general", rows and columns counted from 1.
void WriteMatrixMarket(const ExportedJacobian& jacobian, std::ostream& out);

}  // namespace quiver
