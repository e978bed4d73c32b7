// SPDX-License-Identifier: Apache-2.0
#include "models/relief/psv_hemd.h"

EXPORT_MODEL(PSV_HEMD)
