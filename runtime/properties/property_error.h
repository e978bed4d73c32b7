// SPDX-License-Identifier: Apache-2.0
// The exception of the physical-property package. Its text names the component or mixture, temperature and pressure, and
// what the user can do.
#pragma once

#include "runtime/contract/error.h"

namespace quiver {

class PropertyError : public Error {
 public:
  using Error::Error;
};

}  // namespace quiver
