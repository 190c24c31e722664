// SPDX-License-Identifier: Apache-2.0
// What users see: which documents a query finds, in which order, page by page.
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <vector>

#include "tests/server/qorServerFixture.h"

namespace orvix::server {
namespace {

using Keys = std::vector<std::string>;
using Found = std::set<std::string>;
using testing::recordsOf;

class Search : public testing::ServerFixture {
 protected:
  Search() { create("c"); }
  Found found(const std::string& query, Properties properties = {}) {
    const Keys keys = find(query, std::move(properties));
    return {keys.begin(), keys.end()};
  }
  struct Case {
    const char* query;
    Found keys;
  };
  void expectFound(const std::vector<Case>& cases) {
    for (const Case& c : cases) EXPECT_EQ(found(c.query), c.keys) << c.query;
  }
};

TEST_F(Search, TheQueryLanguageFindsWhatItSays) {
  add("1", "the collator compares strings");
  add("2", "two collators and a normalizer, open-source");
  add("3", "a normalizer of strings", {{"Indexable:title", "Collator basics"}});
  add("4", "東京都の検索");
  expectFound({
      {"collators", {"1", "2"}},
      {"\"collator\"", {"1"}},
      {"\"collators\"", {"2"}},
      {"collator normalizer", {"1", "2", "3"}},
      {"collator AND normalizer", {"2"}},
      {"normalizer NOT collator", {"3"}},
      {"NOT normalizer", {"1", "4"}},
      {"(collator OR normalizer) AND strings", {"1", "3"}},
      {"\"compares strings\"", {"1"}},
      {"\"strings compares\"", {}},
      {"open-source", {"2"}},
      {"normal*", {"2", "3"}},
      {"title:collators", {"3"}},
      {"title:strings", {}},
      {"東京", {"4"}},
      {"*", {"1", "2", "3", "4"}},
      {"absent", {}},
  });
}

TEST_F(Search, EachLanguageHasItsOwnStems) {
  const struct {
    const char* language;
    const char* text;
    const char* query;
  } cases[] = {{"en-GB", "running", "runs"},
               {"de", "viele Häuser", "häusern"},
               {"fr_FR", "continuellement", "continuelle"},
               {"es", "bibliotecas", "biblioteca"},
               {"ru", "книгами", "книга"},
               {"nl", "boeken", "boek"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.language);
    add(c.language, c.text, {}, {{"docLang", c.language}});
    EXPECT_EQ(found(c.query, {{"queryLang", c.language}}), Found{c.language});
    EXPECT_EQ(found(c.query, {{"queryLang", "none"}}), Found{});
  }
  add("tlh", "unstemmed words", {}, {{"docLang", "tlh"}});
  EXPECT_EQ(found("words", {{"queryLang", "tlh"}}), Found{"tlh"});
  add("latin", "gr\xfc\xdf dich", {}, {{"KnownCharset", "ISO-8859-1"}});
  EXPECT_EQ(found("grüß"), Found{"latin"});
}

TEST_F(Search, FieldNamesWithOtherCharactersAreQueriedWithUnderscores) {
  add("1", "x",
      {{"Indexable:pub-date", "monday"}, {"Indexable:größe", "huge"}, {"plain", "hidden"}});
  EXPECT_EQ(found("pub_date:monday"), Found{"1"});
  EXPECT_EQ(found("größe:huge"), Found{"1"});
  EXPECT_EQ(found("hidden"), Found{});
  EXPECT_EQ(found("huge"), Found{});
}

TEST_F(Search, RangesTakeBothEndsOfNumbersAndTexts) {
  const auto paper = [&](const char* key, const char* year, const char* day) {
    add(key, "paper of ranges", {{"[sortable]year", year}, {"[sortable]Indexable:pub-day", day}});
  };
  paper("a", "-5", "2001-02-03");
  paper("b", "300", "2001-10-01");
  paper("c", "1990.5", "1999-12-31");
  paper("d", "unknown", "zoo");
  add("e", "paper without fields");
  expectFound({
      {"year:-5..300", {"a", "b"}},
      {"year:300..1990.5", {"b", "c"}},
      {"year:300.1..1990", {}},
      {"year:2000..1000", {}},
      {"year:300..", {"b", "c"}},
      {"year:..300", {"a", "b"}},
      {"year:unknown..", {"d"}},
      {"year:..unknown", {"d"}},
      {"year:..", {"a", "b", "c", "d"}},
      {"pub_day:2001-01-01..2001-12-31", {"a", "b"}},
      {"pub_day:..2001-02-03", {"a", "c"}},
      {"paper year:300..", {"b", "c"}},
      {"paper AND (year:300.. OR pub_day:..2001-02-03)", {"a", "b", "c"}},
      {"fields OR year:..0", {"a", "e"}},
      {"paper NOT year:-5..", {"d", "e"}},
      {"year:300..300 year:-5..-5", {"a", "b"}},
      {"year:-5..300 pub_day:2001-10..", {"b"}},
      {"ranges...", {"a", "b", "c", "d"}},
      {"ranges 300..1990", {"a", "b", "c", "d"}},
  });
  for (const char* query : {"size:1..2", "year:1..2 a..b"}) {
    EXPECT_EQ(verdict("search", {{"index", "c"}, {"query", query}}), "SRV_QUERY_INVALID") << query;
  }
}

TEST_F(Search, NearAndAdjacentCountWordsBetween) {
  add("1", "alpha one two three omega");
  add("2", "omega one alpha");
  expectFound({
      {"alpha NEAR omega", {"1", "2"}},
      {"alpha NEAR/4 omega", {"1", "2"}},
      {"alpha NEAR/3 omega", {"2"}},
      {"alpha NEAR/1 omega", {}},
      {"alpha ADJ/4 omega", {"1"}},
      {"omega ADJ/2 alpha", {"2"}},
      {"alpha ADJ/3 omega", {}},
      {"one AND alpha NEAR/2 omega", {"2"}},
  });
}

TEST_F(Search, ChineseJapaneseAndKoreanTextIsFoundWithoutSpaces) {
  add("zh", "我们在北京大学学习中文");
  add("ja", "東京タワーは高い。全文検索エンジン v2");
  add("ko", "한국어 검색 엔진", {{"Indexable:title", "서울대학교"}});
  expectFound({
      {"北京", {"zh"}},
      {"北京大学", {"zh"}},
      {"大学北京", {}},
      {"\"学习中文\"", {"zh"}},
      {"京", {"zh", "ja"}},
      {"タワー", {"ja"}},
      {"全文検索", {"ja"}},
      {"全文検索 AND v2", {"ja"}},
      {"검색", {"ko"}},
      {"국어", {"ko"}},
      {"title:대학", {"ko"}},
      {"대학", {}},
      {"北京 OR 東京", {"zh", "ja"}},
  });
}

TEST_F(Search, SortsByFieldAscendingWithMissingValuesLast) {
  add("none", "word");
  add("b", "word word word", {{"[sortable]Indexable:n", "10"}, {"[sortable]t", "Äpple"}});
  add("a", "word", {{"[sortable]n", "9"}, {"[sortable]t", "banana"}});
  add("c", "word word", {{"Indexable:[sortable]n", "x"}, {"[sortable]t", "apple"}});
  EXPECT_EQ(find("word", {{"sortField", "n"}}), (Keys{"a", "b", "c", "none"}));
  EXPECT_EQ(find("word", {{"sortField", "[sortable]t"}}), (Keys{"c", "b", "a", "none"}));
  EXPECT_EQ(find("word", {{"sortField", "UNSORTED"}}), (Keys{"none", "b", "a", "c"}));
  EXPECT_EQ(find("word", {{"sortField", "SCORE"}}), find("word"));
  EXPECT_EQ(find("word").front(), "b");
  EXPECT_EQ(verdict("search", {{"index", "c"}, {"query", "word"}, {"sortField", "size"}}),
            "SRV_SORT_FIELD_UNKNOWN");
}

TEST_F(Search, PagesCutTheSameOrder) {
  for (const char* key : {"1", "2", "3", "4", "5"}) add(key, "word", {{"[sortable]n", key}});
  struct Page {
    const char* start;
    const char* size;
    const char* limit;
    Keys keys;
  };
  const std::vector<Page> cases{
      {"", "", "", {"1", "2", "3", "4", "5"}},
      {"1", "2", "", {"2", "3"}},
      {"4", "9", "", {"5"}},
      {"5", "1", "", {}},
      {"", "4", "3", {"1", "2", "3"}},
      {"4294967295", "4294967295", "", {}},
      {"", "0", "", {}},
  };
  for (const Page& c : cases) {
    SCOPED_TRACE(std::string(c.start) + "+" + c.size + "/" + c.limit);
    EXPECT_EQ(
        find("word",
             {{"start", c.start}, {"size", c.size}, {"resultLimit", c.limit}, {"sortField", "n"}}),
        c.keys);
  }
  for (const char* number : {"-1", "1x", " 1", "4294967296"}) {
    EXPECT_EQ(verdict("search", {{"index", "c"}, {"query", "w"}, {"size", number}}),
              "SRV_NUMBER_INVALID");
  }
}

TEST_F(Search, ScoresComeWithTheHitsUnlessNotWanted) {
  add("k", "word");
  add("other", "something else");
  const Properties request{{"index", "c"}, {"query", "word"}, {"mode", "scalar"}};
  const Keys hits = recordsOf(ask("search", request));
  ASSERT_EQ(hits.size(), 1U);
  EXPECT_GT(oss::paddedU16(hits[0], 0), 0);
  EXPECT_EQ(hits[0].substr(2), "k");
  Properties normalized = request;
  normalized["scoreType"] = "normalized";
  EXPECT_EQ(oss::paddedU16(recordsOf(ask("search", normalized)).at(0), 0), 1000);
}

TEST_F(Search, BadQueriesAreRefusedWithTheirReason) {
  add("k", "word");
  for (const char* query : {"", "word AND (", "AND"}) {
    EXPECT_EQ(verdict("search", {{"index", "c"}, {"query", query}}), "SRV_QUERY_INVALID") << query;
    EXPECT_EQ(verdict("selectivity", {{"index", "c"}, {"query", query}}), "SRV_QUERY_INVALID");
  }
}

TEST_F(Search, EstimateStatesMatchesBoundAndDocuments) {
  for (const char* key : {"1", "2", "3"}) add(key, "word");
  add("4", "other");
  const Keys records = recordsOf(ask("selectivity", {{"index", "c"}, {"query", "word"}}));
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0], std::string("\0\0\0\x03\0\0\0\x04\0\0\0\x03", 12));
}

TEST_F(Search, ManyHitsKeepTheirOrderAcrossThePagesTheirKeysAreReadIn) {
  constexpr int COUNT = 600;
  Keys expected(COUNT);
  for (int i = 0; i < COUNT; ++i) {
    const int rank = i * 7 % COUNT;
    const std::string key = std::to_string(i);
    expected[static_cast<std::size_t>(rank)] = key;
    ask("asyncAddDocument", {{"index", "c"}},
        testing::documentOf(key, "word", {{"[sortable]n", std::to_string(rank)}}));
  }
  ask("updateIndex", {{"index", "c"}});
  EXPECT_EQ(find("word", {{"sortField", "n"}}), expected);
}

TEST_F(Search, AStreamOutlivesCommitsAndDeletions) {
  const int count = 5000;
  for (int i = 0; i < count; ++i) {
    ask("asyncAddDocument", {{"index", "c"}},
        testing::documentOf(std::string(20, 'k') + std::to_string(i), "word"));
  }
  ask("asyncAddDocument", {{"index", "c"}}, std::string(testing::TERMINATOR));
  Reply reply = dispatcher().handle(
      testing::requestOf("search", {{"index", "c"}, {"query", "word"}, {"sortField", "UNSORTED"}}));
  std::string out = reply.bytes;
  ASSERT_TRUE(reply.more->next(out));
  for (const char* key : {"a", "b", "c"}) add(key, "word");
  const std::string last = std::string(20, 'k') + std::to_string(count - 1);
  ASSERT_EQ(verdict("deleteDocument", {{"index", "c"}, {"docId", last}}), "status 1");
  while (reply.more->next(out)) {
  }
  EXPECT_EQ(recordsOf(out).size(), static_cast<std::size_t>(count - 1));
}

TEST_F(Search, KeysThatSearchesHaveMetStayWithTheirDocuments) {
  const std::string lengthy(200, 'k');
  for (const std::string& key : {std::string("a"), lengthy, std::string("b")}) add(key, "word");
  EXPECT_EQ(found("word"), (Found{"a", "b", lengthy}));
  EXPECT_EQ(found("word"), (Found{"a", "b", lengthy}));
  ASSERT_EQ(verdict("deleteDocument", {{"index", "c"}, {"docId", "b"}}), "status 1");
  add("c", "word");
  EXPECT_EQ(found("word"), (Found{"a", "c", lengthy}));
  ASSERT_EQ(verdict("deleteCollection", {{"index", "c"}}), "status 1");
  create("c");
  add("d", "word");
  EXPECT_EQ(found("word"), Found{"d"});
}

}  // namespace
}  // namespace orvix::server
