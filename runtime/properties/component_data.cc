// SPDX-License-Identifier: Apache-2.0
// Reads the built-in tables once, on first use, and answers look-ups by any accepted name.
#include "runtime/properties/component_data.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <map>
#include <numeric>
#include <unordered_map>
#include <utility>

#include "runtime/properties/embedded_tables.h"
#include "runtime/properties/property_error.h"

namespace quiver {
namespace {

// Common names beyond name, formula and CAS number. The right column is a name of the table.
// clang-format off
constexpr std::pair<std::string_view, std::string_view> kAliases[] = {
    {"steam", "water"}, {"C1", "methane"}, {"C2", "ethane"}, {"C3", "propane"}, {"nC4", "n-butane"},
    {"butane", "n-butane"}, {"iC4", "isobutane"}, {"i-butane", "isobutane"}, {"2-methylpropane", "isobutane"},
    {"nC5", "n-pentane"}, {"pentane", "n-pentane"}, {"iC5", "isopentane"}, {"i-pentane", "isopentane"},
    {"2-methylbutane", "isopentane"}, {"2,2-dimethylpropane", "neopentane"}, {"nC6", "n-hexane"},
    {"hexane", "n-hexane"}, {"isohexane", "2-methylpentane"}, {"nC7", "n-heptane"}, {"heptane", "n-heptane"},
    {"nC8", "n-octane"}, {"octane", "n-octane"}, {"nC9", "n-nonane"}, {"nonane", "n-nonane"},
    {"nC10", "n-decane"}, {"decane", "n-decane"}, {"nC11", "n-undecane"}, {"undecane", "n-undecane"},
    {"nC12", "n-dodecane"}, {"dodecane", "n-dodecane"}, {"ethene", "ethylene"}, {"propene", "propylene"},
    {"isobutylene", "isobutene"}, {"butadiene", "1,3-butadiene"}, {"ethyne", "acetylene"},
    {"propyne", "methylacetylene"}, {"allene", "propadiene"}, {"methylbenzene", "toluene"},
    {"isopropylbenzene", "cumene"}, {"hydrogen sulphide", "hydrogen sulfide"},
    {"sulphur dioxide", "sulfur dioxide"}, {"sulphur trioxide", "sulfur trioxide"},
    {"carbonyl sulphide", "carbonyl sulfide"}, {"carbon disulphide", "carbon disulfide"},
    {"hydrochloric acid gas", "hydrogen chloride"}, {"hydrogen chloride gas", "hydrogen chloride"},
    {"methyl alcohol", "methanol"}, {"MeOH", "methanol"}, {"ethyl alcohol", "ethanol"}, {"EtOH", "ethanol"},
    {"n-propanol", "1-propanol"}, {"2-propanol", "isopropanol"}, {"IPA", "isopropanol"},
    {"isopropyl alcohol", "isopropanol"}, {"n-butanol", "1-butanol"}, {"MEG", "ethylene glycol"},
    {"monoethylene glycol", "ethylene glycol"}, {"DEG", "diethylene glycol"}, {"TEG", "triethylene glycol"},
    {"glycerine", "glycerol"}, {"2-butanone", "MEK"}, {"DME", "dimethyl ether"}, {"ether", "diethyl ether"},
    {"THF", "tetrahydrofuran"}, {"EO", "ethylene oxide"}, {"PO", "propylene oxide"}, {"VAM", "vinyl acetate"},
    {"MMA", "methyl methacrylate"}, {"ethanoic acid", "acetic acid"}, {"chloromethane", "methyl chloride"},
    {"chloroethane", "ethyl chloride"}, {"trichloromethane", "chloroform"},
    {"tetrachloromethane", "carbon tetrachloride"}, {"EDC", "1,2-dichloroethane"},
    {"ethylene dichloride", "1,2-dichloroethane"}, {"TCE", "trichloroethylene"}, {"VCM", "vinyl chloride"},
    {"methylene chloride", "dichloromethane"}, {"methanethiol", "methyl mercaptan"},
    {"R134a", "R-134a"}, {"R22", "R-22"}, {"R32", "R-32"}, {"R125", "R-125"}, {"R12", "R-12"},
    {"R290", "propane"}, {"R717", "ammonia"}, {"R744", "carbon dioxide"}, {"R600a", "isobutane"},
    {"CHCl3", "chloroform"}, {"EtO", "ethylene oxide"},
};
// clang-format on

// Letters and digits in lower case: "n-Butane", "n butane" and "nbutane" are one name.
std::string Normalised(std::string_view text) {
  std::string key;
  for (unsigned char c : text)
    if (std::isalnum(c)) key += static_cast<char>(std::tolower(c));
  return key;
}

std::vector<std::string> SplitRow(std::string_view row) {
  std::vector<std::string> fields(1);
  bool quoted = false;
  for (char c : row) {
    if (c == '"')
      quoted = !quoted;
    else if (c == ',' && !quoted)
      fields.emplace_back();
    else if (c != '\r')
      fields.back() += c;
  }
  return fields;
}

// One row of a table, its fields found by column name.
class Row {
 public:
  Row(const std::map<std::string, std::size_t>& columns, std::vector<std::string> fields)
      : columns_(columns), fields_(std::move(fields)) {}
  const std::string& Text(const std::string& column) const { return fields_.at(columns_.at(column)); }
  double Number(const std::string& column) const { return std::strtod(Text(column).c_str(), nullptr); }
  std::optional<double> Optional(const std::string& column) const {
    return Text(column).empty() ? std::nullopt : std::optional(Number(column));
  }

 private:
  const std::map<std::string, std::size_t>& columns_;
  std::vector<std::string> fields_;
};

template <class Visitor>
void ForEachRow(std::string_view table, Visitor visit) {
  std::map<std::string, std::size_t> columns;
  while (!table.empty()) {
    const std::size_t end = std::min(table.find('\n'), table.size());
    std::vector<std::string> fields = SplitRow(table.substr(0, end));
    table.remove_prefix(std::min(end + 1, table.size()));
    if (columns.empty()) {
      for (std::size_t i = 0; i < fields.size(); ++i) columns[fields[i]] = i;
    } else if (fields.size() == columns.size()) {
      visit(Row(columns, std::move(fields)));
    }
  }
}

Component ReadComponent(const Row& row) {
  Component c;
  c.name = row.Text("name");
  c.formula = row.Text("formula");
  c.cas = row.Text("cas");
  c.family = row.Text("family");
  c.molar_mass = row.Number("mw_kg_per_kmol");
  c.tc = row.Number("tc_K");
  c.pc = row.Number("pc_Pa");
  c.vc = row.Number("vc_m3_per_kmol");
  c.omega = row.Number("omega");
  c.tb = row.Number("tb_K");
  c.rackett = row.Number("zra");
  c.formation_enthalpy = row.Number("dhf_ig_J_per_kmol");
  c.absolute_entropy = row.Number("s_ig_J_per_kmol_K");
  c.triple_temperature = row.Optional("ttp_K");
  c.net_combustion = row.Optional("dhc_net_J_per_kmol");
  for (const PropertyRow& p : PropertyRows()) {
    const std::string prefix = p.column;
    Correlation& correlation = c.correlations[static_cast<std::size_t>(p.property)];
    correlation.property = p.property;
    correlation.equation = static_cast<int>(row.Number(prefix + "_eq"));
    correlation.t_min = row.Number(prefix + "_tmin_K");
    correlation.t_max = row.Number(prefix + "_tmax_K");
    correlation.tc = c.tc;
    for (int k = 0; k < 5; ++k)
      correlation.coefficients[k] = row.Number(prefix + "_" + static_cast<char>('A' + k));
  }
  return c;
}

struct Tables {
  std::vector<Component> components;
  std::unordered_map<std::string, std::vector<int>> by_name;  // normalised name; several only for formulas
  std::map<std::pair<std::string, std::string>, double> interactions;

  Tables() {
    ForEachRow(EmbeddedComponents(), [&](const Row& row) { components.push_back(ReadComponent(row)); });
    ForEachRow(EmbeddedInteractions(), [&](const Row& row) {
      interactions[std::minmax(row.Text("cas_i"), row.Text("cas_j"))] = row.Number("kij");
    });
    for (std::size_t i = 0; i < components.size(); ++i) {
      const std::string& name = components[i].name;
      Add(name, i);
      Add(components[i].cas, i);
      // "isooctane (2,2,4-trimethylpentane)" is found by either part.
      if (const std::size_t bracket = name.find(" ("); bracket != std::string::npos) {
        Add(std::string_view(name).substr(0, bracket), i);
        Add(std::string_view(name).substr(bracket), i);
      }
    }
    for (const auto& [alias, name] : kAliases) Add(alias, by_name.at(Normalised(name)).front());
    // Formulas last: a name such as "CO" or an alias wins over a formula that others share.
    std::unordered_map<std::string, std::vector<int>> formulas;
    for (std::size_t i = 0; i < components.size(); ++i)
      formulas[Normalised(components[i].formula)].push_back(static_cast<int>(i));
    for (auto& [formula, owners] : formulas) by_name.try_emplace(formula, owners);
  }

  void Add(std::string_view name, std::size_t index) {
    by_name.try_emplace(Normalised(name), std::vector<int>{static_cast<int>(index)});
  }
};

const Tables& TheTables() {
  static const Tables tables;
  return tables;
}

int EditDistance(std::string_view a, std::string_view b) {
  std::vector<int> row(b.size() + 1);
  std::iota(row.begin(), row.end(), 0);
  for (std::size_t i = 0; i < a.size(); ++i) {
    int diagonal = row[0]++;
    for (std::size_t j = 0; j < b.size(); ++j)
      diagonal = std::exchange(row[j + 1], std::min({row[j] + 1, row[j + 1] + 1, diagonal + (a[i] != b[j])}));
  }
  return row.back();
}

std::vector<std::string> NearNames(std::string_view name) {
  const std::string key = Normalised(name);
  if (key.empty()) return {};
  std::map<std::string, int> nearest;  // component name, smallest distance over its names
  for (const auto& [known, owners] : TheTables().by_name) {
    int distance = EditDistance(key, known);
    // A part of a name counts as near: "hexan" finds both n-hexane and cyclohexane.
    if (key.size() >= 4 && known.find(key) != std::string::npos) distance = std::min(distance, 2);
    for (int i : owners) {
      const std::string& full = TheTables().components[i].name;
      const auto [at, added] = nearest.try_emplace(full, distance);
      if (!added) at->second = std::min(at->second, distance);
    }
  }
  std::vector<std::pair<int, std::string>> order;
  for (const auto& [full, distance] : nearest)
    if (distance <= std::max<int>(2, static_cast<int>(key.size()) / 2)) order.emplace_back(distance, full);
  std::ranges::sort(order);
  std::vector<std::string> names;
  for (std::size_t i = 0; i < std::min<std::size_t>(4, order.size()); ++i) names.push_back(order[i].second);
  return names;
}

}  // namespace

std::span<const Component> Components() { return TheTables().components; }

const Component& FindComponent(std::string_view name) {
  const Tables& tables = TheTables();
  const auto found = tables.by_name.find(Normalised(name));
  if (found != tables.by_name.end() && found->second.size() == 1) return tables.components[found->second[0]];
  std::vector<std::string> names;
  if (found != tables.by_name.end()) {
    for (int i : found->second) names.push_back(tables.components[i].name);
    throw PropertyError(fmt::format("{} is the formula of several components: {}. Give one of these names.",
                                    name, fmt::join(names, ", ")));
  }
  names = NearNames(name);
  if (names.empty())
    throw PropertyError(
        fmt::format("No component is called {}. Give a name, a formula or a CAS number of the {} components "
                    "of the table.",
                    name, tables.components.size()));
  throw PropertyError(
      fmt::format("No component is called {}. Near names: {}.", name, fmt::join(names, ", ")));
}

double InteractionParameter(const Component& i, const Component& j) {
  const auto& table = TheTables().interactions;
  const auto found = table.find(std::minmax(i.cas, j.cas));
  return found == table.end() ? 0 : found->second;
}

std::vector<std::string> AliasesOf(const Component& component) {
  std::vector<std::string> names;
  for (const auto& [alias, name] : kAliases)
    if (&FindComponent(name) == &component) names.emplace_back(alias);
  return names;
}

CorrelationValue Evaluate(const Component& component, Property property, double temperature) {
  const Correlation& correlation = component.correlation(property);
  if (!correlation.available())
    throw PropertyError(fmt::format(
        "{} has no {} in the component table. Choose another component ({}).", component.name,
        RowOf(property).name,
        component.name == "air" ? "nitrogen, oxygen and argon instead of air" : "see data/README.md"));
  return Evaluate(correlation, temperature);
}

}  // namespace quiver
