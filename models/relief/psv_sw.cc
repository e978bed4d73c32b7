// SPDX-License-Identifier: Apache-2.0
#include "models/relief/psv_sw.h"

EXPORT_MODEL(PSV_SW)
