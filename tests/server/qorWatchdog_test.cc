// SPDX-License-Identifier: Apache-2.0
#include "server/qorWatchdog.h"

#include <gtest/gtest.h>
#include <vector>

namespace orvix::server {
namespace {

TEST(Progress, IsMissedOnlyWhereWorkWaitsAndNoStepIsDoneForLong) {
  struct Case {
    const char* name;
    std::uint64_t steps;
    bool hasWork;
    int minute;
    bool made;
  };
  const std::vector<Case> looks{
      {"the first look", 0, true, 0, true},   {"a step takes its time", 0, true, 29, true},
      {"too much of it", 0, true, 30, false}, {"still", 0, true, 31, false},
      {"then it is done", 1, true, 32, true}, {"the next one has its own time", 1, true, 61, true},
      {"idle for long", 1, false, 300, true}, {"work after idleness", 1, true, 329, true},
      {"and a hang", 1, true, 330, false},
  };
  Progress progress;
  const auto start = Progress::Clock::now();
  for (const Case& c : looks) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(progress.isMade(c.steps, c.hasWork, start + std::chrono::minutes(c.minute)), c.made);
  }
}

}  // namespace
}  // namespace orvix::server
