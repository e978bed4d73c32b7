// SPDX-License-Identifier: Apache-2.0
#include "models/rotating/comprintegration.h"

EXPORT_MODEL(COMPRINTEGRATION)
