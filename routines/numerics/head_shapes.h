// SPDX-License-Identifier: Apache-2.0
// The heads of cylindrical vessels, for a vessel diameter of 1: a head of diameter D has D times the lengths,
// D^2 times the areas and D^3 times the volumes. All is exact: closed forms, or integrals of analytic
// functions to rounding.
//
//   const double depth = HeadDepth(HeadType::kElliptical);                             // 0.25
//   const FilledPart cap = UprightHead(HeadType::kTorispherical, 0.1);                 // filled 0.1 deep
//   from its apex const FilledPart part = SidewaysHead(HeadType::kTorispherical, 0.2);               // of a
//   horizontal vessel
//
// Shapes (depth beyond the tangent line, of the diameter): elliptical 2:1, 1/4; hemispherical, 1/2;
// torispherical with dish radius 1 and knuckle radius 0.06 (ASME flanged and dished), 0.1693; conical with a
// slope of 45 degrees, 1/2; flat, 0.
#pragma once

#include <optional>
#include <string_view>

namespace quiver::routines {

enum class HeadType { kElliptical, kHemispherical, kTorispherical, kConical, kFlat };

// "Elliptical", "Hemispherical", "Torispherical", "Conical", "Flat", in any case; nothing for another text.
std::optional<HeadType> HeadTypeNamed(std::string_view text);

// What liquid of some depth fills and wets, with the rate at which both grow with the depth. The rate of the
// volume is the free surface of the liquid.
struct FilledPart {
  double volume = 0, free_surface = 0, area = 0, area_rate = 0;
};

double HeadDepth(HeadType head);

// Whole head. The flat head's plate counts where it stands upright and not where it lies (see
// vessel_geometry.h).
double HeadVolume(HeadType head);
double HeadArea(HeadType head, bool upright);

// The bottom head of a vertical vessel, filled to 0 <= depth <= HeadDepth above its lowest point.
FilledPart UprightHead(HeadType head, double depth);

// One head of a horizontal vessel, filled to 0 <= level <= 1/2 above the lowest point of the shell. (The
// upper half follows by symmetry.)
FilledPart SidewaysHead(HeadType head, double level);

}  // namespace quiver::routines
