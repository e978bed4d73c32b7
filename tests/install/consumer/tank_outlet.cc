// SPDX-License-Identifier: Apache-2.0
// Liquid leaves a tank through a hole in its side. Level and diameter in m, speed in m/s, flow in m3/hr.
//
//   quiver --library libtank_models.so solve TANK_OUTLET --fix "LEVEL=2 m" --fix "DIAM=50 mm"
#include "frame/model.h"
#include "host/library.h"
#include "procedures/calls.h"

struct QV_EXPORT QV_TANK_OUTLET : QV_GENERICMODEL {
  MODEL_TEXT(TANK_OUTLET)

  PARAMETER(QV_STRINGPARAMETER, EDGE, "Sharp or Rounded")
  PARAMETER(QV_REALPARAMETER, HEIGHT, "Height of the tank's rim above the hole (m)")
  PARAMETER(QV_REALPARAMETER, GRAVITY, "Acceleration of free fall (m/s2)")
  VARIABLE(QV_LENGTH, LEVEL, "Liquid above the hole")
  VARIABLE(QV_LENGTH, HEAD, "Liquid above the hole, no more than the rim holds")
  VARIABLE(QV_LENGTH, DIAM, "Diameter of the hole")
  VARIABLE(QV_FRACTION, CD, "Discharge coefficient")
  VARIABLE(QV_VELOCITY, SPEED, "Speed of the jet")
  VARIABLE(QV_FLOW_VOL, FLOW)

  void Assignments(Assigner& set) {
    set(EDGE, "Sharp");
    set(HEIGHT, 10.0);
    set(GRAVITY, 9.80665);
  }

  void Equations(Equate& eq) {
    eq("Overflow", HEAD == PLIMIT(LEVEL, 0.0, HEIGHT));
    // clang-format off
    eq.when(is(EDGE, "Sharp"), [&] { eq("Contraction", CD == 0.61); })
        .orWhen(is(EDGE, "Rounded"), [&] { eq("Contraction", CD == 0.97); });
    // clang-format on
    // Torricelli's law.
    eq("Speed", SPEED == sqrt(2.0 * GRAVITY * HEAD));
    eq("Flow", FLOW == 3600.0 * CD * (0.7853981633974483 * DIAM * DIAM) * SPEED);
  }
};
EXPORT_MODEL(TANK_OUTLET)

// What the library tells about itself. Defined outside the class: inside, nothing would be exported.
class QV_EXPORT QV_ModelLibrary {
 public:
  static const QV_ModelRow* Models(long long* count);
};
const QV_ModelRow* QV_ModelLibrary::Models(long long* count) {
  static const QV_ModelRow rows[] = {{"TANK_OUTLET", QV_TANK_OUTLET::QV_ContainerId(), "true"}};
  *count = 1;
  return rows;
}
