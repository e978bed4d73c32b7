// SPDX-License-Identifier: Apache-2.0
// The own unit table against udunits2 itself, over every name of the database: both have to read the same text as the same unit.
#include "runtime/io/unit_table.h"

// A macro of udunits2's from here on.
constexpr unsigned kOwnDefinition = quiver::unit_table::UT_DEFINITION;

#include <gtest/gtest.h>
#include <udunits2.h>

#include <cctype>
#include <cmath>
#include <cstring>
#include <fstream>
#include <memory>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace own = quiver::unit_table;

std::string FileText(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

struct Both {
  Both() : ours(own::ut_read_xml(QUIVER_UNIT_DATABASE "/udunits2.xml"), own::ut_free_system) {
    ut_set_error_message_handler(ut_ignore);
    theirs.reset(ut_read_xml(QUIVER_UNIT_DATABASE "/udunits2.xml"));
  }
  std::unique_ptr<own::ut_system, void (*)(own::ut_system*)> ours;
  std::unique_ptr<ut_system, void (*)(ut_system*)> theirs{nullptr, ut_free_system};
};

// "0.45359237 kg.s-2 @ 3" as 0.45359237, "kg.s-2" and 3.
struct Parts {
  double factor = 1, origin = 0;
  std::string bases;
};
Parts Split(std::string text) {
  Parts parts;
  if (const size_t at = text.find(" @ "); at != text.npos) {
    parts.origin = std::stod(text.substr(at + 3));
    text.resize(at);
  }
  char* end = nullptr;
  const double number = std::strtod(text.c_str(), &end);
  if (end != text.c_str()) parts.factor = number;
  parts.bases = end;
  parts.bases.erase(0, parts.bases.find_first_not_of(' '));
  return parts;
}

// True where both know the text. What differs is a failure, but for logarithmic units.
bool CheckText(const Both& systems, const std::string& text) {
  const std::unique_ptr<ut_unit, void (*)(ut_unit*)> theirs(
      ut_parse(systems.theirs.get(), text.c_str(), UT_UTF8), ut_free);
  const std::unique_ptr<own::ut_unit, void (*)(own::ut_unit*)> ours(
      own::ut_parse(systems.ours.get(), text.c_str(), own::UT_UTF8), own::ut_free);
  char expected[256] = "", found[256] = "";
  if (theirs) ut_format(theirs.get(), expected, sizeof expected, UT_ASCII | UT_DEFINITION);
  if (std::strstr(expected, "(re ")) return false;
  EXPECT_EQ(ours != nullptr, theirs != nullptr) << text << " means " << expected;
  if (!ours || !theirs) return false;
  own::ut_format(ours.get(), found, sizeof found, kOwnDefinition);
  const Parts e = Split(expected), f = Split(found);
  // udunits2 prints fifteen or sixteen digits.
  EXPECT_NEAR(f.factor / e.factor, 1, 1e-14) << text << ": " << expected << " and " << found;
  EXPECT_NEAR(f.origin, e.origin, 1e-13 * std::abs(e.origin)) << text << ": " << expected << " and " << found;
  EXPECT_EQ(f.bases, e.bases) << text;
  EXPECT_EQ(own::ut_is_dimensionless(ours.get()), ut_is_dimensionless(theirs.get())) << text;
  return true;
}

TEST(UnitTable, ReadsEveryNameAsUdunitsDoes) {
  const Both systems;
  ASSERT_TRUE(systems.ours && systems.theirs);
  std::set<std::string> names;
  for (const char* file : {"base", "derived", "accepted", "common"}) {
    const std::string xml = FileText(std::string(QUIVER_UNIT_DATABASE "/udunits2-") + file + ".xml");
    static const std::regex element("<(singular|plural|symbol)[^>]*>([^<&]*)<");
    for (std::sregex_iterator it(xml.begin(), xml.end(), element), end; it != end; ++it)
      names.insert((*it)[2]);
  }
  int known = 0;
  for (const std::string& name : names)
    for (const char* form : {"%", "%s", "k%", "milli%", "da%^2", "kkilo%", "m%-3"}) {
      if (form[1] && name.size() == 1 && std::ispunct(name[0])) continue;  // no prefix, no power
      std::string text = form;
      known += CheckText(systems, text.replace(text.find('%'), 1, name));
    }
  EXPECT_GT(known, 2000);
}

TEST(UnitTable, ReadsProductsPowersAndShiftsAsUdunitsDoes) {
  const Both systems;
  for (const char* text : {"Btu / (hr ft^2 degF)",
                           "kg m / s / s",
                           "N.m",
                           "N*m",
                           "m3",
                           "m^-3",
                           "3.785411784e-3 m3/min",
                           "(1e3 Btu)^2 / s",
                           "degC",
                           "degC m",
                           "K @ 273.15",
                           "degF @ 10",
                           "(degC)",
                           "1 degC",
                           "kilomol/hr",
                           "MEGAPASCAL",
                           "mpa",
                           "\u00b5m",
                           "\u00b0F",
                           "1",
                           "0.01",
                           "1e-5 N",
                           "cmH2O",
                           "m/",
                           "(m",
                           "^2",
                           "m^x",
                           "K @",
                           "nothing",
                           "m nothing",
                           ".5 m",
                           "m..s"})
    CheckText(systems, text);
  EXPECT_TRUE(CheckText(systems, "J / (mol K)"));
}

TEST(UnitTable, ConvertsAsUdunitsDoes) {
  const Both systems;
  for (const auto& [from, to] : std::vector<std::pair<const char*, const char*>>{{"degF", "degC"},
                                                                                 {"psi", "bar"},
                                                                                 {"mile/hr", "m/s"},
                                                                                 {"bar", "kg"},
                                                                                 {"rpm", "rad/s"},
                                                                                 {"K @ 3", "degR"}}) {
    ut_unit* theirs[] = {ut_parse(systems.theirs.get(), from, UT_UTF8),
                         ut_parse(systems.theirs.get(), to, UT_UTF8)};
    own::ut_unit* ours[] = {own::ut_parse(systems.ours.get(), from, own::UT_UTF8),
                            own::ut_parse(systems.ours.get(), to, own::UT_UTF8)};
    cv_converter* expected = ut_get_converter(theirs[0], theirs[1]);
    own::cv_converter* found = own::ut_get_converter(ours[0], ours[1]);
    EXPECT_EQ(found != nullptr, expected != nullptr) << from << " to " << to;
    if (found && expected)
      for (const double x : {-40.0, 0.0, 1.0, 1e5}) {
        const double y = cv_convert_double(expected, x);
        EXPECT_NEAR(own::cv_convert_double(found, x), y, 1e-13 * (std::abs(y) + 500)) << from << " to " << to;
      }
    own::cv_free(found);
    cv_free(expected);
    for (int i : {0, 1}) own::ut_free(ours[i]), ut_free(theirs[i]);
  }
}

}  // namespace
