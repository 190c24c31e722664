// SPDX-License-Identifier: Apache-2.0
// The records of a reply, decoded one by one from exactly sized memory.
#include <gtest/gtest.h>
#include <string>

#include "comm/results/qorParseResult.h"
#include "comm/results/qorSearchResult.h"
#include "comm/results/qorSelectivityInfo.h"
#include "tests/support/qorWireLiterals.h"

namespace orvix::comm {
namespace {

using wirelit::ExactBytes;
using wirelit::pairs;
using wirelit::text;
using wirelit::utf8;
using wirelit::operator""_bytes;

/// A record that only keeps its pairs.
class Plain : public GenRespRecord {
 public:
  using GenRespRecord::GenRespRecord;
  void postParse() override { ++hooks; }
  int hooks = 0;
};

unsigned int decode(GenRespRecord& record, const std::string& bytes, short format = 1) {
  const ExactBytes held(bytes);
  return record.decode(held.raw(), static_cast<unsigned short>(held.size()), format);
}

std::string lines(const GenRespRecord& record) {
  std::string all;
  for (const auto& [key, value] : *record.getProperties()) {
    all += utf8(key) + '=' + utf8(value) + ';';
  }
  return all;
}

TEST(GenRespRecord, ReadsPairsAndClampsThemToTheRecord) {
  const struct {
    const char* name;
    std::string bytes;
    const char* pairs;
    unsigned int consumed;
  } cases[] = {
      {"nothing", "", "", 0},
      {"two pairs, UTF-8", "\0\1a\0\2\xc3\xa4\0\1b\0\0"_bytes, "a=\xc3\xa4;b=;", 12},
      {"a later equal key wins", "\0\1a\0\1x\0\1a\0\1y"_bytes, "a=y;", 12},
      {"a NUL ends a text", "\0\3a\0c\0\3x\0z"_bytes, "a=x;", 10},
      {"ill-formed text", "\0\1\xff\0\1\xc3"_bytes, "\xef\xbf\xbd=\xef\xbf\xbd;", 6},
      {"value cut, offset as claimed", "\0\1a\0\x09xy"_bytes, "a=xy;", 14},
      {"key cut, its value is missing",
       "\0\x09"
       "ab"_bytes,
       "ab=;", 13},
      {"value length cut: the missing byte counts as 0", "\0\1a\1"_bytes, "a=;", 261},
      {"one byte of a key length", "\0"_bytes, "=;", 4},
      {"largest lengths", "\xff\xff"_bytes, "=;", 65539},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Plain record(true);
    EXPECT_EQ(decode(record, c.bytes), c.consumed);
    EXPECT_EQ(lines(record), c.pairs);
    EXPECT_EQ(record.hooks, 1);
  }
}

TEST(GenRespRecord, CopiesNameTheSameMapWhichIsFreedOnce) {
  auto original = std::make_unique<Plain>(true);
  Plain copy(*original);
  Plain assigned;
  EXPECT_EQ(assigned.getProperties(), nullptr);
  assigned = copy;
  decode(*original, pairs({{"k", "v"}}));
  original.reset();
  EXPECT_EQ(lines(copy), "k=v;");
  EXPECT_EQ(assigned.getProperties(), copy.getProperties());
}

TEST(SearchResult, DecodesScoreAndKey) {
  const struct {
    const char* name;
    std::string bytes;
    short format;
    double score;
    std::string raw;
    const char* key;
  } cases[] = {
      {"scored",
       "\x03\xe8"
       "ab"_bytes,
       5, 1.0, "ab", "base64:YWI="},
      {"not scored", "ab", 1, 0.0, "ab", "base64:YWI="},
      {"an error as a hit", "ab", 6, 0.0, "ab", "base64:YWI="},
      {"largest score, no key", "\xff\xff"_bytes, 5, 65.535, "", "base64:"},
      {"smallest score", "\0\1a"_bytes, 5, 0.001, "a", "base64:YQ=="},
      {"half a score belongs to the key", "\x03"_bytes, 5, 0.0, "\x03", "base64:Aw=="},
      {"nothing at all", "", 5, 0.0, "", "base64:"},
      {"bytes of every kind", "\0\xff\0"_bytes, 14, 0.0, "\0\xff\0"_bytes, "base64:AP8A"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    SearchResult record;
    EXPECT_EQ(decode(record, c.bytes, c.format), 0U);
    EXPECT_DOUBLE_EQ(record.getScore(), c.score);
    EXPECT_EQ(utf8(record.getKey()), c.key);
    EXPECT_EQ(record.getStatus(), c.format);
    const auto* raw = reinterpret_cast<const char*>(record.getRawKey());
    EXPECT_EQ(std::string(raw, record.getRawKeyLength()), c.raw);
    record.releaseRawKey();
    EXPECT_EQ(record.getRawKey(), nullptr);
    EXPECT_EQ(record.getRawKeyLength(), 0U);
    record.releaseRawKey();
  }
}

TEST(SearchResult, RendersKeysOfAnyLength) {
  for (const std::size_t length : {383U, 384U, 385U, 386U, 65535U}) {  // 512 units and more
    const std::string bytes(length - length % 3, '\0');
    SearchResult record;
    decode(record, bytes);
    EXPECT_EQ(utf8(record.getKey()), "base64:" + std::string(bytes.size() / 3 * 4, 'A'));
    record.releaseRawKey();
  }
}

TEST(SearchResult, TakesItsPropertyFormFromUriAndScore) {
  const struct {
    std::initializer_list<std::pair<const char*, const char*>> pairs;
    double score;
  } cases[] = {{{{"URI", "u"}, {"SCORE", "2.5"}}, 2.5},
               {{{"URI", "u"}, {"SCORE", ""}}, 0.0},
               {{{"URI", "u"}, {"SCORE", "much"}}, 0.0},
               {{{"URI", "u"}}, 0.0}};
  for (const auto& c : cases) {
    SearchResult record(true);
    for (const auto& [key, value] : c.pairs)
      record.getProperties()->putProperty(text(key), text(value));
    record.postParse();
    EXPECT_EQ(utf8(record.getKey()), "u");
    EXPECT_EQ(record.getScore(), c.score);
    EXPECT_EQ(record.getRawKey(), nullptr);
  }
  SearchResult without(true);
  EXPECT_THROW(without.postParse(), oss::BaseException);
}

TEST(ParseResult, HasTextAndTheServersMessage) {
  ParseResult record(true);
  EXPECT_TRUE(record.getText().isBogus());
  EXPECT_EQ(record.getCode(), 0U);
  const std::string bytes = pairs({{"Doc", "k1"}, {"MsgId", "SRV9"}, {"MsgText", "bad"}});
  EXPECT_EQ(decode(record, bytes), bytes.size());
  const ParseResult copy(record);
  ParseResult assigned;
  assigned = record;
  for (const ParseResult* each : {&copy, static_cast<const ParseResult*>(&assigned)}) {
    EXPECT_EQ(utf8(each->getText()), "k1");
    EXPECT_EQ(utf8(each->getMessage().getMessageID()), "SRV9");
    EXPECT_EQ(utf8(each->getMessage().getMessageText()), "bad");
    EXPECT_EQ(each->getMessage().getMessageLevel(), 4U);
    EXPECT_EQ(each->getProperties(), nullptr);
  }
  ParseResult accepted(true);
  decode(accepted, pairs({{"Doc", ""}}));
  EXPECT_FALSE(accepted.getText().isBogus());
  EXPECT_TRUE(accepted.getMessage().getMessageID().isEmpty());
  ParseResult nameless(true);
  EXPECT_THROW(decode(nameless, pairs({{"doc", "k"}})), oss::BaseException);
}

TEST(SelectivityInfo, ReadsTheWordsThatAreThereAndTheThirdBeforeTheSecond) {
  const std::string wire =
      "\0\0\0\7"
      "\xff\xff\xff\xff"
      "\0\0\0\x09"_bytes;
  const struct {
    std::size_t length;
    std::uint64_t value1, value2, value3;
  } cases[] = {{12, 7, 9, 4294967295U}, {11, 7, 1, 4294967295U}, {8, 7, 1, 4294967295U},
               {7, 7, 1, 100},          {4, 7, 1, 100},          {3, 1, 1, 100},
               {0, 1, 1, 100}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.length);
    SelectivityInfo record(true);
    EXPECT_EQ(decode(record, wire.substr(0, c.length)), 0U);
    const SelectivityInfo copy(record);
    EXPECT_EQ(copy.getValue1(), c.value1);
    EXPECT_EQ(copy.getValue2(), c.value2);
    EXPECT_EQ(copy.getValue3(), c.value3);
    EXPECT_EQ(copy.getProperties(), nullptr);
  }
}

}  // namespace
}  // namespace orvix::comm
