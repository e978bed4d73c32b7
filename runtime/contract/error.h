// SPDX-License-Identifier: Apache-2.0
// What the runtime throws where a fault is known: a sentence that names what, where and what to do. It never crosses into
// a library.
#pragma once

#include <stdexcept>

namespace quiver {

class Error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace quiver
