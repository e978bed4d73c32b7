// SPDX-License-Identifier: Apache-2.0
// What models and blocks declare, in declaration order, against the table in declarations.txt. There
//
//   model PSV_SIMPLE
//   DPMAX global REALPARAMETER "Pressure drop upper limit (bar)" | DPMIN | P_DROP own PRESS_DIFF    global, external or its own,
//                                                          and the type without QV_, are written where they change
//   Y MOLEFRACTION[2] | FVAP PSV_VAP[0]                    arrays of so many elements, before anybody sizes them
#include <fstream>

#include "runtime/system/describe.h"
#include "tests/models/relief/model_run.h"

namespace quiver::tests {
namespace {

std::string Declarations(const std::string& model) {
  ModelRun run(model, {"water", "propane"}, "");
  std::string lines, kind, type;
  for (const PropertyDescription& p : DescribeProperties(*run.flowsheet().blocks().front())) {
    lines += p.name;
    const std::string_view of = p.kind, refers = of == "global" || of == "external" ? of : "own";
    if (refers != kind) lines += fmt::format(" {}", kind = refers);
    std::string typed = p.type.substr(p.type.starts_with("QV_") ? 3 : 0);
    if (p.array) typed += fmt::format("[{}]", fmt::join(p.dims, ","));
    if (typed != type) lines += fmt::format(" {}", type = typed);
    if (p.description) lines += fmt::format(" \"{}\"", p.description);
    lines += "\n";
  }
  return lines;
}

TEST(Declarations, are_those_of_the_table) {
  std::ifstream file(std::string(QUIVER_SOURCE_DIR) + "/tests/models/defaults/declarations.txt");
  ASSERT_TRUE(file.good());
  std::vector<std::pair<std::string, std::string>> models;
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line[0] == '#') continue;
    if (line.starts_with("model ")) {
      models.emplace_back(line.substr(6), "");
      continue;
    }
    for (size_t at; (at = line.find(" | ")) != std::string::npos;) line.replace(at, 3, "\n");
    models.back().second += line + "\n";
  }
  ASSERT_EQ(models.size(), 25u);
  for (const auto& [model, expected] : models) EXPECT_EQ(Declarations(model), expected) << model;
}

}  // namespace
}  // namespace quiver::tests
