// SPDX-License-Identifier: Apache-2.0
#include "runtime/report/page.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "runtime/io/quantity_text.h"
#include "runtime/report/equations_html.h"
#include "runtime/report/markup.h"
#include "runtime/report/page_style.h"

namespace quiver {
namespace {

constexpr size_t kMostRows = 2000;    // of one table
constexpr size_t kLeastTogether = 4;  // elements of an array that share a row

// Seven digits to read, all of them for whoever reads the page by program.
std::string ValueCell(double value) {
  if (std::isnan(value)) return "<td class=\"n\"></td>";
  return fmt::format("<td class=\"n\"><data value=\"{}\">{}</data></td>",
                     FormatReal(value, RealStyle::kShortest), ShortNumber(value));
}

std::string TextCell(const std::string& text, const char* style = nullptr) {
  return style ? fmt::format("<td class=\"{}\">{}</td>", style, Escaped(text))
               : fmt::format("<td>{}</td>", Escaped(text));
}

std::string RowHead(const std::string& text) {
  return fmt::format("<th scope=\"row\">{}</th>", Escaped(text));
}

// A table from its header and finished rows. Columns whose header starts with "#" hold numbers.
std::string TableOf(const std::string& caption, const std::vector<std::string>& header,
                    const std::vector<std::string>& rows) {
  std::string html = "<div class=\"wide\"><table aria-label=\"" + Escaped(caption) + "\"><thead><tr>";
  for (const std::string& cell : header)
    html += cell.starts_with('#')
                ? fmt::format("<th scope=\"col\" class=\"n\">{}</th>", Escaped(cell.substr(1)))
                : fmt::format("<th scope=\"col\">{}</th>", Escaped(cell));
  html += "</tr></thead><tbody>\n";
  for (size_t i = 0; i < std::min(rows.size(), kMostRows); ++i)
    html += rows[i].starts_with("<tr") ? rows[i] + "\n" : "<tr>" + rows[i] + "</tr>\n";
  html += "</tbody></table></div>\n";
  if (rows.size() > kMostRows)
    html += fmt::format("<p>{} more rows are left out here.</p>\n", rows.size() - kMostRows);
  return html;
}

std::string ListOf(const std::vector<std::string>& items, size_t most = 40) {
  std::string html = "<ul class=\"plain\">";
  for (size_t i = 0; i < std::min(items.size(), most); ++i) html += "<li>" + Escaped(items[i]) + "</li>\n";
  if (items.size() > most) html += fmt::format("<li>and {} more</li>", items.size() - most);
  return html + "</ul>\n";
}

std::string Counted(int count, const std::string& noun) {
  return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

class Page {
 public:
  Page(const ReportContent& content, const ReportProvenance& provenance, bool brief)
      : content_(content), provenance_(provenance), brief_(brief) {}

  std::string Text() {
    Verdict();
    Results();
    Inputs();
    Curves();
    Diagnosis();
    if (!brief_) {
      Equations();
      AllValues();
    }
    Provenance();
    std::string nav;
    for (const auto& [id, title] : sections_)
      nav += fmt::format("<li><a href=\"#{}\">{}</a></li>", id, Escaped(title));
    const std::string title = Escaped(content_.title);
    return fmt::format(
        "<!DOCTYPE html>\n<html lang=\"en\" xmlns=\"http://www.w3.org/1999/xhtml\">\n<head>\n<meta "
        "charset=\"utf-8\"/>\n"
        "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src "
        "'unsafe-inline'; script-src "
        "'unsafe-inline'\"/>\n<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\"/>\n"
        "<meta name=\"generator\" "
        "content=\"{}\"/>\n<title>{}</title>\n<style>{}{}{}</style>\n</head>\n<body>\n<header>\n"
        "<h1>{}</h1>\n{}<nav aria-label=\"Sections\"><ul>{}</ul></nav>\n</header>\n<main>\n{}</main>\n"
        "<div id=\"readout\" aria-hidden=\"true\"></div>\n<script>{}</script>\n</body>\n</html>\n",
        Escaped(provenance_.program), title, kPageStyle, ChartStyle(), kDarkCharts, title, verdict_, nav,
        body_, kReadOut);
  }

 private:
  void Section(const std::string& id, const std::string& title, bool new_page = false) {
    sections_.emplace_back(id, title);
    body_ +=
        fmt::format("<h2 id=\"{}\"{}>{}</h2>\n", id, new_page ? " class=\"chapter\"" : "", Escaped(title));
  }

  void Verdict() {
    const SolveSummary& s = content_.summary;
    const std::string effort =
        Counted(content_.equations, "equation") + ", " + Counted(s.iterations, "iteration");
    if (content_.converged) {
      verdict_ = fmt::format(
          "<div class=\"verdict\"><strong>Converged</strong>: {}, largest scaled residual {:.1e}.", effort,
          s.largest_residual);
    } else {
      verdict_ = fmt::format(
          "<div class=\"verdict bad\" role=\"alert\"><strong>Not solved</strong>: {}. All values below are "
          "the state that was "
          "reached, not a solution.",
          effort);
      verdict_ += ListOf(content_.failures);
    }
    if (!content_.notes.empty()) verdict_ += "<div>Worth knowing:" + ListOf(content_.notes) + "</div>";
    verdict_ += "</div>\n";
  }

  static std::vector<std::string> ValueRows(const std::vector<NamedValue>& values) {
    std::vector<std::string> rows;
    for (const NamedValue& v : values)
      rows.push_back(
          RowHead(v.name) + ValueCell(v.value) + TextCell(UnitText(v.unit)) +
          TextCell(v.given ? v.description + (v.description.empty() ? "given" : " (given)") : v.description,
                   "meaning"));
    return rows;
  }

  void Results() {
    Section("results", "Results");
    body_ += TableOf("Results", {"Name", "#Value", "Unit", "Meaning"}, ValueRows(content_.results));
    Orifices();
    Streams();
  }

  void Orifices() {
    if (content_.orifices.empty()) return;
    body_ += "<h3>Choice of orifice <small>API Standard 526</small></h3>\n";
    std::vector<std::string> rows;
    std::set<std::string> chosen_letters;
    for (const ReportOrifices& choice : content_.orifices) {
      const auto chosen =
          std::ranges::find_if(choice.orifices, [](const ReportOrifice& o) { return o.chosen; });
      std::string row = RowHead(choice.block) + ValueCell(1e6 * choice.required_area);
      if (chosen != choice.orifices.end()) {
        chosen_letters.insert(chosen->letter);
        row += fmt::format("<td><strong>{}</strong></td>", Escaped(chosen->letter)) +
               ValueCell(1e6 * chosen->area) +
               TextCell(fmt::format("{:.1f} %", 100 * choice.required_area / chosen->area), "n");
      } else {
        row += "<td>none: larger than all of them, use several valves</td><td></td><td></td>";
      }
      rows.push_back(row + ValueCell(choice.mass_flow) + ValueCell(choice.mass_flow_of_chosen));
    }
    body_ += TableOf("Choice of orifice",
                     {"Valve", "#Required area, mm²", "Orifice", "#Its area, mm²", "#Used",
                      "#Relieving flow, kg/hr", "#Capacity, kg/hr"},
                     rows);
    std::string letters, areas;
    for (const ReportOrifice& orifice : content_.orifices.front().orifices) {
      const bool marked = chosen_letters.contains(orifice.letter);
      letters +=
          fmt::format("<th scope=\"col\" class=\"n\">{}{}</th>", marked ? "▶" : "", Escaped(orifice.letter));
      areas += fmt::format("<td class=\"n\">{:.1f}</td>", 1e6 * orifice.area);
    }
    body_ += "<div class=\"wide\"><table aria-label=\"Orifices\"><thead><tr><th scope=\"col\">Orifice</th>" +
             letters + "</tr></thead><tbody><tr><th scope=\"row\">Area, mm²</th>" + areas +
             "</tr></tbody></table></div>\n";
  }

  void Streams() {
    if (content_.streams.empty()) return;
    body_ += "<h3>Streams</h3>\n";
    std::vector<std::string> header = {"Stream",  "#F, kmol/hr", "#T, °C",
                                       "#P, bar", "#H, GJ/kmol", "#V, m³/kmol"};
    for (const std::string& component : content_.streams.front().components)
      header.push_back("#" + component);
    std::vector<std::string> rows;
    for (const StreamState& stream : content_.streams) {
      std::string row = RowHead(stream.name + (stream.reversed ? " (reversed)" : "")) + ValueCell(stream.F) +
                        ValueCell(stream.T) + ValueCell(stream.P) + ValueCell(stream.H) + ValueCell(stream.V);
      for (const double fraction : stream.Z) row += ValueCell(fraction);
      rows.push_back(row);
    }
    body_ += TableOf("Streams", header, rows);
  }

  // What the case says, where that is not what stands beside it already.
  static std::string AsWritten(const ReportInput& input) {
    return input.written == input.value || input.written == input.value + " " + input.unit ? ""
                                                                                           : input.written;
  }

  // Where the elements of one array end that begin at `first`, as far as they came from the same place.
  static size_t EndOfTable(const std::vector<ReportInput>& inputs, size_t first) {
    const auto array = [](const ReportInput& input) { return input.name.substr(0, input.name.rfind('(')); };
    size_t end = first + 1;
    while (end < inputs.size() && inputs[first].name.ends_with(')') &&
           array(inputs[end]) == array(inputs[first]) && inputs[end].source == inputs[first].source &&
           inputs[end].description == inputs[first].description)
      ++end;
    return end;
  }

  static std::string InputTable(const std::string& caption, const std::vector<ReportInput>& inputs) {
    const bool written =
        std::ranges::any_of(inputs, [](const ReportInput& input) { return !AsWritten(input).empty(); });
    std::vector<std::string> header = {"Name", "#Value", "Unit", "From", "Meaning"}, rows;
    if (written) header.insert(header.begin() + 3, "As written");
    for (size_t i = 0; i < inputs.size();) {
      const ReportInput& input = inputs[i];
      const size_t end = EndOfTable(inputs, i);
      std::string name = input.name, values = TextCell(input.value, "n");
      if (end - i >= kLeastTogether) {
        name += " … " + inputs[end - 1].name.substr(inputs[end - 1].name.rfind('('));
        std::vector<std::string> all;
        for (size_t k = i; k < end; ++k) all.push_back(inputs[k].value);
        values = TextCell(fmt::format("{}", fmt::join(all, "; ")));
      }
      rows.push_back(RowHead(name) + values + TextCell(UnitText(input.unit)) +
                     (written ? TextCell(AsWritten(input)) : "") + TextCell(input.source) +
                     TextCell(input.description, "meaning"));
      i = end - i >= kLeastTogether ? end : i + 1;
    }
    return TableOf(caption, header, rows);
  }

  void Inputs() {
    Section("inputs", "Inputs");
    body_ += InputTable("Inputs", content_.inputs);
    if (!content_.defaults.empty())
      body_ += "<h3>Values that the models bring</h3>\n" +
               InputTable("Values that the models bring", content_.defaults);
    if (!content_.options.empty()) {
      body_ += "<h3>Options left at their defaults</h3>\n<p>";
      for (size_t i = 0; i < content_.options.size(); ++i)
        body_ += fmt::format("{}{} = {}", i ? "; " : "", Escaped(content_.options[i].name),
                             Escaped(content_.options[i].value));
      body_ += ".</p>\n";
    }
  }

  void Curves() {
    if (content_.plots.empty() && content_.plots_left_out.empty()) return;
    Section("curves", "Curves");
    for (const std::string& reason : content_.plots_left_out) body_ += "<p>" + Escaped(reason) + "</p>\n";
    int number = 0;
    for (const Plot& plot : content_.plots) {
      ++number;
      body_ += "<figure>\n" + SvgInPage(plot.chart, fmt::format("figure{}", number));
      body_ += fmt::format("<figcaption>Figure {}. {}</figcaption>\n", number, Escaped(plot.caption));
      if (plot.table.size() > 1) {
        std::vector<std::string> rows;
        for (size_t i = 1; i < plot.table.size(); ++i) {
          std::string row = RowHead(plot.table[i][0]);
          for (size_t k = 1; k < plot.table[i].size(); ++k) row += TextCell(plot.table[i][k]);
          rows.push_back(row);
        }
        body_ += TableOf(plot.chart.title, plot.table[0], rows);
      }
      body_ += "</figure>\n";
    }
  }

  void Diagnosis() {
    Section("diagnosis", "Diagnosis");
    const SolveSummary& s = content_.summary;
    std::vector<std::string> rows;
    const auto fact = [&](const std::string& what, const std::string& value) {
      rows.push_back(RowHead(what) + TextCell(value));
    };
    fact("Equations and unknowns", fmt::format("{} and {}", content_.equations, content_.free_variables));
    fact("Degrees of freedom", content_.degrees_of_freedom == 0
                                   ? "0: as many unknowns as equations"
                                   : std::to_string(content_.degrees_of_freedom));
    fact("Blocks solved one after another",
         fmt::format("{}, the largest of {}{}", s.blocks, Counted(s.largest_block, "equation"),
                     s.blocks_failed ? fmt::format("; {} failed, {} were left out behind them",
                                                   s.blocks_failed, s.blocks_skipped)
                                     : ""));
    fact("Iterations and evaluations",
         fmt::format("{} and {}, summed over the blocks", s.iterations, s.evaluations));
    fact("Largest scaled residual", fmt::format("{:.1e}", s.largest_residual));
    if (!s.moved_into_bounds.empty())
      fact("Starting values moved into their bounds", std::to_string(s.moved_into_bounds.size()));
    body_ += TableOf("Diagnosis", {"What", "Found"}, rows);
    if (!content_.failures.empty()) body_ += "<h3>What failed</h3>\n" + ListOf(content_.failures);
    if (!content_.near_switch.empty()) {
      body_ +=
          "<h3>Conditions near their switching point</h3>\n<p>A change of about one per cent turns "
          "them.</p>\n";
      rows.clear();
      for (const NearSwitch& near : content_.near_switch)
        rows.push_back(RowHead(near.equation) + "<td>" + ConditionMath(near.condition) + "</td>" +
                       TextCell(near.holds ? "holds" : "does not hold") +
                       TextCell(fmt::format("{:.2g} %", 100 * near.distance), "n"));
      body_ += TableOf("Conditions near their switching point", {"Equation", "Condition", "Now", "#Distance"},
                       rows);
    }
    if (!content_.at_bounds.empty()) VariablesAtBounds();
  }

  void VariablesAtBounds() {
    constexpr size_t kMost = 16;
    const size_t shown = std::min(content_.at_bounds.size(), kMost);
    const auto end = content_.at_bounds.begin() + static_cast<long>(shown);
    body_ += "<h3>Variables at a bound</h3>\n<p>" +
             Escaped(fmt::format("{}", fmt::join(content_.at_bounds.begin(), end, "; ")));
    if (shown < content_.at_bounds.size())
      body_ += fmt::format("; and {} more", content_.at_bounds.size() - shown);
    body_ += ".</p>\n";
  }

  void Equations() {
    Section("equations", "Equations", true);
    body_ +=
        "<p>As the models set them up under the options of this case. Of alternatives, the one that holds at "
        "the values above is "
        "marked with ▶.</p>\n";
    std::map<std::string, std::string> shown;  // equations, and the first instance that has them
    std::set<std::string> legends;             // of the same type they are the same
    for (const ReportEquations& model : content_.models) {
      if (model.equations.empty()) continue;
      const std::string html = EquationsHtml(model), symbols = SymbolsHtml(model);
      const auto [first, is_new] = shown.try_emplace(html, model.instance);
      body_ += fmt::format("<h3>{} <small>{}, {}</small></h3>\n", Escaped(model.instance),
                           Escaped(model.model), Counted(model.description.count, "equation"));
      if (is_new && legends.insert(symbols).second)
        body_ += html + symbols;
      else
        body_ += is_new ? html
                        : fmt::format("<p>The same equations as those of {}.</p>\n", Escaped(first->second));
    }
    if (content_.models_left_out)
      body_ += fmt::format("<p>The equations of {} further instances are left out here.</p>\n",
                           content_.models_left_out);
  }

  void AllValues() {
    if (content_.all.empty()) return;
    Section("values", "All computed values", true);
    body_ += TableOf("All computed values", {"Name", "#Value", "Unit", "Meaning"}, ValueRows(content_.all));
  }

  void Provenance() {
    Section("provenance", "Provenance");
    std::vector<std::string> rows = {RowHead("Program") + TextCell(provenance_.program),
                                     RowHead("Date") + TextCell(provenance_.date)};
    for (const auto& [what, value] : provenance_.sources)
      rows.push_back(RowHead(what) + TextCell(value, value.size() > 40 ? "hash" : nullptr));
    body_ += TableOf("Provenance", {"What", "Which"}, rows);
  }

  const ReportContent& content_;
  const ReportProvenance& provenance_;
  const bool brief_;
  std::vector<std::pair<std::string, std::string>> sections_;
  std::string body_, verdict_;
};

}  // namespace

std::string ReportPage(const ReportContent& content, const ReportProvenance& provenance, bool brief) {
  return Page(content, provenance, brief).Text();
}

}  // namespace quiver
