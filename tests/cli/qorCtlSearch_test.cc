// SPDX-License-Identifier: Apache-2.0
// What a hit shows: its key, or the error that travels in its place.
#include "cli/qorCtlSearch.h"

#include <gtest/gtest.h>
#include <string>

namespace {

using namespace orvix;
using namespace orvix::ctl;

class Hit {
 public:
  explicit Hit(const std::string& key) {
    hit.decode(reinterpret_cast<const unsigned char*>(key.data()),
               static_cast<unsigned short>(key.size()), 1);
  }
  ~Hit() { hit.releaseRawKey(); }
  Hit(const Hit&) = delete;
  Hit& operator=(const Hit&) = delete;

  comm::SearchResult hit;
};

TEST(HitKeys, AreTextWhenTheyCanBe) {
  EXPECT_EQ(keyOf(Hit("a/\xc3\xa9.txt").hit), "a/\xc3\xa9.txt");
  EXPECT_EQ(keyOf(Hit("\xff\xfe").hit), "base64://4=");
  EXPECT_EQ(keyOf(comm::SearchResult()), "");
}

TEST(HitErrors, AreReadFromTheRecordOfPairs) {
  const std::string both =
      std::string("\0\5MsgId\0\3E_X", 12) + std::string("\0\7MsgText\0\4oops", 15);
  EXPECT_EQ(errorInHit(Hit(both).hit), "E_X: oops");
  EXPECT_EQ(errorInHit(Hit(both.substr(0, 20)).hit), "E_X: ");
  EXPECT_EQ(errorInHit(Hit("").hit), "ERR_SERVER_APP: ");
}

}  // namespace
