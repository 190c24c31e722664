// SPDX-License-Identifier: Apache-2.0
// The log: bytes from outside stay on their line and off the terminal, floods are cut, and a reader
// that has stopped holds nobody up.
#include "server/qorLog.h"

#include <chrono>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spdlog/pattern_formatter.h>
#include <string>
#include <unistd.h>

#include "server/qorLogGate.h"
#include "server/qorLogSink.h"
#include "server/qorLogText.h"

namespace orvix::server {
namespace {

std::string logged(std::string_view value) {
  std::string line;
  LogField("name", value).appendTo(line);
  return line;
}

TEST(LogText, BytesFromOutsideStayWithinTheirField) {
  struct Case {
    std::string value;
    std::string line;
  };
  const std::string nul("a\0b", 3);
  for (const Case& c : {
           Case{"plain-1.2:3/x", " name=plain-1.2:3/x"}, Case{"", " name=\"\""},
           Case{"two words", " name=\"two words\""}, Case{"x=1", " name=\"x=1\""},
           Case{"a\" level=info event=\"b", R"( name="a\" level=info event=\"b")"},
           Case{"back\\", R"( name="back\\")"}, Case{"a\r\n\tb", R"( name="a\r\n\tb")"},
           Case{nul, R"( name="a\x00b")"}, Case{"\x1b[2J\x7f", R"( name="\x1b[2J\x7f")"},
           Case{"caf\u00e9 \u6771\u4eac", " name=\"caf\u00e9 \u6771\u4eac\""},
           Case{"\u0085\u009b1m", R"( name="\xc2\x85\xc2\x9b1m")"},  // controls of 8 bits
           // NOLINTNEXTLINE(misc-misleading-bidirectional): what the log must not let through
           Case{"\u202egnp.exe", R"( name="\xe2\x80\xaegnp.exe")"},          // turns the direction
           Case{"a\u2028b\u2029", R"( name="a\xe2\x80\xa8b\xe2\x80\xa9")"},  // ends lines
           Case{"\xff\xc3", R"( name="\xff\xc3")"},                          // no UTF-8
       }) {
    EXPECT_EQ(logged(c.value), c.line);
  }
}

TEST(LogText, LongValuesAreCutBetweenCharacters) {
  EXPECT_EQ(logged(std::string(1001, 'x')), " name=\"" + std::string(1000, 'x') + "...\"");
  EXPECT_EQ(logged(std::string(999, 'x') + "\u00e9"), " name=\"" + std::string(999, 'x') + "...\"");
  EXPECT_EQ(logged(std::string(998, 'x') + "\n\n"),
            " name=\"" + std::string(998, 'x') + "\\n...\"");
}

TEST(LogGate, LeavesOutWhatIsTooMuchAndCountsIt) {
  LogGate gate(2);
  const LogGate::Clock::time_point start;
  const auto at = [&](int ms) { return start + std::chrono::milliseconds(ms); };
  EXPECT_TRUE(gate.admits("a", at(0)));
  EXPECT_TRUE(gate.admits("a", at(900)));
  EXPECT_FALSE(gate.admits("a", at(950)));
  EXPECT_FALSE(gate.admits("a", at(999)));
  EXPECT_TRUE(gate.admits("b", at(999))) << "one event must not silence another";
  EXPECT_TRUE(gate.takeLeftOut(at(999)).empty()) << "the second is not over";
  EXPECT_TRUE(gate.admits("a", at(1000)));
  EXPECT_TRUE(gate.takeLeftOut(at(1500)).empty()) << "another second has begun";
  const auto left = gate.takeLeftOut(at(2000));
  ASSERT_EQ(left.size(), 1U);
  EXPECT_EQ(left[0].event, "a");
  EXPECT_EQ(left[0].lines, 2U);
  EXPECT_TRUE(gate.takeLeftOut(at(5000)).empty()) << "told twice";
}

TEST(LogSink, AReaderThatHasStoppedCostsLinesNotTime) {
  int ends[2] = {-1, -1};
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
  LogSink sink(ends[1]);
  sink.set_pattern("%v");
  const std::string line(4000, 'x');
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 100; ++i) sink.log({"test", spdlog::level::info, line});
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
  const std::uint64_t lost = sink.takeLost();
  EXPECT_GT(lost, 50U);
  std::string whole((100 - lost) * 4001, '\0');
  std::size_t got = 0;
  while (got < whole.size()) {
    const ssize_t count = ::read(ends[0], whole.data() + got, whole.size() - got);
    ASSERT_GT(count, 0);
    got += static_cast<std::size_t>(count);
  }
  for (std::size_t i = 4000; i < whole.size(); i += 4001) EXPECT_EQ(whole[i], '\n');
  sink.log({"test", spdlog::level::info, line});
  EXPECT_EQ(sink.takeLost(), 0U) << "it takes lines again once they are read";
  ::close(ends[0]);
  ::close(ends[1]);
}

}  // namespace
}  // namespace orvix::server
