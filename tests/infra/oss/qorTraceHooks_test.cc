// SPDX-License-Identifier: Apache-2.0
// Which hooks run under which flags, and that an exception leaves without exit hooks.
#include "infra/oss/qorTraceHooks.h"

#include <gtest/gtest.h>
#include <stdexcept>
#include <string>

namespace orvix::oss {
namespace {

std::string calls;

/// A host's table that notes each call as one letter and the probe's number.
class TraceHooksTest : public testing::Test {
 protected:
  TraceHooksTest() {
    calls.clear();
    hooks.traceEntry = [](std::uint32_t probe) { calls += "t" + std::to_string(probe); };
    hooks.traceExit = [](std::uint32_t probe) { calls += "T" + std::to_string(probe); };
    hooks.diagnosticEntry = [](std::uint32_t probe) { calls += "d" + std::to_string(probe); };
    hooks.diagnosticExit = [](std::uint32_t probe) { calls += "D" + std::to_string(probe); };
    hooks.flightRecord = [](std::uint32_t probe, const void* data, std::size_t length) {
      calls += "f" + std::to_string(probe) + std::string(static_cast<const char*>(data), length);
    };
    installTraceHooks(&hooks);
  }
  ~TraceHooksTest() override { installTraceHooks(nullptr); }

  TraceHooks hooks;
};

TEST_F(TraceHooksTest, RunUnderTheirFlagsOnly) {
  const struct {
    std::uint32_t flags;
    const char* expected;
  } cases[] = {{0, ""},
               {TraceHooks::DIAGNOSTIC, "d7D7"},
               {TraceHooks::TRACE, "t7T7"},
               {TraceHooks::TRACE_DETAIL, "t7T7"},
               {TraceHooks::FLIGHT_RECORD, "f7ab"},
               {15, "d7t7f7abT7D7"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.flags);
    calls.clear();
    hooks.flags = c.flags;
    {
      const TraceScope scope(7);
      flightRecord(7, "abc", 2);
    }
    EXPECT_EQ(calls, c.expected);
  }
}

TEST_F(TraceHooksTest, AnExceptionLeavesWithoutExit) {
  hooks.flags = 15;
  try {
    const TraceScope outer(1);
    throw std::runtime_error("out");
  } catch (const std::runtime_error&) {
    const TraceScope inHandler(2);
  }
  EXPECT_EQ(calls, "d1t1d2t2T2D2");
}

TEST_F(TraceHooksTest, NullHooksAndNoTableAreNoOps) {
  hooks.flags = 15;
  hooks.traceEntry = nullptr;
  hooks.diagnosticExit = nullptr;
  hooks.flightRecord = nullptr;
  {
    const TraceScope scope(4);
    flightRecord(4, "a", 1);
  }
  EXPECT_EQ(calls, "d4T4");
  installTraceHooks(nullptr);
  const TraceScope scope(5);
  EXPECT_EQ(calls, "d4T4");
}

}  // namespace
}  // namespace orvix::oss
