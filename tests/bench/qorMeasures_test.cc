// SPDX-License-Identifier: Apache-2.0
// Measures against values worked out by hand, and a collection as it is read.
#include "bench/server/qorMeasures.h"

#include <gtest/gtest.h>
#include <string>

#include "tests/support/qorFolder.h"

namespace orvix::bench {
namespace {

TEST(Measures, CountGainsByRankAndDivideByTheBestPossible) {
  // Gains 4 and 2; the other two are not relevant.
  const Judgements judged{{"a", 1}, {"b", 3}, {"c", 5}, {"d", -1}};
  const struct {
    const char* name;
    Ranking ranking;
    std::size_t depth;
    double ndcg;
    double precision;
  } cases[] = {
      {"perfect", {"a", "b", "c"}, 10, 1, 1},
      // (2 / log2(3) + 4 / log2(4)) / (4 + 2 / log2(3)); (1/2 + 2/3) / 2
      {"behind a stranger", {"x", "b", "a"}, 10, 0.619906, 0.583333},
      // 4 / (4 + 2 / log2(3))
      {"one missing", {"a", "c", "d"}, 10, 0.760188, 0.5},
      {"cut", {"x", "b", "a"}, 1, 0, 0.583333},
      {"best cut, too", {"a", "x"}, 1, 1, 0.5},
      {"nothing found", {}, 10, 0, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_NEAR(ndcg(c.ranking, judged, c.depth), c.ndcg, 1e-6);
    EXPECT_NEAR(averagePrecision(c.ranking, judged), c.precision, 1e-6);
  }
  const Judgements none{{"c", 5}};
  EXPECT_EQ(ndcg({"c"}, none, 10), 0);
  EXPECT_EQ(averagePrecision({"c"}, none), 0);
}

TEST(Cranfield, JudgementsCountQuestionsByPosition) {
  const test::Folder folder;
  const auto put = [&folder](const char* name, const char* text) {
    static_cast<void>(folder.file(name, text));
  };
  put("cran.all.1400", ".I 1\n.T\nfirst\ntitle\n.A\nx\n.W\none .\n.I 2\n.T\nsecond\n.W\ntwo\n");
  put("cran.qry", ".I 001\n.W\nwhat is\nasked\n.I 008\n.W\nmore\n");
  put("cranqrel", "1 2 3 \n2 1     -1\n\n");
  const Cranfield all = readCranfield(folder.path());
  ASSERT_EQ(all.abstracts.size(), 2U);
  EXPECT_EQ(all.abstracts[0].key, "1");
  EXPECT_EQ(all.abstracts[0].title, "first title ");
  EXPECT_EQ(all.abstracts[1].text, "two ");
  ASSERT_EQ(all.questions.size(), 2U);
  EXPECT_EQ(all.questions[0].text, "what is asked ");
  EXPECT_EQ(all.questions[0].judgements, (Judgements{{"2", 3}}));
  EXPECT_EQ(all.questions[1].judgements, (Judgements{{"1", -1}}));
}

}  // namespace
}  // namespace orvix::bench
