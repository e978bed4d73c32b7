// SPDX-License-Identifier: Apache-2.0
#include "models/rotating/comprperfcurve.h"

EXPORT_MODEL(COMPRPERFCURVE)
