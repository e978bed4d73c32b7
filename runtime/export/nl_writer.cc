// SPDX-License-Identifier: Apache-2.0
#include "runtime/export/nl_writer.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

namespace quiver {
namespace {

// What the segments are made of. In text each item of a segment is a line, or shares one; in binary it is bytes.
class NlStream {
 public:
  NlStream(std::ostream& out, bool binary) : out_(out), binary_(binary) {}

  void Segment(char letter, std::initializer_list<int> numbers) {
    out_ << letter;
    if (binary_) {
      for (const int number : numbers) Raw(static_cast<std::int32_t>(number));
    } else {
      out_ << fmt::format("{}\n", fmt::join(numbers, " "));
    }
  }
  void Integer(int value) { binary_ ? Raw(static_cast<std::int32_t>(value)) : Line("{}", value); }
  void Pair(int index, double value) {
    if (!binary_) return Line("{} {}", index, value);
    Raw(static_cast<std::int32_t>(index));
    Raw(value);
  }
  // A bound: its kind, then its values.
  void Bound(int kind, std::initializer_list<double> values) {
    if (!binary_) {
      out_ << kind;
      for (const double value : values) out_ << fmt::format(" {}", value);
      out_ << '\n';
      return;
    }
    out_ << static_cast<char>('0' + kind);
    for (const double value : values) Raw(value);
  }
  void Expression(const NlFormula& formula) {
    switch (formula.kind()) {
      case NlFormula::kNumber:
        if (!binary_) return Line("n{}", formula.value());
        out_ << 'n';
        return Raw(formula.value());
      case NlFormula::kVariable:
        return Segment('v', {formula.variable()});
      case NlFormula::kOperation:
        Segment('o', {static_cast<int>(formula.op())});
        if (TakesList(formula.op())) Integer(static_cast<int>(formula.operands().size()));
        for (const NlFormula& one : formula.operands()) Expression(one);
    }
  }

 private:
  template <class... Arguments>
  void Line(const char* pattern, Arguments... arguments) {
    out_ << fmt::format(fmt::runtime(pattern), arguments...) << '\n';
  }
  template <class Number>
  void Raw(Number value) {
    static_assert(std::endian::native == std::endian::little);
    out_.write(reinterpret_cast<const char*>(&value), sizeof value);
  }

  std::ostream& out_;
  bool binary_;
};

// Numbers of the variables in the file: those that occur nonlinearly first.
NlFormula Renumbered(const NlFormula& formula, const std::vector<int>& columns) {
  if (formula.kind() == NlFormula::kNumber) return formula;
  if (formula.kind() == NlFormula::kVariable)
    return NlFormula::Variable(columns[static_cast<size_t>(formula.variable())]);
  std::vector<NlFormula> of;
  for (const NlFormula& one : formula.operands()) of.push_back(Renumbered(one, columns));
  return NlFormula::Apply(formula.op(), std::move(of));
}

// Places 0 to n - 1, those of which `first` is true before the others; and each one's place in that order.
struct Order {
  std::vector<int> at, place;
  int first_count = 0;
};
Order Partition(const std::vector<bool>& first) {
  Order order;
  order.place.resize(first.size());
  for (const bool wanted : {true, false})
    for (size_t i = 0; i < first.size(); ++i) {
      if (first[i] != wanted) continue;
      order.place[i] = static_cast<int>(order.at.size());
      order.at.push_back(static_cast<int>(i));
      order.first_count += wanted;
    }
  return order;
}

size_t Longest(const std::vector<std::string>& names) {
  size_t longest = 0;
  for (const std::string& name : names) longest = std::max(longest, name.size());
  return longest;
}

struct Row {
  SplitFormula split;
  std::vector<int> variables;
};

void WriteHeader(const NlNames& names, bool binary, std::ostream& out) {
  const size_t rows = names.rows.size(), columns = names.columns.size();
  out << (binary ? 'b' : 'g') << "3 1 1 0\n"
      << fmt::format(" {} {} 1 0 {}\t# variables, constraints, objectives, ranges, equations\n", columns,
                     rows, rows)
      << fmt::format(" {} 0\t# nonlinear constraints, objectives\n", names.nonlinear_rows)
      << " 0 0\t# network constraints: nonlinear, linear\n"
      << fmt::format(" {} 0 0\t# nonlinear variables in constraints, objectives, both\n",
                     names.nonlinear_columns)
      << fmt::format(" 0 0 {} 1\t# linear network variables; functions; arithmetic, flags\n", binary ? 1 : 0)
      << " 0 0 0 0 0\t# discrete variables: binary, integer, nonlinear (b,c,o)\n"
      << fmt::format(" {} 0\t# nonzeros in the Jacobian, in gradients\n", names.nonzeros)
      << fmt::format(" {} {}\t# longest names: constraints, variables\n", Longest(names.rows),
                     Longest(names.columns))
      << " 0 0 0 0 0\t# common expressions: b,c,o,c1,o1\n";
}

void WriteBound(NlStream& nl, const ExportedVariable& variable) {
  const bool lower = std::isfinite(variable.lower), upper = std::isfinite(variable.upper);
  if (lower && variable.lower == variable.upper) return nl.Bound(4, {variable.lower});
  if (lower && upper) return nl.Bound(0, {variable.lower, variable.upper});
  if (upper) return nl.Bound(1, {variable.upper});
  if (lower) return nl.Bound(2, {variable.lower});
  nl.Bound(3, {});
}

}  // namespace

NlNames WriteNl(const ExportedSystem& system, const NlOptions& options, std::ostream& out) {
  std::vector<Row> rows;
  std::vector<bool> nonlinear_row, nonlinear_column(system.variables.size(), false);
  for (const ExportedEquation& equation : system.equations) {
    rows.push_back({Split(equation.residual), equation.variables});
    nonlinear_row.push_back(!rows.back().split.rest.IsNumber());
    for (const int variable : VariablesOf(rows.back().split.rest))
      nonlinear_column[static_cast<size_t>(variable)] = true;
  }
  const Order row_order = Partition(nonlinear_row), column_order = Partition(nonlinear_column);
  NlNames names;
  names.nonlinear_rows = row_order.first_count;
  names.nonlinear_columns = column_order.first_count;
  for (const int r : row_order.at) names.rows.push_back(system.equations[static_cast<size_t>(r)].name);
  for (const int c : column_order.at) names.columns.push_back(system.variables[static_cast<size_t>(c)].name);
  std::vector<int> column_counts(system.variables.size(), 0);  // in the file's order
  for (const Row& row : rows) {
    names.nonzeros += static_cast<int>(row.variables.size());
    for (const int v : row.variables)
      ++column_counts[static_cast<size_t>(column_order.place[static_cast<size_t>(v)])];
  }

  WriteHeader(names, options.binary, out);
  NlStream nl(out, options.binary);
  int number = 0;
  for (const int r : row_order.at) {
    nl.Segment('C', {number++});
    nl.Expression(Renumbered(rows[static_cast<size_t>(r)].split.rest, column_order.place));
  }
  nl.Segment('O', {0, 0});
  nl.Expression(0.0);
  nl.Segment('x', {static_cast<int>(column_order.at.size())});
  for (size_t i = 0; i < column_order.at.size(); ++i)
    nl.Pair(static_cast<int>(i), system.variables[static_cast<size_t>(column_order.at[i])].value);
  if (!rows.empty()) nl.Segment('r', {});
  for (const int r : row_order.at) nl.Bound(4, {0.0 - rows[static_cast<size_t>(r)].split.constant});
  if (!column_order.at.empty()) nl.Segment('b', {});
  for (const int c : column_order.at) WriteBound(nl, system.variables[static_cast<size_t>(c)]);
  if (!column_counts.empty()) nl.Segment('k', {static_cast<int>(column_counts.size()) - 1});
  int sum = 0;
  for (size_t i = 0; i + 1 < column_counts.size(); ++i) nl.Integer(sum += column_counts[i]);
  number = 0;
  for (const int r : row_order.at) {
    const Row& row = rows[static_cast<size_t>(r)];
    std::vector<LinearTerm> terms;
    for (const int v : row.variables) {
      const auto linear = std::find_if(row.split.linear.begin(), row.split.linear.end(),
                                       [v](const LinearTerm& term) { return term.variable == v; });
      terms.push_back({column_order.place[static_cast<size_t>(v)],
                       linear == row.split.linear.end() ? 0.0 : linear->coefficient});
    }
    std::sort(terms.begin(), terms.end(),
              [](const LinearTerm& a, const LinearTerm& b) { return a.variable < b.variable; });
    if (!terms.empty()) nl.Segment('J', {number, static_cast<int>(terms.size())});
    for (const LinearTerm& term : terms) nl.Pair(term.variable, term.coefficient);
    ++number;
  }
  return names;
}

void WriteMatrixMarket(const ExportedJacobian& jacobian, std::ostream& out) {
  out << "%%MatrixMarket matrix coordinate real general\n"
      << fmt::format("{} {} {}\n", jacobian.rows.size(), jacobian.columns.size(), jacobian.entries.size());
  for (const ExportedJacobian::Entry& entry : jacobian.entries)
    out << fmt::format("{} {} {}\n", entry.row + 1, entry.column + 1, entry.value);
}

}  // namespace quiver
