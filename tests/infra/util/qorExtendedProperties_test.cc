// SPDX-License-Identifier: Apache-2.0
// The ordered map of texts, and Base64.
#include "infra/util/qorExtendedProperties.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "infra/oss/qorBaseException.h"
#include "infra/util/qorBase64.h"
#include "tests/support/qorBytes.h"

namespace orvix::test {
namespace {

using util::ExtendedProperties;

TEST(ExtendedProperties, IteratesInCodeUnitOrderWithUniqueKeys) {
  ExtendedProperties properties;
  // U+10000 is D800 DC00 in UTF-16 and so sorts before U+FFFD; by UTF-8 bytes it would not.
  for (const char16_t* key : {u"b", u"\uFFFD", u"a", u"B", u"\U00010000", u"a "}) {
    properties.putProperty(key, u"1");
  }
  properties.putProperty(u"a", u"2");
  EXPECT_EQ(lines(properties), "B=1;a=2;a =1;b=1;\xf0\x90\x80\x80=1;\xef\xbf\xbd=1;");
}

TEST(ExtendedProperties, CopyReplacesIsDeepAndFromItselfChangesNothing) {
  ExtendedProperties from;
  from.putProperty(u"k", u"v");
  ExtendedProperties into;
  into.putProperty(u"old", u"x");
  into.copy(from);
  from.putProperty(u"k", u"changed");
  into.copy(into);
  EXPECT_EQ(lines(into), "k=v;");
  EXPECT_EQ(text(into.get(into.begin())), "v");
}

TEST(ExtendedProperties, NumbersAreDecimalUnsignedAndWholeOrNamedInTheComplaint) {
  ExtendedProperties properties;
  for (const auto& [value, number] : {std::pair("0", 0U), {"007", 7U}, {"4294967295", ~0U}}) {
    properties.putProperty(u"n", unicode(value));
    EXPECT_EQ(properties.requirePropertyAsUInt32(u"n"), number);
  }
  for (const char* value :
       {"4294967296", "-1", "", "1 ", "1x", "0x10", "1.0", "\xd9\xa1", "99999999999999999999"}) {
    properties.putProperty(u"P\u00f6rt", unicode(value));
    const std::string complaint =
        raisedBy<oss::BaseException>([&] { properties.requirePropertyAsUInt32(u"P\u00f6rt"); });
    EXPECT_NE(complaint.find("P\xc3\xb6rt"), std::string::npos) << value;
  }
  const std::string complaint =
      raisedBy<oss::BaseException>([&] { properties.requireProperty(u"URI"); });
  EXPECT_NE(complaint.find("URI"), std::string::npos);
}

TEST(Base64, MatchesTheVectorsOfTheStandardAndStaysWithinTheCapacity) {
  const struct {
    std::string bytes, text;
    // clang-format off
  } cases[] = {
      {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"foob", "Zm9vYg=="},
      {"fooba", "Zm9vYmE="}, {"foobar", "Zm9vYmFy"}, {hex("000000ff"), "AAAA/w=="},
      {hex("fbefbeffffff"), "++++////"}, {hex("14fb9c03d97e"), "FPucA9l+"},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    const ExactBytes in(c.bytes);
    EXPECT_EQ(util::Base64::encodeSize(in.size()), c.text.size());
    for (std::size_t capacity = 0; capacity < c.text.size() + 5; ++capacity) {
      std::vector<unsigned short> out(capacity);
      const auto units = util::Base64::encode(out.data(), capacity, in.data(), in.size());
      ASSERT_LE(units, capacity);
      if (capacity < c.text.size()) continue;
      EXPECT_EQ(std::string(out.begin(), out.begin() + static_cast<int>(units)), c.text);
    }
  }
}

}  // namespace
}  // namespace orvix::test
