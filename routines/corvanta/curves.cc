// SPDX-License-Identifier: Apache-2.0
// Performance curves of compressors and pumps: the value at a shaft speed and an abscissa (a flow), and how
// far that is from surge and stonewall. The procedures PPCURVE and PPUMPCURVE call them.
//
// A curve. A row of the abscissa and ordinate tables with its own number of points, or a row of coefficients.
// The format is "Tabular data", "Polynomials" or "Extended Polynomials"; the last two are read alike, since
// what extends the second (the surge value as a polynomial of the speed) has already been put into the surge
// values. The method "Linear", "Hermite" (monotone) or "Harwell" (cubic spline, not-a-knot) is described in
// routines/numerics/spline.h. A polynomial is c1 + c2 x + c3 x^2 + ...
//
// Surge and stonewall. The first and the last abscissa of a table; the given values of a polynomial. Beyond
// them a compressor curve is held at its end value ("No") or continued with its end slope ("Yes"). Pump
// tables are continued, pump polynomials have no ends: the caller limits what it gets.
//
// Between two speeds. Surge and stonewall are interpolated linearly in speed; the abscissa's relative
// position s between them (0 at surge, 1 at stonewall) is the same on both neighbouring curves, and the
// values read there are interpolated linearly in speed. This is the auxiliary coordinate with which
// gas turbine maps are read ("beta lines", J. Kurzke, www.gasturb.de), here with lines of equal s. Reading
// both curves at the same abscissa instead would leave the range of one of them whenever the ranges differ,
// and would not follow curves that stretch with speed as the fan laws say. Curves of pump polynomials, which
// have no ends, are read at the same abscissa. A speed outside the given ones is extrapolated with the two
// nearest curves, never held, so that a speed that is solved for keeps its influence. With a single curve the
// speed has no influence: carrying it to another speed is the caller's fan law. Curves may come in any order
// of speed.
//
// Derivatives are exact, by the abscissa, the speeds and every table entry, coefficient and end value in use.
// At a curve's own speed they are those towards higher speed (at the highest: towards lower).
#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>

#include "routines/corvanta/curve_line.h"
#include "routines/routine_arguments.h"

namespace quiver::routines {
namespace {

// The numbers of the inputs; -1 where a routine does not have one.
struct CurveInputs {
  int format, curves, points, counts, extrapolate, speed, speeds, ordinates, abscissas, coefficients, surge,
      stonewall, abscissa, method;
};

class CurveMap {
 public:
  CurveMap(RoutineCall& call, const CurveInputs& in) : call_(call), in_(in) {}

  // False after call.Fail().
  bool Load() { return LoadOptions() && CheckSpeeds() && ChooseCurves() && LoadCurves(); }

  void SetValue() {
    const double speed_weight[] = {1 - t_, t_};
    CurveReading read[2];
    double value = 0, by_abscissa = 0, by_position = 0;
    for (int i = 0; i < used_; ++i) {
      read[i] = lines_[i].Read(Place(i));
      value += speed_weight[i] * read[i].value;
      by_abscissa += speed_weight[i] * read[i].slope;
      by_position += speed_weight[i] * read[i].slope * Range(i);
    }
    if (is_bounded_ && used_ == 2) by_abscissa = by_position / (stonewall_ - surge_);
    call_.SetOutput(0, value);
    if (!call_.WantsDerivatives()) return;

    call_.SetDerivative(0, call_.InputIndex(in_.abscissa), by_abscissa);
    for (int i = 0; i < used_; ++i) SetLineDerivatives(i, speed_weight[i], read[i].slope, by_abscissa);
    if (used_ == 2) {
      double by_t = read[1].value - read[0].value;
      if (is_bounded_)
        by_t -= by_abscissa * ((1 - position_) * (First(1) - First(0)) + position_ * (Last(1) - Last(0)));
      SetSpeedDerivatives(0, by_t);
    }
  }

  // Percent of the surge value above it, percent of the stonewall value below it. A map that begins at zero
  // (or ends there) has nothing to refer to: the distance is then in percent of the other value.
  void SetDistances() {
    const double x = call_.Real(in_.abscissa);
    const double size = std::max(std::abs(surge_), std::abs(stonewall_));
    const bool by_surge = std::abs(surge_) > 1e-6 * size, by_stonewall = std::abs(stonewall_) > 1e-6 * size;
    SetDistance(1, x - surge_, by_surge ? surge_ : stonewall_, 1, -1, 0, by_surge);
    SetDistance(2, stonewall_ - x, by_stonewall ? stonewall_ : surge_, -1, 0, 1, !by_stonewall);
  }

 private:
  bool Fail(Failure code, int input) {
    call_.Fail(code, input);
    return false;
  }

  bool LoadOptions() {
    const std::string_view format = call_.Text(in_.format);
    is_tabular_ = SameText(format, "Tabular data");
    if (!is_tabular_ && !SameText(format, "Polynomials") && !SameText(format, "Extended Polynomials"))
      return Fail(Failure::kUnknownText, in_.format);
    is_bounded_ = is_tabular_ || in_.surge >= 0;

    const std::string_view method = call_.Text(in_.method);
    if (SameText(method, "Linear")) {
      method_ = CurveMethod::kLinear;
    } else if (SameText(method, "Hermite")) {
      method_ = CurveMethod::kMonotone;
    } else if (SameText(method, "Harwell")) {
      method_ = CurveMethod::kSpline;
    } else {
      return Fail(Failure::kUnknownText, in_.method);
    }

    beyond_ = Beyond::kContinue;
    if (in_.extrapolate >= 0) {
      const std::string_view extrapolate = call_.Text(in_.extrapolate);
      if (SameText(extrapolate, "No")) {
        beyond_ = Beyond::kHold;
      } else if (!SameText(extrapolate, "Yes")) {
        return Fail(Failure::kUnknownText, in_.extrapolate);
      }
    }

    curves_ = call_.Integer(in_.curves);
    if (curves_ < 1) return Fail(Failure::kOutOfRange, in_.curves);
    return true;
  }

  bool CheckSpeeds() {
    speeds_ = call_.RealArray(in_.speeds);
    if (std::ssize(speeds_) < curves_) return Fail(Failure::kSizes, in_.speeds);
    for (long long i = 1; i < curves_; ++i)
      for (long long k = 0; k < i; ++k)
        if (speeds_[i] == speeds_[k]) return Fail(Failure::kOutOfRange, in_.speeds);
    return true;
  }

  // The neighbours of the speed, or the two curves nearest to it on one side.
  bool ChooseCurves() {
    const double speed = call_.Real(in_.speed);
    const auto next = [&](auto wanted, auto better) {
      long long best = -1;
      for (long long c = 0; c < curves_; ++c)
        if (wanted(speeds_[c]) && (best < 0 || better(speeds_[c], speeds_[best]))) best = c;
      return best;
    };
    const auto below = [&](double limit) {
      return next([=](double s) { return s < limit; }, std::greater<>());
    };
    const auto above = [&](double limit) { return next([=](double s) { return s > limit; }, std::less<>()); };
    const long long here = next([=](double s) { return s <= speed; }, std::greater<>());
    const long long up = above(speed);
    used_ = curves_ == 1 ? 1 : 2;
    row_[0] = here >= 0 ? here : up;
    if (used_ == 1) return true;
    if (here >= 0 && up >= 0) {
      row_[1] = up;
    } else if (here < 0) {
      row_[1] = above(speeds_[up]);
    } else {
      row_[1] = here;
      row_[0] = below(speeds_[here]);
    }
    t_ = (speed - speeds_[row_[0]]) / SpeedStep();
    return true;
  }

  bool LoadCurves() {
    if (!(is_tabular_ ? LoadTables() : LoadPolynomials())) return false;
    const int other = used_ - 1;
    surge_ = std::lerp(First(0), First(other), t_);
    stonewall_ = std::lerp(Last(0), Last(other), t_);
    // Extrapolated far enough, the lines of surge and stonewall meet.
    if (is_bounded_ && !(stonewall_ > surge_)) return Fail(Failure::kOutOfRange, in_.speed);
    position_ = is_bounded_ ? (call_.Real(in_.abscissa) - surge_) / (stonewall_ - surge_) : 0.0;
    return true;
  }

  // Every curve is checked, also those that this speed does not need: a map is right or wrong as a whole.
  bool LoadTables() {
    const RealMatrix x = call_.Matrix(in_.abscissas), y = call_.Matrix(in_.ordinates);
    if (x.rows < curves_) return Fail(Failure::kSizes, in_.abscissas);
    if (y.rows < curves_) return Fail(Failure::kSizes, in_.ordinates);
    if (call_.InputElements(in_.counts) < curves_) return Fail(Failure::kSizes, in_.counts);
    const long long columns = std::min({x.columns, y.columns, call_.Integer(in_.points)});
    for (long long c = 0; c < curves_; ++c) {
      const long long count = call_.Integer(in_.counts, c);
      if (count < 2) return Fail(Failure::kOutOfRange, in_.counts);
      if (count > columns) return Fail(Failure::kSizes, in_.counts);
      for (long long k = 1; k < count; ++k)
        if (!(x(c, k) > x(c, k - 1))) return Fail(Failure::kOutOfRange, in_.abscissas);
    }
    for (int i = 0; i < used_; ++i) {
      const auto row = [&](const RealMatrix& table) {
        return table.elements.subspan(row_[i] * table.columns, call_.Integer(in_.counts, row_[i]));
      };
      if (!lines_[i].SetPoints(method_, beyond_, row(x), row(y)))
        return Fail(Failure::kOverflow, in_.ordinates);
    }
    return true;
  }

  bool LoadPolynomials() {
    const RealMatrix c = call_.Matrix(in_.coefficients);
    if (c.rows < curves_ || c.columns < 1) return Fail(Failure::kSizes, in_.coefficients);
    constexpr double kInfinite = std::numeric_limits<double>::infinity();
    std::span<const double> first, last;
    if (is_bounded_) {
      first = call_.RealArray(in_.surge);
      last = call_.RealArray(in_.stonewall);
      if (std::ssize(first) < curves_) return Fail(Failure::kSizes, in_.surge);
      if (std::ssize(last) < curves_) return Fail(Failure::kSizes, in_.stonewall);
      for (long long k = 0; k < curves_; ++k)
        if (!(last[k] > first[k])) return Fail(Failure::kOutOfRange, in_.stonewall);
    }
    for (int i = 0; i < used_; ++i) {
      const long long k = row_[i];
      lines_[i].SetPolynomial(beyond_, c.elements.subspan(k * c.columns, c.columns),
                              is_bounded_ ? first[k] : -kInfinite, is_bounded_ ? last[k] : kInfinite);
    }
    return true;
  }

  double First(int i) const { return lines_[i].First(); }
  double Last(int i) const { return lines_[i].Last(); }
  double Range(int i) const { return is_bounded_ ? Last(i) - First(i) : 0.0; }
  double SpeedStep() const { return speeds_[row_[1]] - speeds_[row_[0]]; }

  // The abscissa on curve i.
  double Place(int i) const {
    const double x = call_.Real(in_.abscissa);
    if (!is_bounded_ || used_ == 1) return x;
    return std::lerp(First(i), Last(i), position_);  // exact at both ends
  }

  // Number of the input value that is the first or last abscissa of curve i.
  long long EndIndex(int i, bool last) const {
    if (!is_tabular_) return call_.InputIndex(last ? in_.stonewall : in_.surge) + row_[i];
    return call_.InputIndex(in_.abscissas) + row_[i] * call_.InputSize(in_.abscissas, 1) +
           (last ? call_.Integer(in_.counts, row_[i]) - 1 : 0);
  }

  // With s = (x - S) / (W - S), the place on curve i is first + s (last - first), and S and W move with
  // weight w: d/d(first) = w (1 - s) (slope - by_abscissa), d/d(last) = w s (slope - by_abscissa).
  void SetLineDerivatives(int i, double weight, double slope, double by_abscissa) {
    CurveLine::Gradient g = lines_[i].Differentiate(Place(i), weight);
    const bool shifts = is_bounded_ && used_ == 2;
    const double by_first = shifts ? weight * (1 - position_) * (slope - by_abscissa) : 0.0;
    const double by_last = shifts ? weight * position_ * (slope - by_abscissa) : 0.0;
    if (is_tabular_) {
      g.abscissas.front() += by_first;
      g.abscissas.back() += by_last;
      SetRow(in_.abscissas, i, g.abscissas);
      SetRow(in_.ordinates, i, g.ordinates);
    } else {
      SetRow(in_.coefficients, i, g.coefficients);
      if (!is_bounded_) return;
      call_.SetDerivative(0, EndIndex(i, false), g.first + by_first);
      call_.SetDerivative(0, EndIndex(i, true), g.last + by_last);
    }
  }

  void SetRow(int input, int i, std::span<const double> gradient) {
    const long long start = call_.InputIndex(input) + row_[i] * call_.InputSize(input, 1);
    for (std::size_t k = 0; k < gradient.size(); ++k)
      call_.SetDerivative(0, start + static_cast<long long>(k), gradient[k]);
  }

  void SetSpeedDerivatives(int output, double by_t) {
    const double step = SpeedStep();
    call_.SetDerivative(output, call_.InputIndex(in_.speed), by_t / step);
    call_.SetDerivative(output, call_.InputIndex(in_.speeds) + row_[0], by_t * (t_ - 1) / step);
    call_.SetDerivative(output, call_.InputIndex(in_.speeds) + row_[1], -by_t * t_ / step);
  }

  // 100 distance / reference; the distance changes with x, surge and stonewall as given, and the reference is
  // one of the last two.
  void SetDistance(int output, double distance, double reference, double by_x, double by_surge,
                   double by_stonewall, bool reference_is_surge) {
    const double percent = 100 * distance / reference, scale = 100 / reference;
    call_.SetOutput(output, percent);
    if (!call_.WantsDerivatives()) return;
    const double surge = scale * by_surge - (reference_is_surge ? percent / reference : 0.0);
    const double stonewall = scale * by_stonewall - (reference_is_surge ? 0.0 : percent / reference);
    call_.SetDerivative(output, call_.InputIndex(in_.abscissa), scale * by_x);
    const double speed_weight[] = {1 - t_, t_};
    for (int i = 0; i < used_; ++i) {
      call_.SetDerivative(output, EndIndex(i, false), speed_weight[i] * surge);
      call_.SetDerivative(output, EndIndex(i, true), speed_weight[i] * stonewall);
    }
    if (used_ == 2)
      SetSpeedDerivatives(output, surge * (First(1) - First(0)) + stonewall * (Last(1) - Last(0)));
  }

  RoutineCall& call_;
  const CurveInputs& in_;
  bool is_tabular_ = true, is_bounded_ = true;
  CurveMethod method_ = CurveMethod::kLinear;
  Beyond beyond_ = Beyond::kHold;
  long long curves_ = 0;
  std::span<const double> speeds_;

  int used_ = 1;           // curves that are read: 1 or 2
  long long row_[2] = {};  // their rows in the tables, the lower speed first
  double t_ = 0;           // the speed's place between them, outside 0 to 1 when extrapolated
  double surge_ = 0, stonewall_ = 0, position_ = 0;
  static thread_local std::array<CurveLine, 2> lines_;  // kept between calls for their memory only
};

thread_local std::array<CurveLine, 2> CurveMap::lines_;

}  // namespace
}  // namespace quiver::routines

// A compressor's curve: the value, % above surge, % below stonewall.
//
// Inputs, in order:
// - 1 format, 2 number of curves, 3 largest number of points of a curve, 4 number of points per curve
// - 5 extrapolate beyond surge and stonewall: "Yes" or "No"
// - 6 shaft speed, 7 speeds of the curves
// - 8 ordinates and 9 abscissas, curve by point
// - 10 coefficients, curve by coefficient; 11 surge and 12 stonewall abscissas of the polynomials
// - 13 abscissa, 14 interpolation method
//
// Outputs:
// - 1 ordinate
// - 2 and 3 the distances in percent of the surge and of the stonewall value at that speed (of the other one
//   where the first is zero), negative beyond them
//
// Any unit, as long as a table and what is read from it share it. Text case is ignored; the tables of the
// other format may be empty. Fails with kUnknownText (1, 5, 14), kSizes (4, 7 to 12: fewer rows than curves,
// or more points than columns or than input 3) or kOutOfRange: 2 no curve, 4 fewer than two points, 6 a speed
// so far outside that surge and stonewall have crossed, 7 two curves of one speed, 9 abscissas that do not
// ascend, 12 stonewall not above surge.
ROUTINE(ZX40RM_sppcurve, "s* i* i* i[n]* s* r* r[n]* r[n,n]* r[n,n]* r[n,n]* r[n]* r[n]* r* s* -> r r r") {
  using namespace quiver::routines;
  static constexpr CurveInputs kInputs = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13};
  CurveMap map(call, kInputs);
  if (!map.Load()) return;
  map.SetValue();
  map.SetDistances();
}

// A pump's curve.
//
// Inputs, in order:
// - 1 format, 2 number of curves, 3 largest number of points of a curve, 4 number of points per curve
// - 5 shaft speed, 6 speeds of the curves
// - 7 ordinates and 8 abscissas, curve by point; 9 coefficients, curve by coefficient
// - 10 abscissa, 11 interpolation method
//
// Output: the ordinate, not limited. Units and failures as for ZX40RM_sppcurve, with these numbers.
ROUTINE(ZX40RM_sppumpcurve, "s* i* i* i[n]* r* r[n]* r[n,n]* r[n,n]* r[n,n]* r* s* -> r") {
  using namespace quiver::routines;
  static constexpr CurveInputs kInputs = {0, 1, 2, 3, -1, 4, 5, 6, 7, 8, -1, -1, 9, 10};
  CurveMap map(call, kInputs);
  if (!map.Load()) return;
  map.SetValue();
}
