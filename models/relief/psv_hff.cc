// SPDX-License-Identifier: Apache-2.0
#include "models/relief/psv_hff.h"

EXPORT_MODEL(PSV_HFF)
