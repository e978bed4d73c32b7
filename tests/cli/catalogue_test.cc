// SPDX-License-Identifier: Apache-2.0
// quiver list and quiver show: documents with the promised keys, for the whole catalogue.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <limits>

#include "tests/cli/program.h"
#include "tests/cli/system.h"

namespace quiver::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

std::vector<std::string> Keys(const Json& object, size_t first) {
  std::vector<std::string> keys;
  for (const auto& [key, value] : object.items())
    if (keys.size() < first) keys.push_back(key);
  return keys;
}

Json Document(const std::vector<std::string>& arguments) {
  const Answer answer = Quiver(arguments);
  EXPECT_EQ(answer.status, 0) << answer.err;
  EXPECT_EQ(answer.err, "");
  return answer.Document();
}

TEST(List, ModelsAreTheCatalogueAndSayWhatTheyDeclare) {
  const Json models = Document({"list", "models", "--json"});
  std::set<std::string> names, structures, blocks;
  for (const Json& model : models) {
    EXPECT_THAT(Keys(model, 4), ElementsAre("name", "identity", "specified", "library"));
    if (model["library"].get<std::string>().find("quiver_blocks") != std::string::npos) {
      EXPECT_EQ(model["specified"], true);
      blocks.insert(model["name"]);
      continue;
    }
    const std::string name = model["name"], identity = model["identity"];
    names.insert(name);
    if (identity.starts_with("Structure ")) structures.insert(name);
    EXPECT_EQ(identity.substr(identity.find(' ')), fmt::format(" {}	V11", name));
    EXPECT_TRUE(identity.starts_with("Model ") || identity.starts_with("Structure ")) << identity;
    EXPECT_TRUE(model["specified"].is_boolean() || model["specified"] == "partial") << model;

    const Json properties = Document({"show", name, "--components", "N2,O2", "--json"})["properties"];
    EXPECT_EQ(properties.empty(), model["specified"] == false) << name;
  }
  EXPECT_EQ(names.size(), 79u);
  EXPECT_THAT(blocks, ElementsAre("COMPRESSOR", "FEED", "PUMP", "VALVE", "VESSEL"));
  EXPECT_THAT(structures, ElementsAre("FRGLOBAL", "FRGLOBAL2", "ZNGLOBAL"));
  for (const Json& model : models)
    if (model["name"] == "PSV_SIMPLE" || model["name"] == "PIPEFITTINGS") {
      EXPECT_EQ(model["specified"], true);
    }
}

// Libraries named on the command line come on top; a name that two of them have would leave open which is meant.
TEST(List, LibrariesAddUpAndMustNotClash) {
  const std::string models = std::string(QUIVER_LIBRARY_DIR "/") + SharedLibraryName("quiver_models");
  const size_t all = Document({"list", "models", "--json"}).size();
  EXPECT_EQ(Document({"--library", models, "list", "models", "--json"}).size(), all);
  const Json alone = Document({"--bare", "--library", models, "list", "models", "--json"});
  EXPECT_EQ(alone.size(), 79u);
  EXPECT_EQ(Quiver({"--bare", "list", "models"}).status, 2);

  const std::string copy = QUIVER_BUILD_DIR "/tests/" + SharedLibraryName("copy_of_models");
  std::filesystem::remove(copy);  // mingw's copy_file does not overwrite
  std::filesystem::copy_file(models, copy);
  const Answer clash = Quiver({"--library", copy, "list", "models"});
  EXPECT_EQ(clash.status, 2);
  EXPECT_THAT(clash.err, HasSubstr("both have a model"));
  EXPECT_EQ(Document({"--bare", "--library", copy, "list", "models", "--json"}), Json::parse([&] {
              std::string text = alone.dump();
              const std::string from = SharedLibraryName("quiver_models"),
                                to = SharedLibraryName("copy_of_models");
              for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
                text.replace(at, from.size(), to);
              return text;
            }()));
}

TEST(List, ProceduresAgreeWithTheirOwnCounts) {
  const Json procedures = Document({"list", "procedures", "--json"});
  EXPECT_EQ(procedures.size(), 61u + 34u);
  for (const Json& row : procedures) {
    EXPECT_THAT(Keys(row, 18), ElementsAre("class", "routine", "library", "inputs", "outputs", "dimensions",
                                           "variant", "input_types", "input_dims", "input_is_variable",
                                           "output_types", "output_dims", "derivatives", "precall",
                                           "postcall", "always_call", "component_list", "implemented"));
    for (const char* list : {"input_types", "input_dims", "input_is_variable"})
      EXPECT_EQ(row[list].size(), row["inputs"]) << row;
    for (const char* list : {"output_types", "output_dims"})
      EXPECT_EQ(row[list].size(), row["outputs"]) << row;
    EXPECT_TRUE(row["class"] != "QVProc_PLIMIT" || row["implemented"] == true);
  }
}

TEST(List, TypesAndOperators) {
  const Json types = Document({"list", "types", "--json"});
  EXPECT_EQ(types.size(), 78u);
  for (const Json& type : types) {
    EXPECT_THAT(Keys(type, 8),
                ElementsAre("name", "base", "default", "valid", "lower", "upper", "unit", "quantity"));
    if (type["name"] == "QV_RPM_PARAM") {
      EXPECT_EQ(
          type.dump(),
          R"({"name":"QV_RPM_PARAM","base":"QV_REALPARAMETER","default":100.0,"valid":null,"lower":0.0,"upper":100000.0,)"
          R"("unit":"rpm","quantity":"AngularVelocityRPM"})");
    }
  }
  std::set<int> codes;
  for (const Json& row : Document({"list", "operators", "--json"})) codes.insert(row["code"].get<int>());
  for (const int code : {0, 1, 8, 13, 15, 19, 20, 21, 22, 24, 27, 34, 40, 44, 47, 55, 57, 98, 99})
    EXPECT_TRUE(codes.contains(code)) << code;
}

TEST(Show, PropertiesInDeclarationOrderWithDefaults) {
  const Json document = Document({"show", "psv_simple", "--json"});
  EXPECT_EQ(document["model"], "PSV_SIMPLE");
  std::string rows;
  for (const Json& p : document["properties"]) {
    EXPECT_THAT(Keys(p, 9), ElementsAre("name", "kind", "type", "description", "value", "lower", "upper",
                                        "spec", "array"));
    rows += fmt::format("{} {} {} {} {}\n", p["name"].get<std::string>(), p["kind"].get<std::string>(),
                        p["type"].get<std::string>(), p["description"].dump(),
                        p["kind"] == "global" ? p["value"].dump() : "");
  }
  EXPECT_EQ(rows,
            "DPMAX global QV_REALPARAMETER \"Pressure drop upper limit (bar)\" 5000.0\n"
            "DPMIN global QV_REALPARAMETER null 0.0\n"
            "EPS global QV_REALPARAMETER null 1e-05\n"
            "UCF8 global QV_REALPARAMETER null 1e-05\n"
            "P_DROP variable QV_PRESS_DIFF null \n"
            "PDROPC variable QV_PRESS_DROP \"Limited pressure drop\" \n"
            "FLUX variable QV_FLUX_MASS null \n"
            "MW variable QV_MOLWEIGHT null \n"
            "RHO variable QV_DENS_MOL null \n"
            "AREA_RATIO variable QV_CONSTANT null \n");
}

TEST(Show, ExternalPropertiesComeFirstInPipeFittings) {
  const Json properties =
      Document({"show", "PIPEFITTINGS", "--set", "FITCONNECT=Screwed", "--json"})["properties"];
  std::vector<std::string> externals, described;
  for (const Json& p : properties) {
    if (p["kind"] == "external") externals.push_back(p["name"]);
    if (!p["description"].is_null())
      described.push_back(
          fmt::format("{}: {}", p["name"].get<std::string>(), p["description"].get<std::string>()));
  }
  EXPECT_THAT(externals,
              ElementsAre("BRCHTEENO", "BUTVALNO", "ELBOWNO", "FITCONNECT", "GATVALNO", "LDIAM", "STRTEENO"));
  EXPECT_THAT(described,
              ElementsAre("L: Pipe length", "XLENGTH: Equivalent length of fittings", "DIAM: Pipe diameter"));
  EXPECT_EQ(properties[3]["value"], "Screwed");
}

TEST(Show, RealsReadBackBitForBit) {
  for (const double value : {1.0 / 3, 0.1 + 0.2, 1e-5, 5e-324, std::numeric_limits<double>::min(),
                             1.7976931348623157e308, 123456789.123456789, -0.1, 2.2204460492503131e-16}) {
    char text[40];
    std::snprintf(text, sizeof text, "EPS=%.17g", value);
    const Answer answer = Quiver({"show", "PSV_SIMPLE", "--json", "--global", text});
    if (answer.status != 0) {  // a number that is refused is refused in words
      EXPECT_THAT(answer.err, HasSubstr("range")) << text;
      continue;
    }
    EXPECT_EQ(answer.Document()["properties"][2]["value"].get<double>(), value) << text;
  }
}

TEST(Program, AnswersForPeopleToo) {
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"list", "models"},
                                             {"list", "procedures"},
                                             {"list", "types"},
                                             {"list", "operators"},
                                             {"show", "PSV_SIMPLE"},
                                             {"--help"},
                                             {"solve", "--help"},
                                             {"--version"}}) {
    const Answer answer = Quiver(arguments);
    EXPECT_EQ(answer.status, 0) << arguments.front();
    EXPECT_NE(answer.out, "") << arguments.front();
    EXPECT_EQ(answer.out.find('\x1b'), std::string::npos) << "colour without a terminal";
  }
}

}  // namespace
}  // namespace quiver::testing
