// SPDX-License-Identifier: Apache-2.0
// The procedures as the text of a model calls them:  eq("DP_Limited", PDROPC == PLIMIT(P_DROP, DPMIN,
// DPMAX));
#pragma once

#include "frame/procedure_call.h"
#include "procedures/catalogue.h"
#include "procedures/host_procedures.h"

#define PROCEDURE(NAME, ...) inline constexpr quiver::frame::Procedure<QVProc_##NAME> NAME{};
#define COMPONENT_PROCEDURE(NAME, ...) PROCEDURE(NAME)
#include "procedures/catalogue.def"
#include "procedures/host_procedures.def"
#undef PROCEDURE
#undef COMPONENT_PROCEDURE
