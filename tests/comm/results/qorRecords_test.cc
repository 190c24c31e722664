// SPDX-License-Identifier: Apache-2.0
// The records of a reply, decoded one by one from exactly sized memory.
#include <gtest/gtest.h>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "comm/results/qorParseResult.h"
#include "comm/results/qorSearchResult.h"
#include "comm/results/qorSelectivityInfo.h"
#include "infra/oss/qorTraceHooks.h"
#include "tests/support/qorBytes.h"

namespace orvix::test {
namespace {

using comm::GenRespRecord;
using comm::ParseResult;
using comm::SearchResult;
using comm::SelectivityInfo;

/// A record that only keeps its pairs.
class Plain : public GenRespRecord {
 public:
  using GenRespRecord::GenRespRecord;
  void postParse() override {}
};

TEST(GenRespRecord, ReadsPairsAndClampsThemToTheRecord) {
  const struct {
    const char* name;
    std::string bytes;
    const char* pairs;
    unsigned int consumed;
    // clang-format off
  } cases[] = {
      {"two pairs, UTF-8", pair("a", "\xc3\xa4") + pair("b", ""), "a=\xc3\xa4;b=;", 12},
      {"a later equal key wins", pair("a", "x") + pair("a", "y"), "a=y;", 12},
      {"a NUL ends a text", pair("a\0c"_bytes, "x\0z"_bytes), "a=x;", 10},
      {"ill-formed text", pair("\xff", "\xc3"), "\xef\xbf\xbd=\xef\xbf\xbd;", 6},
      {"value cut, offset as claimed", hex("0001 61 0009") + "xy", "a=xy;", 14},
      {"key cut, its value is missing", hex("0009") + "ab", "ab=;", 13},
      {"value length cut: the missing byte counts as 0", hex("0001 61 01"), "a=;", 261},
      {"one byte of a key length", hex("00"), "=;", 4},
      {"largest lengths", hex("ffff"), "=;", 65539},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Plain record;  // gets its map when it decodes
    EXPECT_EQ(record.getProperties(), nullptr);
    EXPECT_EQ(decode(record, c.bytes), c.consumed);
    EXPECT_EQ(lines(*record.getProperties()), c.pairs);
  }
}

TEST(GenRespRecord, CopiesNameTheSameMapWhichIsFreedOnce) {
  auto original = std::make_unique<Plain>(true);
  const Plain copy(*original);
  Plain assigned;
  assigned = copy;
  decode(*original, pair("k", "v"));
  original.reset();
  EXPECT_EQ(lines(*copy.getProperties()) + lines(*assigned.getProperties()), "k=v;k=v;");
}

TEST(GenRespRecord, TracesItsMakingCopyingAndEnd) {
  static std::vector<std::uint32_t> begun;
  static std::vector<std::uint32_t> ended;
  oss::TraceHooks hooks;
  hooks.traceEntry = [](std::uint32_t probe) { begun.push_back(probe); };
  hooks.traceExit = [](std::uint32_t probe) { ended.push_back(probe); };
  hooks.flags = oss::TraceHooks::TRACE_BIT;
  oss::installTraceHooks(&hooks);
  {
    const Plain record(true);
    const Plain copy(record);
  }
  oss::installTraceHooks(nullptr);
  EXPECT_EQ(begun, ended);  // none is within another
  ASSERT_EQ(begun.size(), 4U);
  EXPECT_EQ(begun[0], begun[1]);
  EXPECT_EQ(begun[2], begun[3]);
  EXPECT_NE(begun[0], begun[2]);
}

TEST(GenRespRecord, HasNothingToLiftWithoutAMap) {
  SearchResult hit;
  ParseResult outcome;
  SelectivityInfo estimate;
  comm::RESTException failure(u"ID", "file", 7);
  for (GenRespRecord* each :
       std::initializer_list<GenRespRecord*>{&hit, &outcome, &estimate, &failure}) {
    each->postParse();
    EXPECT_EQ(each->getProperties(), nullptr);
  }
  EXPECT_TRUE(hit.getKey().isEmpty());
  EXPECT_TRUE(outcome.getText().isBogus());
  EXPECT_EQ(inOneLine(failure), "ID@file:7");
}

TEST(SearchResult, DecodesScoreAndKey) {
  const struct {
    std::string bytes;
    short format;
    double score;
    std::string key;
    // clang-format off
  } cases[] = {
      {"\x03\xe8" "ab", 5, 1.0, "YWI="}, {"ab", 6, 0.0, "YWI="}, {"\xff\xff", 5, 65.535, ""},
      {"\x03", 5, 0.0, "Aw=="},  // half a score belongs to the key
      {"", 5, 0.0, ""}, {"\0\xff\0"_bytes, 14, 0.0, "AP8A"},
      {std::string(384, '\0'), 1, 0.0, std::string(512, 'A')},
      {std::string(65535, '\0'), 1, 0.0, std::string(87380, 'A')},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.key);
    SearchResult decoded;
    EXPECT_EQ(decode(decoded, c.bytes, c.format), 0U);
    SearchResult record;
    record = decoded;  // borrows the raw key
    EXPECT_EQ(record.getRawKey(), decoded.getRawKey());
    EXPECT_DOUBLE_EQ(record.getScore(), c.score);
    EXPECT_EQ(text(record.getKey()), "base64:" + c.key);
    EXPECT_EQ(record.getStatus(), c.format);
    const auto* raw = reinterpret_cast<const char*>(record.getRawKey());
    EXPECT_EQ(std::string(raw, record.getRawKeyLength()),
              c.score == 0.0 ? c.bytes : c.bytes.substr(2));
    decoded.releaseRawKey();
    EXPECT_EQ(decoded.getRawKey(), nullptr);
    EXPECT_EQ(decoded.getRawKeyLength(), 0U);
    decoded.releaseRawKey();
  }
}

TEST(SearchResult, TakesItsPropertyFormFromUriAndScore) {
  SearchResult record(true);
  EXPECT_THROW(record.postParse(), oss::BaseException);
  record.getProperties()->putProperty(u"URI", u"u");
  record.postParse();
  EXPECT_EQ(text(record.getKey()), "u");
  EXPECT_EQ(record.getScore(), 0.0);
  for (const auto& [value, score] : {std::pair(u"2.5", 2.5), {u"", 0.0}, {u"much", 0.0}}) {
    record.getProperties()->putProperty(u"SCORE", value);
    record.postParse();
    EXPECT_EQ(record.getScore(), score);
  }
}

TEST(ParseResult, HasTextAndTheServersMessage) {
  ParseResult record(true);
  EXPECT_TRUE(record.getText().isBogus());
  EXPECT_EQ(record.getCode(), 0U);
  decode(record, pair("Doc", "k1") + pair("MsgId", "SRV9") + pair("MsgText", "bad"));
  ParseResult assigned;
  assigned = record;
  for (const ParseResult& each : {record, assigned}) {  // copies
    EXPECT_EQ(text(each.getText()), "k1");
    EXPECT_EQ(inOneLine(each.getMessage()), "SRV9(bad)");
    EXPECT_EQ(each.getMessage().getMessageLevel(), 4U);
    EXPECT_EQ(each.getProperties(), nullptr);
  }
  ParseResult accepted(true);
  decode(accepted, pair("Doc", ""));
  EXPECT_FALSE(accepted.getText().isBogus());
  EXPECT_EQ(inOneLine(accepted.getMessage()), "");
  ParseResult nameless(true);
  EXPECT_THROW(decode(nameless, pair("doc", "k")), oss::BaseException);
}

TEST(SelectivityInfo, ReadsTheWordsThatAreThereAndTheThirdBeforeTheSecond) {
  const std::string wire = hex("00000007 ffffffff 00000009");
  const std::pair<std::size_t, const char*> cases[] = {
      {12, "7 9 4294967295"}, {11, "7 1 4294967295"}, {8, "7 1 4294967295"}, {7, "7 1 100"},
      {4, "7 1 100"},         {3, "1 1 100"},         {0, "1 1 100"}};
  for (const auto& [length, values] : cases) {
    SelectivityInfo record(true);
    EXPECT_EQ(decode(record, wire.substr(0, length)), 0U);
    const SelectivityInfo copy(record);
    EXPECT_EQ(std::to_string(copy.getValue1()) + ' ' + std::to_string(copy.getValue2()) + ' ' +
                  std::to_string(copy.getValue3()),
              values);
    EXPECT_EQ(copy.getProperties(), nullptr);
  }
}

}  // namespace
}  // namespace orvix::test
