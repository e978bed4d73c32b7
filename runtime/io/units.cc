// SPDX-License-Identifier: Apache-2.0
#include "runtime/io/units.h"

#include <fmt/format.h>
#ifdef QUIVER_OWN_UNIT_TABLE
#include "runtime/io/unit_table.h"
#else
#include <udunits2.h>
#endif

#include <cctype>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <sstream>
#include <tuple>
#include <vector>

#include "runtime/io/suggest.h"
#include "runtime/io/utf8.h"

namespace quiver {
#ifdef QUIVER_OWN_UNIT_TABLE
using namespace unit_table;
#endif
namespace {

constexpr double kAtmosphereInPascal = 101325;
constexpr std::size_t kLongestUnit = 80;
constexpr int kLargestExponent = 12;
constexpr std::size_t kRememberedUnits = 10000;

enum class NameKind { kUnit, kGauge, kRefused, kCommon };
struct UnitName {
  NameKind kind;
  std::string_view name;
  const char* text;  // meaning or remedy
};
constexpr UnitName kNames[] = {
#define UNIT(name, meaning) {NameKind::kUnit, name, meaning},
#define GAUGE(name, meaning) {NameKind::kGauge, name, meaning},
#define REFUSED(name, remedy) {NameKind::kRefused, name, remedy},
#define COMMON(name) {NameKind::kCommon, name, ""},
#define QUANTITY(what, unit)
#include "runtime/io/unit_names.def"
#undef UNIT
#undef GAUGE
#undef REFUSED
#undef COMMON
#undef QUANTITY
};

struct QuantityName {
  const char* name;
  const char* unit;
};
constexpr QuantityName kQuantities[] = {
#define UNIT(name, meaning)
#define GAUGE(name, meaning)
#define REFUSED(name, remedy)
#define COMMON(name)
#define QUANTITY(what, unit) {what, unit},
#include "runtime/io/unit_names.def"
#undef UNIT
#undef GAUGE
#undef REFUSED
#undef COMMON
#undef QUANTITY
};

struct Free {
  void operator()(ut_unit* unit) const { ut_free(unit); }
  void operator()(ut_system* system) const { ut_free_system(system); }
  void operator()(cv_converter* converter) const { cv_free(converter); }
};
using UnitPointer = std::unique_ptr<ut_unit, Free>;
using SystemPointer = std::unique_ptr<ut_system, Free>;
using ConverterPointer = std::unique_ptr<cv_converter, Free>;

// udunits2 reads and prints numbers in the locale of the process; a host that sets one with decimal commas
// must not change what a foot is.
class PlainNumbers {
#ifndef _WIN32
 public:
  PlainNumbers() : plain_(newlocale(LC_NUMERIC_MASK, "C", nullptr)), before_(uselocale(plain_)) {}
  ~PlainNumbers() {
    uselocale(before_);
    freelocale(plain_);
  }
  PlainNumbers(const PlainNumbers&) = delete;
  PlainNumbers& operator=(const PlainNumbers&) = delete;

 private:
  locale_t plain_, before_;
#else
 public:
  ~PlainNumbers() {}
#endif
};

std::string Quote(std::string_view text) { return fmt::format("\"{}\"", text); }

bool IsLetter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

[[noreturn]] void FailUnknown(std::string_view unknown, std::string_view whole) {
  std::vector<std::string> names;
  // The usual ones first: of equally near names the first is taken.
  for (const bool common : {true, false}) {
    for (const UnitName& entry : kNames) {
      if (entry.kind != NameKind::kRefused && (entry.kind == NameKind::kCommon) == common)
        names.emplace_back(entry.name);
    }
  }
  std::string message = "unknown unit " + Quote(unknown);
  if (unknown != whole) message += " in " + Quote(whole);
  if (const auto nearest = NearestName(unknown, names)) {
    message += ": did you mean " + *nearest + "?";
  } else {
    message += ": write it with units such as bar, psi, degC, K, kg/hr, kmol/hr, m3/hr, GJ/hr, kW";
  }
  throw UnitError(message);
}

// Rewrites a unit as users write it in the grammar of udunits2 (see units.h for what differs).
class UnitReader {
 public:
  UnitReader(std::string_view text, const ut_system* system) : text_(text), system_(system) {}

  std::string canonical;
  bool gauge = false;

  void Read() {
    if (text_.size() > kLongestUnit)
      throw UnitError("a unit of more than " + std::to_string(kLongestUnit) + " characters");
    canonical = Product();
    if (at_ < text_.size()) FailAt();
    if (gauge && compound_) {
      throw UnitError("a gauge pressure cannot be part of another unit, as in " + Quote(text_) +
                      ": write it with bar or psi");
    }
  }

 private:
  std::string Product() {
    std::string product = Group();
    bool divided = false;
    for (;;) {
      SkipBlanks();
      if (at_ == text_.size() || text_[at_] == ')') return product;
      compound_ = true;
      if (Take('/')) {
        divided = true;
        product += " / ";
        product += Group();
        continue;
      }
      if (divided) {
        throw UnitError(
            Quote(text_) +
            " can be read in two ways: put brackets round what stands below the line, as in W/(m2 K)");
      }
      if (!Take('*')) Take('.');
      product += ' ';
      product += Group();
    }
  }

  // What hyphens join.
  std::string Group() {
    std::string group = Factor();
    bool joined = false;
    while (at_ + 1 < text_.size() && text_[at_] == '-' &&
           (IsLetter(text_[at_ + 1]) || text_[at_ + 1] == '(')) {
      ++at_;
      joined = compound_ = true;
      group += ' ';
      group += Factor();
    }
    return joined ? fmt::format("({})", group) : group;
  }

  std::string Factor() {
    const std::string primary = Primary();
    const int exponent = Exponent();
    if (exponent == 1) return primary;
    compound_ = true;
    return primary + "^" + std::to_string(exponent);
  }

  std::string Primary() {
    SkipBlanks();
    if (at_ == text_.size())
      throw UnitError(text_.empty() ? "the unit is empty" : "the unit " + Quote(text_) + " breaks off");
    if (Take('(')) {
      const std::string product = Product();
      if (!Take(')')) throw UnitError("\")\" is missing in unit " + Quote(text_));
      return fmt::format("({})", product);
    }
    if (Take('%')) return "0.01";
    if (Take('1')) {
      if (at_ < text_.size() && (IsDigit(text_[at_]) || IsLetter(text_[at_]))) FailAt();
      return "1";
    }
    if (!IsLetter(text_[at_])) FailAt();
    return Name();
  }

  std::string Name() {
    const std::string_view rest = text_.substr(at_);
    const UnitName* known = nullptr;
    for (const UnitName& entry : kNames) {
      const bool found = entry.kind != NameKind::kCommon && rest.starts_with(entry.name) &&
                         (rest.size() == entry.name.size() || !IsLetter(rest[entry.name.size()]));
      if (found && (!known || entry.name.size() > known->name.size())) known = &entry;
    }
    if (known) {
      at_ += known->name.size();
      if (known->kind == NameKind::kRefused) {
        throw UnitError("unit " + Quote(known->name) + " does not mean the same everywhere: " + known->text);
      }
      if (known->kind == NameKind::kGauge) gauge = true;
      return fmt::format("({})", known->text);
    }
    std::size_t length = 0;
    while (length < rest.size() && IsLetter(rest[length]) && !IsSuperscript(rest.substr(length))) ++length;
    const std::string name(rest.substr(0, length));
    if (length == 0 || !UnitPointer(ut_parse(system_, name.c_str(), UT_UTF8))) FailUnknown(name, text_);
    at_ += length;
    return name;
  }

  static int IsSuperscript(std::string_view text) {
    return text.starts_with("\u00b2") ? 2 : text.starts_with("\u00b3") ? 3 : 0;
  }

  int Exponent() {
    if (const int superscript = IsSuperscript(text_.substr(at_))) {
      at_ += 2;
      return superscript;
    }
    std::size_t at = at_;
    const bool marked = text_.substr(at).starts_with("^") || text_.substr(at).starts_with("**");
    if (marked) at += text_[at] == '^' ? 1 : 2;
    const bool negative = at < text_.size() && text_[at] == '-';
    if (negative) ++at;
    if (at >= text_.size() || !IsDigit(text_[at])) {
      if (marked) throw UnitError("the unit " + Quote(text_) + " has a power without a whole number");
      return 1;
    }
    int exponent = 0;
    while (at < text_.size() && IsDigit(text_[at])) {
      exponent = exponent * 10 + (text_[at++] - '0');
      if (exponent > kLargestExponent)
        throw UnitError("the unit " + Quote(text_) + " has a power above " +
                        std::to_string(kLargestExponent));
    }
    at_ = at;
    if (at_ < text_.size() && IsLetter(text_[at_])) FailUnknown(text_, text_);
    return negative ? -exponent : exponent;
  }

  void SkipBlanks() {
    while (at_ < text_.size() && text_[at_] == ' ') ++at_;
  }

  bool Take(char c) {
    SkipBlanks();
    if (at_ == text_.size() || text_[at_] != c) return false;
    ++at_;
    return true;
  }

  [[noreturn]] void FailAt() const {
    throw UnitError("unexpected " + Quote(FirstCharacter(text_.substr(at_))) + " in unit " + Quote(text_) +
                    ": write units like kg/m3, W/(m2 K) or 1/s");
  }

  std::string_view text_;
  const ut_system* system_;
  std::size_t at_ = 0;
  bool compound_ = false;  // more than one lone name
};

SystemPointer OpenDatabase(const std::string& path) {
  ut_set_error_message_handler(ut_ignore);
  const PlainNumbers plain;
  SystemPointer system(ut_read_xml(path.empty() ? nullptr : path.c_str()));
  if (system) return system;
  const char* setting = std::getenv("UDUNITS2_XML_PATH");
  const std::string place = !path.empty() ? path : setting ? setting : "its usual place";
  throw UnitError("the database of units cannot be read from " + place +
                  ": install the data of udunits2 (package libudunits2-data), or set UDUNITS2_XML_PATH to "
                  "its file udunits2.xml");
}

// The units of udunits2, which keeps its parser and its last error in globals: one caller at a time.
class UnitTable {
 public:
  double Convert(double value, std::string_view from, std::string_view to, UnitUse use) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const PlainNumbers plain;
    DropManyUnits();
    const Unit& source = Find(from);
    const Unit& target = Find(to);
    RequireSameDimensions(source, from, target, to);
    if (source.canonical == target.canonical && (source.gauge == target.gauge || use == UnitUse::kDifference))
      return value;
    const auto key = std::make_tuple(source.unit.get(), target.unit.get(), use);
    auto found = converters_.find(key);
    if (found == converters_.end())
      found = converters_.emplace(key, MakeConverter(source, target, use)).first;
    return cv_convert_double(found->second.get(), value);
  }

  void Check(std::string_view unit) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const PlainNumbers plain;
    DropManyUnits();
    Find(unit);
  }

  std::string Quantity(std::string_view unit) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const PlainNumbers plain;
    return QuantityOfUnit(Find(unit));
  }

  std::array<double, 7> Exponents(std::string_view unit) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const PlainNumbers plain;
    DropManyUnits();
    std::istringstream words(BaseUnits(Find(unit)));
    std::array<double, 7> exponents{};
    for (std::string word; words >> word;) {
      const std::size_t digits = std::min(word.find_first_of("-0123456789"), word.size());
      for (std::size_t k = 0; k < kBaseUnits.size(); ++k)
        if (word.substr(0, digits) == kBaseUnits[k])
          exponents[k] += digits == word.size() ? 1 : std::stoi(word.substr(digits));
    }
    return exponents;
  }

 private:
  struct Unit {
    std::string canonical;
    bool gauge;
    UnitPointer unit;
  };

  // There is no end of spellings that a long-lived server may be asked for.
  void DropManyUnits() {
    if (units_.size() < kRememberedUnits) return;
    converters_.clear();
    units_.clear();
  }

  const Unit& Find(std::string_view text) {
    if (!system_) system_ = OpenDatabase("");
    const auto found = units_.find(text);
    if (found != units_.end()) return found->second;
    UnitReader reader(text, system_.get());
    reader.Read();
    UnitPointer unit(ut_parse(system_.get(), reader.canonical.c_str(), UT_UTF8));
    if (!unit) FailUnknown(text, text);
    if (reader.gauge) {
      const UnitPointer pascal(ut_parse(system_.get(), "Pa", UT_UTF8));
      const ConverterPointer converter(ut_get_converter(pascal.get(), unit.get()));
      unit.reset(ut_offset(unit.get(), cv_convert_double(converter.get(), kAtmosphereInPascal)));
    }
    return units_.emplace(text, Unit{reader.canonical, reader.gauge, std::move(unit)}).first->second;
  }

  // Dimensions alone would let reciprocals and turns against pure numbers pass.
  static bool SameDimensions(const ut_unit* a, const ut_unit* b) {
    const UnitPointer ratio(ut_divide(a, b));
    return ratio && ut_is_dimensionless(ratio.get()) &&
           Definition(ratio.get()).find("rad") == std::string::npos;
  }

  static std::string Definition(const ut_unit* unit) {
    char text[256];
    const int length = ut_format(unit, text, sizeof text - 1, UT_ASCII | UT_DEFINITION);
    return length > 0 ? std::string(text, static_cast<std::size_t>(length)) : std::string();
  }

  std::string QuantityOfUnit(const Unit& unit) {
    for (const QuantityName& quantity : kQuantities) {
      if (SameDimensions(unit.unit.get(), Find(quantity.unit).unit.get())) return quantity.name;
    }
    return BaseUnits(unit);
  }

  // "m2 kg s-3": the definition, say "0.27 m2.kg.s-3 @ 3", without factor and shift.
  static std::string BaseUnits(const Unit& unit) {
    std::string text = Definition(unit.unit.get());
    text = text.substr(0, text.find(" @"));
    if (const std::size_t blank = text.find(' '); blank != text.npos) text = text.substr(blank + 1);
    for (char& c : text) c = c == '.' ? ' ' : c;
    return text;
  }

  void RequireSameDimensions(const Unit& source, std::string_view from, const Unit& target,
                             std::string_view to) {
    if (SameDimensions(source.unit.get(), target.unit.get())) return;
    throw UnitError("cannot convert " + Quote(from) + " (" + QuantityOfUnit(source) + ") to " + Quote(to) +
                    " (" + QuantityOfUnit(target) + "): give a unit of " + QuantityOfUnit(target));
  }

  ConverterPointer MakeConverter(const Unit& source, const Unit& target, UnitUse use) {
    ConverterPointer converter;
    if (use == UnitUse::kLevel) {
      converter.reset(ut_get_converter(source.unit.get(), target.unit.get()));
    } else {
      const UnitPointer ratio(ut_divide(source.unit.get(), target.unit.get()));
      converter.reset(ut_get_converter(ratio.get(), ut_get_dimensionless_unit_one(system_.get())));
    }
    if (!converter)
      throw UnitError("udunits2 finds no conversion between " + Quote(source.canonical) + " and " +
                      Quote(target.canonical));
    return converter;
  }

  std::mutex mutex_;
  SystemPointer system_;
  std::map<std::string, Unit, std::less<>> units_;
  std::map<std::tuple<const ut_unit*, const ut_unit*, UnitUse>, ConverterPointer> converters_;
};

UnitTable& Table() {
  static UnitTable table;
  return table;
}

}  // namespace

UnitUse UseOf(std::string_view physical_quantity) {
  std::string lower(physical_quantity);
  for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  for (const char* ending : {"difference", "diff", "drop", "rise", "change"}) {
    if (lower.ends_with(ending)) return UnitUse::kDifference;
  }
  return UnitUse::kLevel;
}

double ConvertUnit(double value, std::string_view from, std::string_view to, UnitUse use) {
  return Table().Convert(value, from, to, use);
}

void CheckUnit(std::string_view unit) { Table().Check(unit); }

std::string QuantityOf(std::string_view unit) { return Table().Quantity(unit); }

std::array<double, 7> ExponentsOf(std::string_view unit) { return Table().Exponents(unit); }

void CheckUnitDatabase(const std::string& path) { OpenDatabase(path); }

}  // namespace quiver
