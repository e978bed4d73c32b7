// SPDX-License-Identifier: Apache-2.0
// Random blocks of branches are written through the frame; from what the instance told, every equation must be found in
// the branch in which it was written.
#include <random>

#include "frame/model.h"
#include "runtime/contract/names.h"
#include "tests/support/test_sheet.h"

using namespace quiver;
using namespace quiver::tests;

namespace {
struct Block;
struct Item {
  std::vector<Block> block;  // one, or none: an equation
};
struct Block {
  std::vector<std::vector<Item>> branches;
  bool otherwise = false;  // the last branch
};

// "else { if B ..." told by its branches alone can also be read as "else if B ...". What follows tells, unless that lies in
// an "otherwise" too: there, an "otherwise" opens with an equation, elsewhere it may hold one more test of equations alone.
class Generator {
 public:
  explicit Generator(unsigned seed) : random_(seed) {}
  std::vector<Item> Items(int depth, bool tested_only) {
    std::vector<Item> items(1 + random_() % 3);
    for (Item& item : items)
      if (depth < 4 && random_() % 3 == 0) item.block.push_back(MakeBlock(depth, tested_only));
    return items;
  }

 private:
  Block MakeBlock(int depth, bool tested_only) {
    Block block;
    for (size_t k = 1 + random_() % 3; k > 0; --k) block.branches.push_back(Items(depth + 1, tested_only));
    block.otherwise = random_() % 2;
    if (!block.otherwise) return block;
    if (tested_only && depth < 4 && random_() % 2) {
      Item ladder;
      ladder.block.push_back(MakeBlock(4, false));  // of equations alone
      ladder.block[0].branches.resize(1);
      ladder.block[0].otherwise = false;
      block.branches.push_back({ladder});
    } else {
      block.branches.push_back(Items(depth + 1, false));
      block.branches.back().insert(block.branches.back().begin(), Item());
    }
    return block;
  }
  std::mt19937 random_;
};
}  // namespace

struct QV_BRANCHED : QV_GENERICMODEL {
  MODEL_TEXT(BRANCHED)
  VARIABLE(QV_CONSTANT, X)
  std::vector<Item> text;
  int tests = 0;
  // The name of an equation is the chain of its branches.
  void Equations(Equate& eq) {
    tests = 0;
    Write(eq, text, "");
  }
  void Write(Equate& eq, const std::vector<Item>& items, const std::string& chain) {
    for (const Item& item : items) {
      if (item.block.empty())
        eq(chain.c_str(), X == 1);
      else
        WriteBlock(eq, item.block[0], chain.empty() ? chain : chain + ">");
    }
  }
  void WriteBlock(Equate& eq, const Block& block, const std::string& front) {
    const auto body = [&](size_t k, const std::string& label) {
      return [&, k, label] { Write(eq, block.branches[k], fmt::format("{}{}@{}", front, label, k)); };
    };
    const size_t tested = block.branches.size() - block.otherwise;
    const auto label = [&] { return fmt::format("T{}", ++tests); };
    std::string name = label();
    Equate::Given given = eq.given(Interned(name), X > 1, body(0, name));
    for (size_t k = 1; k < tested; ++k) {
      name = label();
      given.orGiven(Interned(name), X > 1, body(k, name));
    }
    if (block.otherwise) given.otherwise(body(tested, "!"));
  }
  static const char* Interned(const std::string& text) { return quiver::Interned(text); }
};

TEST(Branches, OfRandomTextsAreFoundAgain) {
  int equations = 0, deepest = 0;
  for (unsigned seed = 1; seed <= 2000; ++seed) {
    TestSheet sheet;
    auto& model = sheet.Add<QV_BRANCHED>("m");
    model.text = Generator(seed).Items(0, true);
    for (const auto& e : sheet.Equations(model).equations) {
      ASSERT_EQ(Chain(e), e.name) << "seed " << seed;
      ++equations;
      deepest = std::max(deepest, static_cast<int>(e.conditions.size()));
    }
  }
  EXPECT_GT(equations, 10000);
  EXPECT_EQ(deepest, 5);
}

// A ladder of "else { if ... else { if ..." can be read in very many ways, of which one fits: it must not take long.
TEST(Branches, OfALongLadderAreFoundAtOnce) {
  TestSheet sheet;
  auto& model = sheet.Add<QV_BRANCHED>("m");
  std::vector<Item> items(1);
  for (int rung = 0; rung < 60; ++rung) {
    Block block;
    block.branches = {std::vector<Item>(1), items};
    block.otherwise = true;
    items = {Item{{block}}};
  }
  model.text = items;
  const auto all = sheet.Equations(model);
  ASSERT_EQ(all.equations.size(), 61u);
  for (const auto& e : all.equations) EXPECT_EQ(Chain(e), e.name);
}

// Branches without equations leave no trace but the branch that was closed: the others keep their tests.
TEST(Branches, WithoutEquationsDoNotMislead) {
  TestSheet sheet;
  auto& model = sheet.Add<QV_BRANCHED>("m");
  Block block;
  block.branches = {std::vector<Item>(1), {}, std::vector<Item>(1), {}};
  block.otherwise = true;
  model.text = {Item{{block}}, Item{}};
  std::vector<std::string> chains;
  for (const auto& e : sheet.Equations(model).equations) chains.push_back(Chain(e).substr(0, 2));
  EXPECT_THAT(chains, testing::ElementsAre("T1", "T3", ""));
}
