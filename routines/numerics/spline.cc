// SPDX-License-Identifier: Apache-2.0
// Fitting, reading and differentiating a curve through points. The derivatives are pulled back from the
// reading to the slopes, from the slopes to steps and secants, and from these to the points: one pass,
// whatever their number.
#include "routines/numerics/spline.h"

#include <algorithm>
#include <cmath>

namespace quiver::routines {
namespace {

// The slope at an end point from the two pieces next to it (outer one first), and its derivatives.
struct EndSlope {
  double value, d_outer_step, d_inner_step, d_outer_secant, d_inner_secant;
};

EndSlope MonotoneEnd(double h0, double h1, double s0, double s1) {
  const double h = h0 + h1;
  const double slope = s0 + (s0 - s1) * h0 / h;
  if (slope * s0 <= 0) return {0, 0, 0, 0, 0};
  if (s0 * s1 <= 0 && std::abs(slope) > 3 * std::abs(s0)) return {3 * s0, 0, 0, 3, 0};
  return {slope, (s0 - s1) * h1 / (h * h), -(s0 - s1) * h0 / (h * h), 1 + h0 / h, -h0 / h};
}

}  // namespace

bool PointCurve::Fit(CurveMethod method, std::span<const double> x, std::span<const double> y) {
  if (x.size() < 2 || x.size() != y.size()) return false;
  method_ = method;
  x_ = x;
  y_ = y;
  const std::size_t pieces = x.size() - 1;
  step_.resize(pieces);
  secant_.resize(pieces);
  for (std::size_t i = 0; i < pieces; ++i) {
    step_[i] = x[i + 1] - x[i];
    secant_[i] = (y[i + 1] - y[i]) / step_[i];
    if (!(step_[i] > 0) || !std::isfinite(step_[i]) || !std::isfinite(secant_[i])) return false;
  }
  if (method == CurveMethod::kLinear) {
    slope_.clear();
  } else if (pieces == 1) {
    slope_.assign(2, secant_[0]);
  } else {
    slope_.resize(x.size());
    method == CurveMethod::kMonotone ? FitMonotone() : FitSpline();
  }
  return true;
}

void PointCurve::FitMonotone() {
  const std::size_t last = x_.size() - 1;
  for (std::size_t i = 1; i < last; ++i) {
    const double s0 = secant_[i - 1], s1 = secant_[i];
    const double w0 = step_[i - 1] + 2 * step_[i], w1 = 2 * step_[i - 1] + step_[i];
    slope_[i] = s0 * s1 <= 0 ? 0.0 : (w0 + w1) / (w0 / s0 + w1 / s1);
  }
  slope_[0] = MonotoneEnd(step_[0], step_[1], secant_[0], secant_[1]).value;
  slope_[last] = MonotoneEnd(step_[last - 1], step_[last - 2], secant_[last - 1], secant_[last - 2]).value;
}

// Unknowns are the slopes. An inner row states that the curvature is continuous; the first and the last row
// state that the third derivative is, at the neighbouring point, after the far slope has been eliminated with
// the row next to it.
void PointCurve::FitSpline() {
  const std::size_t last = x_.size() - 1;
  const auto& h = step_;
  const auto& s = secant_;
  if (last == 2) {
    const double curvature = (s[1] - s[0]) / (h[0] + h[1]);
    slope_ = {s[0] - h[0] * curvature, s[0] + h[0] * curvature, s[1] + h[1] * curvature};
    return;
  }
  for (auto* band : {&lower_, &diag_, &upper_}) band->resize(x_.size());
  const auto end_value = [](double h0, double h1, double s0, double s1) {
    return ((3 * h0 + 2 * h1) * h1 * s0 + h0 * h0 * s1) / (h0 + h1);
  };
  diag_[0] = h[1];
  upper_[0] = h[0] + h[1];
  slope_[0] = end_value(h[0], h[1], s[0], s[1]);
  for (std::size_t i = 1; i < last; ++i) {
    lower_[i] = h[i];
    diag_[i] = 2 * (h[i - 1] + h[i]);
    upper_[i] = h[i - 1];
    slope_[i] = 3 * (h[i] * s[i - 1] + h[i - 1] * s[i]);
  }
  lower_[last] = h[last - 1] + h[last - 2];
  diag_[last] = h[last - 2];
  slope_[last] = end_value(h[last - 1], h[last - 2], s[last - 1], s[last - 2]);

  // All pivots are positive without exchanging rows: diag_[1] becomes h0 + h1, the rest is diagonally
  // dominant.
  for (std::size_t i = 1; i <= last; ++i) {
    lower_[i] /= diag_[i - 1];
    diag_[i] -= lower_[i] * upper_[i - 1];
    slope_[i] -= lower_[i] * slope_[i - 1];
  }
  slope_[last] /= diag_[last];
  for (std::size_t i = last; i-- > 0;) slope_[i] = (slope_[i] - upper_[i] * slope_[i + 1]) / diag_[i];
}

std::size_t PointCurve::Piece(double at) const {
  const auto right = std::upper_bound(x_.begin() + 1, x_.end() - 1, at);
  return static_cast<std::size_t>(right - x_.begin()) - 1;
}

CurveReading PointCurve::Read(double at, Beyond beyond) const {
  const bool outside = at < x_.front() || at > x_.back();
  const bool left = at < x_.front();
  const std::size_t i = Piece(at);
  if (outside) {
    const std::size_t end = left ? 0 : x_.size() - 1;
    if (beyond == Beyond::kHold) return {y_[end], 0.0};
    const double slope = slope_.empty() ? secant_[i] : slope_[end];
    return {y_[end] + slope * (at - x_[end]), slope};
  }
  const double past = at - x_[i];
  if (slope_.empty()) return {y_[i] + past * secant_[i], secant_[i]};
  const double u = past / step_[i];
  const double square = 3 * secant_[i] - 2 * slope_[i] - slope_[i + 1];
  const double cube = slope_[i] + slope_[i + 1] - 2 * secant_[i];
  return {y_[i] + past * (slope_[i] + u * (square + u * cube)), slope_[i] + u * (2 * square + 3 * u * cube)};
}

void PointCurve::AddGradient(double at, Beyond beyond, double weight, std::span<double> d_x,
                             std::span<double> d_y) {
  const std::size_t last = x_.size() - 1;
  const std::size_t i = Piece(at);
  const double slope = Read(at, beyond).slope;
  g_step_.assign(last, 0.0);
  g_secant_.assign(last, 0.0);
  g_slope_.assign(last + 1, 0.0);
  if (at < x_.front() || at > x_.back()) {
    const std::size_t end = at < x_.front() ? 0 : last;
    d_y[end] += weight;
    if (beyond == Beyond::kHold) return;
    d_x[end] -= weight * slope;
    (slope_.empty() ? g_secant_[i] : g_slope_[end]) = weight * (at - x_[end]);
  } else {
    const double past = at - x_[i], u = past / step_[i];
    d_y[i] += weight;
    d_x[i] -= weight * slope;
    if (slope_.empty()) {
      g_secant_[i] = weight * past;
    } else {
      const double square = 3 * secant_[i] - 2 * slope_[i] - slope_[i + 1];
      const double cube = slope_[i] + slope_[i + 1] - 2 * secant_[i];
      g_slope_[i] = weight * past * (1 - u) * (1 - u);
      g_slope_[i + 1] = -weight * past * u * (1 - u);
      g_secant_[i] = weight * past * u * (3 - 2 * u);
      g_step_[i] = -weight * u * u * (square + 2 * u * cube);
    }
  }

  if (!slope_.empty()) {
    if (last == 1) {
      g_secant_[0] += g_slope_[0] + g_slope_[1];
    } else {
      method_ == CurveMethod::kMonotone ? PullBackMonotone() : PullBackSpline();
    }
  }
  for (std::size_t k = 0; k < last; ++k) {
    const double to_y = g_secant_[k] / step_[k];
    const double to_x = g_step_[k] - to_y * secant_[k];
    d_y[k] -= to_y;
    d_y[k + 1] += to_y;
    d_x[k] -= to_x;
    d_x[k + 1] += to_x;
  }
}

void PointCurve::PullBackMonotone() {
  const std::size_t last = x_.size() - 1;
  for (std::size_t i = 1; i < last; ++i) {
    const double s0 = secant_[i - 1], s1 = secant_[i];
    if (g_slope_[i] == 0 || s0 * s1 <= 0) continue;
    const double w0 = step_[i - 1] + 2 * step_[i], w1 = 2 * step_[i - 1] + step_[i];
    const double g = g_slope_[i], w = w0 + w1;
    const double pull0 = w0 + w1 * (s0 / s1), pull1 = w1 + w0 * (s1 / s0);
    g_secant_[i - 1] += g * w * w0 / (pull0 * pull0);
    g_secant_[i] += g * w * w1 / (pull1 * pull1);
    // slope = w s0 / pull0, so its derivative by a weight is 3 s0 / pull0 less w s0 / pull0^2 times that of
    // pull0.
    const double ratio = s0 / s1, part = s0 / pull0;
    g_step_[i - 1] += g * part * (3 - w * (1 + 2 * ratio) / pull0);
    g_step_[i] += g * part * (3 - w * (2 + ratio) / pull0);
  }
  const auto pull_end = [this](double g, std::size_t outer, std::size_t inner) {
    if (g == 0) return;
    const EndSlope end = MonotoneEnd(step_[outer], step_[inner], secant_[outer], secant_[inner]);
    g_step_[outer] += g * end.d_outer_step;
    g_step_[inner] += g * end.d_inner_step;
    g_secant_[outer] += g * end.d_outer_secant;
    g_secant_[inner] += g * end.d_inner_secant;
  };
  pull_end(g_slope_[0], 0, 1);
  pull_end(g_slope_[last], last - 1, last - 2);
}

void PointCurve::PullBackSpline() {
  const std::size_t last = x_.size() - 1;
  const auto& h = step_;
  const auto& s = secant_;
  if (last == 2) {
    const double h01 = h[0] + h[1], curvature = (s[1] - s[0]) / h01;
    const double by_curvature = (g_slope_[1] - g_slope_[0]) * h[0] + g_slope_[2] * h[1];
    g_secant_[0] += g_slope_[0] + g_slope_[1] - by_curvature / h01;
    g_secant_[1] += g_slope_[2] + by_curvature / h01;
    g_step_[0] += (g_slope_[1] - g_slope_[0]) * curvature - by_curvature * curvature / h01;
    g_step_[1] += g_slope_[2] * curvature - by_curvature * curvature / h01;
    return;
  }
  // The transposed matrix turns the weights of the slopes into weights of the rows.
  auto& row = g_slope_;
  row[0] /= diag_[0];
  for (std::size_t i = 1; i <= last; ++i) row[i] = (row[i] - upper_[i - 1] * row[i - 1]) / diag_[i];
  for (std::size_t i = last; i-- > 0;) row[i] -= lower_[i + 1] * row[i + 1];

  for (std::size_t i = 1; i < last; ++i) {
    g_step_[i - 1] += row[i] * (3 * s[i] - 2 * slope_[i] - slope_[i + 1]);
    g_step_[i] += row[i] * (3 * s[i - 1] - 2 * slope_[i] - slope_[i - 1]);
    g_secant_[i - 1] += row[i] * 3 * h[i];
    g_secant_[i] += row[i] * 3 * h[i - 1];
  }
  const auto pull_end = [&](double g, std::size_t outer, std::size_t inner, double m0, double m1) {
    const double h0 = h[outer], h1 = h[inner], h01 = h0 + h1;
    const double right = ((3 * h0 + 2 * h1) * h1 * s[outer] + h0 * h0 * s[inner]) / h01;
    g_step_[outer] += g * ((3 * h1 * s[outer] + 2 * h0 * s[inner] - right) / h01 - m1);
    g_step_[inner] += g * (((3 * h0 + 4 * h1) * s[outer] - right) / h01 - m0 - m1);
    g_secant_[outer] += g * (3 * h0 + 2 * h1) * h1 / h01;
    g_secant_[inner] += g * h0 * h0 / h01;
  };
  pull_end(row[0], 0, 1, slope_[0], slope_[1]);
  pull_end(row[last], last - 1, last - 2, slope_[last], slope_[last - 1]);
}

}  // namespace quiver::routines
