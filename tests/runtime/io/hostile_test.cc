// SPDX-License-Identifier: Apache-2.0
// Whatever the bytes of a case are, reading ends soon, and in a description or a CaseError.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <string>

#include "runtime/io/case_file.h"
#include "runtime/io/utf8.h"

namespace quiver {
namespace {

using ::testing::HasSubstr;

std::string Repeat(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

std::string Faults(const std::string& text) {
  try {
    ReadCaseText(text, "c");
  } catch (const CaseError& error) {
    return error.what();
  }
  return "no fault";
}

// Each alias list has ten of the one before: 10^9 texts.
std::string AliasBomb() {
  std::string text = "a0: &a0 [x, x, x, x, x, x, x, x, x, x]\n";
  for (int i = 1; i < 9; ++i) {
    const std::string before = fmt::format("*a{}", i - 1);
    text += fmt::format("a{}: &a{} [{}{}]\n", i, i, before, Repeat(", " + before, 9));
  }
  return text;
}

std::string ManyKeys(const std::string& value, const std::string& key = "k") {
  std::string text;
  for (int i = 0; i < 20000; ++i) text += fmt::format("{}{}{}", key, i, value);
  return text;
}

// Lists one in another by aliases, deeper than any text could nest them.
std::string AliasTower() {
  std::string text = "a0: &a0 []\n";
  for (int i = 1; i < 100; ++i) text += fmt::format("a{}: &a{} [*a{}]\n", i, i, i - 1);
  return text;
}

TEST(HostileCase, EndsInACaseErrorInBoundedTime) {
  const std::string ok = "blocks: {b: {model: M, set: {A: ";
  const struct {
    const char* what;
    std::string text;
    const char* message;
  } kCases[] = {
      {"empty", "", "c:1:1: the text holds no case"},
      {"blanks and comments", "  \n# nothing\n", "c:1:1: the text holds no case"},
      {"deep lists", Repeat("[", 1000000), "c:1:1: "},
      {"deep maps", Repeat("{a: ", 300000), "c:1:"},
      {"deep block lists", Repeat("- ", 300000), "more than 64 levels"},
      {"deep questions", Repeat("? ", 300000), "a key has to be a plain text"},
      {"a deep value", ok + Repeat("[", 70) + "1" + Repeat("]", 70) + "}}}", "more than 64 levels"},
      {"a value in a value", ok + Repeat("{value: ", 50) + "1" + Repeat(", unit: 1}", 50) + "}}}", "c:1:"},
      {"alias bomb", AliasBomb(), "more than 1000000 values"},
      {"alias tower", AliasTower(), "more than 64 levels"},
      {"alias cycle", "a: &a [1, *a]", "c:1:11: the alias stands inside what it refers to"},
      {"unknown alias", "a: *b", "this is not YAML"},
      {"alias as a key", "a: &a b\n*a : c", "c:2:1: an alias cannot be a key"},
      {"huge number", ok + std::string(100000, '9') + "}}}", "is out of the range of numbers"},
      {"huge exponent", ok + "1e99999999999999999999}}}", "is out of the range of numbers"},
      {"long name", "blocks: {" + std::string(500, 'b') + ": {model: M}}", "is too long"},
      {"long connection", "blocks: {b: {model: M}}\nconnect: [\"" + std::string(1000000, 'b') + "=\"]",
       "is too long"},
      {"null byte", std::string("a: \0", 4), "c:1:4: control character 0x00: remove it"},
      {"bell", "a:\n  b: \a", "c:2:6: control character 0x07"},
      {"Latin-1", "title: K\xfchler", "c:1:9: byte 0xfc is not UTF-8: save the file with encoding UTF-8"},
      {"overlong form", "a: \xc0\xaf", "c:1:4: byte 0xc0 is not UTF-8"},
      {"surrogate", "a: \xed\xa0\x80", "is not UTF-8"},
      {"UTF-16",
       std::string("\xff\xfe"
                   "a\0:\0",
                   6),
       "c:1:1: byte 0xff is not UTF-8"},
      {"too large", std::string((16u << 20) + 1, ' '), "c: the text has more than 16 MB"},
      {"many blanks", std::string(16u << 20, ' '), "the text holds no case"},
      {"one long line", fmt::format("[{}1]", Repeat("1,", 1100000)), "more than 1000000 values"},
      {"many keys", fmt::format("{{{}}}", Repeat("a: 1,", 100000)), "at least 950 more faults"},
      {"delete character", "{b\x7f: 1}", "control character 0x7f"},
      {"many unknown keys", ManyKeys(": 1\n"), "at least 950 more faults"},
      {"many bad blocks", "blocks:\n" + ManyKeys(": {modle: M, fix: {A: x}}\n", "  b"),
       "at least 950 more faults"},
      {"many lost connections",
       "blocks:\n" + ManyKeys(": {model: M}\n", "  b") + "connect:\n" + ManyKeys(".X = c.Y\n", "  - d"),
       "at least 950 more faults"},
      {"a table with a unit", ok + "{value: {a: 1, b: 2, c: 3 brr, d: {e: 1}}, unit: bar}}}}", "c:1:"},
      {"unclosed", "blocks: {b: ", "this is not YAML"},
      {"bad escape", "title: \"\\q\"", "this is not YAML"},
      {"a pair of escapes", "title: \"\\ud83d\\ude00\"", "write the character itself instead of its escapes"},
      {"directive", "%YAML 3.0\n---\na: 1", "c:"},
  };
  for (const auto& test : kCases) {
    const auto start = std::chrono::steady_clock::now();
    const std::string faults = Faults(test.text);
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    EXPECT_THAT(faults.substr(0, 20000), HasSubstr(test.message)) << test.what;
    EXPECT_LT(seconds.count(), 30) << test.what;
    if (seconds.count() > 0.5) printf("%s: %.2f s\n", test.what, seconds.count());
  }
}

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = CharacterLength(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

TEST(HostileCase, MutatedCasesNeverCrash) {
  const std::string good[] = {
      "title: Relief\ncomponents: [water, NO]\nglobals: {EPS: 1e-5}\nblocks:\n  psv: &x\n    model: "
      "PSV_SIMPLE\n"
      "    set: {CONNECT: Yes, CURVE: [1, 2 m3], X(2): off}\n    fix:\n      P_DROP: 6 bar\n      T: {value: "
      "25, unit: degC}\n"
      "    guess: {\"Y(N2)\": 0.5, IN_F(1).Z: {N2: 0.8}}\n  fire: *x\nconnect:\n  - psv.A = fire.B\n  - "
      "psv.O -> fire.I(1)\nreport: [psv.FLUX]\n",
      R"({"title":"t","blocks":{"a":{"model":"M","fix":{"P":"6 barg","T":-3.5e2},"set":{"Y":{"1":0.5,"2":[true,null]}}}},"connect":["a.X=a.Y"]})"};
  const std::string pieces[] = {"{",        "}",
                                "[",        "]",
                                ": ",       "- ",
                                "&a ",      "*a",
                                "\n",       "  ",
                                "\t",       "'",
                                "\"",       "|",
                                ">",        "#",
                                "? ",       "!!str ",
                                "1e999",    ".inf",
                                "\xff",     "\xc3\xa4",
                                "%",        "@",
                                "---\n",    "<<: *x",
                                "null",     "(",
                                ")",        "=",
                                "->",       ",",
                                "kg/(m2 K", "9999999999999999999"};
  std::mt19937 random(4711);
  const auto pick = [&](std::size_t count) { return static_cast<std::size_t>(random() % count); };
  int read = 0;
  for (int i = 0; i < 20000; ++i) {
    std::string text = good[i % 2];
    for (std::size_t changes = 1 + pick(4); changes > 0 && !text.empty(); --changes) {
      const std::size_t at = pick(text.size());
      switch (pick(5)) {
        case 0:
          text.erase(at, 1 + pick(8));
          break;
        case 1:
          text.insert(at, pieces[pick(std::size(pieces))]);
          break;
        case 2:
          text[at] = static_cast<char>(pick(256));
          break;
        case 3:
          text.insert(at, text.substr(pick(text.size()), pick(40)));
          break;
        default:
          text.resize(at);
      }
    }
    try {
      ReadCaseText(text, "c");
      ++read;
    } catch (const CaseError& error) {
      ASSERT_FALSE(error.faults().empty());
      ASSERT_TRUE(IsUtf8(error.what())) << error.what();
      for (const CaseFault& fault : error.faults()) {
        ASSERT_FALSE(fault.message.empty() || fault.remedy.empty()) << error.what() << "\n" << text;
      }
    } catch (const std::exception& error) {
      FAIL() << error.what() << "\n" << text;
    }
  }
  // Some of each kind, or the mutations are too wild or too tame to find anything.
  EXPECT_GT(read, 500);
  EXPECT_LT(read, 10000);
}

}  // namespace
}  // namespace quiver
