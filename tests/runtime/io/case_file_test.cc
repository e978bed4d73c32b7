// SPDX-License-Identifier: Apache-2.0
// Good cases give one structure from YAML and JSON; bad ones give messages, compared as text.
#include "runtime/io/case_file.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "runtime/io/quantity_text.h"
#include "runtime/io/schema.h"

namespace quiver {
namespace {

std::string Print(const CaseValue& value) {
  switch (value.kind) {
    case CaseValue::Kind::kReal:
      return FormatReal(value.real);
    case CaseValue::Kind::kInteger:
      return std::to_string(value.integer);
    case CaseValue::Kind::kLogical:
      return value.logical ? "true" : "false";
    case CaseValue::Kind::kText:
      return fmt::format("'{}'", value.text);
    case CaseValue::Kind::kQuantity:
      return FormatReal(value.real) + " [" + value.unit + "]";
    case CaseValue::Kind::kList: {
      std::string text = "[";
      for (const CaseValue& item : value.items) text += Print(item) + ";";
      return text + "]";
    }
    case CaseValue::Kind::kTable:
      break;
  }
  std::string text = "{";
  for (const ElementValue& element : value.elements) {
    text += fmt::format("{}{}={};", element.index.index() == 0 ? "#" : "", IndexText(element.index),
                        Print(element.value));
  }
  return text + "}";
}

std::string Print(const std::vector<Assignment>& assignments) {
  std::string text;
  for (const Assignment& assignment : assignments)
    text += fmt::format(" {}={}", assignment.name.Text(), Print(assignment.value));
  return text;
}

std::string Print(const CaseFile& read) {
  std::string text = read.title + "\ncomponents " + fmt::format("{}", fmt::join(read.components, ",")) +
                     "\nglobals" + Print(read.globals);
  for (const CaseBlock& block : read.blocks) {
    text += fmt::format("\nblock {} {}\n set{}\n fix{}\n guess{}", block.name, block.model, Print(block.set),
                        Print(block.fix), Print(block.guess));
  }
  for (const Connection& connection : read.connect) {
    text += fmt::format("\n{} {} {}", connection.left.Text(), connection.directed ? "->" : "=",
                        connection.right.Text());
  }
  for (const ReportedName& reported : read.report) text += "\nreport " + reported.name.Text();
  return text;
}

std::string Faults(const std::string& text) {
  try {
    ReadCaseText(text, "c");
  } catch (const CaseError& error) {
    return error.what();
  }
  return "no fault";
}

constexpr const char* kYaml = R"text(# a comment
title: Fire relief
components: [water, NO, N2]
globals: {EPS: 1e-5}
blocks:
  fire:
    model: FIRECALCS
    set:
      METHOD: Yes            # stays a text
      CHECK: true
      BLOCKVERSION: 13.20
      LABEL: "6"
      N: 3
      CURVE: [1, 2.5, 3 m3/hr]
      X(2): off
    fix: &given
      P: 6 bar
      T: {value: 25, unit: degC}
      DP: {value: [1, 2.0], unit: psi}
  vessel:
    model: VESSEL
    fix: *given
    guess:
      IN_F(1).Z: {N2: 0.8, NO: 0.2}
      TABLE: {1: 0.5, 2: {a: 1}}
      Q: -3.5e2 kg/hr
connect:
  - fire.HEATLOAD = vessel.Q
  - fire.OUT -> vessel.IN_F(1)
report: [fire.HEATLOAD, vessel]
)text";

constexpr const char* kJson = R"text(
{"title": "Fire relief", "components": ["water", "NO", "N2"], "globals": {"EPS": 1e-5},
	"blocks": {
	"fire": {"model": "FIRECALCS", "set": {"METHOD": "Yes", "CHECK": true, "BLOCKVERSION": 13.20, "LABEL": "6", "N": 3,
		"CURVE": [1, 2.5, "3 m3/hr"], "X(2)": "off"},
		"fix": {"P": "6 bar", "T": {"value": 25, "unit": "degC"}, "DP": {"value": [1, 2.0], "unit": "psi"}}},
	"vessel": {"model": "VESSEL",
		"fix": {"P": "6 bar", "T": {"value": 25, "unit": "degC"}, "DP": {"value": [1, 2.0], "unit": "psi"}},
		"guess": {"IN_F(1).Z": {"N2": 0.8, "NO": 0.2}, "TABLE": {"1": 0.5, "2": {"a": 1}}, "Q": "-3.5e2 kg/hr"}}},
	"connect": ["fire.HEATLOAD = vessel.Q", "fire.OUT -> vessel.IN_F(1)"],
	"report": ["fire.HEATLOAD", "vessel"]})text";

TEST(CaseFile, YamlAndJsonGiveTheSameDescription) {
  const CaseFile yaml = ReadCaseText(kYaml, "fire.yaml");
  EXPECT_EQ(
      Print(yaml),
      "Fire relief\ncomponents water,NO,N2\nglobals EPS=1e-05\n"
      "block fire FIRECALCS\n"
      " set METHOD='Yes' CHECK=true BLOCKVERSION=13.2 LABEL='6' N=3 CURVE=[1;2.5;3.0 [m3/hr];] X(2)='off'\n"
      " fix P=6.0 [bar] T=25.0 [degC] DP=[1.0 [psi];2.0 [psi];]\n guess\n"
      "block vessel VESSEL\n set\n fix P=6.0 [bar] T=25.0 [degC] DP=[1.0 [psi];2.0 [psi];]\n"
      " guess IN_F(1).Z={N2=0.8;NO=0.2;} TABLE={#1=0.5;#2={a=1;};} Q=-350.0 [kg/hr]\n"
      "fire.HEATLOAD = vessel.Q\nfire.OUT -> vessel.IN_F(1)\nreport fire.HEATLOAD\nreport vessel");
  EXPECT_EQ(Print(ReadCaseText(kJson, "fire.json")), Print(yaml));
  EXPECT_EQ(Print(ReadCaseText("\xef\xbb\xbf" + std::string(kYaml), "with a byte order mark")), Print(yaml));
  EXPECT_EQ(yaml.blocks[0].set[2].value.text, "13.20");
  EXPECT_EQ(yaml.blocks[0].set[2].location, (Location{11, 7}));
  EXPECT_EQ(yaml.connect[1].location, (Location{29, 5}));
}

TEST(CaseFile, FaultsHavePlaceAndRemedy) {
  const struct {
    const char* text;
    const char* faults;
  } kCases[] = {
      {"blocks:\n  psv:\n    model: M\n    sets: {}\n",
       "c:4:5: unknown key \"sets\" in block psv: did you mean \"set\"?"},
      {"titel: x\nblocks: {b: {model: M}}",
       "c:1:1: unknown key \"titel\" in the case: did you mean \"title\"?"},
      {"title: x", "c:1:1: the case has no \"blocks\": add \"blocks: ...\""},
      {"blocks: {}", "c:1:1: blocks has no entries: give at least one"},
      {"blocks:\n  psv: {set: {}}", "c:2:3: block psv has no \"model\": add \"model: ...\""},
      {"blocks:\n  psv:\n", "c:2:3: block psv has no value: give one"},
      {"blocks: {\u00e4\u00f6: {model: M, modle: N}}",
       "c:1:25: unknown key \"modle\" in block \u00e4\u00f6: there are \"fix\", \"guess\" and \"set\""},
      {"blocks: {a b: {model: M}}",
       "c:1:10: \"a b\" is no block name: use letters, digits, \"_\" and \"-\", and at least one letter"},
      {"blocks: {b: {model: 5}}",
       "c:1:21: model of block b: expected a text, found the number 5: put it in quotes"},
      {"blocks: {b: {model: \"\"}}",
       "c:1:21: model of block b: an empty model name: "
       "The type of the block, such as PSV_SIMPLE; \"quiver list models\" prints all."},
      {"blocks: {b: {model: M, fix: {A: Yes}}}",
       "c:1:33: fix.A of block b: \"Yes\" is no number with a unit: write a number, then a unit if wanted, "
       "as in 6 bar"},
      {"blocks: {b: {model: M, fix: {A: \"6\"}}}",
       "c:1:33: \"6\" is not a number with a unit: leave the quotes out"},
      {"blocks: {b: {model: M, fix: {A: true}}}",
       "c:1:33: fix.A of block b: expected a number, a text, a list or a table {NAME: VALUE}, found the "
       "logical true: give a number"},
      {"blocks: {b: {model: M, fix: {A: 6 brr}}}", "c:1:33: unknown unit \"brr\": did you mean bar?"},
      {"blocks: {b: {model: M, set: {A: {value: 6, unit: bra}}}}",
       "c:1:50: unknown unit \"bra\": did you mean bar?"},
      {"blocks: {b: {model: M, set: {A: {valu: 6, unit: bar}}}}",
       "c:1:30: set.A of block b has no \"value\": add \"value: ...\"\n"
       "c:1:34: unknown key \"valu\" in set.A of block b: did you mean \"value\"?"},
      {"blocks: {b: {model: M, guess: {Z: {N2: ~}}}}",
       "c:1:40: guess.Z.N2 of block b has no value: put it in quotes if it is a text"},
      {"blocks: {b: {model: M, set: {\"Y(\": 1}}}",
       "c:1:30: an index is missing in \"Y(\": write NAME, NAME(i), Y(N2) or PORT.MEMBER"},
      {"blocks: {b: {model: M, set: {A: 1, B: 2, A: 3}}}",
       "c:1:42: key \"A\" stands here again; it was first given at 1:30: remove one of them"},
      {"blocks: {b: {model: M, set: {Y(1): 1, Y( 1 ): 2}}}",
       "c:1:39: Y(1) stands here again; it was first given at 1:30: remove one of them"},
      {"blocks:\n  b: {model: M}\n  c: {model: M}\n  b: {model: N}\n",
       "c:4:3: key \"b\" stands here again; it was first given at 2:3: remove one of them"},
      {"blocks: {b: {model: M, fix: {A: 1}, guess: {A: 1}}}",
       "c:1:45: A of block b stands under guess here and under fix at 1:30: "
       "keep one of them: set a parameter, fix a known variable, guess an unknown one"},
      {"components: [NO, 1, null, NO]\nblocks: {b: {model: M}}",
       "c:1:18: item 2 of components: expected a text, found the number 1: put it in quotes\n"
       "c:1:21: item 3 of components has no value: put it in quotes if it is a text\n"
       "c:1:27: component \"NO\" stands here again; it was first given at 1:14: remove one of them"},
      {"components: water\nblocks: {b: {model: M}}",
       "c:1:13: components: expected a list, found the text \"water\": write it as a list, [water]"},
      {"blocks: {pump: {model: M}}\nconnect: [pump.X pump.Y, pump.X = pmup.Y, pump = pump, pump.X = "
       "pump.X]\nreport: [fan.X]",
       "c:2:11: item 1 of connect: \"pump.X pump.Y\" is no connection: "
       "write \"block.NAME = block.NAME\", or \"block.PORT -> block.PORT\"\n"
       "c:2:26: there is no block \"pmup\" for pmup.Y: did you mean pump?\n"
       "c:2:43: pump in \"pump = pump\" is a block: name a property or port of it, as in pump.NAME\n"
       "c:2:56: pump.X is connected to itself: name another property or port on one side\n"
       "c:3:10: there is no block \"fan\" for fan.X: there is only pump"},
      {"blocks: {b: {model: M}, c: {model: M}}\nconnect: [b.X = c.X, c.X = b.X]",
       "c:2:22: c.X and b.X are connected already at 2:11: remove one of the connections"},
      {"blocks: {b: {model: M, fix: {A: .nan, B: 1e999}}}",
       "c:1:33: \".nan\" is not a finite number: give a number\n"
       "c:1:42: \"1e999\" is out of the range of numbers: stay between 1e-307 and 1e308 in size"},
      {"blocks: !thing {b: {model: M}}",
       "c:1:9: tag \"!thing\" is not used in cases: leave it out; quotes keep a text a text"},
      {"blocks:\n\tb: {model: M}", "c:2:1: a tab in the indentation: indent with blanks"},
      {"- a\n- b",
       "c:1:1: the case: expected a table {NAME: VALUE}, found a list: write it as {NAME: VALUE}"},
      {"blocks: {b: {model: M}}\n---\nblocks: {}",
       "c:3:1: a second document in the same file: put one case into a file"},
  };
  for (const auto& test : kCases) EXPECT_EQ(Faults(test.text), test.faults) << test.text;
}

TEST(CaseFile, FilesAreReadAndMissingOnesNamed) {
  const auto path = std::filesystem::temp_directory_path() / "quiver_io_case_file_test.yaml";
  std::ofstream(path) << kYaml;
  const CaseFile read = ReadCaseFile(path);
  std::filesystem::remove(path);
  EXPECT_EQ(read.blocks.size(), 2u);
  EXPECT_EQ(read.name, path.string());
  for (const auto& [wrong, message] :
       {std::pair("/nowhere/x.yaml", "/nowhere/x.yaml: there is no such file: check the path"),
        std::pair("/", "/: this is a folder: give a case file in it")}) {
    try {
      ReadCaseFile(wrong);
      ADD_FAILURE() << wrong;
    } catch (const CaseError& error) {
      EXPECT_STREQ(error.what(), message);
    }
  }
}

TEST(CaseFile, AssignmentsFromACommandLine) {
  EXPECT_EQ(Print({ReadAssignment("P_DROP=6 bar", "--fix")}), " P_DROP=6.0 [bar]");
  EXPECT_EQ(Print({ReadAssignment("IN_F(1).Z={N2: 0.8, O2: 0.2}", "--fix")}), " IN_F(1).Z={N2=0.8;O2=0.2;}");
  for (const auto& [wrong, message] :
       {std::pair("P", "--set: \"P\" is no assignment: write NAME=VALUE"),
        std::pair("P=", "--set: \"P=\" has no value: write NAME=VALUE"),
        std::pair("P=[1, ~]", "--set:1:7: item 2 of P has no value: put it in quotes if it is a text"),
        std::pair("=1", "--set:1:1: a name is missing: write NAME, NAME(i), Y(N2) or PORT.MEMBER")}) {
    try {
      ReadAssignment(wrong, "--set");
      ADD_FAILURE() << wrong;
    } catch (const CaseError& error) {
      EXPECT_STREQ(error.what(), message);
    }
  }
}

TEST(CaseFile, NumbersComeInTheUnitAsked) {
  EXPECT_DOUBLE_EQ(RealIn(ReadAssignment("P=150 psi", "").value, "bar"), 10.342135939752538);
  EXPECT_EQ(RealIn(ReadAssignment("P=150", "").value, "bar"), 150);
  EXPECT_DOUBLE_EQ(RealIn(ReadAssignment("DT=9 degF", "").value, "K", UnitUse::kDifference), 5);
  EXPECT_THROW(RealIn(ReadAssignment("P=6 bar", "").value, ""), UnitError);
  EXPECT_THROW(RealIn(ReadAssignment("P=Yes", "").value, "bar"), UnitError);
}

TEST(Schema, PassesOverNoKeywordInSilence) {
  EXPECT_THROW(Schema(R"({"maximum": 3})"), std::invalid_argument);
  EXPECT_THROW(Schema(R"({"items": {"$ref": "#/$defs/none"}})"), std::invalid_argument);
  EXPECT_THROW(Schema("{"), std::invalid_argument);
  // Enumerations are understood, although the case has none at present.
  std::vector<CaseFault> faults;
  const Document document = ReadDocument("[flat, stepp]", "c", faults);
  Schema(R"({"type": "array", "minItems": 3, "items": {"enum": ["flat", "steep"]}})")
      .Check(document.root(), faults);
  ASSERT_EQ(faults.size(), 2u);
  EXPECT_EQ(faults[0].remedy, "give at least 3");
  EXPECT_EQ(faults[1].remedy, "did you mean \"steep\"?");
}

}  // namespace
}  // namespace quiver
