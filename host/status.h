// SPDX-License-Identifier: Apache-2.0
// Statuses that operations of a library answer beside those of host/property.h.
//
//   if (model->JacPattern(pattern, pattern_end, nullptr) == kQvOutOfMemory) ...
#pragma once

inline constexpr int kQvOutOfMemory = static_cast<int>(0x8007000Eu);  // the customary value
