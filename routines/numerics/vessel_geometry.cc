// SPDX-License-Identifier: Apache-2.0
#include "routines/numerics/vessel_geometry.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "routines/routine_arguments.h"

namespace quiver::routines {
namespace {

constexpr double kPi = std::numbers::pi;

// Volumes scale with the third power of all lengths, areas with the second, levels with the first. Euler's
// theorem on homogeneous functions then gives the derivative to the diameter from the other two:
//   degree * f = level f_level + length f_length + diameter f_diameter.
double ByDiameter(int degree, const Vessel& vessel, double level, const LiquidQuantity& f) {
  return (degree * f.value - level * f.by_level - vessel.length * f.by_length) / vessel.diameter;
}

struct Filling {
  LiquidQuantity volume, area;  // without by_diameter
};

// Up to half the full level; both orientations are symmetric about it.
Filling LowerHalf(const Vessel& vessel, double level) {
  const double d = vessel.diameter, length = vessel.length, relative = level / d;
  Filling f;
  FilledPart head;
  double heads = 1;
  if (vessel.orientation == Orientation::kVertical) {
    const double depth = HeadDepth(vessel.heads);
    head = UprightHead(vessel.heads, std::min(relative, depth));
    if (relative > depth || depth == 0) {
      head.free_surface = kPi / 4;
      head.area_rate = kPi;
      const double shell_level = level - depth * d;
      f.volume.value = kPi / 4 * d * d * shell_level;
      f.area.value = kPi * d * shell_level;
    }
  } else {
    const double angle = 2 * std::asin(std::sqrt(relative)), chord = 2 * std::sqrt(relative * (1 - relative));
    head = SidewaysHead(vessel.heads, relative);
    heads = 2;
    f.volume.by_length = 0.25 * (angle - chord * (1 - 2 * relative)) * d * d;
    f.volume.by_level = chord * d * length;
    f.volume.value = f.volume.by_length * length;
    f.area.by_length = angle * d;
    f.area.by_level = 2 * length / std::max(chord, 1e-300);  // 0 is asked for the volume only
    f.area.value = f.area.by_length * length;
  }
  f.volume.value += heads * head.volume * d * d * d;
  f.volume.by_level += heads * head.free_surface * d * d;
  f.area.value += heads * head.area * d * d;
  f.area.by_level += heads * head.area_rate * d;
  return f;
}

struct Quantity {
  int degree;
  LiquidQuantity Filling::*part;
  LiquidQuantity (*whole)(const Vessel&);
};

// A standing vessel grows with its shell.
double FullLevelByLength(const Vessel& vessel) {
  return vessel.orientation == Orientation::kVertical ? 1.0 : 0.0;
}

LiquidQuantity AtLevel(const Quantity& quantity, const Vessel& vessel, double level) {
  const double full = FullLevel(vessel);
  if (level < 0) return {};
  if (level > full) return quantity.whole(vessel);
  LiquidQuantity f;
  if (level <= full / 2) {
    f = LowerHalf(vessel, level).*quantity.part;
  } else {
    // What is dry is what a liquid of the missing height would wet.
    const LiquidQuantity dry = LowerHalf(vessel, full - level).*quantity.part;
    const LiquidQuantity whole = quantity.whole(vessel);
    f.value = whole.value - dry.value;
    f.by_level = dry.by_level;
    f.by_length = whole.by_length - dry.by_length - dry.by_level * FullLevelByLength(vessel);
  }
  f.by_diameter = ByDiameter(quantity.degree, vessel, level, f);
  return f;
}

constexpr Quantity kVolume{3, &Filling::volume, VesselVolume};
constexpr Quantity kArea{2, &Filling::area, VesselArea};

// The level of a volume of at most half the vessel: Newton's iteration kept in a shrinking bracket.
LevelResult SolveLowerHalf(const Vessel& vessel, double volume) {
  double low = 0, high = FullLevel(vessel) / 2;
  const double precision = 1e-15 * high;
  LevelResult result;
  // Shallow liquids rise with a power of the volume between 1/3 (cone) and 1 (shell).
  double level = high * std::cbrt(volume / LowerHalf(vessel, high).volume.value);
  for (int iteration = 0; iteration < 200; ++iteration) {
    const LiquidQuantity f = LowerHalf(vessel, level).volume;
    const double excess = f.value - volume;
    (excess > 0 ? high : low) = level;
    double next = level - excess / f.by_level;
    if (!(next > low && next < high)) next = 0.5 * (low + high);
    if (excess == 0 || std::abs(next - level) <= precision || high - low <= precision) {
      result.value = excess == 0 ? level : next;
      return result;
    }
    level = next;
  }
  result.solved = false;
  return result;
}

}  // namespace

std::optional<Orientation> OrientationNamed(std::string_view text) {
  if (SameText(text, "Vertical")) return Orientation::kVertical;
  if (SameText(text, "Horizontal")) return Orientation::kHorizontal;
  return std::nullopt;
}

double FullLevel(const Vessel& vessel) {
  if (vessel.orientation == Orientation::kHorizontal) return vessel.diameter;
  return vessel.length + 2 * HeadDepth(vessel.heads) * vessel.diameter;
}

LiquidQuantity VesselVolume(const Vessel& vessel) {
  const double d = vessel.diameter, section = kPi / 4 * d * d;
  LiquidQuantity f{section * vessel.length + 2 * HeadVolume(vessel.heads) * d * d * d, 0, section, 0};
  f.by_diameter = ByDiameter(3, vessel, 0, f);
  return f;
}

LiquidQuantity VesselArea(const Vessel& vessel) {
  const double d = vessel.diameter;
  const bool upright = vessel.orientation == Orientation::kVertical;
  LiquidQuantity f{kPi * d * vessel.length + 2 * HeadArea(vessel.heads, upright) * d * d, 0, kPi * d, 0};
  f.by_diameter = ByDiameter(2, vessel, 0, f);
  return f;
}

LiquidQuantity LiquidVolume(const Vessel& vessel, double level) { return AtLevel(kVolume, vessel, level); }

LiquidQuantity WettedArea(const Vessel& vessel, double level) {
  const double rim = 1e-12 * vessel.diameter, full = FullLevel(vessel);
  const bool bottom = level >= 0 && level<rim, top = level> full - rim && level <= full;
  if (vessel.orientation == Orientation::kVertical || !(bottom || top)) return AtLevel(kArea, vessel, level);
  // The chord from (0, 0) to the area at the rim; at the top the same downwards from the whole area.
  const LiquidQuantity at_rim = AtLevel(kArea, vessel, rim), whole = VesselArea(vessel);
  const double share = (bottom ? level : full - level) / rim, sign = bottom ? 1 : -1;
  LiquidQuantity f;
  f.value = (bottom ? 0.0 : whole.value) + sign * share * at_rim.value;
  f.by_level = at_rim.value / rim;
  f.by_length = (bottom ? 0.0 : whole.by_length) + sign * share * at_rim.by_length;
  f.by_diameter = ByDiameter(2, vessel, level, f);
  return f;
}

LevelResult LiquidLevel(const Vessel& vessel, double volume) {
  const LiquidQuantity whole = VesselVolume(vessel);
  const double full = FullLevel(vessel), sliver = 1e-15 * whole.value;
  const double full_by_length = FullLevelByLength(vessel),
               full_by_diameter = (full - full_by_length * vessel.length) / vessel.diameter;
  if (volume < 0) return {};
  if (volume > whole.value) return {full, 0, full_by_length, full_by_diameter, true};

  const bool lower = volume <= 0.5 * whole.value;
  const double filled = lower ? volume : whole.value - volume;  // with liquid or with vapour
  LevelResult f = SolveLowerHalf(vessel, std::max(filled, sliver));
  if (filled < sliver) {
    // Linear from the end of the vessel. What the slope itself owes to the length is below 1e-15 of the
    // level.
    f.by_volume = f.value / sliver;
    f.value *= filled / sliver;
    if (!lower) {
      f.value = full - f.value;
      f.by_length = full_by_length - f.by_volume * whole.by_length;
    }
  } else {
    if (!lower) f.value = full - f.value;
    const LiquidQuantity at = LiquidVolume(vessel, f.value);
    f.by_volume = 1 / at.by_level;
    f.by_length = -at.by_length / at.by_level;
  }
  f.by_diameter = (f.value - 3 * volume * f.by_volume - vessel.length * f.by_length) / vessel.diameter;
  return f;
}

}  // namespace quiver::routines
