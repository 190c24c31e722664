// SPDX-License-Identifier: Apache-2.0
// Life of collections and documents: batches and their outcomes, restarts, backup and restore.
#include <csignal>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "tests/server/qorServerFixture.h"

namespace orvix::server {
namespace {

using Keys = std::vector<std::string>;
using testing::documentOf;
using testing::TERMINATOR;

class Collections : public testing::ServerFixture {
 protected:
  Collections() { create("c"); }
  void send(const std::string& body, Properties properties = {}) {
    properties.insert({"index", "c"});
    EXPECT_EQ(ask("asyncAddDocument", std::move(properties), body), "");
  }
};

TEST_F(Collections, ABatchIsSearchableAfterItsEndAndItsOutcomesAreToldOnce) {
  send(documentOf("good", "word"));
  send(documentOf("bad", "word").substr(0, 39));
  send(documentOf("odd", "word"), {{"charset", "klingon"}});
  send(documentOf("image", "word"), {{"mimeType", "image/png"}});
  send("", {{"docId", "bodiless"}});
  send(documentOf("good", "word again"));
  EXPECT_EQ(find("word"), Keys{});
  EXPECT_EQ(verdict("getStatus", {}), "status 5");
  send(std::string(TERMINATOR));
  EXPECT_EQ(find("again"), Keys{"good"});
  EXPECT_EQ(verdict("getStatus", {}), "status 1");
  EXPECT_EQ(outcomes(),
            (Keys{"good", "bad=SRV_BODY_MALFORMED", "odd=SRV_CHARSET_UNKNOWN",
                  "image=SRV_CONTENT_TYPE_UNSUPPORTED", "bodiless=SRV_BODY_MALFORMED", "good"}));
  EXPECT_EQ(outcomes(), Keys{});
}

TEST_F(Collections, AskingForOutcomesOrAnUpdateEndsABatchToo) {
  send(documentOf("1", "word"));
  EXPECT_EQ(outcomes(), Keys{"1"});
  EXPECT_EQ(find("word"), Keys{"1"});
  send(documentOf("2", "second"));
  EXPECT_EQ(verdict("updateIndex", {{"index", "c"}}), "status 1");
  EXPECT_EQ(find("second"), Keys{"2"});
  send(documentOf("3", "third"));
  EXPECT_EQ(verdict("closeCollection", {{"index", "c"}}), "status 1");
  EXPECT_EQ(find("third"), Keys{"3"});
  EXPECT_EQ(outcomes(), (Keys{"2", "3"}));
}

TEST_F(Collections, WhatAwaitsACommitIsBoundedOverAllCollections) {
  restart(10000);
  create("d");
  const auto pending = [this](const char* name) { return context().store.open(name).pending(); };
  const std::string words(2000, 'x');  // with its fixed costs some 3000 bytes
  for (const char* key : {"1", "2", "3"}) send(documentOf(key, words));
  for (const char* key : {"4", "5"}) send(documentOf(key, words), {{"index", "d"}});
  EXPECT_EQ(pending("c"), 0U) << "had the most when there was no room";
  EXPECT_EQ(pending("d"), 2U);
  send(documentOf("6", std::string(50000, 'x')), {{"index", "d"}});
  EXPECT_EQ(pending("d"), 3U) << "one document fits whatever its size";
  add("7", words);
  EXPECT_EQ(pending("d"), 0U);
  EXPECT_EQ(outcomes(), (Keys{"1", "2", "3"}));
}

TEST_F(Collections, AKeyNamesOneDocumentWhateverItsBytes) {
  const std::string shared(300, 'k');
  for (const std::string& key : {std::string("k"), std::string("\0\xff", 2), shared + "1",
                                 shared + "2", std::string(16384, '\0')}) {
    add(key, "first");
    add(key, "second");
    EXPECT_EQ(find("second"), Keys{key});
    EXPECT_EQ(find("first"), Keys{});
    EXPECT_EQ(verdict("deleteDocument", {{"index", "c"}}, documentOf(key)), "status 1");
    EXPECT_EQ(verdict("deleteDocument", {{"index", "c"}}, documentOf(key)), "status 1");
    EXPECT_EQ(find("second"), Keys{});
  }
}

TEST_F(Collections, WhatWasAnsweredSurvivesARestart) {
  add("k", "word", {{"Indexable:[sortable]title", "basics"}});
  ASSERT_EQ(verdict("setConstructorConfiguration",
                    {{"index", "c"}, {"colData", "x"}, {"docLang", "de"}, {"tabPassword", "hush"}}),
            "status 1");
  restart();
  EXPECT_EQ(find("title:basics", {{"sortField", "title"}, {"queryLang", "en"}}), Keys{"k"});
  const std::string status = ask("collectionStatus", {{"index", "c"}});
  for (const char* part : {"\"documents\":1", "\"language\":\"de\"", "\"colData\":\"x\"",
                           "\"title\":{\"searchable\":true,\"sortable\":true}"}) {
    EXPECT_NE(status.find(part), std::string::npos) << part << " in " << status;
  }
  EXPECT_EQ(status.find("hush"), std::string::npos);
}

/// While it lives, no file of this process can be written to.
class NoWriting {
 public:
  NoWriting() : earlier_(std::signal(SIGXFSZ, SIG_IGN)) {
    ::getrlimit(RLIMIT_FSIZE, &limit_);
    const rlimit none{0, limit_.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &none);
  }
  NoWriting(const NoWriting&) = delete;
  NoWriting& operator=(const NoWriting&) = delete;
  ~NoWriting() {
    ::setrlimit(RLIMIT_FSIZE, &limit_);
    std::signal(SIGXFSZ, earlier_);
  }

 private:
  void (*earlier_)(int);
  rlimit limit_{};
};

TEST_F(Collections, StatusTellsWhatTheFilesTakeAndWhatWentWrong) {
  const auto told = [&](const std::string& name) {
    const std::string status = ask("collectionStatus", {{"index", "c"}});
    const std::size_t at = status.find("\"" + name + "\":");
    return at == std::string::npos ? 0 : std::stoull("0" + status.substr(at + name.size() + 3));
  };
  const auto empty = told("bytes");
  EXPECT_GE(empty, 4096U);
  std::string text;
  for (int i = 0; i < 20000; ++i) text += "word" + std::to_string(i) + " ";
  send(documentOf("long", text));
  EXPECT_EQ(told("pending"), 1U);
  EXPECT_EQ(verdict("updateIndex", {{"index", "c"}}), "status 1");
  EXPECT_GE(told("bytes"), empty + text.size());
  EXPECT_EQ(told("pending"), 0U);
  send(documentOf("k1", "x"));
  send(documentOf("k2", "x"));
  {
    const NoWriting disk;
    EXPECT_EQ(verdict("updateIndex", {{"index", "c"}}), "SRV_ENGINE_FAILED");
  }
  EXPECT_EQ(board().metrics().commitFailures.value(), 1U);
  EXPECT_EQ(board().metrics().changesLost.value(), 2U);
  EXPECT_NE(ask("collectionStatus", {{"index", "c"}}).find("\"lastError\":\"Writing"),
            std::string::npos);
}

TEST_F(Collections, ARefusedDocumentLeavesNoFieldsBehind) {
  add("first", "word", {{"Indexable:kept", "value"}});
  testing::NamedValues many;
  for (int i = 0; i < 1001; ++i) many.emplace_back("Indexable:f" + std::to_string(i), "value");
  EXPECT_EQ(verdict("addDocument", {{"index", "c"}}, documentOf("k", "word", many)),
            "SRV_FIELD_INVALID");
  add("second", "word", {{"Indexable:other", "value"}});
  EXPECT_EQ(find("kept:value OR other:value OR f1:value").size(), 2U);
}

/// As the process that becomes a filter does, for a moment.
TEST_F(Collections, AProcessThatHoldsTheServersDescriptorsDelaysWritingOnly) {
  add("first", "word");
  const pid_t forked = ::fork();
  if (forked == 0) {
    ::usleep(300000);
    ::_exit(0);
  }
  EXPECT_EQ(verdict("closeCollection", {{"index", "c"}}), "status 1");
  add("second", "word");
  EXPECT_EQ(find("word").size(), 2U);
  EXPECT_EQ(::waitpid(forked, nullptr, 0), forked);
}

TEST_F(Collections, NamesMustFit) {
  for (const char* action : {"deleteCollection", "openCollection", "closeCollection", "updateIndex",
                             "search", "selectivity", "getParseResult", "collectionStatus",
                             "getStatus", "setConstructorConfiguration", "backup"}) {
    EXPECT_EQ(verdict(action, {{"index", "absent"}, {"query", "x"}, {"dataDir", "b"}}),
              "SRV_COLLECTION_UNKNOWN")
        << action;
  }
  EXPECT_EQ(verdict("createCollection", {{"index", "c"}}), "SRV_COLLECTION_EXISTS");
  EXPECT_EQ(verdict("createCollection", {}), "SRV_COLLECTION_NAME_INVALID");
  EXPECT_EQ(verdict("createCollection", {{"index", std::string(999, 'x')}}),
            "SRV_COLLECTION_NAME_INVALID");
  EXPECT_EQ(verdict("createCollection", {{"index", "\xff"}}), "SRV_COLLECTION_NAME_INVALID");
  EXPECT_EQ(ask("asyncAddDocument", {{"index", "absent"}}, documentOf("k")), "");
  EXPECT_EQ(ask("asyncAddDocument", {{"index", "absent"}}, std::string(TERMINATOR)), "");
}

TEST_F(Collections, BackupBringsBackWhatItSaw) {
  create("other");
  add("k", "word", {{"Indexable:title", "basics"}});
  send(documentOf("pending", "word"));
  ASSERT_EQ(verdict("backup", {{"index", "c"}, {"dataDir", "../one"}}), "status 1");
  ASSERT_EQ(verdict("backup", {{"dataDir", "all"}}), "status 1");
  add("later", "word");
  EXPECT_EQ(verdict("restore", {{"index", "c"}, {"dataDir", "../one"}}), "SRV_COLLECTION_EXISTS");
  EXPECT_EQ(verdict("restore", {{"dataDir", "all"}, {"incremental", "true"}}), "status 1");
  EXPECT_EQ(find("word").size(), 3U);
  ASSERT_EQ(verdict("restore", {{"index", "c"}, {"dataDir", "../one"}, {"incremental", "false"}}),
            "status 1");
  EXPECT_EQ(find("word").size(), 2U);
  EXPECT_EQ(find("title:basics"), Keys{"k"});
  for (const char* name : {"c", "other"}) {
    ASSERT_EQ(verdict("deleteCollection", {{"index", name}}), "status 1");
  }
  ASSERT_EQ(verdict("restore", {{"dataDir", "all"}}), "status 1");
  EXPECT_EQ(find("word").size(), 2U);
  EXPECT_EQ(verdict("openCollection", {{"index", "other"}}), "status 1");
  EXPECT_EQ(outcomes(), Keys{});
  EXPECT_EQ(verdict("restore", {{"dataDir", "none"}}), "SRV_BACKUP_UNKNOWN");
  EXPECT_EQ(verdict("restore", {{"index", "absent"}, {"dataDir", "all"}}), "SRV_BACKUP_UNKNOWN");
  EXPECT_EQ(verdict("backup", {{"index", "c"}}), "SRV_BACKUP_NAME_INVALID");
  EXPECT_TRUE(std::filesystem::is_empty(root() / "scratch"));
}

/// A handle that was opened anew shows what is stored, not the mark.
TEST_F(Collections, IdleHandlesOutliveABackupAndNoRestore) {
  const auto mark = [this] { context().readers.take("c")->config.displayName = "marked"; };
  const auto isMarked = [this] {
    return context().readers.take("c")->config.displayName == "marked";
  };
  const Properties named{{"index", "c"}, {"dataDir", "b"}, {"incremental", "false"}};
  mark();
  ASSERT_EQ(verdict("backup", named), "status 1");
  EXPECT_TRUE(isMarked());
  ASSERT_EQ(verdict("restore", named), "status 1");
  EXPECT_FALSE(isMarked());
  mark();
  ASSERT_EQ(verdict("deleteCollection", {{"index", "c"}}), "status 1");
  create("c");
  EXPECT_FALSE(isMarked());
}

TEST_F(Collections, ADamagedBackupIsNotInstalled) {
  add("k", "word");
  const auto copy = root() / "backups" / "n-b" / "n-c";
  const Properties named{{"index", "c"}, {"opcode", "b"}, {"incremental", "false"}};
  for (const auto& damage : std::vector<std::function<void()>>{
           [&] { std::ofstream(copy / "postlist.glass", std::ios::app) << 'x'; },
           [&] { std::filesystem::remove(copy / "docdata.glass"); },
           [&] { std::filesystem::remove(copy / "manifest"); }}) {
    ASSERT_EQ(verdict("backup", named), "status 1");
    damage();
    EXPECT_EQ(verdict("restore", named), "SRV_BACKUP_DAMAGED");
    EXPECT_EQ(find("word"), Keys{"k"});
  }
}

TEST_F(Collections, AFailedWriteTurnsTheBatchIntoRejections) {
  add("kept", "word");
  send(documentOf("lost", "word"));
  std::filesystem::remove_all(root() / "collections" / "n-c");
  const Keys told = outcomes();
  ASSERT_EQ(told.size(), 1U);
  EXPECT_EQ(told[0], "lost=SRV_ENGINE_FAILED");
  EXPECT_EQ(verdict("getStatus", {}), "SRV_ENGINE_FAILED");
}

TEST_F(Collections, OneServerHoldsADataDirectory) { EXPECT_THROW(DataDirectory{root()}, Refusal); }

}  // namespace
}  // namespace orvix::server
