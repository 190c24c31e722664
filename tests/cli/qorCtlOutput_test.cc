// SPDX-License-Identifier: Apache-2.0
// The two output forms, byte for byte, and what must not reach a terminal.
#include "cli/qorCtlOutput.h"

#include <chrono>
#include <gtest/gtest.h>
#include <sstream>
#include <string>

#include "cli/qorCtlExit.h"
#include "cli/qorCtlProgress.h"
#include "cli/qorCtlText.h"

namespace {

using namespace orvix::ctl;

std::string written(OutputFormat format) {
  std::ostringstream out;
  const auto rows =
      makeRowWriter(format, out, {{"rank", 4, true}, {"name", 6}, {"ok", 3}, {"key"}});
  rows->write({std::uint64_t{1}, "\xe6\x97\xa5\xe6\x9c\xac", true, "a\tb"});
  rows->write({12.5, "longer than it", std::monostate(), "bad \xff \"q\""});
  return out.str();
}

TEST(Output, TableColumnsAlignAndControlCharactersAreShown) {
  EXPECT_EQ(written(OutputFormat::TABLE),
            "rank  name    ok   key\n"
            "   1  \xe6\x97\xa5\xe6\x9c\xac    yes  a\\x09b\n"
            "12.500  longer than it  -    bad \xef\xbf\xbd \"q\"\n");
}

TEST(Output, NdjsonKeepsTypesAndLeavesNothingOut) {
  EXPECT_EQ(written(OutputFormat::NDJSON),
            "{\"rank\":1,\"name\":\"\xe6\x97\xa5\xe6\x9c\xac\",\"ok\":true,\"key\":\"a\\tb\"}\n"
            "{\"rank\":12.5,\"name\":\"longer than it\",\"key\":\"bad \xef\xbf\xbd \\\"q\\\"\"}\n");
}

TEST(Output, TextIsShownAsLinesOrCarriedAsOneMember) {
  struct Case {
    OutputFormat format;
    const char* text;
    const char* expected;
  };
  const Case cases[] = {
      {OutputFormat::TABLE, "a: 1\nb\x1b", "a: 1\nb\\x1b\n"},
      {OutputFormat::TABLE, "", ""},
      {OutputFormat::TABLE, "{\"a\":[1]}\n", "{\n  \"a\": [\n    1\n  ]\n}\n"},
      {OutputFormat::NDJSON, "a: 1\nb\n", "{\"status\":\"a: 1\\nb\\n\"}\n"},
      {OutputFormat::NDJSON, "{\"b\":1, \"a\":{}}\n", "{\"b\":1,\"a\":{}}\n"},
      {OutputFormat::NDJSON, "{cut", "{\"status\":\"{cut\"}\n"},
  };
  for (const Case& c : cases) {
    std::ostringstream out;
    writeText(c.format, out, "status", c.text);
    EXPECT_EQ(out.str(), c.expected) << c.text;
  }
}

TEST(Output, TheFormFollowsTheTerminalUnlessItIsGiven) {
  EXPECT_EQ(outputFormat("", true), OutputFormat::TABLE);
  EXPECT_EQ(outputFormat("", false), OutputFormat::NDJSON);
  EXPECT_EQ(outputFormat("ndjson", true), OutputFormat::NDJSON);
  EXPECT_EQ(outputFormat("table", false), OutputFormat::TABLE);
}

TEST(Output, AStreamThatTakesNoMoreIsALocalFailure) {
  std::ostringstream out;
  EXPECT_NO_THROW(finishOutput(out));
  out.setstate(std::ios::badbit);
  EXPECT_THROW(finishOutput(out), CtlFailure);
}

TEST(Text, WidthsCountWideCharactersTwiceAndMarksNever) {
  EXPECT_EQ(displayWidth("abc"), 3U);
  EXPECT_EQ(displayWidth("\xe6\x97\xa5"), 2U);
  EXPECT_EQ(displayWidth("e\xcc\x81"), 1U);
  EXPECT_EQ(displayWidth("\xff\xfe"), 2U);
}

TEST(Text, Utf8IsTold) {
  EXPECT_TRUE(isUtf8("\xf0\x9f\x98\x80"));
  for (const char* bad : {"\x80", "\xc3", "\xed\xa0\x80", "\xc0\xaf", "\xf4\x90\x80\x80"}) {
    EXPECT_FALSE(isUtf8(bad));
  }
  EXPECT_EQ(printable("a\x7f\xc2\x9b"), "a\\x7f\\x9b");
  EXPECT_EQ(endpointText("::1", 5), "[::1]:5");
}

TEST(ProgressBar, ShowsShareAndSpeed) {
  using std::chrono::seconds;
  EXPECT_EQ(progressLine({300, 0, 5000000}, 10000000, seconds(2)),
            "[############------------]  50%  300 documents  150 documents/s  2.5 MB/s");
  EXPECT_EQ(
      progressLine({300, 2, 20000000}, 10000000, seconds(2)),
      "[########################] 100%  300 documents  150 documents/s  10.0 MB/s  2 rejected");
  EXPECT_EQ(progressLine({0, 0, 0}, 0, seconds(0)), "0 documents  0 documents/s  0.0 MB/s");
}

}  // namespace
