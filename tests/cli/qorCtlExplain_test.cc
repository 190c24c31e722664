// SPDX-License-Identifier: Apache-2.0
// No identifier that a user can meet is left unexplained.
#include "cli/qorCtlExplain.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <set>
#include <string>

#include "cli/qorCtlBytesText.h"
#include "cli/qorCtlExit.h"
#include "cli/qorCtlPing.h"
#include "server/qorMessageIds.h"

namespace {

using namespace orvix::ctl;
namespace fs = std::filesystem;

/// Words of capitals in the sources of a folder that start so and that `behind` follows.
std::set<std::string> idsIn(const fs::path& folder, const std::string& start, char behind) {
  std::set<std::string> ids;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.path().extension() != ".cc" && entry.path().extension() != ".h") continue;
    std::ifstream file(entry.path());
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    for (std::size_t at = text.find(start); at != std::string::npos; at = text.find(start, at)) {
      const std::size_t end = text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ_", at);
      if (end == std::string::npos) break;
      if (text[end] == behind) ids.insert(text.substr(at, end - at));
      at = end;
    }
  }
  return ids;
}

void expectExplained(const std::string& id) {
  SCOPED_TRACE(id);
  const Explanation* const found = findExplanation(id);
  ASSERT_NE(found, nullptr);
  EXPECT_FALSE(meaningOf(*found).empty());
  EXPECT_FALSE(found->checks.empty() && id != "0");
  EXPECT_FALSE(found->retry.empty());
}

TEST(Explanations, CoverTheLibraryItsInfrastructureAndTheServer) {
  const fs::path root = QORCOMM_SOURCE_DIR;
  struct Case {
    const char* folder;
    const char* start;
    char behind;
    std::size_t least;
  };
  const Case cases[] = {
      {"comm/protocol", "ERR_", ';', 10},
      {"comm/protocol", "WAR_", ';', 1},
      {"infra", "SOCKET_", '"', 8},
      {"infra", "PROPERTY_", '"', 2},
  };
  for (const Case& c : cases) {
    const auto ids = idsIn(root / c.folder, c.start, c.behind);
    EXPECT_GE(ids.size(), c.least) << c.start;
    for (const std::string& id : ids) expectExplained(id);
  }
  for (const auto id : orvix::server::MESSAGE_ID_TEXTS) expectExplained(std::string(id));
}

TEST(Explanations, CoverEveryExitCode) {
  for (const ExitRow& row : EXIT_TABLE) {
    expectExplained(std::to_string(static_cast<int>(row.code)));
  }
  EXPECT_EQ(meaningOf(*findExplanation("130")), "interrupted");
}

TEST(Explanations, AreFoundOnceAndInAnyCase) {
  std::set<std::string> seen;
  for (const std::string& id : explainedIds()) EXPECT_TRUE(seen.insert(id).second) << id;
  EXPECT_EQ(findExplanation("err_connect_server"), findExplanation("ERR_CONNECT_SERVER"));
  EXPECT_EQ(findExplanation("ERR_CONNECT"), nullptr);
}

TEST(Percentiles, AreTheNearestRank) {
  const std::vector<double> ten{1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  EXPECT_EQ(percentile(ten, 0), 1);
  EXPECT_EQ(percentile(ten, 0.5), 5);
  EXPECT_EQ(percentile(ten, 0.9), 9);
  EXPECT_EQ(percentile(ten, 0.99), 10);
  EXPECT_EQ(percentile({3}, 0.5), 3);
}

TEST(Base64Text, ComesBackAndNothingElseIsTaken) {
  for (const std::string bytes : {"", "f", "fo", "foo", "foob", "\xff\xfe\x00"}) {
    EXPECT_EQ(fromBase64(toBase64(bytes)), bytes);
  }
  EXPECT_EQ(toBase64("foob"), "Zm9vYg==");
  for (const char* bad : {"Zg=", "Zg", "Z===", "====", "Zh==", "Zg==Zg==", "Zg=a", "Z-=="}) {
    EXPECT_FALSE(fromBase64(bad)) << bad;
  }
}

}  // namespace
