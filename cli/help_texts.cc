// SPDX-License-Identifier: Apache-2.0
#include "cli/help_texts.h"

#include <fmt/format.h>

namespace quiver {

std::span<const HelpExample> HelpExamples() {
  static constexpr HelpExample kExamples[] = {
      {"list", "quiver list models", "all models, and which of them are specified"},
      {"list", "quiver list procedures --json", "the routines that models call, for a program"},
      {"show", "quiver show VALTYPE", "properties with types, defaults and units"},
      {"show", "quiver show PSV_VAP --components nitrogen,oxygen",
       "arrays take their size from the components"},
      {"equations", "quiver equations PIPEFITTINGS --set FITCONNECT=Screwed",
       "the equations under an option"},
      {"explain", "quiver explain PSV_SIMPLE", "what the model computes, in words and equations"},
      {"explain", "quiver explain", "all models with a line each"},
      {"solve", "quiver solve examples/liquid_relief/case.yaml", "a case file"},
      {"solve", "quiver solve VALTYPE --set CHAR_EQN=LINEAR --fix POS=40 --fix CVMAX=200",
       "a model without a file"},
      {"diagnose", "quiver diagnose examples/relief_gas/case.yaml",
       "degrees of freedom, units, bounds, switches"},
      {"bench", "quiver bench examples/relief_gas/case.yaml --repeat 100",
       "where the time goes for a hundred copies"},
      {"sweep", "quiver sweep examples/liquid_relief/case.yaml --vary \"psv.P_DROP=1..10 bar:10\"",
       "ten pressure drops"},
      {"simulate", "quiver simulate examples/vessel_fire/case.yaml --plot fire.svg",
       "over time, with curves"},
      {"report", "quiver report examples/relief_pool_fire/case.yaml",
       "writes a page with results, equations and plots"},
      {"export", "quiver export examples/pipe_fittings/case.yaml --nl fittings.nl",
       "equations for other solvers"},
      {"export", "quiver export examples/liquid_relief/case.yaml --at solution --matrix-market jacobian.mtx",
       "the Jacobian at the solution"},
      {"map", "quiver map COMPRPERFCURVE --fix FV_IN=9000 --fix ACTSHAFTSPEED=3300",
       "a compressor's map with the operating point"},
      {"props", "quiver props --components propane,n-butane --T 25 --P \"5 bar\" --z 0.5,0.5",
       "flash and phase properties"},
      {"help", "quiver help cases", "how a case file is written"},
      {"man", "quiver man", "the manual page, for man -l -"},
      {"completion", "quiver completion bash", "the script to source"},
  };
  return kExamples;
}

std::string ExamplesOf(std::string_view command) {
  std::string text;
  for (const HelpExample& example : HelpExamples())
    if (command == example.command) text += fmt::format("  # {}\n  {}\n", example.about, example.line);
  return text.empty() ? text : "Examples:\n" + text;
}

std::span<const HelpTopic> HelpTopics() {
  static constexpr HelpTopic kTopics[] = {
      {"cases", "how a case file is written",
       R"(A case file is YAML (or JSON). It names blocks, gives each a model, and says what is known:

  title: Liquid relief through an orifice
  components: [water]
  blocks:
    psv:
      model: PSV_SIMPLE
      set: {}                      # options and parameters, read before the equations are set up
      fix: {P_DROP: 6 bar, RHO: 55.3, MW: 18.015, AREA_RATIO: 0}
      guess: {FLUX: 1e4}           # where a computed value starts from
  connect:                         # "fire.HEATLOAD = valve.HEATLOAD", or ports: "tee.OUT_P -> pipe.IN_F"
    []
  report: [psv.FLUX]               # what is printed; all values that matter when left out

What is wrong is reported with line and column. The schema is docs/case.schema.json.
)"},
      {"names", "how values are named",
       R"(  P_DROP                a property of the model
  psv.P_DROP            of the block psv in a case file
  CSPEED(2)             an element of an array
  HEADR(3,1)            of a table
  Y(nitrogen)           an element over the components
  IN_F.P                a member of a port: F, Z(component), H, P, T, V, AV
  IN_F(1).F             of a stream of a port that takes several

`quiver show MODEL` lists them. Upper and lower case are the same.
)"},
      {"units", "values with units",
       R"(A value may carry a unit: "150 psi", "25 degC", "10000 kg/hr", "4 inch". Without one it is in the unit of the model, which
`quiver show MODEL` prints: bar, degrees Celsius, kmol, GJ/hr, kg/m2/s. Pressures are absolute. On a command line a value with a
blank needs quotes: --fix "P=12 bar".
)"},
      {"status", "what the exit status says",
       R"(  0   done
  1   the work was done and its answer is "no": the case did not converge, a check found faults
  2   the request was wrong: an unknown model, a bad file. The message names what, where and what to do.

Results go to standard output, everything else to standard error. With --json standard output is one JSON document.
)"},
      {"formats", "what the exported files hold",
       R"(quiver export CASE --nl FILE writes the equations in the .nl format, which many solvers read (D. M. Gay, Writing .nl Files,
2005). Every equation is a constraint with both sides equal, the objective is the constant 0, the start is the case's own. The
files .row and .col beside it name rows and columns in the file's order, nonlinear ones first.

  given values and parameters    are numbers in the formulas; --keep-given leaves given variables as variables with equal bounds
  conditions                     become "if" expressions; --current writes only what holds at the point
  routines with a formula        (limits, ramps, guarded division, products) are written as that formula
  other routines                 (physical properties, tables, integrals) cannot be written: the export says which equation calls
                                 which. --linearise-procedures writes their first-order expansion at the point of --at instead;
                                 at the solution the exported system has the same solution, elsewhere it is an approximation.

quiver export CASE --matrix-market FILE writes the Jacobian by the unknowns, with FILE.row and FILE.col.
)"},
      {"trouble", "when a case does not solve",
       R"(  "2 variables have only 1 equation"   too little is given: fix one of the variables named
  "... both fix ..."                   too much is given: free one of the values named
  a value left its bounds              start nearer to the solution: guess, or --guess NAME=VALUE
  the wrong root                       the start decides: guess on the right side of it
  none of its conditions holds         an option chooses a case the model has no equation for

`quiver equations MODEL --set ...` shows the equations under the options chosen.
)"},
  };
  return kTopics;
}

}  // namespace quiver
