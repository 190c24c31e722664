// SPDX-License-Identifier: Apache-2.0
// Text services: UTF-8 strings, tokens, numbers, and the two conversions of the wire, which must
// agree with ICU's own UTF-8 converter whatever the bytes are.
#include <algorithm>
#include <clocale>
#include <gtest/gtest.h>
#include <locale>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <unicode/ucnv.h>

#include "infra/oss/internal/qorTextConversion.h"
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

TEST(TextFromWire, AgreesWithIcusConverterOnAnyBytes) {
  // clang-format off
  const char* const parts[] = {  // whole sequences, cut ones, single bytes of every class
      "a", "\xc3\xa4", "\xe2\x82\xac", "\xf0\x9f\x98\x80", "\xe2\x82", "\xf0\x9f\x98",
      "\xed\xa0\x80", "\xef\xbb\xbf", "\xc0", "\x80", "\xf4\x90", "\xfe", "\xef\xbf\xbf",
  };
  // clang-format on
  std::mt19937 random(20240501);
  for (int round = 0; round < 20000; ++round) {
    std::string bytes;
    for (auto left = random() % 12; left != 0; --left) {
      const char any = static_cast<char>(random() % 256);
      bytes += random() % 4 == 0 ? std::string(1, any) : parts[random() % std::size(parts)];
    }
    if (round % 5 == 0) bytes += "\0behind a NUL"_bytes;
    const UnicodeString expected(bytes.c_str(), "UTF-8");  // up to the first NUL
    ASSERT_EQ(oss::textFromWire(ExactBytes(bytes).view()), expected)
        << testing::PrintToString(bytes);
  }
}

TEST(TextToWire, AgreesWithIcusConverterOverAMillionTextsUnpairedSurrogatesIncluded) {
  const char16_t units[] = {u'\0',  0x7f,   0x80,   0xe4,   0x7ff,  0x800, 0x20ac,
                            0xd83d, 0xde00, 0xd800, 0xdfff, 0xfffd, 0xffff};
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<UConverter, decltype(&ucnv_close)> converter(ucnv_open("UTF-8", &status),
                                                                     &ucnv_close);
  std::mt19937 random(20240502);
  for (int round = 0; round < 1000000; ++round) {
    UnicodeString given;
    const auto oddities = random() % 4;  // one text in four is plain ASCII
    for (auto left = random() % 40; left != 0; --left) {
      const bool odd = random() % 16 < oddities * oddities;
      given.append(odd ? units[random() % std::size(units)]
                       : static_cast<char16_t>(random() % 128));
    }
    char expected[128];
    const auto length = static_cast<std::size_t>(ucnv_fromUChars(
        converter.get(), expected, sizeof expected, given.getBuffer(), given.length(), &status));
    ASSERT_TRUE(U_SUCCESS(status) && oss::wireLength(given) == length);
    for (const std::size_t capacity : {round % 9 == 0 ? length / 2 : length, length}) {
      std::vector<char> out(capacity);  // exactly sized: a sanitizer sees any byte more
      ASSERT_EQ(oss::textToWire(given, out.data(), capacity), length);
      ASSERT_TRUE(capacity < length || std::equal(out.begin(), out.end(), expected));
    }
  }
  UnicodeString bogus;
  bogus.setToBogus();
  EXPECT_EQ(oss::wireLength(bogus), 0U);
}

}  // namespace
}  // namespace orvix::test
