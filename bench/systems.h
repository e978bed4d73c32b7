// SPDX-License-Identifier: Apache-2.0
// The systems that evaluation is measured on, read from the models as they emit themselves.
//
//   System copies = RepeatedReliefMethod(1000);     // PSV_SW, every copy with other values
//   SystemEvaluator evaluator(copies.List());
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "runtime/evaluation/equation_list.h"

namespace quiver::bench {

struct System {
  std::string what;
  std::shared_ptr<const ShapeStore> shapes;  // with whatever else must live with them
  std::vector<int> shape_of, gathers;
  std::vector<unsigned char> is_fixed;
  std::vector<double> x;

  int equations() const { return static_cast<int>(shape_of.size()); }
  EquationList List() const { return {shapes.get(), shape_of, gathers, is_fixed}; }
};

// The two-phase relief method for a saturated inlet, 25 equations a copy. Variables are numbered as in psv_sw_by_hand.h.
System RepeatedReliefMethod(int copies);
// Every equation of every model of the catalogue, alternatives included, each formula once.
System WholeCatalogue();
// An example of the repository at its solution, but for what procedures compute: six relief valves with their ports.
System CoupledFlowsheet();

// Their streams, to measure how they are taken in: of one copy, and of the catalogue.
std::vector<std::vector<Token>> ReliefMethodStreams();
std::vector<std::vector<Token>> CatalogueStreams();

}  // namespace quiver::bench
