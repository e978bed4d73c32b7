// SPDX-License-Identifier: Apache-2.0
// Errors of the property package are tested as text:  EXPECT_EQ(ErrorOf([&] { FindComponent("x"); }), "...");
#pragma once

#include <string>

#include "runtime/properties/property_error.h"

template <class Call>
std::string ErrorOf(Call call) {
  try {
    call();
  } catch (const quiver::PropertyError& error) {
    return error.what();
  }
  return "no error";
}
