// SPDX-License-Identifier: Apache-2.0
// Names of properties, and what to say about names that do not exist.
#include <gtest/gtest.h>

#include "runtime/io/property_name.h"
#include "runtime/io/suggest.h"

namespace quiver {
namespace {

TEST(PropertyName, ReadsAndPrintsAllForms) {
  const struct {
    const char* text;
    const char* printed;
  } kCases[] = {
      {"DPMAX", "DPMAX"},
      {"XCOEF(3)", "XCOEF(3)"},
      {"TABLE( 1 , -2 )", "TABLE(1,-2)"},
      {"Y(N2)", "Y(N2)"},
      {"vessel.IN_F(1).Z(carbon dioxide)", "vessel.IN_F(1).Z(carbon dioxide)"},
      {"PSV-101 . FLOW.FLUX", "PSV-101.FLOW.FLUX"},
      {"Y('2')", "Y(\"2\")"},
      {"Y(\"1,3-butadiene\")", "Y(\"1,3-butadiene\")"},
      {"K\u00fchler.T", "K\u00fchler.T"},
      {"2STAGE(007)", "2STAGE(7)"},
  };
  for (const auto& test : kCases) {
    const PropertyPath path = ParsePropertyPath(test.text);
    EXPECT_EQ(path.Text(), test.printed);
    EXPECT_EQ(ParsePropertyPath(path.Text()), path);
  }
  const PropertyPath path = ParsePropertyPath("B.Y(2,'2')");
  ASSERT_EQ(path.parts.size(), 2u);
  EXPECT_EQ(path.parts[1].indices, (std::vector<PropertyIndex>{std::int64_t{2}, std::string("2")}));
}

TEST(PropertyName, TellsWhatIsWrongAndWhere) {
  const struct {
    const char* text;
    const char* message;
    std::size_t offset;
  } kCases[] = {
      {"", "a name is missing", 0},
      {"A.", "a name is missing before the end in \"A.\"", 2},
      {"A..B", "a name is missing before \".\" in \"A..B\"", 2},
      {"A B", "unexpected \"B\" in name \"A B\"", 2},
      {"Y(1", "\")\" is missing before the end in \"Y(1\"", 3},
      {"Y()", "an index is missing in \"Y()\"", 2},
      {"Y(1)\u00e4", "unexpected \"\u00e4\" in name \"Y(1)\u00e4\"", 4},
      {"Y(1)(2)", "unexpected \"(\" in name \"Y(1)(2)\"", 4},
      {"Y(\"1", "the quote in \"Y(\"1\" has no end", 3},
      {"A.000", "\"000\" is a number, not a name", 2},
  };
  for (const auto& test : kCases) {
    try {
      ParsePropertyPath(test.text);
      ADD_FAILURE() << test.text << " was read";
    } catch (const PropertyNameError& error) {
      EXPECT_STREQ(error.what(), test.message);
      EXPECT_EQ(error.offset(), test.offset) << test.text;
    }
  }
}

TEST(Suggestion, NamesTheNearestOrListsWhatThereIs) {
  EXPECT_EQ(EditDistance("kitten", "sitting"), 3u);
  EXPECT_EQ(EditDistance("FULX", "FLUX"), 1u);  // a swap is one change
  EXPECT_EQ(EditDistance("", "ab"), 2u);
  EXPECT_EQ(Suggest("ELBWNO", {"TEENO", "ELBOWNO"}), "did you mean ELBOWNO?");
  EXPECT_EQ(Suggest("flux", {"FLUXX", "FLUX"}), "did you mean FLUX?");
  EXPECT_EQ(Suggest("P", {"T", "F"}), "there are T and F");
  EXPECT_EQ(Suggest("pressure", {"T"}, NameStyle::kQuoted), "there is only \"T\"");
  EXPECT_EQ(Suggest("P", {}), "there are none");
  EXPECT_EQ(Suggest("zzzzz", {"A", "B", "C", "D", "E", "F", "G", "H", "I", "J"}),
            "there are A, B, C, D, E, F, G, H and 2 more");
}

}  // namespace
}  // namespace quiver
