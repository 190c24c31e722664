// SPDX-License-Identifier: Apache-2.0
// Two servers at one data directory, as shared storage allows: the one that took over last writes.
#include "server/qorRole.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <vector>

#include "tests/server/qorServerFixture.h"

namespace orvix::server {
namespace {

namespace fs = std::filesystem;
using Keys = std::vector<std::string>;
using testing::documentOf;

class Takeover : public testing::ServerFixture {
 protected:
  Takeover() {
    create("c");
    add("k", "word");
    EXPECT_EQ(ask("asyncAddDocument", {{"index", "c"}}, documentOf("told", "word")), "");
    EXPECT_EQ(outcomes(), Keys{"told"});
  }
  /// Everything in the collection's files.
  std::string bytes() const {
    std::string all;
    for (const char* name : {"iamglass", "postlist.glass", "outcomes"}) {
      std::ifstream file(root() / "collections" / "n-c" / name, std::ios::binary);
      all.append(std::istreambuf_iterator<char>(file), {});
    }
    return all;
  }
  fs::path roleFile() const { return root() / Role::FILE_NAME; }
};

TEST_F(Takeover, OfAnotherServerLeavesThisOneReading) {
  EXPECT_EQ(ask("asyncAddDocument", {{"index", "c"}}, documentOf("pending", "word")), "");
  const std::string before = bytes();
  Role other(root());
  EXPECT_EQ(verdict("getStatus", {}), "SRV_READ_ONLY") << "nothing has to be written to notice";
  for (const char* action : {"addDocument", "deleteDocument", "updateIndex", "createCollection",
                             "deleteCollection", "backup"}) {
    const std::string index = std::string(action) == "createCollection" ? "new" : "c";
    const std::string answer =
        verdict(action, {{"index", index}, {"dataDir", "b"}},
                std::string(action).find("Document") == std::string::npos ? "" : documentOf("k2"));
    if (std::string(action) == "updateIndex") {
      EXPECT_EQ(answer, "status 1") << "what was pending went with the first refusal";
    } else {
      EXPECT_EQ(answer, "SRV_READ_ONLY") << action;
    }
  }
  EXPECT_EQ(ask("asyncAddDocument", {{"index", "c"}}, documentOf("late", "word")), "");
  EXPECT_EQ(outcomes(), (Keys{"pending=SRV_READ_ONLY", "late=SRV_READ_ONLY"}));
  EXPECT_EQ(find("word").size(), 2U);
  EXPECT_EQ(verdict("getStatus", {}), "SRV_READ_ONLY");
  EXPECT_EQ(bytes(), before);
  EXPECT_FALSE(fs::exists(root() / "collections" / "n-new"));
  EXPECT_NO_THROW(other.require());
}

TEST_F(Takeover, ByRequestMakesThisServerWriteAgain) {
  Role other(root());
  EXPECT_EQ(verdict("addDocument", {{"index", "c"}}, documentOf("k2", "word")), "SRV_READ_ONLY");
  EXPECT_EQ(verdict("takeover", {}), "status 1");
  EXPECT_EQ(verdict("getStatus", {}), "status 1");
  add("k2", "word");
  EXPECT_EQ(find("word").size(), 3U);
  EXPECT_THROW(other.require(), Refusal);
  other.take();
  EXPECT_EQ(verdict("addDocument", {{"index", "c"}}, documentOf("k3", "x")), "SRV_READ_ONLY");
  restart();
  add("k3", "word");
  EXPECT_THROW(other.require(), Refusal);
}

TEST_F(Takeover, WhileADocumentIsPendingLosesItAloud) {
  EXPECT_EQ(ask("asyncAddDocument", {{"index", "c"}}, documentOf("pending", "word")), "");
  Role other(root());
  EXPECT_EQ(verdict("updateIndex", {{"index", "c"}}), "SRV_READ_ONLY");
  EXPECT_EQ(verdict("takeover", {}), "status 1");
  EXPECT_EQ(find("word").size(), 2U);
  EXPECT_EQ(verdict("getStatus", {}), "status 1");
}

TEST_F(Takeover, FollowsWhatTheOtherServerCommits) {
  EXPECT_EQ(find("word").size(), 2U);
  Role other(root());
  EXPECT_EQ(verdict("addDocument", {{"index", "c"}}, documentOf("k2", "x")), "SRV_READ_ONLY");
  for (int i = 0; i < 5; ++i) {
    Collection foreign("c", root() / "collections" / "n-c");
    const std::string key = "foreign" + std::to_string(i);
    DocumentBody body;
    body.key = key;
    body.content = "word";
    foreign.add(body, {});
    foreign.commit();
    EXPECT_EQ(find("word").size(), static_cast<std::size_t>(3 + i));
  }
}

TEST_F(Takeover, RaisesTheEpochAndSurvivesWhateverIsInItsFile) {
  const std::uint64_t epoch = context().role.epoch();
  restart();
  EXPECT_EQ(context().role.epoch(), epoch + 1);
  EXPECT_EQ(verdict("takeover", {}), "status 1");
  EXPECT_EQ(context().role.epoch(), epoch + 2);
  fs::remove(roleFile());
  EXPECT_EQ(verdict("addDocument", {{"index", "c"}}, documentOf("k2")), "SRV_READ_ONLY");
  EXPECT_EQ(verdict("takeover", {}), "status 1");
  EXPECT_EQ(context().role.epoch(), epoch + 3);
  std::ifstream file(roleFile());
  const std::string whole{std::istreambuf_iterator<char>(file), {}};
  for (const std::string& damaged : {std::string(), whole.substr(0, 40), whole + "x",
                                     "epoch 9" + whole.substr(7), std::string(400, '9')}) {
    std::ofstream(roleFile()) << damaged;
    EXPECT_THROW(Role{root()}, Refusal) << damaged;
    EXPECT_EQ(verdict("addDocument", {{"index", "c"}}, documentOf("k2")), "SRV_STORAGE_FAILED")
        << damaged;
    std::ofstream(roleFile()) << whole;
  }
  add("k2", "word");
}

}  // namespace
}  // namespace orvix::server
