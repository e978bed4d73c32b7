// SPDX-License-Identifier: Apache-2.0
//
// The part of udunits2 that runtime/io/units.cc calls, under its names and over its database, for systems that have no such
// library: units are a factor, a shift and powers of the base units. Built with QUIVER_OWN_UNIT_TABLE; a test holds both
// side by side.
//
//   ut_system* system = ut_read_xml(nullptr);                  // the database that is part of the program
//   ut_unit* unit = ut_parse(system, "Btu / (hr ft^2)", UT_UTF8);
//
// What udunits2 has beyond it and this has not: logarithmic units (dBm), which nothing converts to anyway, and points of time.
// Unlike the original it holds no state of its own, so that threads may use different systems at once.
#pragma once

#include <string_view>

namespace quiver::unit_table {

struct ut_system;
struct ut_unit;
struct cv_converter;

enum ut_encoding { UT_ASCII = 0, UT_UTF8 = 2, UT_DEFINITION = 8 };
constexpr ut_encoding operator|(ut_encoding a, ut_encoding b) {
  return static_cast<ut_encoding>(static_cast<int>(a) | static_cast<int>(b));
}

// Null where the file, or one that it imports, cannot be read. A null `path` means the file that UDUNITS2_XML_PATH names, or else
// the database that is part of the program.
ut_system* ut_read_xml(const char* path);
void ut_free_system(ut_system* system);

// Null where the text is no unit: names with or without prefixes, powers (m3, m^3), products ("N m", "N.m"), quotients read from
// left to right, brackets, numbers, and shifted units ("K @ 273.15").
ut_unit* ut_parse(const ut_system* system, const char* text, ut_encoding encoding);
ut_unit* ut_divide(const ut_unit* numerator, const ut_unit* denominator);  // a shift is lost
ut_unit* ut_offset(const ut_unit* unit, double origin);                    // counted from `origin`, in `unit`
ut_unit* ut_get_dimensionless_unit_one(const ut_system* system);
void ut_free(ut_unit* unit);

int ut_is_dimensionless(const ut_unit* unit);  // pure numbers and powers of the radian
// "0.45359237 kg.s-2" and the like; returns its length.
int ut_format(const ut_unit* unit, char* text, unsigned long long size, unsigned options);

// Null where the two measure different things.
cv_converter* ut_get_converter(const ut_unit* from, const ut_unit* to);
double cv_convert_double(const cv_converter* converter, double value);
void cv_free(cv_converter* converter);

// There are no messages to handle.
inline constexpr int ut_ignore = 0;
inline void ut_set_error_message_handler(int) {}

// The database's files one after the other, as installed where the program was built; written by the build.
std::string_view EmbeddedUnitDatabase();

}  // namespace quiver::unit_table
