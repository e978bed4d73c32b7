// SPDX-License-Identifier: Apache-2.0
#include "models/relief/psv_simple.h"

EXPORT_MODEL(PSV_SIMPLE)
