// SPDX-License-Identifier: Apache-2.0
// Level, wetted wall and volume of a cylindrical vessel with two equal heads. Orientation is "Vertical" or
// "Horizontal", the head type "Elliptical" (2:1), "Hemispherical", "Torispherical" (ASME flanged and dished),
// "Conical" (45 degrees) or "Flat"; L is the length between the tangent lines. The level counts from the
// lowest point of the inside: of the bottom head of a vertical vessel, of the shell of a horizontal one. All
// in metres.
#include "routines/numerics/vessel_geometry.h"

#include "routines/routine_arguments.h"

using quiver::routines::Failure;
using quiver::routines::RoutineCall;
using quiver::routines::Vessel;

namespace {

// Length, diameter and the two options from the inputs 1 to 4; false after the call has failed.
bool ReadVessel(RoutineCall& call, Vessel& vessel) {
  vessel.length = call.Real(1);
  vessel.diameter = call.Real(2);
  const auto orientation = quiver::routines::OrientationNamed(call.Text(3));
  const auto heads = quiver::routines::HeadTypeNamed(call.Text(4));
  if (!(vessel.length >= 0)) return call.Fail(Failure::kOutOfRange, 1), false;
  if (!(vessel.diameter > 0)) return call.Fail(Failure::kOutOfRange, 2), false;
  if (!orientation) return call.Fail(Failure::kUnknownText, 3), false;
  if (!heads) return call.Fail(Failure::kUnknownText, 4), false;
  vessel.orientation = *orientation;
  vessel.heads = *heads;
  return true;
}

}  // namespace

// PLEVVES(V, L, D, orientation, heads): the level of a liquid volume V in m3. An overfull vessel has the full
// level, a negative volume level 0, both with no derivative to V; d(level)/dV is otherwise 1 / (free
// surface), which the first and last 1e-15 of the vessel replace by a finite slope. Fails for L < 0, D <= 0
// and unknown texts.
ROUTINE(ZX40RM_splevv, "r* r* r* s* s* -> r") {
  Vessel vessel;
  if (!ReadVessel(call, vessel)) return;
  const auto level = quiver::routines::LiquidLevel(vessel, call.Real(0));
  if (!level.solved) return call.Fail(Failure::kNoSolution, 0);
  call.SetOutput(0, level.value);
  if (call.WantsDerivatives()) {
    call.SetDerivative(0, 0, level.by_volume);
    call.SetDerivative(0, 1, level.by_length);
    call.SetDerivative(0, 2, level.by_diameter);
  }
}

// PWETAREAVES(level, L, D, orientation, heads): the inner wall in m2 that liquid of that level wets, heads
// included. The flat ends of a vertical vessel do not count (its floor stands on the ground, and an empty
// tank wets no wall); those of a horizontal one do. A level below 0 wets nothing, one above full everything,
// with no derivative to the level. Within a vertical vessel's shell the area holds the whole bottom head, so
// a model may take the head off again. Fails for L < 0, D <= 0 and unknown texts.
ROUTINE(ZX40RM_spwav, "r* r* r* s* s* -> r") {
  Vessel vessel;
  if (!ReadVessel(call, vessel)) return;
  const auto area = quiver::routines::WettedArea(vessel, call.Real(0));
  call.SetOutput(0, area.value);
  if (call.WantsDerivatives()) {
    call.SetDerivative(0, 0, area.by_level);
    call.SetDerivative(0, 1, area.by_length);
    call.SetDerivative(0, 2, area.by_diameter);
  }
}

// PVTVOL(L, D, heads): the volume in m3 of the whole vessel, shell and both heads. The catalogue gives name
// and arguments only; that the two reals are length and diameter, in the order of PLEVVES, is our reading.
// The component list that its caller opens is not needed. Fails for L < 0, D <= 0 and an unknown head type.
ROUTINE(ZX40RM_spvtvol, "r* r* s* -> r") {
  Vessel vessel;
  vessel.length = call.Real(0);
  vessel.diameter = call.Real(1);
  const auto heads = quiver::routines::HeadTypeNamed(call.Text(2));
  if (!(vessel.length >= 0)) return call.Fail(Failure::kOutOfRange, 0);
  if (!(vessel.diameter > 0)) return call.Fail(Failure::kOutOfRange, 1);
  if (!heads) return call.Fail(Failure::kUnknownText, 2);
  vessel.heads = *heads;
  const auto volume = quiver::routines::VesselVolume(vessel);
  call.SetOutput(0, volume.value);
  if (call.WantsDerivatives()) {
    call.SetDerivative(0, 0, volume.by_length);
    call.SetDerivative(0, 1, volume.by_diameter);
  }
}
