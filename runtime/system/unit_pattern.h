// SPDX-License-Identifier: Apache-2.0
// What the equations of like instances have in common. A description is read once: the pattern keeps, with places in
// the instance instead of properties, everything that the instance told, and what its choices were read from. Another
// instance of the type whose properties read alike has the same equations, and gets them without telling them again.
//
//   if (pattern.Fits(instance, numbers)) ...   // numbers[slot]: the number of each property that takes part
//
// PatternBuilder makes patterns; see also docs/repeated-units.md.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "host/procedure.h"
#include "runtime/contract/readings.h"
#include "runtime/expression/shape.h"
#include "runtime/system/holder_path.h"
#include "runtime/system/records.h"

namespace quiver {

class UnitPattern {
 public:
  // `places` count from the start of the unit's own part of the list of places.
  struct Condition {
    int shape = -1;
    int places = 0;
  };
  struct Alternative {
    int shape = -1;  // -1: a procedure's output
    int places = 0;  // as many as the shape has variables
    int call = -1, output = 0;
    int first_condition = 0, condition_count = 0;
    int columns = -1;  // in `columns`: where each place's slope stands in the row; -1: in the same order
    const char* name = "";
    const char* label = nullptr;  // of its innermost condition
  };
  struct Equation {
    int first = 0, alternative_count = 0;  // in `alternatives`
    int row = 0, row_count = 0;            // the distinct variables of all alternatives, in `places`
    int condition_row = 0, condition_row_count = 0;
    int state = -1;  // which of the unit's states tells the alternative in use; -1: there is one only
  };
  struct Call {
    QV_ProcedureType* procedure = nullptr;  // of the instance that told; serves all, a call at a time
    int inputs = 0, outputs = 0;
    int places = 0;  // of its elements: inputs, then outputs
  };
  // A property that takes part.
  struct Slot {
    HolderPath path;
    QV_VarParam* holder = nullptr;  // in the instance that told
    bool in_row = false, in_call = false, is_left_side = false;
  };
  // A property that the text read, and what it found.
  struct Finding {
    HolderPath path;
    Reading::What what;
    std::uint64_t bits;
  };

  std::vector<Equation> equations;
  std::vector<Alternative> alternatives;
  std::vector<Condition> conditions;
  std::vector<Call> calls;
  std::vector<Slot> slots;
  std::vector<int> places;    // slots
  std::vector<int> distinct;  // in `places`: where each slot first stands
  std::vector<int> columns;
  std::vector<Finding> findings;
  int states = 0;
  // Whether the paths lead to all it names, so that it can stand for other instances; and whether it was compared with
  // what a second instance told.
  bool is_repeatable = true, is_confirmed = false;
  // What that second instance told: the same with procedures of its own, which another thread may call meanwhile.
  const UnitPattern* confirmation = nullptr;

  // Whether an instance of the type has these equations; if so, the numbers of its properties by slot.
  bool Fits(Instance& instance, std::vector<int>& numbers) const;
  // The same equations with the same properties: numbers as given by Fits.
  bool Equals(const std::vector<int>& numbers, const UnitPattern& other,
              const std::vector<int>& other_numbers) const;
};

// The equations of an instance, or of a tie: a pattern with this instance's variables.
struct Unit {
  const UnitPattern* pattern;
  const Instance* instance;  // null: a tie
  const char* name;          // of a tie
  int first_equation;
  int first_place;  // in UnitList::places
  int first_state;  // in UnitList::states
};
// Which alternative of an equation is in use.
struct AlternativeState {
  int place = 0;        // of its alternatives; -1: none holds
  int alternative = 0;  // the last one that held, in the pattern
};
struct UnitList {
  std::vector<Unit> units;
  std::vector<int> places;  // of all units: the numbers of their variables
  std::vector<AlternativeState> states;
  const int* PlacesOf(const Unit& unit, int first) const { return places.data() + unit.first_place + first; }
};

// The patterns of a simulation's instances.
class PatternStore {
 public:
  // `written_out`: every instance tells its own equations; for comparison.
  explicit PatternStore(bool written_out) : written_out_(written_out) {}

  // The pattern of an instance and the numbers of its properties. Null when the instance failed or has faults, which
  // are then in its scope.
  const UnitPattern* PatternOf(Instance& instance, std::vector<int>& numbers);

  const ShapeStore& shapes() const { return shapes_; }
  // Of a shape, with its variables numbered by first appearance.
  const std::vector<Token>& Stream(int shape) const { return streams_[static_cast<size_t>(shape)]; }
  int Intern(const std::vector<Token>& stream, std::vector<int>& gather);
  int written_out() const { return instances_written_out_; }
  int patterns() const { return static_cast<int>(patterns_.size()); }

 private:
  struct OfType {
    std::vector<UnitPattern*> known;  // the last one used first
    bool repeats = true;              // false: it told different things although it read alike
  };
  UnitPattern* Read(Instance& instance, std::vector<int>& numbers);

  bool written_out_;
  int instances_written_out_ = 0;
  ShapeStore shapes_;
  std::vector<std::vector<Token>> streams_;
  std::vector<std::unique_ptr<UnitPattern>> patterns_;
  std::unordered_map<const TypeTable*, OfType> types_;
  InstanceRecord record_;
  Readings readings_;
};

// What a reading finds now.
std::uint64_t FindingOf(const QV_VarParam& holder, Reading::What what);

}  // namespace quiver
