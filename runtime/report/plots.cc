// SPDX-License-Identifier: Apache-2.0
#include "runtime/report/plots.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <optional>

#include "runtime/contract/host_access.h"
#include "runtime/contract/names.h"
#include "runtime/contract/scope.h"
#include "runtime/report/trace.h"
#include "runtime/system/describe.h"

namespace quiver {
namespace {

constexpr int kSamples = 48;
constexpr size_t kMostDevices = 60;
constexpr size_t kMostInOneChart = 6;  // as many as lines have styles

// A property by its name, if it is a single real variable in some equation of the case.
QV_VarParam* Variable(CaseRun& run, const Instance& instance, const char* name) {
  const int place = instance.type().Find(name);
  auto* holder = place < 0 ? nullptr : dynamic_cast<QV_VarParam*>(instance.Object(place));
  if (!holder || !holder->IsVariable() || HostAccess::KindOf(*holder) != HostAccess::kReal) return nullptr;
  const int number = HostAccess::Number(*holder);
  return number < run.System().VariableCount() && run.System().TakesPart(number) ? holder : nullptr;
}

int NumberOf(QV_VarParam& holder) { return HostAccess::Number(holder); }

bool IsA(const Instance& instance, const char* type) { return instance.type().type_name == type; }

// `count` values from `low` to `high` and `extra` among them.
std::vector<double> Grid(double low, double high, int count, double extra) {
  std::vector<double> values;
  for (int i = 0; i <= count; ++i) values.push_back(low + (high - low) * i / count);
  if (extra > low && extra < high) values.insert(std::ranges::upper_bound(values, extra), extra);
  return values;
}

// Closer to each other where the flux falls like the root of the pressure drop that is left.
std::vector<double> BackPressures(double inlet, double extra) {
  std::vector<double> values = Grid(0, 1, kSamples, NAN);
  for (double& value : values) value = inlet * (0.998 - 0.978 * (1 - value) * (1 - value));
  if (extra > values.front() && extra < values.back())
    values.insert(std::ranges::upper_bound(values, extra), extra);
  return values;
}

std::string NotSolvedNote(int count, size_t all) {
  return count == 0 ? "" : fmt::format(" {} of {} points did not converge and are left out.", count, all);
}

std::nullopt_t LeftOut(Curves& curves, const Instance& instance, const Follower& follower) {
  curves.left_out.push_back(
      fmt::format("{}: no curve is drawn, because {}.", InstanceName(instance), follower.refusal()));
  return std::nullopt;
}

// ---- Relief devices.

struct Relief {
  std::string name, method;
  double inlet, back, flux;  // of the case; bar, bar, kg/m2/s
  Trace trace;
  bool critical = false;
  double choke = NAN, choke_flux = NAN;  // where the flow chokes
};

std::string MethodOf(const Instance& instance) {
  const int place = instance.type().Find("FLOW_CALC");
  auto* holder = place < 0 ? nullptr : dynamic_cast<QV_VarParam*>(instance.Object(place));
  return holder && HasValue(*holder) ? holder->StringValue() : instance.type().type_name.substr(3);
}

// The flux over the back-pressure, of a device that is given its back-pressure, its ratio to the inlet's, or both.
std::optional<Relief> FollowRelief(CaseRun& run, const Instance& instance, Curves& curves) {
  QV_VarParam* flux = Variable(run, instance, "FLUX");
  QV_VarParam* inlet = Variable(run, instance, "P");
  if (!flux || !inlet) return std::nullopt;
  const double p = inlet->RealValue();
  std::vector<Moved> moved;
  double back = NAN;
  if (QV_VarParam* outlet = Variable(run, instance, "P_OUT")) {
    moved.push_back({NumberOf(*outlet), 1.0});
    back = outlet->RealValue();
  }
  for (const char* ratio : {"ETA_A", "ETA"}) {
    QV_VarParam* given = Variable(run, instance, ratio);
    if (!given || HostAccess::SpecOf(*given) != QV_SPEC_GIVEN) continue;
    moved.push_back({NumberOf(*given), 1 / p});
    if (std::isnan(back)) back = given->RealValue() * p;
  }
  if (moved.empty() || !(p > 0)) return std::nullopt;

  Relief relief{InstanceName(instance), MethodOf(instance), p, back, flux->RealValue(), {}};
  std::vector<int> results = {NumberOf(*flux)};
  QV_VarParam* critical = Variable(run, instance, "CRITICAL_FLOW");
  if (critical) results.push_back(NumberOf(*critical));
  if (critical) relief.critical = critical->RealValue() > 0.5;
  Follower follower(run.System(), moved, results);
  if (!follower.refusal().empty()) return LeftOut(curves, instance, follower);
  relief.trace = Sample(follower, results.size(), BackPressures(p, back));
  if (!critical) return relief;
  Trace& trace = relief.trace;
  for (size_t i = 0; i + 1 < trace.at.size(); ++i) {
    if (!(trace.results[1][i] > 0.5) || !(trace.results[1][i + 1] < 0.5)) continue;
    relief.choke = follower.Boundary(trace.at[i], trace.at[i + 1], [&] { return follower.Result(1) > 0.5; });
    if (std::isnan(relief.choke) || !follower.SolveAt(relief.choke)) break;
    relief.choke_flux = follower.Result(0);
    const auto place = static_cast<long>(i) + 1;
    trace.at.insert(trace.at.begin() + place, relief.choke);
    trace.results[0].insert(trace.results[0].begin() + place, relief.choke_flux);
    break;
  }
  return relief;
}

Plot ReliefPlot(const std::vector<const Relief*>& devices) {
  Plot plot;
  plot.chart.title = devices.size() == 1 ? devices[0]->name + ": mass flux over back-pressure"
                                         : "Mass flux over back-pressure";
  plot.chart.x_label = "Back-pressure, bar";
  plot.chart.y_label = "Mass flux of the ideal nozzle, kg/m²/s";
  plot.table = {{"Device", "Method", "Chokes at, bar", "Flux there, kg/m²/s", "Back-pressure, bar",
                 "Flux, kg/m²/s", "Flow"}};
  int not_solved = 0;
  bool chokes = false;
  for (const Relief* device : devices) {
    plot.chart.series.push_back(
        {devices.size() == 1 ? device->method : device->name, device->trace.at, device->trace.results[0]});
    const bool has_choke = std::isfinite(device->choke);
    chokes = chokes || has_choke;
    const bool alone = devices.size() == 1;
    if (has_choke)
      plot.chart.points.push_back({alone ? fmt::format("chokes at {:.4g} bar", device->choke) : "",
                                   device->choke, device->choke_flux, true, device->name + " chokes"});
    plot.chart.points.push_back({alone ? "case" : "", device->back, device->flux, false, device->name});
    plot.table.push_back({device->name, device->method, has_choke ? ShortNumber(device->choke) : "–",
                          has_choke ? ShortNumber(device->choke_flux) : "–", ShortNumber(device->back),
                          ShortNumber(device->flux), device->critical ? "critical" : "subcritical"});
    not_solved += device->trace.not_solved;
  }
  if (devices.size() > 1) plot.chart.lines.push_back({"back-pressure of the case", devices[0]->back});
  plot.caption = fmt::format(
      "Each curve is solved again over the back-pressure, with the inlet of the case{}.{}",
      chokes ? "; below the point at which it chokes (ring), the back-pressure has no influence" : "",
      NotSolvedNote(not_solved, devices.size() * (kSamples + 1)));
  plot.chart.description = plot.caption;
  return plot;
}

// A device of which only the pressure drop is known, not the pressures.
std::optional<Plot> PressureDropPlot(CaseRun& run, const Instance& instance, Curves& curves) {
  QV_VarParam* flux = Variable(run, instance, "FLUX");
  QV_VarParam* drop = Variable(run, instance, "P_DROP");
  if (!flux || !drop || !(drop->RealValue() > 0)) return std::nullopt;
  const double now = drop->RealValue();
  const std::vector<int> results = {NumberOf(*flux)};
  Follower follower(run.System(), {{NumberOf(*drop), 1.0}}, results);
  if (!follower.refusal().empty()) return LeftOut(curves, instance, follower);
  const Trace trace = Sample(follower, 1, Grid(0.01 * now, 2 * now, kSamples, now));
  Plot plot;
  plot.chart.title = InstanceName(instance) + ": mass flux over pressure drop";
  plot.chart.x_label = "Pressure drop, bar";
  plot.chart.y_label = "Mass flux of the ideal nozzle, kg/m²/s";
  plot.chart.series.push_back({MethodOf(instance), trace.at, trace.results[0]});
  plot.chart.points.push_back({"case", now, flux->RealValue()});
  plot.caption =
      "A liquid that does not flash does not choke." + NotSolvedNote(trace.not_solved, trace.at.size());
  plot.chart.description = plot.caption;
  return plot;
}

void AddReliefPlots(CaseRun& run, Curves& curves) {
  std::vector<Relief> devices;
  for (const Instance* block : run.flowsheet().blocks()) {
    if (devices.size() == kMostDevices) {
      curves.left_out.push_back(fmt::format(
          "The curves of the first {} relief devices are drawn, the others are not.", kMostDevices));
      break;
    }
    if (auto device = FollowRelief(run, *block, curves))
      devices.push_back(std::move(*device));
    else if (auto plot = PressureDropPlot(run, *block, curves))
      curves.plots.push_back(std::move(*plot));
  }
  // Methods are compared in one picture where their inlets are at the same pressure.
  std::vector<char> drawn(devices.size(), 0);
  for (size_t i = 0; i < devices.size(); ++i) {
    if (drawn[i]) continue;
    std::vector<const Relief*> together;
    for (size_t k = i; k < devices.size() && together.size() < kMostInOneChart; ++k) {
      if (drawn[k] || std::abs(devices[k].inlet - devices[i].inlet) > 1e-9 * devices[i].inlet) continue;
      drawn[k] = 1;
      together.push_back(&devices[k]);
    }
    curves.plots.push_back(ReliefPlot(together));
  }
}

// ---- Fire.

std::optional<Plot> FirePlot(CaseRun& run, const Instance& instance, Curves& curves) {
  QV_VarParam* area = Variable(run, instance, "AFIRE");
  QV_VarParam* heat = Variable(run, instance, "HEATLOAD");
  if (!area || !heat) return std::nullopt;
  constexpr double kSquareFeetPerSquareMetre = 10.763910416709722;
  constexpr double kAllBrackets = 300;  // m2; the standards' last bracket begins at 2800 square feet
  const double now = area->RealValue();
  Follower follower(run.System(), {{NumberOf(*area), 1.0}}, {NumberOf(*heat)});
  if (!follower.refusal().empty()) return LeftOut(curves, instance, follower);
  Plot plot;
  const auto sample = [&](double most) {
    return Sample(follower, 1, Grid(most / 500, most, 3 * kSamples, now));
  };
  Trace trace = sample(std::max(1.5 * now, kAllBrackets));
  std::vector<double> brackets;
  for (size_t i = 0; i + 1 < trace.at.size(); ++i) {
    const std::vector<int> here = trace.alternatives[i];
    if (here.empty() || trace.alternatives[i + 1].empty() || here == trace.alternatives[i + 1]) continue;
    const double at =
        follower.Boundary(trace.at[i], trace.at[i + 1], [&] { return follower.Alternatives() == here; });
    if (std::isfinite(at)) brackets.push_back(at);
  }
  if (brackets.empty()) trace = sample(2 * now);
  const std::string unit = UnitOf(*heat);
  plot.chart.title = InstanceName(instance) + ": heat load over wetted area";
  plot.chart.x_label = "Wetted area in the fire, m²";
  plot.chart.y_label = "Heat load, " + UnitText(unit);
  LineChart::Series curve{"heat load", {}, {}};
  for (size_t i = 0; i < trace.at.size(); ++i) {
    curve.x.push_back(trace.at[i]);
    curve.y.push_back(trace.results[0][i]);
    for (const double bracket : brackets)  // a step is drawn as one, not as a slope
      if (i + 1 < trace.at.size() && trace.at[i] <= bracket && bracket < trace.at[i + 1]) {
        for (const double side : {bracket, bracket * (1 + 1e-9)}) {
          const bool solved = follower.SolveAt(side);
          curve.x.push_back(side);
          curve.y.push_back(solved ? follower.Result(0) : std::nan(""));
        }
      }
  }
  plot.chart.series.push_back(std::move(curve));
  plot.chart.points.push_back(
      {fmt::format("case: {:.4g} {} at {:.4g} m²", heat->RealValue(), unit, now), now, heat->RealValue()});
  if (!brackets.empty()) plot.table = {{"Bracket begins at, m²", "ft²"}};
  for (const double bracket : brackets) {
    plot.chart.lines.push_back({fmt::format("{:.4g} m²", bracket), bracket});
    plot.table.push_back({ShortNumber(bracket), fmt::format("{:.0f}", bracket * kSquareFeetPerSquareMetre)});
  }
  plot.caption = fmt::format("The correlation of the standard chosen, with the credits of the case{}.{}",
                             brackets.empty() ? "; one formula holds over the whole range"
                                              : "; dashed lines separate its brackets of area",
                             NotSolvedNote(trace.not_solved, trace.at.size()));
  plot.chart.description = plot.caption;
  return plot;
}

// ---- Valves.

std::optional<Plot> ValvePlot(CaseRun& run, const Instance& instance, Curves& curves) {
  QV_VarParam* opening = Variable(run, instance, "POS");
  QV_VarParam* coefficient = Variable(run, instance, "CV");
  if (!opening || !coefficient) return std::nullopt;
  Follower follower(run.System(), {{NumberOf(*opening), 1.0}}, {NumberOf(*coefficient)});
  if (!follower.refusal().empty()) return LeftOut(curves, instance, follower);
  const double now = opening->RealValue();
  const Trace trace = Sample(follower, 1, Grid(0, 100, 2 * kSamples, now));
  Plot plot;
  const int place = instance.type().Find("CHAR_EQN");
  auto* kind = place < 0 ? nullptr : dynamic_cast<QV_VarParam*>(instance.Object(place));
  plot.chart.title = InstanceName(instance) + ": valve characteristic";
  plot.chart.x_label = "Opening, %";
  plot.chart.y_label = "Valve coefficient CV";
  plot.chart.series.push_back(
      {kind && HasValue(*kind) ? kind->StringValue() : "characteristic", trace.at, trace.results[0]});
  plot.chart.points.push_back({fmt::format("case: CV {:.4g} at {:.4g} %", coefficient->RealValue(), now), now,
                               coefficient->RealValue()});
  plot.caption = "The inherent characteristic: coefficient over opening." +
                 NotSolvedNote(trace.not_solved, trace.at.size());
  plot.chart.description = plot.caption;
  return plot;
}

}  // namespace

Curves CurvePlots(CaseRun& run) {
  Curves curves;
  const CurrentGuard guard({&run.flowsheet().scope(), nullptr, nullptr, nullptr});
  AddReliefPlots(run, curves);
  for (const Instance* instance : run.flowsheet().Instances()) {
    std::optional<Plot> plot;
    if (IsA(*instance, "QV_FIRECALCS")) plot = FirePlot(run, *instance, curves);
    if (IsA(*instance, "QV_VALTYPE")) plot = ValvePlot(run, *instance, curves);
    if (plot) curves.plots.push_back(std::move(*plot));
  }
  return curves;
}

namespace {
std::string Described(const std::string& name, const std::string& description) {
  return description.empty() ? name : fmt::format("{} ({})", description, name);
}
}  // namespace

Plot MapPlot(const PerformanceMap& map) {
  Plot plot;
  LineChart& chart = plot.chart;
  chart.title = fmt::format("{}: {} over {}", map.block, map.value_name, map.flow_name);
  chart.x_label = WithUnit(Described(map.flow_name, map.flow_description), map.flow_unit);
  chart.y_label = WithUnit(Described(map.value_name, map.value_description), map.value_unit);
  chart.label_at_end = true;
  LineChart::Series surge{"", {}, {}};
  surge.limit = true;
  for (const PerformanceMap::Curve& curve : map.curves) {
    chart.series.push_back({fmt::format("{:.6g} rpm", curve.speed), curve.flow, curve.value});
    if (curve.flow.empty()) continue;
    surge.x.push_back(curve.flow.front());
    surge.y.push_back(curve.value.front());
  }
  const bool has_surge = map.has_surge && surge.x.size() > 1;
  if (has_surge) chart.series.push_back(std::move(surge));
  chart.points.push_back({fmt::format("case, on the map at {:.6g} rpm", map.speed), map.flow, map.value});
  plot.caption =
      fmt::format("Operating point: {} {} at {} {}, {:.6g} rpm.{}", ShortNumber(map.value),
                  UnitText(map.value_unit), ShortNumber(map.flow), UnitText(map.flow_unit), map.speed,
                  has_surge ? " The dotted line joins the first points of the curves: surge." : "");
  chart.description = plot.caption;
  return plot;
}

std::vector<Plot> MapPlots(CaseRun& run) {
  std::vector<Plot> plots;
  for (const PerformanceMap& map : ReadPerformanceMaps(run)) plots.push_back(MapPlot(map));
  return plots;
}

std::string WithUnit(const std::string& name, const std::string& unit) {
  return unit.empty() ? name : fmt::format("{}, {}", name, UnitText(unit));
}

std::string UnitText(std::string_view unit) {
  if (unit == "C") return "°C";
  std::string text;
  for (size_t i = 0; i < unit.size(); ++i) {
    const bool power =
        i > 0 && (unit[i] == '2' || unit[i] == '3') && (unit[i - 1] == 'm' || unit[i - 1] == 't') &&
        (i + 1 == unit.size() || unit[i + 1] == '/' || unit[i + 1] == ' ' || unit[i + 1] == '-');
    if (power)
      text += unit[i] == '2' ? "²" : "³";
    else
      text += unit[i];
  }
  return text;
}

std::string ShortNumber(double value) { return fmt::format("{:.7g}", value); }

}  // namespace quiver
