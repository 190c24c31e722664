// SPDX-License-Identifier: Apache-2.0
// Text services: UTF-8 strings, tokens, numbers, and the two conversions of the wire, which must
// agree with ICU's own UTF-8 converter whatever the bytes are.
#include <clocale>
#include <gtest/gtest.h>
#include <limits>
#include <locale>
#include <random>
#include <string>
#include <vector>

#include "infra/oss/internal/qorTextConversion.h"
#include "infra/oss/qorFormatter.h"
#include "infra/oss/qorStringTokenizer.h"
#include "infra/oss/qorUTF8String.h"
#include "tests/support/qorWireLiterals.h"

namespace orvix::oss {
namespace {

using icu::UnicodeString;
using wirelit::ExactBytes;
using wirelit::text;
using wirelit::operator""_bytes;

TEST(UTF8String, HoldsTextAsUtf8UpToTheFirstNulOfItsSource) {
  EXPECT_STREQ(UTF8String().getString(), "");
  EXPECT_STREQ(UTF8String("ab\0c").getString(), "ab");
  UTF8String string(UnicodeString(u"\u00e4\U0001F600"));
  EXPECT_STREQ(string.getString(), "\xc3\xa4\xf0\x9f\x98\x80");
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
    const char* text;
    const char* delimiters;
    std::vector<std::string> tokens;
  } cases[] = {{"", " ", {}},
               {"   ", " ", {}},
               {"a", " ", {"a"}},
               {"a", "", {"a"}},
               {"  a  bc ", " ", {"a", "bc"}},
               {"a,b;c", ";,", {"a", "b", "c"}},
               {"one\r\n\r\ntwo\n", "\n", {"one\r", "\r", "two"}},
               {"\xc3\xa4 \xf0\x9f\x98\x80", " ", {"\xc3\xa4", "\xf0\x9f\x98\x80"}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    StringTokenizer tokenizer(text(c.text), c.delimiters);
    for (const std::string& token : c.tokens) {
      ASSERT_TRUE(tokenizer.hasMoreTokens());
      EXPECT_EQ(wirelit::utf8(tokenizer.getNextTokenString()), token);
    }
    EXPECT_FALSE(tokenizer.hasMoreTokens());
    EXPECT_TRUE(tokenizer.getNextTokenString().isEmpty());
    const std::string first = c.tokens.empty() ? "" : c.tokens[0];
    EXPECT_EQ(wirelit::utf8(tokenizer.getFirstTokenString()), first);
    EXPECT_EQ(tokenizer.hasMoreTokens(), c.tokens.size() > 1);
  }
}

void expectNumbers() {
  const struct {
    const char* text;
    double number;
  } cases[] = {{"1.5", 1.5},   {"-0.25", -0.25}, {" 2.5 ", 2.5}, {"+3", 3.0},  {"1e3", 1000.0},
               {".5", 0.5},    {"", 0.0},        {"-", 0.0},     {"abc", 0.0}, {"1,5", 0.0},
               {"1.5x", 0.0},  {"+-5", 0.0},     {"++5", 0.0},   {"nan", 0.0}, {"inf", 0.0},
               {"1e999", 0.0}, {"0x10", 0.0},    {"1.5 2", 0.0}, {"--1", 0.0}};
  for (const auto& c : cases) {
    EXPECT_EQ(Formatter::stringToDouble(text(c.text)), c.number) << '"' << c.text << '"';
  }
}

TEST(Formatter, ReadsDecimalNumbersAndGivesZeroForAnythingElse) { expectNumbers(); }

TEST(Formatter, IgnoresTheHostsLocale) {
  struct CommaPoint : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
  };
  const std::locale before = std::locale::global(std::locale(std::locale(), new CommaPoint));
  const std::string cBefore = std::setlocale(LC_ALL, nullptr);
  for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "de_DE", "fr_FR.UTF-8"}) {
    if (std::setlocale(LC_ALL, name) != nullptr) break;  // else at least the streams say a comma
  }
  expectNumbers();
  std::setlocale(LC_ALL, cBefore.c_str());
  std::locale::global(before);
}

/// Bytes that are often nearly UTF-8: whole sequences, cut ones, single bytes of every class.
std::string nearlyUtf8(std::mt19937& random) {
  static const char* const PARTS[] = {"a",
                                      "\xc3\xa4",
                                      "\xe2\x82\xac",
                                      "\xf0\x9f\x98\x80",
                                      "\xe2\x82",
                                      "\xf0\x9f\x98",
                                      "\xed\xa0\x80",
                                      "\xef\xbb\xbf",
                                      "\xc0",
                                      "\x80",
                                      "\xf4\x90",
                                      "\xfe",
                                      "\xef\xbf\xbf",
                                      "\xe0\x80"};
  std::string bytes;
  const auto parts = random() % 12;
  for (unsigned int i = 0; i < parts; ++i) {
    if (random() % 4 == 0) {
      bytes += static_cast<char>(random() % 256);
    } else {
      bytes += PARTS[random() % std::size(PARTS)];
    }
  }
  return bytes;
}

TEST(TextFromWire, AgreesWithIcusConverterOnAnyBytes) {
  std::mt19937 random(20240501);
  for (int round = 0; round < 20000; ++round) {
    std::string bytes = nearlyUtf8(random);
    if (round % 5 == 0) bytes += "\0behind a NUL"_bytes;
    const ExactBytes held(bytes);
    const UnicodeString expected(bytes.c_str(), "UTF-8");  // up to the first NUL
    ASSERT_EQ(textFromWire({held.data(), held.size()}), expected) << testing::PrintToString(bytes);
  }
}

std::string extracted(const UnicodeString& text) {
  std::string bytes(static_cast<std::size_t>(text.length()) * 3 + 1, '#');
  const std::int32_t length = text.extract(0, text.length(), bytes.data(),
                                           static_cast<std::uint32_t>(bytes.size()), "UTF-8");
  bytes.resize(static_cast<std::size_t>(length));
  return bytes;
}

TEST(TextToWire, AgreesWithIcusConverterUnpairedSurrogatesIncluded) {
  std::mt19937 random(20240502);
  const char16_t units[] = {u'a',   u'\0',  0xe4,   0x20ac, 0xd83d,
                            0xde00, 0xd800, 0xdfff, 0xfffd, 0xffff};
  for (int round = 0; round < 20000; ++round) {
    UnicodeString text;
    const auto length = random() % 9;
    for (unsigned int i = 0; i < length; ++i) text.append(units[random() % std::size(units)]);
    const std::string expected = extracted(text);
    ASSERT_EQ(wireLength(text), expected.size());
    std::vector<char> out(expected.size());
    ASSERT_EQ(textToWire(text, out.data(), out.size()), expected.size());
    ASSERT_EQ(std::string(out.begin(), out.end()), expected);
  }
}

TEST(TextToWire, TellsTheWholeLengthWhateverTheCapacityAndStaysWithinIt) {
  const UnicodeString text(u"a\u20ac\U0001F600");  // 1 + 3 + 4 bytes
  EXPECT_EQ(textToWire(text, nullptr, 0), 8U);
  EXPECT_EQ(textToWire(text, nullptr, 100), 8U);
  for (std::size_t capacity = 0; capacity <= 8; ++capacity) {
    const std::unique_ptr<char[]> out(new char[capacity]);
    EXPECT_EQ(textToWire(text, out.get(), capacity), 8U) << capacity;
  }
  UnicodeString bogus;
  bogus.setToBogus();
  EXPECT_EQ(wireLength(bogus), 0U);
}

}  // namespace
}  // namespace orvix::oss
