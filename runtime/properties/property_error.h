// SPDX-License-Identifier: Apache-2.0
// The exception of the physical-property package. Its text names the component or mixture, temperature and
// pressure, and what the user can do.
#pragma once

#include <stdexcept>

namespace quiver {

class PropertyError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace quiver
