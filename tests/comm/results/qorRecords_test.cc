// SPDX-License-Identifier: Apache-2.0
// What records share and keep. What they decode is checked by fuzz/ and with the outcomes of replies.
#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "comm/results/qorParseResult.h"
#include "comm/results/qorSearchResult.h"
#include "comm/results/qorSelectivityInfo.h"
#include "tests/support/qorBytes.h"

namespace orvix::test {
namespace {

using comm::GenRespRecord;
using comm::ParseResult;
using comm::SearchResult;
using comm::SelectivityInfo;

/// A record that only keeps its pairs.
class Plain : public GenRespRecord {
 public:
  using GenRespRecord::GenRespRecord;
  void postParse() override {}
};

TEST(GenRespRecord, CopiesNameTheSameMapWhichIsFreedOnce) {
  auto original = std::make_unique<Plain>(true);
  const Plain copy(*original);
  Plain assigned;
  assigned = copy;
  decode(*original, pair("k", "v"));
  original.reset();
  EXPECT_EQ(lines(*copy.getProperties()) + lines(*assigned.getProperties()), "k=v;k=v;");
}

TEST(GenRespRecord, HasNothingToLiftWithoutAMap) {
  SearchResult hit;
  ParseResult outcome;
  SelectivityInfo estimate;
  comm::RESTException failure(u"ID", "file", 7);
  for (GenRespRecord* each :
       std::initializer_list<GenRespRecord*>{&hit, &outcome, &estimate, &failure}) {
    each->postParse();
    EXPECT_EQ(each->getProperties(), nullptr);
  }
  EXPECT_TRUE(hit.getKey().isEmpty());
  EXPECT_TRUE(outcome.getText().isBogus());
  EXPECT_EQ(inOneLine(failure), "ID@file:7");
}

TEST(SearchResult, TakesItsPropertyFormFromUriAndScore) {
  SearchResult record(true);
  EXPECT_THROW(record.postParse(), oss::BaseException);
  record.getProperties()->putProperty(u"URI", u"u");
  record.postParse();
  EXPECT_EQ(text(record.getKey()), "u");
  EXPECT_EQ(record.getScore(), 0.0);
  for (const auto& [value, score] : {std::pair(u"2.5", 2.5), {u"", 0.0}, {u"much", 0.0}}) {
    record.getProperties()->putProperty(u"SCORE", value);
    record.postParse();
    EXPECT_EQ(record.getScore(), score);
  }
}

}  // namespace
}  // namespace orvix::test
