// SPDX-License-Identifier: Apache-2.0
#include "routines/numerics/head_shapes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

#include "routines/routine_arguments.h"

namespace quiver::routines {
namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kRadius = 0.5;

struct HeadName {
  HeadType type;
  std::string_view name;
};
constexpr HeadName kHeadNames[] = {{HeadType::kElliptical, "Elliptical"},
                                   {HeadType::kHemispherical, "Hemispherical"},
                                   {HeadType::kTorispherical, "Torispherical"},
                                   {HeadType::kConical, "Conical"},
                                   {HeadType::kFlat, "Flat"}};

double Square(double x) { return x * x; }
double Cube(double x) { return x * x * x; }

// ---- The segment that a level cuts from the shell's circle
// -----------------------------------------------------------

struct Segment {
  double area, chord;
};
Segment CircleSegment(double level) {
  // Half the angle of the wetted arc; asin keeps its digits at small levels, where acos(1 - 2 level) loses
  // them.
  const double angle = 2 * std::asin(std::sqrt(level));
  const double chord = 2 * std::sqrt(level * (1 - level));
  return {0.25 * (angle - chord * (1 - 2 * level)), chord};
}

// ---- Elliptical 2:1
// --------------------------------------------------------------------------------------------------

// A spheroid with semi-axes 1/2 and 1/4. With z the distance from the tangent plane, the area grows as
// 2 pi rho sqrt(1 + rho'^2) dz = pi sqrt(1 + 48 z^2) dz.
FilledPart UprightElliptical(double depth) {
  constexpr double kDepth = 0.25;
  const double z = kDepth - depth, q = std::sqrt(48.0);
  const auto area_to = [q](double at) {
    return kPi / 2 * (at * std::sqrt(1 + Square(q * at)) + std::asinh(q * at) / q);
  };
  FilledPart part;
  // A cap of the sphere of radius 1/4, stretched by 2 in both horizontal directions.
  part.volume = 4 * kPi * depth * depth * (kDepth - depth / 3);
  part.free_surface = 4 * kPi * depth * (2 * kDepth - depth);
  part.area = area_to(kDepth) - area_to(z);
  part.area_rate = kPi * std::sqrt(1 + Square(q * z));
  return part;
}

// The area of half a spheroid squeezed to k = 1/2 of the sphere along its horizontal axis. In the horizontal
// plane at height y, with x = sqrt(R^2 - y^2) sin t, the wall's area grows as
//   dA/dy = integral over t of sqrt(A^2 - B^2 y^2),   A^2 = R^2 (cos^2 t + k^2 sin^2 t),   B^2 = (1 - k^2)
//   cos^2 t,
// from -pi/2 to pi/2, which has a closed integral over y. What remains is an analytic function of period pi
// in t, for which the trapezium rule converges geometrically: 20 intervals to a quarter period reach 1e-17.
FilledPart SidewaysElliptical(double level) {
  constexpr int kIntervals = 20;
  struct Node {
    double a, b, weight;
  };
  static const auto nodes = [] {
    std::array<Node, kIntervals + 1> n;
    for (int i = 0; i <= kIntervals; ++i) {
      const double t = kPi / 2 * i / kIntervals, c = std::cos(t), s = std::sin(t);
      const double end = i == 0 || i == kIntervals ? 0.5 : 1.0;
      n[i] = {kRadius * std::sqrt(c * c + 0.25 * s * s), std::sqrt(0.75) * c, end * kPi / kIntervals};
    }
    n[kIntervals].b = 0;  // cos(pi / 2)
    return n;
  }();
  const double y = kRadius - level;  // depth of the level below the axis
  FilledPart part;
  // Half a sphere's cap, squeezed by k.
  part.volume = kPi / 4 * level * level * (kRadius - level / 3);
  part.free_surface = kPi / 4 * level * (1 - level);
  double above = 0;  // between the level and the axis
  for (const Node& n : nodes) {
    const double root = std::sqrt(Square(n.a) - Square(n.b * y));
    // integral of sqrt(A^2 - B^2 y^2) from 0 to y; the last node has B = 0.
    above += n.weight * 0.5 * (y * root + (n.b > 0 ? Square(n.a) / n.b * std::asin(n.b * y / n.a) : y * n.a));
    part.area_rate += n.weight * root;
  }
  part.area = 0.5 * HeadArea(HeadType::kElliptical, false) - above;
  return part;
}

// ---- Hemispherical
// ---------------------------------------------------------------------------------------------------

FilledPart UprightHemispherical(double depth) {
  return {kPi * depth * depth * (kRadius - depth / 3), kPi * depth * (1 - depth), kPi * depth, kPi};
}
// Half of each: the sphere is the two heads.
FilledPart SidewaysHemispherical(double level) {
  const FilledPart sphere = UprightHemispherical(level);
  return {sphere.volume / 2, sphere.free_surface / 2, sphere.area / 2, sphere.area_rate / 2};
}

// ---- Conical
// ---------------------------------------------------------------------------------------------------------

FilledPart UprightConical(double depth) {
  return {kPi / 3 * Cube(depth), kPi * depth * depth, kPi * std::numbers::sqrt2 * depth * depth,
          2 * kPi * std::numbers::sqrt2 * depth};
}
FilledPart SidewaysConical(double level) {
  const double y = kRadius - level;
  const Segment segment = CircleSegment(level);
  const double half_chord = segment.chord / 2;
  // The section is a hyperbola's segment, 2 integral of (R - sqrt(x^2 + y^2)) dx, and so is its integral over
  // y closed. y asinh(x / y) vanishes with y.
  const double logarithm = y > 0 ? std::asinh(half_chord / y) : 0.0;
  FilledPart part;
  part.volume =
      (Cube(kRadius) * std::atan2(half_chord, y) + Cube(y) * logarithm - 2 * kRadius * y * half_chord) / 3;
  part.free_surface = half_chord * kRadius - y * y * logarithm;
  part.area = std::numbers::sqrt2 * segment.area;
  part.area_rate = std::numbers::sqrt2 * segment.chord;
  return part;
}

// ---- Torispherical: a spherical dish that a torus, the knuckle, joins to the shell
// -----------------------------------

constexpr double kDish = 1.0, kKnuckle = 0.06;
constexpr double kTube = kRadius - kKnuckle;  // from the axis to the centre of the knuckle's circle
// The dish's centre lies this far inside the tangent plane; the dish ends at radius kJoint, kJointDepth
// outside it.
const double kInset = std::sqrt(Square(kDish - kKnuckle) - Square(kTube));
const double kJointDepth = kInset * kKnuckle / (kDish - kKnuckle);
const double kJoint = kTube * kDish / (kDish - kKnuckle);
const double kTorisphericalDepth = kDish - kInset;

FilledPart UprightTorispherical(double depth) {
  FilledPart part;
  const double dish_depth = kTorisphericalDepth - kJointDepth;
  const double cap = std::min(depth, dish_depth);
  part.volume = kPi * cap * cap * (kDish - cap / 3);
  part.area = 2 * kPi * kDish * cap;
  part.free_surface = kPi * cap * (2 * kDish - cap);
  part.area_rate = 2 * kPi * kDish;
  if (depth > dish_depth) {
    const double z = std::max(kTorisphericalDepth - depth, 0.0);  // above it lies the tangent plane
    const auto volume_to = [](double at) {
      const double across = std::sqrt(Square(kKnuckle) - at * at);
      return kPi * (Square(kTube) * at + kTube * (at * across + Square(kKnuckle) * std::asin(at / kKnuckle)) +
                    Square(kKnuckle) * at - Cube(at) / 3);
    };
    const auto area_to = [](double at) {
      return 2 * kPi * kKnuckle * (kTube * std::asin(at / kKnuckle) + at);
    };
    const double across = std::sqrt(Square(kKnuckle) - z * z);
    part.volume += volume_to(kJointDepth) - volume_to(z);
    part.area += area_to(kJointDepth) - area_to(z);
    part.free_surface = kPi * Square(kTube + across);
    part.area_rate = 2 * kPi * (kTube + across) * kKnuckle / across;
  }
  return part;
}

// Gauss-Legendre rule on (0, 1), its nodes found by Newton's iteration from the usual cosine guess.
struct GaussNode {
  double x, weight;
};
constexpr int kGaussNodes = 20;
const std::array<GaussNode, kGaussNodes>& GaussRule() {
  static const auto rule = [] {
    std::array<GaussNode, kGaussNodes> nodes;
    for (int i = 0; i < kGaussNodes; ++i) {
      double x = std::cos(kPi * (i + 0.75) / (kGaussNodes + 0.5)), slope = 0;
      for (int iteration = 0; iteration < 10; ++iteration) {
        double previous = 1, p = x;
        for (int k = 2; k <= kGaussNodes; ++k) {
          const double next = ((2 * k - 1) * x * p - (k - 1) * previous) / k;
          previous = p;
          p = next;
        }
        slope = kGaussNodes * (x * p - previous) / (x * x - 1);
        x -= p / slope;
      }
      nodes[i] = {(1 - x) / 2, 1 / ((1 - x * x) * slope * slope)};
    }
    return nodes;
  }();
  return rule;
}

// Seen along its axis the head is a disc, in which the liquid lies beyond the chord at distance y from the
// centre. A ring of radius r is wet over the angle 2 acos(y / r); the head there is z(r) deep and slopes so
// that a wall of sqrt(1 + z'^2) covers a unit of the disc. Where liquid has not reached the axis no ring is
// wet all round, so the integrals over the rings outside y are all there is.
FilledPart SidewaysTorispherical(double level) {
  const double y = kRadius - level;
  FilledPart part;

  // The dish, r < kJoint: z = sqrt(dish^2 - r^2) - inset, closed forms by parts from its section at height y.
  if (y < kJoint) {
    const double q = kInset + kJointDepth;               // from the dish's centre to the plane of the joint
    const double w = std::sqrt(Square(kJoint) - y * y);  // half the chord of the joint's circle
    const double f2 = Square(kDish), tilt = std::atan2(w, q), arc = std::acos(y / kJoint);
    const double sweep = std::atan2(kDish * w, q * y);
    part.free_surface = w * q + (f2 - y * y) * std::atan2(w, q) - 2 * kInset * w;
    const double chords = 0.5 * (Square(kJoint) * arc - y * w);
    const double squares = 0.5 * (Square(kJoint) * arc + y * w);  // integral of y^2 / w
    part.volume = (q - 2 * kInset) * chords - y * (f2 - y * y / 3) * tilt + q * (squares - 2 * f2 * arc) / 3 +
                  2 * Cube(kDish) / 3 * sweep;
    part.area = 2 * kDish * (kDish * sweep - y * tilt - q * arc);
    part.area_rate = 2 * kDish * std::atan2(w, q);
  }

  // The knuckle, kJoint < r < R: z^2 = (R - r)(r - kTube + knuckle), wall knuckle / z. With R - r = (R - y)
  // sin^2 s the roots at both ends leave the integrands, which are analytic in s over the whole range.
  const double outermost = kRadius - y;
  const double end = y >= kJoint ? kPi / 2 : std::asin(std::sqrt((kRadius - kJoint) / outermost));
  for (const GaussNode& node : GaussRule()) {
    const double s = end * node.x, sine = std::sin(s), cosine = std::cos(s);
    const double r = kRadius - outermost * sine * sine, inner = std::sqrt(r - kTube + kKnuckle);
    const double reach = cosine * std::sqrt(outermost * (r + y));  // sqrt(r^2 - y^2)
    const double wet = std::atan2(reach, y), weight = end * node.weight, root = std::sqrt(outermost);
    part.volume += weight * 4 * wet * r * inner * outermost * root * sine * sine * cosine;
    part.free_surface += weight * 4 * r * outermost * sine * sine * inner / std::sqrt(r + y);
    part.area += weight * 4 * wet * r * kKnuckle * root * cosine / inner;
    part.area_rate += weight * 4 * r * kKnuckle / (inner * std::sqrt(r + y));
  }
  return part;
}

}  // namespace

std::optional<HeadType> HeadTypeNamed(std::string_view text) {
  for (const HeadName& head : kHeadNames)
    if (SameText(text, head.name)) return head.type;
  return std::nullopt;
}

double HeadDepth(HeadType head) {
  switch (head) {
    case HeadType::kElliptical:
      return 0.25;
    case HeadType::kTorispherical:
      return kTorisphericalDepth;
    case HeadType::kFlat:
      return 0.0;
    default:
      return 0.5;
  }
}

double HeadVolume(HeadType head) { return UprightHead(head, HeadDepth(head)).volume; }

double HeadArea(HeadType head, bool upright) {
  if (head == HeadType::kFlat) return upright ? 0.0 : kPi / 4;
  return UprightHead(head, HeadDepth(head)).area;
}

FilledPart UprightHead(HeadType head, double depth) {
  switch (head) {
    case HeadType::kElliptical:
      return UprightElliptical(depth);
    case HeadType::kHemispherical:
      return UprightHemispherical(depth);
    case HeadType::kTorispherical:
      return UprightTorispherical(depth);
    case HeadType::kConical:
      return UprightConical(depth);
    case HeadType::kFlat:
      break;
  }
  return {};
}

FilledPart SidewaysHead(HeadType head, double level) {
  switch (head) {
    case HeadType::kElliptical:
      return SidewaysElliptical(level);
    case HeadType::kHemispherical:
      return SidewaysHemispherical(level);
    case HeadType::kTorispherical:
      return SidewaysTorispherical(level);
    case HeadType::kConical:
      return SidewaysConical(level);
    case HeadType::kFlat:
      break;
  }
  const Segment segment = CircleSegment(level);
  return {0, 0, segment.area, segment.chord};
}

}  // namespace quiver::routines
