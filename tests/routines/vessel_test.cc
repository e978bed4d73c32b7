// SPDX-License-Identifier: Apache-2.0
// Vessel geometry against published tables, against integration of the head's outline, and against itself.
#include <gtest/gtest.h>

#include <numbers>
#include <utility>

#include "routines/numerics/vessel_geometry.h"
#include "tests/routines/routine_call.h"

DECLARE_ROUTINE(ZX40RM_splevv);
DECLARE_ROUTINE(ZX40RM_spvtvol);
DECLARE_ROUTINE(ZX40RM_spwav);

namespace quiver::routines {
namespace {

using std::numbers::pi;

constexpr std::pair<HeadType, const char*> kHeads[] = {{HeadType::kElliptical, "Elliptical"},
                                                       {HeadType::kHemispherical, "HEMISPHERICAL"},
                                                       {HeadType::kTorispherical, "torispherical  "},
                                                       {HeadType::kConical, "Conical"},
                                                       {HeadType::kFlat, "Flat"}};
constexpr std::pair<Orientation, const char*> kOrientations[] = {{Orientation::kVertical, "Vertical"},
                                                                 {Orientation::kHorizontal, "Horizontal"}};

template <typename Check>
void ForEveryVessel(Check check) {
  for (const auto& [orientation, orientation_name] : kOrientations)
    for (const auto& [head, head_name] : kHeads) {
      SCOPED_TRACE(std::string(orientation_name) + ", " + head_name);
      check(Vessel{orientation, head, 3.5, 1.6});
    }
}

// D. Jones, "Calculating Tank Volume" (2004), examples in inches and US gallons of 231 cubic inches.
TEST(PublishedVolumes, JonesHorizontalAndVerticalTanks) {
  const Vessel lying{Orientation::kHorizontal, HeadType::kTorispherical, 156, 108};
  EXPECT_NEAR(LiquidVolume(lying, 36).value / 231, 2028.63, 0.005);
  EXPECT_NEAR(LiquidVolume(lying, 84).value / 231, 5939.90, 0.005);
  const Vessel torispherical{Orientation::kVertical, HeadType::kTorispherical, 300, 132};
  EXPECT_NEAR(LiquidVolume(torispherical, 24).value / 231, 904.07, 0.005);
  EXPECT_NEAR(LiquidVolume(torispherical, 60).value / 231, 3036.76, 0.005);
  const Vessel elliptical{Orientation::kVertical, HeadType::kElliptical, 300, 132};
  EXPECT_NEAR(LiquidVolume(elliptical, 24).value / 231, 783.36, 0.005);
  EXPECT_NEAR(LiquidVolume(elliptical, 60).value / 231, 2902.83, 0.005);
}

// D. Jones, "Calculating Tank Wetted Area", Chemical Processing (2017): length 120, diameter 72 inches,
// square feet.
TEST(PublishedWettedAreas, JonesTable) {
  struct {
    Orientation orientation;
    HeadType head;
    double level, area;
  } const table[] = {
      {Orientation::kHorizontal, HeadType::kTorispherical, 2.28, 22.74924},
      {Orientation::kHorizontal, HeadType::kTorispherical, 24, 94.29092},
      {Orientation::kHorizontal, HeadType::kTorispherical, 36, 127.74876},
      {Orientation::kHorizontal, HeadType::kTorispherical, 48, 161.20660},
      {Orientation::kHorizontal, HeadType::kTorispherical, 69.72, 232.74828},
      {Orientation::kHorizontal, HeadType::kHemispherical, 24, 111.55668},
      {Orientation::kHorizontal, HeadType::kHemispherical, 48, 190.03622},
      {Orientation::kVertical, HeadType::kTorispherical, 2, 6.28319},
      {Orientation::kVertical, HeadType::kTorispherical, 12, 33.19882},
      {Orientation::kVertical, HeadType::kTorispherical, 36.19231, 71.20010},
      {Orientation::kVertical, HeadType::kHemispherical, 18, 28.27433},
      {Orientation::kVertical, HeadType::kHemispherical, 60, 94.24778},
      {Orientation::kVertical, HeadType::kConical, 36, 39.98595},
  };
  for (const auto& row : table)
    EXPECT_NEAR(WettedArea({row.orientation, row.head, 120, 72}, row.level).value / 144, row.area, 6e-6)
        << row.level;
}

// The outline of a head of diameter 1 as a fine polygon of (distance from the tangent plane, radius).
std::vector<std::pair<double, double>> Outline(HeadType head) {
  std::vector<std::pair<double, double>> points;
  const int n = 20000;
  for (int i = 0; i <= n; ++i) {
    const double t = static_cast<double>(i) / n, angle = pi / 2 * t;
    // The torispherical arcs meet where both have turned by acos(0.44 / 0.94) from the plane of the rim.
    const double turn = std::acos(0.44 / 0.94), inset = std::sqrt(0.69);
    switch (head) {
      case HeadType::kElliptical:
        points.emplace_back(0.25 * std::sin(angle), 0.5 * std::cos(angle));
        break;
      case HeadType::kHemispherical:
        points.emplace_back(0.5 * std::sin(angle), 0.5 * std::cos(angle));
        break;
      case HeadType::kConical:
        points.emplace_back(0.5 * t, 0.5 * (1 - t));
        break;
      case HeadType::kFlat:
        points.emplace_back(0.0, 0.5 * (1 - t));
        break;
      case HeadType::kTorispherical:
        if (t < 0.5)
          points.emplace_back(0.06 * std::sin(2 * t * turn), 0.44 + 0.06 * std::cos(2 * t * turn));
        else
          points.emplace_back(std::sin(turn + (2 * t - 1) * (pi / 2 - turn)) - inset,
                              std::cos(turn + (2 * t - 1) * (pi / 2 - turn)));
    }
  }
  return points;
}

TEST(Heads, AgreeWithIntegrationAlongTheirOutline) {
  for (const auto& [head, name] : kHeads) {
    // Integrals from the axis down must use up the half head that a closed form gives, and the other way
    // round.
    EXPECT_NEAR(SidewaysHead(head, 0.0).area, 0.0, 1e-15) << name;
    EXPECT_NEAR(2 * SidewaysHead(head, 0.5).area, HeadArea(head, false), 1e-14) << name;
    EXPECT_NEAR(2 * SidewaysHead(head, 0.5).volume, HeadVolume(head), 1e-14) << name;
    const auto outline = Outline(head);
    for (const double level : {0.02, 0.1, 0.155, 0.24, 0.4999}) {
      SCOPED_TRACE(std::string(name) + " at " + std::to_string(level));
      const double depth = level * HeadDepth(head);
      double lying_volume = 0, lying_area = 0, standing_volume = 0, standing_area = 0;
      for (std::size_t i = 1; i < outline.size(); ++i) {
        const double dz = outline[i].first - outline[i - 1].first,
                     dr = outline[i].second - outline[i - 1].second;
        const double r = 0.5 * (outline[i].second + outline[i - 1].second),
                     z = 0.5 * (outline[i].first + outline[i - 1].first);
        const double half_angle = std::acos(std::clamp((0.5 - level) / std::max(r, 1e-300), -1.0, 1.0));
        lying_volume += r * r * (half_angle - std::sin(half_angle) * std::cos(half_angle)) * dz;
        lying_area += 2 * r * half_angle * std::hypot(dz, dr);
        if (z < HeadDepth(head) - 2 * depth) continue;
        standing_volume += pi * r * r * dz;
        standing_area += 2 * pi * r * std::hypot(dz, dr);
      }
      const FilledPart lying = SidewaysHead(head, level), standing = UprightHead(head, 2 * depth);
      EXPECT_NEAR(lying.volume, lying_volume, 1e-7);
      EXPECT_NEAR(lying.area, lying_area, 2e-6);
      if (head == HeadType::kFlat) continue;
      EXPECT_NEAR(standing.volume, standing_volume, 3e-5);  // the outline ends within one piece of the level
      EXPECT_NEAR(standing.area, standing_area, 3e-4);
    }
  }
}

TEST(Vessels, AreSymmetricMonotonicAndConserveVolume) {
  ForEveryVessel([](const Vessel& vessel) {
    const double full = FullLevel(vessel), capacity = VesselVolume(vessel).value,
                 wall = VesselArea(vessel).value;
    EXPECT_NEAR(2 * LiquidVolume(vessel, full / 2).value, capacity, 1e-13 * capacity);
    EXPECT_NEAR(2 * WettedArea(vessel, full / 2).value, wall, 1e-13 * wall);
    double last_volume = -1, last_area = -1;
    for (double fill = 0; fill <= 1; fill += 1.0 / 512) {
      const double level = fill * full, h = 1e-3 * full;
      const LiquidQuantity volume = LiquidVolume(vessel, level), area = WettedArea(vessel, level);
      EXPECT_NEAR(volume.value + LiquidVolume(vessel, full - level).value, capacity, 1e-13 * capacity);
      EXPECT_NEAR(area.value + WettedArea(vessel, full - level).value, wall, 1e-13 * wall);
      EXPECT_GT(volume.value, last_volume);
      EXPECT_GT(area.value, last_area);
      last_volume = volume.value;
      last_area = area.value;
      const LevelResult back = LiquidLevel(vessel, volume.value);
      EXPECT_TRUE(back.solved);
      EXPECT_NEAR(back.value, level, 1e-10);
      // The free surface times dh is what a small rise adds, by Simpson's rule from surface to surface.
      if (level < h || level > full - h) continue;
      const double rise = LiquidVolume(vessel, level + h).value - LiquidVolume(vessel, level - h).value;
      const double below = LiquidVolume(vessel, level - h).by_level,
                   above = LiquidVolume(vessel, level + h).by_level;
      EXPECT_NEAR(rise, h / 3 * (below + 4 * volume.by_level + above), 2e-5 * capacity);
    }
  });
}

TEST(Vessels, EndOutsideTheirLevels) {
  ForEveryVessel([](const Vessel& vessel) {
    const double full = FullLevel(vessel), capacity = VesselVolume(vessel).value;
    for (const double beyond : {1e-9, 1.0}) {
      EXPECT_EQ(LiquidVolume(vessel, -beyond).value, 0.0);
      EXPECT_EQ(WettedArea(vessel, -beyond).by_level, 0.0);
      EXPECT_EQ(WettedArea(vessel, full + beyond).value, VesselArea(vessel).value);
      EXPECT_EQ(WettedArea(vessel, full + beyond).by_level, 0.0);
      EXPECT_EQ(LiquidLevel(vessel, -beyond).value, 0.0);
      EXPECT_EQ(LiquidLevel(vessel, capacity + beyond).value, full);
      EXPECT_EQ(LiquidLevel(vessel, capacity + beyond).by_volume, 0.0);
    }
    // Continuous and finite where the wall is tangent to the liquid or the free surface vanishes.
    for (const double level : {0.0, 1e-13, 1e-12, 1e-5}) {
      EXPECT_LT(WettedArea(vessel, level).value, 25 * std::sqrt(level) + 1e-15);
      EXPECT_NEAR(WettedArea(vessel, full - level).value, VesselArea(vessel).value,
                  25 * std::sqrt(level) + 1e-13);
      EXPECT_GT(WettedArea(vessel, level).by_level,
                vessel.orientation == Orientation::kHorizontal ? 1e3 : -1e-9);
      EXPECT_LT(WettedArea(vessel, level).by_level, 1e8);
    }
    for (const double volume : {0.0, 1e-17, capacity})
      EXPECT_TRUE(std::isfinite(LiquidLevel(vessel, volume).by_volume));
    EXPECT_EQ(LiquidLevel(vessel, 0).value, 0.0);
    EXPECT_NEAR(LiquidLevel(vessel, capacity).value, full, 1e-14);
  });
}

// A fire calculation takes the bottom head off the wetted area of a vessel on the ground: k pi D^2 with
// k = 0.3450432495 for elliptical and 1/2 for hemispherical heads. The shell below the level must be what
// remains.
TEST(WettedArea, LeavesTheShellWhenTheBottomHeadIsTakenOff) {
  const struct {
    HeadType head;
    double k;
  } heads[] = {
      {HeadType::kElliptical, 0.3450432495}, {HeadType::kHemispherical, 0.5}, {HeadType::kFlat, 0.0}};
  for (const auto& [head, k] : heads) {
    const Vessel vessel{Orientation::kVertical, head, 6, 2};
    const double level = 3, shell = pi * 2 * (level - HeadDepth(head) * 2);
    EXPECT_NEAR(WettedArea(vessel, level).value - k * pi * 4, shell, 1e-9);
  }
}

TEST(Routines, HaveExactDerivativesInEveryPieceOfEveryVessel) {
  for (const auto& [orientation, orientation_name] : kOrientations)
    for (const auto& [head, head_name] : kHeads) {
      const Vessel vessel{orientation, head, 3.5, 1.6};
      for (const double fill : {0.031, 0.06, 0.11, 0.31, 0.5, 0.78, 0.965}) {
        SCOPED_TRACE(std::string(orientation_name) + ", " + head_name + " filled to " + std::to_string(fill));
        const double level = fill * FullLevel(vessel);
        RoutineTest area(ZX40RM_spwav, {level, 3.5, 1.6, orientation_name, head_name});
        area.ExpectDerivativesMatchDifferences(2e-7, 1e-5);
        EXPECT_EQ(area.Value(), WettedArea(vessel, level).value);
        const double volume = LiquidVolume(vessel, level).value;
        RoutineTest(ZX40RM_splevv, {volume, 3.5, 1.6, orientation_name, head_name})
            .ExpectDerivativesMatchDifferences(5e-7, 2e-6);
      }
      for (const double level : {-0.5, 9.0})
        RoutineTest(ZX40RM_spwav, {level, 3.5, 1.6, orientation_name, head_name})
            .ExpectDerivativesMatchDifferences(1e-8);
      RoutineTest(ZX40RM_splevv, {99.0, 3.5, 1.6, orientation_name, head_name})
          .ExpectDerivativesMatchDifferences(1e-8);
      RoutineTest total(ZX40RM_spvtvol, {3.5, 1.6, head_name});
      total.ExpectDerivativesMatchDifferences(1e-8);
      EXPECT_NEAR(total.Value(), pi * 0.64 * 3.5 + 2 * HeadVolume(head) * 1.6 * 1.6 * 1.6, 1e-13);
    }
}

}  // namespace
}  // namespace quiver::routines
