// SPDX-License-Identifier: Apache-2.0
// Which hooks run under which flags, and that an exception leaves without exit hooks.
#include "infra/oss/qorTraceHooks.h"

#include <gtest/gtest.h>
#include <string>

namespace orvix::oss {
namespace {

std::string calls;

TEST(TraceHooks, RunUnderTheirFlagsAndWhereThereIsOneButNotOnTheWayOutByAnException) {
  TraceHooks hooks;  // each notes its call as one letter and the probe's number
  hooks.traceEntry = [](std::uint32_t probe) { calls += "t" + std::to_string(probe); };
  hooks.traceExit = [](std::uint32_t probe) { calls += "T" + std::to_string(probe); };
  hooks.diagnosticEntry = [](std::uint32_t probe) { calls += "d" + std::to_string(probe); };
  hooks.diagnosticExit = [](std::uint32_t probe) { calls += "D" + std::to_string(probe); };
  hooks.flightRecord = [](std::uint32_t probe, const void* data, std::size_t length) {
    calls += "f" + std::to_string(probe) + std::string(static_cast<const char*>(data), length);
  };
  const auto callsOfAScope = [] {
    calls.clear();
    {
      const TraceScope scope(7);
      flightRecord(7, "abc", 2);
    }
    return calls;
  };
  installTraceHooks(&hooks);
  const std::pair<std::uint32_t, const char*> cases[] = {{0, ""},
                                                         {TraceHooks::DIAGNOSTIC_BIT, "d7D7"},
                                                         {TraceHooks::TRACE_BIT, "t7T7"},
                                                         {TraceHooks::FLIGHT_RECORD_BIT, "f7ab"},
                                                         {TraceHooks::TRACE_DETAIL_BIT, "t7T7"},
                                                         {15, "d7t7f7abT7D7"}};
  for (const auto& [flags, expected] : cases) {
    hooks.flags = flags;
    EXPECT_EQ(callsOfAScope(), expected);
  }
  calls.clear();
  try {
    const TraceScope outer(1);
    throw 1;
  } catch (int) {
    const TraceScope inHandler(2);
  }
  EXPECT_EQ(calls, "d1t1d2t2T2D2");
  hooks.traceEntry = nullptr;
  hooks.diagnosticExit = nullptr;
  hooks.flightRecord = nullptr;
  EXPECT_EQ(callsOfAScope(), "d7T7");
  installTraceHooks(nullptr);
  EXPECT_EQ(callsOfAScope(), "");
}

}  // namespace
}  // namespace orvix::oss
