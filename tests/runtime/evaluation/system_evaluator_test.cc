// SPDX-License-Identifier: Apache-2.0
// The whole system at once against one equation at a time: the same bits, however it is divided.
#include "runtime/evaluation/system_evaluator.h"

#include <gtest/gtest.h>

#include <bit>

#include "runtime/expression/evaluator.h"
#include "runtime/expression/machine.h"
#include "tests/runtime/expression/trees.h"

namespace quiver {
namespace {

bool SameBits(double a, double b) {
  return (std::isnan(a) && std::isnan(b)) ||
         std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

// Random equations: units that repeat over variables of their own and shared ones, equations in between, copies whose
// literals differ, copies whose variables follow no rule.
class RandomSystem {
 public:
  RandomSystem(unsigned seed, int pieces) : random_(seed, kUnitVariables) {
    for (int i = 0; i < kShared; ++i) AddVariable();
    for (int piece = 0; piece < pieces; ++piece) {
      AddUnits(random_.Below(3) == 0 ? 1 : 10 + random_.Below(90), random_.Below(4) == 0,
               random_.Below(4) == 0);
    }
    for (const Stream& stream : scattered_) Add(stream, {});
  }

  // The sum of x(i) sin(x(i+1)), over variables of its own.
  void AddLong(int terms) {
    Stream stream = {Token::Code(44)};
    const int first = static_cast<int>(is_fixed.size());
    for (int i = 0; i <= terms; ++i) AddVariable();
    for (int i = 0; i < terms; ++i) {
      const Token x = Token::Variable(first + i), next = Token::Variable(first + i + 1);
      stream.insert(stream.end(), {Token::Code(21), x, Token::Code(26), next});
    }
    stream.push_back(Token::Code(0));
    shape_of.push_back(shapes.Intern(stream, gathers));
  }

  EquationList List() const { return {&shapes, shape_of, gathers, is_fixed}; }
  std::vector<double> Point(double low, double high) {
    return random_.Point(static_cast<int>(is_fixed.size()), low, high);
  }

  ShapeStore shapes;
  std::vector<int> shape_of, gathers;
  std::vector<unsigned char> is_fixed;

 private:
  static constexpr int kShared = 10, kUnitVariables = 6;

  void AddVariable() { is_fixed.push_back(random_.Below(5) == 0); }

  void AddUnits(int copies, bool irregular, bool own_literals) {
    std::vector<Stream> unit;
    for (int k = 1 + random_.Below(8); k > 0; --k) unit.push_back(random_.Number(5));
    if (copies > 1 && random_.Below(2) == 0) scattered_.insert(scattered_.end(), 20, unit[0]);
    std::vector<int> shared(kUnitVariables, -1);
    for (int& place : shared)
      if (random_.Below(4) == 0) place = random_.Below(kShared);
    std::vector<unsigned char> fixed;
    for (int copy = 0; copy < copies; ++copy) {
      std::vector<int> places = shared;
      if (irregular && random_.Below(3) == 0) AddVariable();
      for (std::size_t v = 0; v < places.size(); ++v) {
        if (places[v] >= 0) continue;
        places[v] = static_cast<int>(is_fixed.size());
        AddVariable();
        if (copy == 0)
          fixed.push_back(is_fixed.back());
        else if (!irregular)
          is_fixed.back() = fixed[v % fixed.size()];
      }
      for (const Stream& stream : unit) Add(stream, places, own_literals ? 20 + copy : 0);
    }
  }

  void Add(Stream stream, const std::vector<int>& places, double literal = 0) {
    for (Token& token : stream) {
      if (token.kind == Token::kVariable)
        token.index = places.empty() ? random_.Below(static_cast<int>(is_fixed.size()))
                                     : places[static_cast<std::size_t>(token.index)];
      if (literal != 0 && token.kind == Token::kReal && token.real == 0.1) token = Token::Real(literal);
    }
    shape_of.push_back(shapes.Intern(stream, gathers));
  }

  RandomTrees random_;
  std::vector<Stream> scattered_;
};

// Compares with the evaluation of one equation after another.
void ExpectSame(const RandomSystem& system, const SystemEvaluator& evaluator, std::span<const double> x,
                std::span<const double> residuals, std::span<const double> entries) {
  Evaluator single;
  std::size_t gather = 0, entry = 0;
  for (std::size_t e = 0; e < system.shape_of.size(); ++e) {
    const Shape& shape = system.shapes[system.shape_of[e]];
    const auto places =
        std::span(system.gathers).subspan(gather, static_cast<std::size_t>(shape.variable_count));
    std::vector<double> gradient(places.size());
    const double value = single.Gradient(shape, places, x, gradient, {.time = 2});
    ASSERT_TRUE(SameBits(residuals[e], value)) << "equation " << e;
    ASSERT_EQ(evaluator.EntryStart(static_cast<int>(e)), static_cast<long long>(entry));
    for (std::size_t k = 0; k < places.size(); ++k) {
      if (system.is_fixed[static_cast<std::size_t>(places[k])]) continue;
      if (!entries.empty()) {
        ASSERT_TRUE(SameBits(entries[entry], gradient[k])) << "equation " << e << " by " << k;
      }
      ++entry;
    }
    gather += places.size();
  }
  EXPECT_EQ(evaluator.EntryCount(), static_cast<long long>(entry));
}

TEST(SystemEvaluator, has_the_bits_of_single_equations) {
  int batched = 0, all = 0;
  for (unsigned trial = 0; trial < 120; ++trial) {
    RandomSystem system(trial, 1 + static_cast<int>(trial % 12));
    UseMachine(static_cast<Machine>(trial % 3));
    SystemEvaluator::Options options;
    options.threads = 1 + static_cast<int>(trial % 4);
    if (trial % 2) options.streamed_from_bytes = 0;
    if (trial % 5 == 0) options.least_copies = 1 << 30;
    if (trial % 7 == 0) options.least_copies = 16;
    options.runs_before_machine_code = trial < 60 ? 0 : trial % 8 - 1;  // at once, on the way, never
    SystemEvaluator evaluator(system.List(), options);
    ASSERT_EQ(evaluator.EquationCount(), static_cast<int>(system.shape_of.size()));
    std::vector<double> residuals(system.shape_of.size());
    std::vector<double> entries(static_cast<std::size_t>(evaluator.EntryCount()), -99);
    evaluator.WriteConstantEntries(entries.data());
    for (int point = 0; point < 3; ++point) {
      const std::vector<double> x = point == 2 ? system.Point(-1, 1) : system.Point(0.2, 3);
      evaluator.Evaluate(x.data(), residuals.data(), entries.data(), {.time = 2});
      ExpectSame(system, evaluator, x, residuals, entries);
      std::fill(residuals.begin(), residuals.end(), -1);
      evaluator.Evaluate(x.data(), residuals.data(), nullptr, {.time = 2});
      ExpectSame(system, evaluator, x, residuals, {});
    }
    batched += evaluator.EquationsInBatches();
    all += evaluator.EquationCount();
  }
  UseMachine(WidestMachine());
  EXPECT_GT(batched, all / 2);
  EXPECT_LT(batched, all);
}

// What a tape can hold is limited: short tapes, equations that fill one, and one that none can hold.
TEST(SystemEvaluator, takes_equations_of_any_length) {
  for (const int runs_before_machine_code : {-1, 0}) {
    RandomSystem system(4, 3);
    for (const int terms : {100, 2000, 1500, 2000, 8000, 50}) system.AddLong(terms);
    SystemEvaluator evaluator(system.List(), {.runs_before_machine_code = runs_before_machine_code});
    std::vector<double> residuals(system.shape_of.size());
    std::vector<double> entries(static_cast<std::size_t>(evaluator.EntryCount()), -99);
    evaluator.WriteConstantEntries(entries.data());
    const std::vector<double> x = system.Point(0.2, 3);
    evaluator.Evaluate(x.data(), residuals.data(), nullptr, {.time = 2});
    ExpectSame(system, evaluator, x, residuals, {});
    evaluator.Evaluate(x.data(), residuals.data(), entries.data(), {.time = 2});
    ExpectSame(system, evaluator, x, residuals, entries);
  }
}

#ifdef QUIVER_WIDE_MACHINES
// Whether the upper halves of vector registers hold anything; code for the baseline, the caller's own, then runs at half speed.
bool HasWideState() {
  unsigned low, high;
  asm volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(1));
  return (low & 4) != 0;
}

TEST(SystemEvaluator, leaves_the_vector_registers_as_the_caller_needs_them) {
  unsigned a, b, c, d;
  asm volatile("cpuid" : "=a"(a), "=b"(b), "=c"(c), "=d"(d) : "a"(0xD), "c"(1));
  const bool can_tell = (a & 4) != 0 && WidestMachine() != Machine::kBaseline;
  if (can_tell) asm volatile("vzeroupper" ::: "memory");
  if (!can_tell || HasWideState()) GTEST_SKIP() << "This machine does not tell.";
  for (const int runs_before_machine_code : {-1, 0}) {
    for (unsigned seed = 0; seed < 8; ++seed) {
      RandomSystem system(seed, 6);
      SystemEvaluator evaluator(system.List(), {.runs_before_machine_code = runs_before_machine_code});
      std::vector<double> residuals(system.shape_of.size());
      std::vector<double> entries(static_cast<std::size_t>(evaluator.EntryCount()));
      const std::vector<double> x = system.Point(0.2, 3);
      evaluator.Evaluate(x.data(), residuals.data(), entries.data());
      EXPECT_FALSE(HasWideState());
    }
  }
}
#endif

// Copies over variables in order need no list: what the evaluator keeps does not grow with their number.
TEST(SystemEvaluator, regular_copies_cost_no_memory) {
  const auto bytes = [](int copies) {
    ShapeStore shapes;
    std::vector<int> shape_of, gathers;
    for (int i = 0; i < copies; ++i) {
      const auto x = [&](int k) { return Token::Variable(4 * i + k); };
      for (const Stream& stream :
           {Stream{Token::Code(20), x(0), Token::Code(21), x(1), x(2)},
            Stream{Token::Code(19), Token::Code(37), x(1), Token::Code(22), x(3), x(0)}})
        shape_of.push_back(shapes.Intern(stream, gathers));
    }
    return SystemEvaluator({&shapes, shape_of, gathers, {}}).memory_bytes();
  };
  EXPECT_LT(bytes(100000), bytes(1000) + 100000 / 16);  // tasks alone
}

TEST(SystemEvaluator, an_empty_system_has_nothing_to_do) {
  ShapeStore shapes;
  SystemEvaluator evaluator({&shapes, {}, {}, {}});
  evaluator.Evaluate(nullptr, nullptr, nullptr);
  EXPECT_EQ(evaluator.EntryCount(), 0);
  EXPECT_EQ(evaluator.EntryStart(0), 0);
}

}  // namespace
}  // namespace quiver
