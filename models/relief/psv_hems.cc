// SPDX-License-Identifier: Apache-2.0
#include "models/relief/psv_hems.h"

EXPORT_MODEL(PSV_HEMS)
