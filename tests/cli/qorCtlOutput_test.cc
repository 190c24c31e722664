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
  rows->finish();
  return out.str();
}

TEST(Output, TableColumnsAlignAndControlCharactersAreShown) {
  EXPECT_EQ(written(OutputFormat::TABLE),
            "  rank  name            ok   key\n"
            "     1  \xe6\x97\xa5\xe6\x9c\xac            yes  a\\x09b\n"
            "12.500  longer than it  -    bad \xef\xbf\xbd \"q\"\n");
}

TEST(Output, ATableHasALastColumnOnLinesOfItsOwnWhenToldTo) {
  const auto both = [](OutputFormat format) {
    std::ostringstream out;
    const auto rows =
        makeRowWriter(format, out, {{"check", 6}, {"finding"}, {"remedy", 0, false, false, true}});
    rows->write({"host", "a name", std::monostate()});
    rows->flush();
    rows->write({"token", "a text that is longer", "mend it"});
    rows->finish();
    return out.str();
  };
  EXPECT_EQ(both(OutputFormat::TABLE),
            "check   finding\n"
            "host    a name\n"
            "token   a text that is longer\n"
            "        remedy: mend it\n");
  EXPECT_EQ(both(OutputFormat::CSV),
            "check,finding,remedy\nhost,a name,\ntoken,a text that is longer,mend it\n");
}

TEST(Output, NdjsonKeepsTypesAndLeavesNothingOut) {
  EXPECT_EQ(written(OutputFormat::NDJSON),
            "{\"rank\":1,\"name\":\"\xe6\x97\xa5\xe6\x9c\xac\",\"ok\":true,\"key\":\"a\\tb\"}\n"
            "{\"rank\":12.5,\"name\":\"longer than it\",\"key\":\"bad \xef\xbf\xbd \\\"q\\\"\"}\n");
}

TEST(Output, TheOtherFormsCarryEveryValue) {
  const std::string nihon = "\xe6\x97\xa5\xe6\x9c\xac";
  EXPECT_EQ(written(OutputFormat::JSON),
            "[\n{\"rank\":1,\"name\":\"" + nihon +
                "\",\"ok\":true,\"key\":\"a\\tb\"},\n"
                "{\"rank\":12.5,\"name\":\"longer than it\",\"key\":\"bad \xef\xbf\xbd "
                "\\\"q\\\"\"}\n]\n");
  EXPECT_EQ(written(OutputFormat::CSV),
            "rank,name,ok,key\n1," + nihon +
                ",yes,a\tb\n12.500,longer than it,,\"bad \xff \"\"q\"\"\"\n");
  EXPECT_EQ(written(OutputFormat::PLAIN),
            "1\t" + nihon + "\tyes\ta\\x09b\n12.500\tlonger than it\t\tbad \xef\xbf\xbd \"q\"\n");
}

TEST(Output, ListsWithoutRowsAndSingleRows) {
  struct Case {
    OutputFormat format;
    const char* none;
    const char* single;
  };
  const Case cases[] = {
      {OutputFormat::TABLE, "", "a\n1\n"},       {OutputFormat::JSON, "[]\n", "{\n  \"a\": 1\n}\n"},
      {OutputFormat::NDJSON, "", "{\"a\":1}\n"}, {OutputFormat::CSV, "a\n", "a\n1\n"},
      {OutputFormat::PLAIN, "", "1\n"},
  };
  for (const Case& c : cases) {
    std::ostringstream none;
    makeRowWriter(c.format, none, {{"a"}})->finish();
    EXPECT_EQ(none.str(), c.none);
    std::ostringstream single;
    const auto row = makeRowWriter(c.format, single, {{"a"}}, {true, false});
    row->write({std::uint64_t{1}});
    row->finish();
    EXPECT_EQ(single.str(), c.single);
  }
}

TEST(Output, OnlyVerdictsAndTheHeadingAreColoured) {
  std::ostringstream out;
  const auto rows =
      makeRowWriter(OutputFormat::TABLE, out, {{"v", 0, false, true}, {"b"}}, {false, true});
  rows->write({"warn", "ok"});
  rows->finish();
  EXPECT_EQ(out.str(), "\x1b[1mv     b\x1b[0m\n\x1b[33mwarn\x1b[0m  ok\n");
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
  EXPECT_EQ(displayWidth("\xe1\x84\x92\xe1\x85\xa1\xe1\x86\xab"),
            2U);  // one syllable in three parts
  EXPECT_EQ(fittingPart("a\xe6\x97\xa5\xe6\x9c\xac", 4), "a\xe6\x97\xa5");
  EXPECT_EQ(fittingPart("e\xcc\x81x", 1), "e\xcc\x81");
}

TEST(Text, Utf8IsTold) {
  EXPECT_TRUE(isUtf8("\xf0\x9f\x98\x80"));
  for (const char* bad : {"\x80", "\xc3", "\xed\xa0\x80", "\xc0\xaf", "\xf4\x90\x80\x80"}) {
    EXPECT_FALSE(isUtf8(bad));
  }
  EXPECT_EQ(printable("a\x7f\xc2\x9b"), "a\\x7f\\x9b");
  EXPECT_EQ(endpointText("::1", 5), "[::1]:5");
}

TEST(ProgressBar, ShowsShareSpeedAndTimeLeftInTheRoomThereIs) {
  using std::chrono::seconds;
  const std::string numbers = "300 documents  150 documents/s  2.5 MB/s  0 rejected  ETA 0:02";
  EXPECT_EQ(progressLine({300, 0, 5000000}, 10000000, seconds(2), 120),
            "[############------------]  50%  " + numbers);
  EXPECT_EQ(progressLine({300, 0, 5000000}, 10000000, seconds(2), 80),
            "[####-----]  50%  " + numbers);
  EXPECT_EQ(progressLine({300, 0, 5000000}, 10000000, seconds(2), 20), " 50%  300 documents ");
  EXPECT_EQ(progressLine({300, 2, 20000000}, 10000000, seconds(2), 200),
            "[########################] 100%  300 documents  150 documents/s  10.0 MB/s  2 rejected"
            "  ETA 0:00");
  EXPECT_EQ(progressLine({0, 0, 0}, 0, seconds(0), 80),
            "0 documents  0 documents/s  0.0 MB/s  0 rejected");
  const std::string late = progressLine({1, 0, 1}, 5000, seconds(1), 200);
  EXPECT_NE(late.find("ETA 1:23:19"), std::string::npos) << late;
}

}  // namespace
