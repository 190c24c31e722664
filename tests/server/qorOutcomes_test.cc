// SPDX-License-Identifier: Apache-2.0
// Outcomes across restarts: what is told again, what is not, and what damage does to the file.
#include "server/qorOutcomes.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/qorFolder.h"

namespace orvix::server {
namespace {

namespace fs = std::filesystem;
using Keys = std::vector<std::string>;

constexpr std::time_t NOW = 1000000;

class OutcomesOnDisk : public ::testing::Test {
 protected:
  [[nodiscard]] fs::path file() const { return folder_.path() / "outcomes"; }
  [[nodiscard]] Outcomes opened() const { return Outcomes(file()); }
  /// "key" or "key=MsgId:text", as a server over this file would tell now.
  static Keys told(Outcomes&& outcomes, std::time_t now = NOW) { return told(outcomes, now); }
  static Keys told(Outcomes& outcomes, std::time_t now = NOW) {
    Keys keys;
    outcomes.told(now).read([&keys](const Outcome& each) {
      const std::string id(each.fault ? messageIdText(each.fault->id) : "");
      keys.push_back(each.key + (each.fault ? "=" + id + ":" + each.fault->text : ""));
      return true;
    });
    return keys;
  }
  void store(const Keys& keys) const {
    Outcomes outcomes = opened();
    for (const std::string& key : keys) outcomes.indexed(key);
    outcomes.settle(NOW);
  }

 private:
  test::Folder folder_;
};

TEST_F(OutcomesOnDisk, OnlyWhatIsSettledIsToldAndOnlyWhatIsNotFails) {
  Outcomes outcomes = opened();
  const std::string binary("\0\n\xff", 3);
  outcomes.indexed(binary);
  outcomes.settle(NOW);
  outcomes.indexed("unsettled");
  outcomes.rejected("rejected", {MessageId::CHARSET_UNKNOWN, "why"});
  EXPECT_EQ(told(outcomes), Keys{binary});
  EXPECT_EQ(told(opened()), Keys{binary});
  outcomes.failUnsettled({MessageId::ENGINE_FAILED, "lost"}, NOW);
  const Keys all{binary, "unsettled=SRV_ENGINE_FAILED:lost", "rejected=SRV_CHARSET_UNKNOWN:why"};
  EXPECT_EQ(told(outcomes), all);
  EXPECT_EQ(told(opened()), all);
}

TEST_F(OutcomesOnDisk, WhatWasFetchedOrIsAnHourOldIsNotToldAgain) {
  store({"1", "2"});
  Outcomes outcomes = opened();
  outcomes.fetched(outcomes.told(NOW).upTo() - 1);
  EXPECT_EQ(told(opened()), Keys{"2"});
  outcomes.indexed("3");
  outcomes.settle(NOW + 3000);
  EXPECT_EQ(told(opened(), NOW + 3600), (Keys{"2", "3"}));
  EXPECT_EQ(told(opened(), NOW + 3601), Keys{"3"});
  outcomes.fetched(outcomes.told(NOW).upTo());
  EXPECT_EQ(told(opened()), Keys{});
  EXPECT_EQ(fs::file_size(file()), 0U);
}

TEST_F(OutcomesOnDisk, AreReadInPiecesThatNeitherRepeatNorHoldWhatWasFetched) {
  store({"1", "2", "3", "4"});
  Outcomes outcomes = opened();
  OutcomeReader reader = outcomes.told(NOW);
  Keys read;
  const auto one = [&] {
    bool first = true;
    return reader.read([&](const Outcome& outcome) {
      if (std::exchange(first, false)) {
        read.push_back(outcome.key);
        return true;
      }
      return false;
    });
  };
  EXPECT_TRUE(one());
  outcomes.indexed("later");
  outcomes.settle(NOW);
  outcomes.fetched(reader.upTo() - 1);  // another peer has them up to the third
  EXPECT_FALSE(one());
  EXPECT_EQ(read, (Keys{"1", "4"}));
}

TEST_F(OutcomesOnDisk, ATornTailIsIgnoredAndWhatFollowsIsNotLost) {
  store({"1"});
  const auto whole = fs::file_size(file());
  store({"2"});
  for (auto size = fs::file_size(file()) - 1; size > whole; --size) {
    SCOPED_TRACE(size);
    fs::resize_file(file(), size);
    EXPECT_EQ(told(opened()), Keys{"1"});
  }
  store({"3"});
  EXPECT_EQ(told(opened()), (Keys{"1", "3"}));
}

TEST_F(OutcomesOnDisk, ADamagedRecordEndsTheFile) {
  store({"1", "2"});
  std::fstream bytes(file(), std::ios::in | std::ios::out | std::ios::binary);
  bytes.seekp(-1, std::ios::end).put('3');
  bytes.close();
  EXPECT_EQ(told(opened()), Keys{"1"});
}

TEST_F(OutcomesOnDisk, AFileThatCannotBeWrittenIsTriedAgain) {
  fs::create_directory(file());  // opening it for writing fails
  Outcomes outcomes = opened();
  outcomes.indexed("1");
  outcomes.settle(NOW);
  EXPECT_EQ(told(outcomes), Keys{"1"});
  fs::remove(file());
  outcomes.indexed("2");
  outcomes.settle(NOW);
  EXPECT_EQ(told(opened()), (Keys{"1", "2"}));
}

TEST_F(OutcomesOnDisk, SpentRecordsDoNotPileUp) {
  Outcomes outcomes = opened();
  outcomes.indexed("waits");
  for (int i = 0; i < 30000; ++i) {
    outcomes.indexed("k");
    if (i % 1000 != 0) continue;
    outcomes.settle(NOW);
    outcomes.fetched(outcomes.told(NOW).upTo());
    outcomes.indexed("waits");
    outcomes.settle(NOW);
  }
  EXPECT_LT(fs::file_size(file()), 2000000U);
  outcomes.settle(NOW);
  EXPECT_EQ(told(opened()).size(), outcomes.size());
}

}  // namespace
}  // namespace orvix::server
