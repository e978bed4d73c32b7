// SPDX-License-Identifier: Apache-2.0
#include "runtime/cases/performance_map.h"

#include <algorithm>
#include <set>

#include "runtime/contract/host_access.h"
#include "runtime/contract/names.h"
#include "runtime/contract/procedure_access.h"
#include "runtime/system/describe.h"

namespace quiver {
namespace {

constexpr int kSamples = 60;  // per curve

// The places of a curve procedure's arguments; inputs count from 0.
struct CurveArguments {
  const char* procedure;
  int counts, speed, speeds, abscissas, surge, stonewall, abscissa;  // -1: it has none
};
constexpr CurveArguments kCurveProcedures[] = {
    {"QVProc_PPCURVE", 3, 5, 6, 8, 10, 11, 12},
    {"QVProc_PPUMPCURVE", 3, 4, 5, 7, -1, -1, 9},
};

class MapReader {
 public:
  MapReader(QV_ProcedureType_F& procedure, const CurveArguments& arguments)
      : procedure_(procedure), arguments_(arguments), elements_(ElementsOf(procedure)) {}

  bool Read(const Instance& within, PerformanceMap& map) {
    QV_VarParam& flow = *Elements(arguments_.abscissa)[0];
    QV_VarParam& speed = *Elements(arguments_.speed)[0];
    QV_VarParam& value = *elements_.elements[elements_.inputs];
    map.block = InstanceName(within);
    map.flow_name = HolderName(flow, &within);
    map.flow_unit = UnitOf(flow);
    map.value_name = HolderName(value, &within);
    map.value_unit = UnitOf(value);
    map.flow_description = DescriptionOf(within, map.flow_name);
    map.value_description = DescriptionOf(within, map.value_name);
    map.flow = flow.RealValue();
    map.speed = speed.RealValue();
    map.has_surge = arguments_.surge >= 0;
    if (!ValueAt(map.value)) return false;

    const long long curves = procedure_.ArgumentElements(arguments_.speeds);
    const double flow_before = flow.RealValue(), speed_before = speed.RealValue();
    for (long long i = 0; i < curves; ++i) {
      PerformanceMap::Curve curve{Elements(arguments_.speeds)[i]->RealValue(), {}, {}};
      double first = 0, last = 0;
      if (!Ends(i, curves, first, last)) continue;
      SetReal(speed, curve.speed);
      for (int k = 0; k <= kSamples; ++k) {
        SetReal(flow, first + (last - first) * k / kSamples);
        double reading = 0;
        if (!ValueAt(reading)) continue;
        curve.flow.push_back(flow.RealValue());
        curve.value.push_back(reading);
      }
      map.curves.push_back(std::move(curve));
    }
    SetReal(flow, flow_before);
    SetReal(speed, speed_before);
    return true;
  }

 private:
  static std::string DescriptionOf(const Instance& within, const std::string& name) {
    const int place = within.type().Find(name);
    const char* text = place < 0 ? nullptr : within.type().properties[static_cast<size_t>(place)].description;
    return text ? text : "";
  }
  static void SetReal(QV_VarParam& holder, double value) { HostAccess::Real(holder) = value; }

  QV_VarParam* const* Elements(int argument) {
    long long first = 0;
    for (int k = 0; k < argument; ++k) first += procedure_.ArgumentElements(k);
    return elements_.elements + first;
  }

  // First and last abscissa of a curve: of its points, or the given surge and stonewall of a polynomial.
  bool Ends(long long curve, long long curves, double& first, double& last) {
    const long long count = procedure_.ArgumentElements(arguments_.abscissas);
    const int points =
        Elements(arguments_.counts)[std::min(curve, procedure_.ArgumentElements(arguments_.counts) - 1)]
            ->IntegerValue();
    if (count >= 2 * curves && points >= 2) {
      const long long row = curve * (count / curves);
      first = Elements(arguments_.abscissas)[row]->RealValue();
      last =
          Elements(arguments_.abscissas)[row + std::min<long long>(points, count / curves) - 1]->RealValue();
      return last > first;
    }
    if (arguments_.surge < 0 || curve >= procedure_.ArgumentElements(arguments_.surge)) return false;
    first = Elements(arguments_.surge)[curve]->RealValue();
    last = Elements(arguments_.stonewall)[curve]->RealValue();
    return last > first;
  }

  bool ValueAt(double& value) {
    std::vector<double> residuals(static_cast<size_t>(elements_.outputs));
    if (!EvaluateProcedure(procedure_, residuals.data(), nullptr)) return false;
    value = elements_.elements[elements_.inputs]->RealValue() - residuals[0];
    return true;
  }

  QV_ProcedureType_F& procedure_;
  const CurveArguments& arguments_;
  ProcedureElements elements_;
};

}  // namespace

std::vector<PerformanceMap> ReadPerformanceMaps(CaseRun& run) {
  std::vector<PerformanceMap> maps;
  InstanceRecord record;
  Scope& scope = run.flowsheet().scope();
  for (Instance* instance : run.flowsheet().Instances()) {
    ReadEquations(*instance, record);
    const CurrentGuard guard({&scope, nullptr, nullptr, nullptr});
    std::set<QV_ProcedureType*> seen;
    for (const EmittedEquation& equation : record.emission.equations) {
      auto* procedure = dynamic_cast<QV_ProcedureType_F*>(equation.procedure);
      if (!procedure || !seen.insert(procedure).second) continue;
      const std::string name = TypeName(typeid(*procedure));
      for (const CurveArguments& arguments : kCurveProcedures) {
        if (name != arguments.procedure) continue;
        PerformanceMap map;
        if (MapReader(*procedure, arguments).Read(*instance, map)) maps.push_back(std::move(map));
      }
    }
  }
  return maps;
}

}  // namespace quiver
