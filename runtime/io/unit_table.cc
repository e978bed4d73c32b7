// SPDX-License-Identifier: Apache-2.0
#include "runtime/io/unit_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace quiver::unit_table {

// The seven of SI and the radian, in the order of the database.
constexpr std::size_t kMostBaseUnits = 8;

struct BaseUnit {
  std::string symbol;
  bool dimensionless = false;
};

// A value x of the unit is factor * x + shift in base units.
struct ut_unit {
  const ut_system* system = nullptr;
  double factor = 1, shift = 0;
  std::array<int, kMostBaseUnits> powers{};
};

struct ut_system {
  std::vector<BaseUnit> base_units;
  std::map<std::string, ut_unit, std::less<>> names;  // in lower case
  std::map<std::string, ut_unit, std::less<>> symbols;
  std::map<std::string, double, std::less<>> name_prefixes;  // in lower case
  std::map<std::string, double, std::less<>> symbol_prefixes;
};

struct cv_converter {
  double factor = 1, shift = 0;
};

namespace {

// Of ASCII letters only; the names of the database have no others with two cases.
std::string Lower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return lower;
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsLetter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}

ut_unit Multiply(const ut_unit& a, const ut_unit& b, int sign) {
  ut_unit product = a;
  product.factor = sign > 0 ? a.factor * b.factor : a.factor / b.factor;
  product.shift = 0;
  for (std::size_t i = 0; i < kMostBaseUnits; ++i) product.powers[i] += sign * b.powers[i];
  return product;
}

ut_unit Raise(const ut_unit& unit, int power) {
  ut_unit raised = unit;
  raised.factor = std::pow(unit.factor, power);
  raised.shift = 0;
  for (int& exponent : raised.powers) exponent *= power;
  return raised;
}

ut_unit Shift(const ut_unit& unit, double origin) {
  ut_unit shifted = unit;
  shifted.shift += unit.factor * origin;
  return shifted;
}

// The longest prefix that `text` starts with, taken off it.
std::optional<double> TakePrefix(const std::map<std::string, double, std::less<>>& prefixes,
                                 std::string_view text, std::string_view& rest) {
  for (std::size_t length = text.size(); length > 0; --length) {
    if (const auto found = prefixes.find(text.substr(0, length)); found != prefixes.end()) {
      rest.remove_prefix(length);
      return found->second;
    }
  }
  return std::nullopt;
}

// A name or a symbol after any number of named prefixes and at most one prefix symbol.
std::optional<ut_unit> NamedUnit(const ut_system& system, std::string_view text) {
  double prefix = 1;
  bool symbol_seen = false;
  while (!text.empty()) {
    const std::string lower = Lower(text);
    const ut_unit* known = nullptr;
    if (const auto name = system.names.find(lower); name != system.names.end()) known = &name->second;
    if (const auto symbol = system.symbols.find(text); !known && symbol != system.symbols.end())
      known = &symbol->second;
    if (known) {
      ut_unit unit = *known;
      unit.factor *= prefix;
      return unit;
    }
    std::optional<double> value = TakePrefix(system.name_prefixes, lower, text);
    if (!value && !symbol_seen) {
      value = TakePrefix(system.symbol_prefixes, std::string(text), text);
      symbol_seen = true;
    }
    if (!value) return std::nullopt;
    prefix *= *value;
  }
  return std::nullopt;
}

// Recursive descent; every function is empty where the text is no unit.
class Parser {
 public:
  Parser(const ut_system& system, std::string_view text) : system_(system), text_(text) {}

  std::optional<ut_unit> All() {
    const auto unit = Shifted();
    SkipBlanks();
    return at_ == text_.size() ? unit : std::nullopt;
  }

 private:
  std::optional<ut_unit> Shifted() {
    auto unit = Product();
    if (unit && Take('@')) {
      SkipBlanks();
      const auto origin = Number();
      if (!origin) return std::nullopt;
      unit = Shift(*unit, *origin);
    }
    return unit;
  }

  std::optional<ut_unit> Product() {
    auto product = Power();
    while (product) {
      const bool divided = Take('/');
      const bool joined = divided || Take('*') || Take('.');
      SkipBlanks();
      if (!joined && (at_ == text_.size() || text_[at_] == ')' || text_[at_] == '@')) break;
      const auto factor = Power();
      if (!factor) return std::nullopt;
      product = Multiply(*product, *factor, divided ? -1 : 1);
    }
    return product;
  }

  std::optional<ut_unit> Power() {
    SkipBlanks();
    auto unit = Primary();
    if (!unit) return std::nullopt;
    const std::size_t before = at_;
    const bool marked = at_ < text_.size() && text_[at_] == '^';
    if (marked) ++at_;
    int power = 0;
    const char* const end = text_.data() + text_.size();
    const auto [stop, fault] = std::from_chars(text_.data() + at_, end, power);
    if (fault == std::errc()) {
      at_ = static_cast<std::size_t>(stop - text_.data());
      return Raise(*unit, power);
    }
    at_ = before;
    return marked ? std::nullopt : unit;
  }

  std::optional<ut_unit> Primary() {
    if (Take('(')) {
      auto unit = Shifted();
      return unit && Take(')') ? unit : std::nullopt;
    }
    if (const auto number = Number()) {
      ut_unit unit;
      unit.system = &system_;
      unit.factor = *number;
      return unit;
    }
    // Minutes, seconds and percent stand alone. Digits belong to a name where letters follow them (H2O), and are its power at the end.
    std::size_t end = at_;
    if (at_ < text_.size() && (text_[at_] == '\'' || text_[at_] == '"' || text_[at_] == '%')) {
      ++end;
    } else {
      for (std::size_t i = at_; i < text_.size() && (IsLetter(text_[i]) || (i > at_ && IsDigit(text_[i])));
           ++i)
        if (IsLetter(text_[i])) end = i + 1;
    }
    const std::string_view name = text_.substr(at_, end - at_);
    at_ = end;
    return NamedUnit(system_, name);
  }

  std::optional<double> Number() {
    double number = 0;
    const std::size_t digit = at_ < text_.size() && text_[at_] == '-' ? at_ + 1 : at_;
    if (digit == text_.size() || !(IsDigit(text_[digit]) || text_[digit] == '.')) return std::nullopt;
    const auto [stop, fault] =
        std::from_chars(text_.data() + at_, text_.data() + text_.size(), number, std::chars_format::general);
    if (fault != std::errc()) return std::nullopt;
    at_ = static_cast<std::size_t>(stop - text_.data());
    return number;
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

  const ut_system& system_;
  std::string_view text_;
  std::size_t at_ = 0;
};

// English, as the database leaves most plurals out.
std::string Plural(const std::string& singular) {
  const char last = singular.empty() ? ' ' : singular.back();
  const std::string_view vowels = "aeiou";
  if (last == 'y' && singular.size() > 1 && vowels.find(singular[singular.size() - 2]) == vowels.npos)
    return singular.substr(0, singular.size() - 1) + "ies";
  const bool hisses =
      last == 's' || last == 'x' || last == 'z' || singular.ends_with("ch") || singular.ends_with("sh");
  return singular + (hisses ? "es" : "s");
}

// Reads the database's own kind of XML: elements without attributes that matter, character references by number.
class DatabaseReader {
 public:
  explicit DatabaseReader(ut_system& system) : system_(system) {}

  bool ReadFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return file && Read(text.str(), path.parent_path());
  }

  // `folder` is where imported files lie.
  bool Read(std::string_view xml, const std::filesystem::path& folder) {
    std::string text;  // since the last tag
    for (std::size_t at = 0; at < xml.size();) {
      if (xml[at] != '<') {
        const std::size_t tag = std::min(xml.find('<', at), xml.size());
        text = Trimmed(xml.substr(at, tag - at));
        at = tag;
        continue;
      }
      const bool comment = xml.substr(at).starts_with("<!--");
      const std::size_t end = xml.find(comment ? "-->" : ">", at);
      if (end == xml.npos) return false;
      if (!comment) {
        const std::string_view tag = xml.substr(at + 1, end - at - 1);
        if (tag == "/import" && !folder.empty() && !ReadFile(folder / text)) return false;
        Tag(tag.substr(0, tag.find(' ')), text);
        text.clear();
      }
      at = end + (comment ? 3 : 1);
    }
    return true;
  }

 private:
  struct Name {
    std::string singular, plural;
    bool has_plural = true;
  };

  // What an element means is decided where it ends, or at once where it is empty.
  void Tag(std::string_view tag, const std::string& text) {
    if (tag == "unit" || tag == "prefix") {
      names_.clear();
      symbols_.clear();
      definition_.clear();
      base_ = dimensionless_ = false;
      in_prefix_ = tag == "prefix";
    } else if (tag == "base/") {
      base_ = true;
    } else if (tag == "dimensionless/") {
      base_ = dimensionless_ = true;
    } else if (tag == "/def") {
      definition_ = text;
    } else if (tag == "name") {
      names_.emplace_back();
    } else if (tag == "noplural/") {
      // udunits2 forms the plural where the singular ends, so that a later word against it changes nothing.
      if (!names_.empty() && names_.back().singular.empty()) names_.back().has_plural = false;
    } else if (tag == "/singular" || (tag == "/name" && in_prefix_)) {
      if (!names_.empty()) names_.back().singular = text;
    } else if (tag == "/plural") {
      if (!names_.empty()) names_.back().plural = text;
    } else if (tag == "/symbol") {
      symbols_.push_back(text);
    } else if (tag == "/value") {
      definition_ = text;
    } else if (tag == "/prefix") {
      const double value = std::strtod(definition_.c_str(), nullptr);
      for (const Name& name : names_) system_.name_prefixes.emplace(Lower(name.singular), value);
      for (const std::string& symbol : symbols_) system_.symbol_prefixes.emplace(symbol, value);
    } else if (tag == "/unit") {
      AddUnit();
    }
  }

  void AddUnit() {
    std::optional<ut_unit> unit;
    if (base_ && system_.base_units.size() < kMostBaseUnits && !symbols_.empty()) {
      unit.emplace();
      unit->powers[system_.base_units.size()] = 1;
      system_.base_units.push_back({symbols_.front(), dimensionless_});
    } else if (!base_) {
      unit = Parser(system_, definition_).All();
    }
    if (!unit) return;  // a logarithmic one
    unit->system = &system_;
    for (const Name& name : names_) {
      system_.names.emplace(Lower(name.singular), *unit);
      if (name.has_plural)
        system_.names.emplace(Lower(name.plural.empty() ? Plural(name.singular) : name.plural), *unit);
    }
    for (const std::string& symbol : symbols_) system_.symbols.emplace(symbol, *unit);
  }

  static std::string Trimmed(std::string_view xml) {
    std::string text;
    for (std::size_t at = 0; at < xml.size(); ++at) {
      const std::size_t end = xml[at] == '&' ? xml.find(';', at) : xml.npos;
      if (end == xml.npos) {
        text += xml[at] == '\n' || xml[at] == '\t' || xml[at] == '\r' ? ' ' : xml[at];
        continue;
      }
      if (xml.substr(at).starts_with("&#x"))
        AppendCharacter(text, std::strtoul(xml.data() + at + 3, nullptr, 16));
      at = end;
    }
    text.erase(0, text.find_first_not_of(' '));
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
  }

  static void AppendCharacter(std::string& text, unsigned long code) {
    const auto byte = [&](unsigned long value) {
      text += static_cast<char>(static_cast<unsigned char>(value));
    };
    if (code < 0x80) {
      byte(code);
    } else if (code < 0x800) {
      byte(0xc0 | code >> 6);
      byte(0x80 | (code & 0x3f));
    } else {
      byte(0xe0 | code >> 12);
      byte(0x80 | (code >> 6 & 0x3f));
      byte(0x80 | (code & 0x3f));
    }
  }

  ut_system& system_;
  std::vector<Name> names_;
  std::vector<std::string> symbols_;
  std::string definition_;  // of a prefix its value
  bool base_ = false, dimensionless_ = false, in_prefix_ = false;
};

}  // namespace

ut_system* ut_read_xml(const char* path) {
  auto system = std::make_unique<ut_system>();
  if (!path) path = std::getenv("UDUNITS2_XML_PATH");
  DatabaseReader reader(*system);
  return (path ? reader.ReadFile(path) : reader.Read(EmbeddedUnitDatabase(), "")) ? system.release()
                                                                                  : nullptr;
}
void ut_free_system(ut_system* system) { delete system; }

ut_unit* ut_parse(const ut_system* system, const char* text, ut_encoding) {
  const auto unit = Parser(*system, text).All();
  return unit ? new ut_unit(*unit) : nullptr;
}
ut_unit* ut_divide(const ut_unit* numerator, const ut_unit* denominator) {
  return new ut_unit(Multiply(*numerator, *denominator, -1));
}
ut_unit* ut_offset(const ut_unit* unit, double origin) { return new ut_unit(Shift(*unit, origin)); }
ut_unit* ut_get_dimensionless_unit_one(const ut_system* system) {
  auto* one = new ut_unit;
  one->system = system;
  return one;
}
void ut_free(ut_unit* unit) { delete unit; }

int ut_is_dimensionless(const ut_unit* unit) {
  for (std::size_t i = 0; i < unit->system->base_units.size(); ++i)
    if (unit->powers[i] != 0 && !unit->system->base_units[i].dimensionless) return 0;
  return 1;
}

int ut_format(const ut_unit* unit, char* text, unsigned long long size, unsigned) {
  std::string bases;
  for (std::size_t i = 0; i < unit->system->base_units.size(); ++i) {
    if (unit->powers[i] == 0) continue;
    if (!bases.empty()) bases += '.';
    bases += unit->system->base_units[i].symbol;
    if (unit->powers[i] != 1) bases += std::to_string(unit->powers[i]);
  }
  if (bases.empty()) bases.push_back('1');
  std::string all = unit->factor == 1 ? bases : fmt::format("{} {}", unit->factor, bases);
  if (unit->shift != 0) all += fmt::format(" @ {}", unit->shift / unit->factor);
  if (size > 0) text[all.copy(text, size - 1)] = 0;
  return static_cast<int>(all.size());
}

cv_converter* ut_get_converter(const ut_unit* from, const ut_unit* to) {
  const ut_unit ratio = Multiply(*from, *to, -1);
  if (!ut_is_dimensionless(&ratio)) return nullptr;
  return new cv_converter{from->factor / to->factor, (from->shift - to->shift) / to->factor};
}
double cv_convert_double(const cv_converter* converter, double value) {
  return converter->factor * value + converter->shift;
}
void cv_free(cv_converter* converter) { delete converter; }

}  // namespace quiver::unit_table
