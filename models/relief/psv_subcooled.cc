// SPDX-License-Identifier: Apache-2.0
#include "models/relief/psv_subcooled.h"

EXPORT_MODEL(PSV_SUBCOOLED)
