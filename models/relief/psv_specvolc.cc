// SPDX-License-Identifier: Apache-2.0
#include "models/relief/psv_specvolc.h"

EXPORT_MODEL(PSV_SPECVOLC)
