// SPDX-License-Identifier: Apache-2.0
#include "models/relief/psv_diener.h"

EXPORT_MODEL(PSV_DIENER)
