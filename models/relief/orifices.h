// SPDX-License-Identifier: Apache-2.0
// Effective areas of the standard orifices of flanged steel relief valves, API Standard 526, in rising order.
#pragma once

namespace quiver::relief {

struct Orifice {
  const char* label;  // of the condition that chooses it
  double area_m2;
};

inline constexpr double kSquareInch = 0.00064516;  // m2
inline constexpr Orifice kOrifices[] = {
    {"D", 0.110 * kSquareInch}, {"E", 0.196 * kSquareInch}, {"F", 0.307 * kSquareInch}, {"G", 0.503 * kSquareInch},
    {"H", 0.785 * kSquareInch}, {"J", 1.287 * kSquareInch}, {"K", 1.838 * kSquareInch}, {"L", 2.853 * kSquareInch},
    {"M", 3.60 * kSquareInch},  {"N", 4.34 * kSquareInch},  {"P", 6.38 * kSquareInch},  {"Q", 11.05 * kSquareInch},
    {"R", 16.0 * kSquareInch},  {"T", 26.0 * kSquareInch}};
inline constexpr int kOrificeCount = sizeof kOrifices / sizeof kOrifices[0];

}  // namespace quiver::relief
