// SPDX-License-Identifier: Apache-2.0
// Where units of a binary reply end: at every length of what has arrived so far.
#include "comm/response/internal/qorReplyFraming.h"

#include <gtest/gtest.h>
#include <string>

#include "tests/support/qorWireLiterals.h"

namespace orvix::comm::detail {
namespace {

using wirelit::ExactBytes;
using wirelit::operator""_bytes;

struct Expected {
  std::size_t held, whole, needed;
  bool hasData = false;
};

TEST(ReplyFraming, CutsAnErrorBody) {
  const std::string body = "\0\3abc?"_bytes;
  for (const Expected& e :
       {Expected{0, 0, 2}, {1, 0, 2}, {2, 0, 5}, {4, 0, 5}, {5, 5, 5}, {6, 5, 5}}) {
    const ExactBytes held(body.substr(0, e.held));
    const UnitCut cut = cutErrorBody({held.data(), held.size()});
    EXPECT_EQ(cut.whole, e.whole) << e.held;
    EXPECT_EQ(cut.needed, e.needed) << e.held;
  }
  const ExactBytes longest("\xff\xff"_bytes);
  EXPECT_EQ(cutErrorBody({longest.data(), 2}).needed, 65537U);
}

TEST(ReplyFraming, CutsTheLongestRunOfRecordsUpToTheEndMarker) {
  // A record of 2, an empty one of another status, a record of 1, the end marker, surplus.
  const std::string reply =
      test::hex("00010002 6162  00050000  00060001 63  00010000  00010001 7a");
  const Expected all[] = {{0, 0, 4},         {3, 0, 4},         {4, 0, 6},
                          {5, 0, 6},         {6, 6, 4, true},   {9, 6, 4, true},
                          {10, 10, 4, true}, {14, 10, 5, true}, {15, 15, 4, true},
                          {19, 19, 4, true}, {21, 19, 4, true}, {24, 19, 4, true}};
  for (const Expected& e : all) {
    const ExactBytes held(reply.substr(0, e.held));
    const UnitCut cut = cutRecords({held.data(), held.size()}, false);
    EXPECT_EQ(cut.whole, e.whole) << e.held;
    EXPECT_EQ(cut.hasData, e.hasData) << e.held;
    EXPECT_EQ(cut.needed, e.needed) << e.held;
    const UnitCut one = cutRecords({held.data(), held.size()}, true);
    EXPECT_EQ(one.whole, e.held < 6 ? 0U : 6U) << e.held;
  }
}

TEST(ReplyFraming, AnEndMarkerAloneIsAUnitWithoutData) {
  const ExactBytes held("\0\1\0\0"_bytes);
  for (const bool onlyOne : {false, true}) {
    const UnitCut cut = cutRecords({held.data(), held.size()}, onlyOne);
    EXPECT_EQ(cut.whole, 4U);
    EXPECT_FALSE(cut.hasData);
  }
  const ExactBytes longest("\0\1\xff\xff"_bytes);
  EXPECT_EQ(cutRecords({longest.data(), 4}, false).needed, 65539U);
}

}  // namespace
}  // namespace orvix::comm::detail
