// SPDX-License-Identifier: Apache-2.0
// Liquid in a cylindrical vessel with two equal heads: volume, wetted wall and level, with their derivatives.
//
//   const Vessel drum{.orientation = Orientation::kHorizontal, .heads = HeadType::kElliptical, .length = 6,
//   .diameter = 2}; const LiquidQuantity area = WettedArea(drum, 0.7);   // m2; area.by_level,
//   area.by_length, area.by_diameter
//
// THE LEVEL COUNTS FROM THE LOWEST POINT OF THE INSIDE: of the bottom head when the vessel stands (so it runs
// from 0 to length + 2 head depths), of the shell when it lies (0 to diameter). Then volume and level are 0
// together, elevation of the vessel plus level is the height of the liquid above ground, and every level
// within the shell of a standing vessel wets the whole bottom head. The length is that from tangent line to
// tangent line; it may be 0.
//
// The wetted wall of a standing vessel with flat ends is its shell alone: the bottom plate rests on its
// foundation and the top one is dry below full. Were they counted, an empty tank would have the wetted area
// of its floor. The flat ends of a lying vessel are walls and count.
//
// A level below 0 or above full gives the value at that limit with no derivative to the level. Units are free
// as long as they agree.
#pragma once

#include "routines/numerics/head_shapes.h"

namespace quiver::routines {

enum class Orientation { kVertical, kHorizontal };

// "Vertical", "Horizontal", in any case; nothing for another text.
std::optional<Orientation> OrientationNamed(std::string_view text);

struct Vessel {
  Orientation orientation = Orientation::kVertical;
  HeadType heads = HeadType::kElliptical;
  double length = 0, diameter = 0;  // diameter > 0, length >= 0
};

struct LiquidQuantity {
  double value = 0, by_level = 0, by_length = 0, by_diameter = 0;
};

// The level at which the vessel is full.
double FullLevel(const Vessel& vessel);

// Volume and wall area of the whole vessel; by_level is 0.
LiquidQuantity VesselVolume(const Vessel& vessel);
LiquidQuantity VesselArea(const Vessel& vessel);

// by_level is the free surface of the liquid, exactly.
LiquidQuantity LiquidVolume(const Vessel& vessel, double level);

// In a lying vessel the wall is tangent to the liquid at the bottom and at the top, where the area grows
// infinitely fast with the level; the outermost 1e-12 of the diameter is therefore linear.
LiquidQuantity WettedArea(const Vessel& vessel, double level);

struct LevelResult {
  double value = 0, by_volume = 0, by_length = 0, by_diameter = 0;
  bool solved = true;
};
// The level of a volume, the inverse of LiquidVolume. The first and the last 1e-15 of the vessel's volume,
// where the slope may be infinite, are linear. A volume outside 0 .. full gives level 0 or full with
// by_volume = 0.
LevelResult LiquidLevel(const Vessel& vessel, double volume);

}  // namespace quiver::routines
