// SPDX-License-Identifier: Apache-2.0
// Text services: UTF-8 strings, tokens and numbers. The conversions of the wire are compared with
// ICU's in fuzz/.
#include <clocale>
#include <gtest/gtest.h>
#include <locale>
#include <string>
#include <vector>

#include "infra/oss/qorFormatter.h"
#include "infra/oss/qorStringTokenizer.h"
#include "infra/oss/qorUTF8String.h"
#include "tests/support/qorBytes.h"

namespace orvix::test {
namespace {

using icu::UnicodeString;
using oss::UTF8String;

TEST(UTF8String, HoldsTextAsUtf8UpToTheFirstNulOfItsSource) {
  EXPECT_STREQ(UTF8String().getString(), "");
  EXPECT_STREQ(UTF8String("ab\0c").getString(), "ab");
  UTF8String string(UnicodeString(u"\u00e4\U0001F600"));
  const UTF8String copy(string);
  string = UnicodeString(u"x");
  string.appendString("yz!", 2);
  string.appendString(UnicodeString(u"\u20ac"));
  string.appendString("never", 0);
  EXPECT_STREQ(string.getString(), "xyz\xe2\x82\xac");
  EXPECT_STREQ(copy.getString(), "\xc3\xa4\xf0\x9f\x98\x80");
}

TEST(StringTokenizer, SplitsAtAnyDelimiterAndSkipsEmptyTokens) {
  const struct {
    const char *text, *delimiters;
    std::vector<std::string> tokens;
    // clang-format off
  } cases[] = {
      {"", " ", {}}, {"   ", " ", {}}, {"a", "", {"a"}}, {"  a  bc ", " ", {"a", "bc"}},
      {"a,b;c", ";,", {"a", "b", "c"}}, {"one\r\n\r\ntwo\n", "\n", {"one\r", "\r", "two"}},
      {"\xc3\xa4 \xf0\x9f\x98\x80", " ", {"\xc3\xa4", "\xf0\x9f\x98\x80"}},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    oss::StringTokenizer tokenizer(unicode(c.text), c.delimiters);
    std::vector<std::string> tokens;
    while (tokenizer.hasMoreTokens()) tokens.push_back(text(tokenizer.getNextTokenString()));
    EXPECT_EQ(tokens, c.tokens);
    EXPECT_TRUE(tokenizer.getNextTokenString().isEmpty());
    EXPECT_EQ(text(tokenizer.getFirstTokenString()), c.tokens.empty() ? "" : c.tokens[0]);
    EXPECT_EQ(tokenizer.hasMoreTokens(), c.tokens.size() > 1);
  }
}

TEST(Formatter, ReadsDecimalNumbersInAnyLocaleAndGivesZeroForAnythingElse) {
  struct CommaPoint : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
  };
  const auto expectNumbers = [] {
    const std::pair<const char*, double> numbers[] = {
        {"1.5", 1.5}, {"-0.25", -0.25}, {" 2.5 ", 2.5}, {"+3", 3.0}, {"1e3", 1000.0}, {".5", 0.5}};
    for (const auto& [given, number] : numbers) {
      EXPECT_EQ(oss::Formatter::stringToDouble(unicode(given)), number) << given;
    }
    for (const char* given : {"", "-", "abc", "1,5", "1.5x", "+-5", "++5", "--1", "nan", "inf",
                              "1e999", "0x10", "1.5 2"}) {
      EXPECT_EQ(oss::Formatter::stringToDouble(unicode(given)), 0.0) << given;
    }
  };
  expectNumbers();
  const std::locale before = std::locale::global(std::locale(std::locale(), new CommaPoint));
  const std::string cBefore = std::setlocale(LC_ALL, nullptr);
  for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "de_DE", "fr_FR.UTF-8"}) {
    if (std::setlocale(LC_ALL, name) != nullptr) break;  // else at least the streams say a comma
  }
  expectNumbers();
  std::setlocale(LC_ALL, cBefore.c_str());
  std::locale::global(before);
}

}  // namespace
}  // namespace orvix::test
