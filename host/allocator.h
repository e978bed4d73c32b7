// SPDX-License-Identifier: Apache-2.0
// The host's memory. MyAllocate never returns null: the host ends the process with a message instead.
#pragma once

#include "host/export.h"

extern "C" QV_API void* MyAllocate(unsigned long long bytes);
extern "C" QV_API void MyFree(void* block);
