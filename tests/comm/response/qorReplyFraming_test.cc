// SPDX-License-Identifier: Apache-2.0
// Where units of a binary reply end: at every length of what has arrived so far.
#include "comm/response/internal/qorReplyFraming.h"

#include <gtest/gtest.h>
#include <string>

#include "tests/support/qorBytes.h"

namespace orvix::test {
namespace {

using comm::detail::cutErrorBody;
using comm::detail::cutRecords;
using comm::detail::UnitCut;

struct Expected {
  std::size_t held, whole, needed;
  bool hasData = false;
};

TEST(ReplyFraming, CutsAnErrorBody) {
  const std::string body = hex("0003") + "abc?";
  for (const Expected& e :
       {Expected{0, 0, 2}, {1, 0, 2}, {2, 0, 5}, {4, 0, 5}, {5, 5, 5}, {6, 5, 5}}) {
    const ExactBytes held(body.substr(0, e.held));
    const UnitCut cut = cutErrorBody(held.view());
    EXPECT_EQ(cut.whole, e.whole) << e.held;
    EXPECT_EQ(cut.needed, e.needed) << e.held;
  }
  EXPECT_EQ(cutErrorBody(hex("ffff")).needed, 65537U);
}

TEST(ReplyFraming, CutsTheLongestRunOfRecordsUpToTheEndMarker) {
  // A record of 2, an empty one of another status, a record of 1, the end marker, surplus.
  const std::string reply = hex("00010002 6162  00050000  00060001 63  00010000  00010001 7a");
  // clang-format off
  const Expected all[] = {
      {0, 0, 4}, {3, 0, 4}, {4, 0, 6}, {5, 0, 6}, {6, 6, 4, true}, {9, 6, 4, true},
      {10, 10, 4, true}, {14, 10, 5, true}, {15, 15, 4, true}, {19, 19, 4, true}, {24, 19, 4, true},
  };
  // clang-format on
  for (const Expected& e : all) {
    const ExactBytes held(reply.substr(0, e.held));
    const UnitCut cut = cutRecords(held.view(), false);
    EXPECT_EQ(cut.whole, e.whole) << e.held;
    EXPECT_EQ(cut.hasData, e.hasData) << e.held;
    EXPECT_EQ(cut.needed, e.needed) << e.held;
    EXPECT_EQ(cutRecords(held.view(), true).whole, e.held < 6 ? 0U : 6U) << e.held;
  }
  for (const bool onlyOne : {false, true}) {
    EXPECT_EQ(cutRecords(END_MARKER, onlyOne).whole, 4U);
    EXPECT_FALSE(cutRecords(END_MARKER, onlyOne).hasData);
  }
  EXPECT_EQ(cutRecords(hex("0001 ffff"), false).needed, 65539U);
}

}  // namespace
}  // namespace orvix::test
