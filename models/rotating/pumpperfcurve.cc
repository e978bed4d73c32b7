// SPDX-License-Identifier: Apache-2.0
#include "models/rotating/pumpperfcurve.h"

EXPORT_MODEL(PUMPPERFCURVE)
