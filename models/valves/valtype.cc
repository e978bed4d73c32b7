// SPDX-License-Identifier: Apache-2.0
#include "models/valves/valtype.h"

EXPORT_MODEL(VALTYPE)
