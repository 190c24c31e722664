// SPDX-License-Identifier: Apache-2.0
// The ordered map of texts, and Base64.
#include "infra/util/qorExtendedProperties.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "infra/oss/qorBaseException.h"
#include "infra/util/qorBase64.h"
#include "tests/support/qorWireLiterals.h"

namespace orvix::util {
namespace {

using wirelit::text;
using wirelit::utf8;

std::vector<std::string> lines(const ExtendedProperties& properties) {
  std::vector<std::string> all;
  for (auto at = properties.begin(); at != properties.end(); ++at) {
    all.push_back(utf8(at->first) + '=' + utf8(properties.get(at)));
  }
  return all;
}

TEST(ExtendedProperties, IteratesInCodeUnitOrderWithUniqueKeys) {
  ExtendedProperties properties;
  // U+10000 is D800 DC00 in UTF-16 and so sorts before U+FFFD; by UTF-8 bytes it would not.
  for (const char* key :
       {"b", "\xef\xbf\xbd", "a", "B", "\xf0\x90\x80\x80", "a ", "Content-Length  "}) {
    properties.putProperty(text(key), text("1"));
  }
  properties.putProperty(text("a"), text("2"));
  EXPECT_EQ(lines(properties),
            (std::vector<std::string>{"B=1", "Content-Length  =1", "a=2", "a =1", "b=1",
                                      "\xf0\x90\x80\x80=1", "\xef\xbf\xbd=1"}));
}

TEST(ExtendedProperties, CopyReplacesIsDeepAndFromItselfChangesNothing) {
  ExtendedProperties from;
  from.putProperty(text("k"), text("v"));
  ExtendedProperties into;
  into.putProperty(text("old"), text("x"));
  into.copy(from);
  from.putProperty(text("k"), text("changed"));
  into.copy(into);
  EXPECT_EQ(lines(into), std::vector<std::string>{"k=v"});
}

TEST(ExtendedProperties, NumbersAreDecimalUnsignedAndWhole) {
  const struct {
    const char* value;
    bool number;
    std::uint32_t expected;
  } cases[] = {{"0", true, 0},           {"007", true, 7},      {"4294967295", true, 4294967295U},
               {"4294967296", false, 0}, {"-1", false, 0},      {"", false, 0},
               {"1 ", false, 0},         {"1x", false, 0},      {"0x10", false, 0},
               {"1.0", false, 0},        {"\xd9\xa1", false, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.value);
    ExtendedProperties properties;
    properties.putProperty(text("STATUS_CODE"), text(c.value));
    if (c.number) {
      EXPECT_EQ(properties.requirePropertyAsUInt32(text("STATUS_CODE")), c.expected);
    } else {
      EXPECT_THROW(properties.requirePropertyAsUInt32(text("STATUS_CODE")), oss::BaseException);
    }
  }
}

TEST(ExtendedProperties, AMissingOrBadPropertyIsNamed) {
  ExtendedProperties properties;
  properties.putProperty(text("Port"), text("many"));
  const auto complaint = [&](auto ask) -> std::string {
    try {
      ask();
    } catch (const oss::BaseException& error) {
      return error.what();
    }
    return "nothing thrown";
  };
  EXPECT_NE(complaint([&] { properties.requireProperty(text("URI")); }).find("URI"),
            std::string::npos);
  EXPECT_NE(complaint([&] {
              properties.requirePropertyAsUInt32(
                  text("D\xc3\xb6"
                       "c"));
            })
                .find("D\xc3\xb6"
                      "c"),
            std::string::npos);
  const std::string bad = complaint([&] { properties.requirePropertyAsUInt32(text("Port")); });
  EXPECT_NE(bad.find("Port"), std::string::npos) << bad;
}

std::string encoded(const std::string& bytes, std::size_t capacity) {
  const wirelit::ExactBytes in(bytes);
  std::vector<unsigned short> out(capacity);  // exactly sized: a sanitizer sees any unit more
  const std::size_t units = Base64::encode(out.data(), capacity, in.data(), in.size());
  return {out.begin(), out.begin() + static_cast<std::ptrdiff_t>(units)};
}

TEST(Base64, MatchesTheVectorsOfTheStandard) {
  const struct {
    std::string bytes;
    std::string text;
    // clang-format off
  } cases[] = {
      {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"foob", "Zm9vYg=="},
      {"fooba", "Zm9vYmE="}, {"foobar", "Zm9vYmFy"},
      {std::string("\x00\x00\x00\xff", 4), "AAAA/w=="}, {"\xfb\xef\xbe\xff\xff\xff", "++++////"},
      {"\x14\xfb\x9c\x03\xd9\x7e", "FPucA9l+"},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(Base64::encodeSize(c.bytes.size()), c.text.size());
    EXPECT_EQ(encoded(c.bytes, c.text.size()), c.text);
    EXPECT_EQ(encoded(c.bytes, c.text.size() + 5), c.text);
  }
}

TEST(Base64, WritesNothingBeyondTheCapacity) {
  for (std::size_t capacity = 0; capacity < 8; ++capacity) {
    EXPECT_LE(encoded("foobar", capacity).size(), capacity);
  }
}

}  // namespace
}  // namespace orvix::util
