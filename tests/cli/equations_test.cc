// SPDX-License-Identifier: Apache-2.0
// quiver equations MODEL --json: streams token by token, and the shape of every document.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include "tests/cli/program.h"

namespace quiver::testing {
namespace {

using ::testing::ElementsAre;

// A stream as it is read: operator codes bare, "int 1", "real 2", texts in quotes, names.
std::string Stream(const Json& tokens) {
  std::string text;
  for (const Json& token : tokens) {
    if (!text.empty()) text += ' ';
    if (token.contains("op")) text += token["op"].dump();
    if (token.contains("int")) text += "int" + token["int"].dump();
    if (token.contains("real")) text += token["real"].dump();
    if (token.contains("text")) text += token["text"].dump();
    if (token.contains("var")) text += token["var"].get<std::string>();
    EXPECT_EQ(token.size(), 1u) << token;
  }
  return text;
}

std::vector<std::string> Names(const Json& list) { return list.get<std::vector<std::string>>(); }

TEST(Equations, ReliefOfALiquid) {
  const Answer answer = Quiver({"equations", "PSV_SIMPLE", "--json"});
  ASSERT_EQ(answer.status, 0) << answer.err;
  const Json document = answer.Document();
  EXPECT_EQ(document["model"], "PSV_SIMPLE");
  EXPECT_EQ(document["identity"], "Model PSV_SIMPLE\tV11");
  EXPECT_EQ(document["count"], 2);
  ASSERT_EQ(document["equations"].size(), 2u);

  EXPECT_EQ(document["equations"][0].dump(),
            R"({"index":0,"name":"DP_Limited","group":1,"kind":"procedure","procedure":"QVProc_PLIMIT",)"
            R"("inputs":["P_DROP","DPMIN","DPMAX"],"output":"PDROPC","condition":null})");
  const Json& flux = document["equations"][1];
  EXPECT_EQ(flux["name"], "MassFlux");
  EXPECT_EQ(flux["index"], 1);
  EXPECT_EQ(flux["group"], 2);
  EXPECT_EQ(flux["kind"], "ordinary");
  EXPECT_TRUE(flux["condition"].is_null());
  EXPECT_EQ(Stream(flux["tokens"]),
            "20 22 21 FLUX 20 int1 21 AREA_RATIO AREA_RATIO 21 2.0 MW 22 21 22 PDROPC UCF8 RHO 19 FLUX EPS");
  EXPECT_THAT(Names(flux["nonzeros"]),
              ElementsAre("FLUX", "AREA_RATIO", "AREA_RATIO", "MW", "PDROPC", "UCF8", "RHO", "FLUX", "EPS"));
}

struct Connection {
  const char* option;
  const char* elbow;  // the three equations that depend on it; null: absent
  const char* straight_tee;
  const char* branch_tee;
};

class PipeFittings : public ::testing::TestWithParam<Connection> {};

TEST_P(PipeFittings, StreamsFollowTheConnection) {
  std::vector<std::string> arguments = {"equations", "PIPEFITTINGS", "--json"};
  if (GetParam().option)
    arguments.insert(arguments.end(), {"--set", fmt::format("FITCONNECT={}", GetParam().option)});
  const Answer answer = Quiver(arguments);
  ASSERT_EQ(answer.status, 0) << answer.err;
  std::vector<std::string> expected = {
      "ini_length: 20 XLIN 21 21 2.4051 19 1.0 21 39.372 DIAM 24 DIAM 0.1975",
      "ini_elbow_len: 20 XELBI 21 XLIN ELBOWNO",
      "ini_strtee_len: 20 XSTRTEEI 21 XLIN STRTEENO",
      "ini_brchtee_len: 20 XBRHTEEI 21 XLIN BRCHTEENO",
      "gateval_len: 20 XGATE 21 0.1 21 XLIN GATVALNO",
      "Butterval_len: 20 XBUTT 21 0.8 21 XLIN BUTVALNO",
      "miscld_len: 20 XOTHER 21 DIAM LDIAM",
      "equiv_len: 20 XLENGTH 19 19 L XELBO 19 19 XSTRTEEO XBRHTEEO 19 19 XGATE XBUTT XOTHER"};
  if (GetParam().elbow)
    expected.insert(expected.begin() + 6, {GetParam().elbow, GetParam().straight_tee, GetParam().branch_tee});

  const Json document = answer.Document();
  EXPECT_EQ(document["count"], expected.size());
  std::vector<std::string> found;
  for (size_t i = 0; i < document["equations"].size(); ++i) {
    const Json& equation = document["equations"][i];
    found.push_back(equation["name"].get<std::string>() + ": " + Stream(equation["tokens"]));
    EXPECT_EQ(equation["index"], i);
    EXPECT_EQ(equation["group"], i + 1);
  }
  EXPECT_EQ(found, expected);
}

constexpr const char* kFlangedElbow = "elbow_len: 20 XELBO 21 0.18 XELBI";
constexpr const char* kFlangedStraight = "strtee_len: 20 XSTRTEEO 21 0.1 XSTRTEEI";
constexpr const char* kFlangedBranch = "brchtee_len: 20 XBRHTEEO 21 0.45 XBRHTEEI";
constexpr const char* kScrewedElbow = "elbow_len: 20 XELBO 21 0.45 XELBI";
constexpr const char* kScrewedStraight = "strtee_len: 20 XSTRTEEO 21 0.15 XSTRTEEI";
constexpr const char* kScrewedBranch = "brchtee_len: 20 XBRHTEEO 21 0.7 XBRHTEEI";
INSTANTIATE_TEST_SUITE_P(
    Connections, PipeFittings,
    ::testing::Values(Connection{"Flanged-Welded", kFlangedElbow, kFlangedStraight, kFlangedBranch},
                      Connection{"flANGED-wELDED", kFlangedElbow, kFlangedStraight, kFlangedBranch},
                      Connection{"Screwed", kScrewedElbow, kScrewedStraight, kScrewedBranch},
                      Connection{"SCREWED", kScrewedElbow, kScrewedStraight, kScrewedBranch},
                      Connection{"Flanged", nullptr, nullptr, nullptr},
                      Connection{nullptr, nullptr, nullptr, nullptr}));

TEST(Equations, ForPeopleAreFormulas) {
  const Answer answer = Quiver({"equations", "psv_simple"});
  EXPECT_EQ(answer.status, 0);
  EXPECT_THAT(answer.out, ::testing::HasSubstr("PDROPC = PLIMIT(P_DROP, DPMIN, DPMAX)"));
  EXPECT_THAT(answer.out, ::testing::HasSubstr(
                              "FLUX*(1 - AREA_RATIO*AREA_RATIO)/(2.0*MW) = PDROPC/UCF8*RHO/(FLUX + EPS)"));
  EXPECT_EQ(answer.err, "");
}

// The arity of an operator code; -1: a list closed by code 0.
int Arity(int code) {
  switch (code) {
    case 0:
    case 55:
      return 0;
    case 1:
    case 15:
    case 26:
    case 27:
    case 34:
    case 35:
    case 36:
    case 37:
    case 38:
    case 39:
    case 40:
      return 1;
    case 44:
    case 45:
    case 46:
    case 47:
      return -1;
    default:
      return 2;
  }
}

// The position behind the tree that begins at `at`.
size_t BehindTree(const Json& tokens, size_t at) {
  if (at >= tokens.size()) return tokens.size() + 1;
  const Json& token = tokens[at++];
  if (!token.contains("op")) return at;
  const int arity = Arity(token["op"]);
  if (arity < 0) {
    while (at < tokens.size() && tokens[at] != Json{{"op", 0}}) at = BehindTree(tokens, at);
    return at + 1;
  }
  for (int i = 0; i < arity; ++i) at = BehindTree(tokens, at);
  return at;
}

// Every model of the catalogue, with two components, as it comes.
TEST(Equations, OfEveryModelAreWellFormed) {
  for (const Json& model : Quiver({"list", "models", "--json"}).Document()) {
    const std::string name = model["name"];
    const Answer answer = Quiver({"equations", name, "--components", "N2,O2", "--json"});
    ASSERT_EQ(answer.status, 0) << name << ": " << answer.err;
    const Json document = answer.Document();
    EXPECT_EQ(document["identity"], model["identity"]);
    std::set<int> indices;
    int group = 1;
    for (const Json& equation : document["equations"]) {
      const std::string label = name + "." + equation["name"].get<std::string>();
      indices.insert(equation["index"].get<int>());
      EXPECT_TRUE(equation["group"] == group || equation["group"] == group + 1) << label;
      group = equation["group"];
      for (Json condition = equation["condition"]; condition.is_object();
           condition = condition.contains("outer") ? condition["outer"] : Json()) {
        const Json& tokens = condition["tokens"];
        EXPECT_EQ(tokens.empty(), condition["label"].is_null()) << label;
        EXPECT_TRUE(tokens.empty() || BehindTree(tokens, 0) == tokens.size()) << label << ' ' << condition;
        EXPECT_TRUE(condition["branch"].is_number_integer()) << label;
      }
      if (equation["kind"] == "procedure") {
        EXPECT_TRUE(equation["procedure"].get<std::string>().starts_with("QVProc_")) << label;
        EXPECT_TRUE(equation["output"].is_string() && equation["inputs"].is_array()) << label;
      } else {
        EXPECT_EQ(equation["kind"], "ordinary") << label;
        EXPECT_EQ(BehindTree(equation["tokens"], 0), equation["tokens"].size()) << label;
        EXPECT_FALSE(equation["nonzeros"].empty()) << label;
      }
    }
    EXPECT_EQ(document["count"], indices.size()) << name;
    EXPECT_TRUE(model["specified"] != false || document["count"] == 0) << name;
  }
}

}  // namespace
}  // namespace quiver::testing
