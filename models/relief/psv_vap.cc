// SPDX-License-Identifier: Apache-2.0
#include "models/relief/psv_vap.h"

EXPORT_MODEL(PSV_VAP)
