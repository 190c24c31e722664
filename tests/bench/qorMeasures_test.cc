// SPDX-License-Identifier: Apache-2.0
// Measures against values worked out by hand, and collections that are not what they should be.
#include "bench/server/qorMeasures.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

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

class CranfieldFiles : public testing::Test {
 protected:
  CranfieldFiles()
      : folder_(std::filesystem::temp_directory_path() /
                ("qor-cran-" + std::to_string(::getpid()))) {
    std::filesystem::create_directory(folder_);
    fill();
  }
  ~CranfieldFiles() override { std::filesystem::remove_all(folder_); }
  void fill() {
    put("cran.all.1400", ".I 1\n.T\nfirst\ntitle\n.A\nx\n.W\none .\n.I 2\n.T\nsecond\n.W\ntwo\n");
    put("cran.qry", ".I 001\n.W\nwhat is\nasked\n.I 008\n.W\nmore\n");
    put("cranqrel", "1 2 3 \n2 1     -1\n\n");
  }
  void put(const char* name, const std::string& text) { std::ofstream(folder_ / name) << text; }
  std::filesystem::path folder_;
};

TEST_F(CranfieldFiles, JudgementsCountQuestionsByPosition) {
  const Cranfield all = readCranfield(folder_);
  ASSERT_EQ(all.abstracts.size(), 2U);
  EXPECT_EQ(all.abstracts[0].key, "1");
  EXPECT_EQ(all.abstracts[0].title, "first title ");
  EXPECT_EQ(all.abstracts[1].text, "two ");
  ASSERT_EQ(all.questions.size(), 2U);
  EXPECT_EQ(all.questions[0].text, "what is asked ");
  EXPECT_EQ(all.questions[0].judgements, (Judgements{{"2", 3}}));
  EXPECT_EQ(all.questions[1].judgements, (Judgements{{"1", -1}}));
}

TEST_F(CranfieldFiles, DamagedFilesAreRefused) {
  const struct {
    const char* file;
    const char* text;
  } cases[] = {{"cranqrel", "3 1 1\n"},           {"cranqrel", "0 1 1\n"}, {"cranqrel", "1 2"},
               {"cranqrel", "1 1 x\n"},           {"cran.qry", ""},        {"cran.qry", "stray\n"},
               {"cran.all.1400", ".I 1\nstray\n"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    fill();
    put(c.file, c.text);
    EXPECT_THROW(static_cast<void>(readCranfield(folder_)), std::runtime_error);
  }
}

}  // namespace
}  // namespace orvix::bench
