// SPDX-License-Identifier: Apache-2.0
// Loads and searches against a small peer on loopback that answers with prepared bytes: what is
// counted, and which replies are failures.
#include "tests/cli/qorCtlPeer.h"

#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "cli/qorCtlCommands.h"
#include "cli/qorCtlLoad.h"

namespace {

using namespace orvix::ctl;
using namespace orvix::ctl::testing;

/// `count` documents with the keys 1, 2, 3 ...
class Numbers : public DocumentSource {
 public:
  explicit Numbers(int count) : left_(count) {}
  std::optional<SourceItem> next() override {
    if (left_-- == 0) return std::nullopt;
    Document document;
    document.key = std::to_string(++number_);
    document.content = "text";
    return SourceItem{std::move(document), 4};
  }

 private:
  int left_;
  int number_ = 0;
};

TEST(Load, CountsTheOutcomesOfEveryBatch) {
  const std::string none = OK + END_MARKER;
  const std::string third = OK + accepted("3") + END_MARKER;
  const struct {
    const char* name;
    std::vector<std::string> replies;  // the first one is for what an earlier batch has left
    std::uint64_t sent, accepted, rejected, unconfirmed;
    ExitCode code;
    const char* says;
    // clang-format off
  } cases[] = {
      {"all well", {none, OK + accepted("1") + accepted("2") + END_MARKER, third}, 3, 3, 0, 0, ExitCode::DONE, ""},
      {"leftovers are not ours",
       {OK + accepted("x") + rejected("y") + END_MARKER, OK + accepted("1") + accepted("2") + END_MARKER, third},
       3, 3, 0, 0, ExitCode::DONE, "of an earlier batch: document 'y' was rejected: E_BAD"},
      {"a rejection is named and the rest goes on",
       {none, OK + accepted("1") + rejected("2") + END_MARKER, third},
       3, 2, 1, 0, ExitCode::DONE_IN_PART, "document '2' was rejected: E_BAD: no good"},
      {"an outcome is missing", {none, OK + accepted("1") + END_MARKER},
       2, 1, 0, 1, ExitCode::DONE_IN_PART, "the server has 1 outcomes"},
      {"all outcomes are missing", {none, none}, 2, 0, 0, 2, ExitCode::PROTOCOL, "the server has 0 outcomes"},
      {"the outcomes are cut", {none, OK + accepted("1") + accepted("2")},
       2, 2, 0, 0, ExitCode::DONE_IN_PART, "before its reply was complete"},
      {"no such collection", {"\0\6\0\0"s}, 0, 0, 0, 0, ExitCode::REFUSED, ""},
      {"the server goes after a batch", {none, OK + accepted("1") + accepted("2") + END_MARKER},
       3, 2, 0, 1, ExitCode::DONE_IN_PART, "load c at 127.0.0.1:"},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Peer peer(c.replies);
    Settings settings = peer.settings();
    settings.command = Command::LOAD;
    Connection connection(settings);
    std::ostringstream messages;
    Progress progress(messages, false, 0);
    BatchLimits limits;
    limits.documents = 2;
    Loader loader(connection, u"c", connection.properties(), FieldMarks({}, {}), progress, limits);
    Numbers source(3);
    const LoadResult result = loader.run(source);
    EXPECT_EQ(result.counts.sent, c.sent);
    EXPECT_EQ(result.counts.accepted, c.accepted);
    EXPECT_EQ(result.counts.rejected, c.rejected);
    EXPECT_EQ(result.counts.unconfirmed(), c.unconfirmed);
    EXPECT_EQ(exitCodeOf(result), c.code);
    const std::string text = messages.str() + (result.failure ? result.failure->text : "");
    EXPECT_NE(text.find(c.says), std::string::npos) << text;
  }
}

/// Documents whose keys, fields and contents a reject file has a hard time with.
class Awkward : public DocumentSource {
 public:
  std::optional<SourceItem> next() override {
    if (number_ == 3) return std::nullopt;
    Document document;
    document.key = number_ == 1 ? "\xff\xfe" : std::to_string(number_);
    document.fields.push_back({"title", "\"q\"\n", "Title"});
    document.content = "\x80 text";
    ++number_;
    return SourceItem{std::move(document), 4};
  }

 private:
  int number_ = 0;
};

TEST(Load, RejectedAndUnconfirmedDocumentsCanBeLoadedAgain) {
  // U+FFFD twice: what the library makes of the second key. The third has no outcome.
  const Peer peer(
      {OK + END_MARKER, OK + accepted("0") + rejected("\xef\xbf\xbd\xef\xbf\xbd") + END_MARKER});
  Settings settings = peer.settings();
  settings.command = Command::LOAD;
  const std::string path =
      ::testing::TempDir() + "qorctl_" + std::to_string(peer.settings().port) + ".ndjson";
  SourceOptions options;
  options.contentMember = "text";
  options.mappings = {{"title", "Title"}};
  {
    Connection connection(settings);
    std::ostringstream messages;
    Progress progress(messages, false, 0);
    RejectLog log(path, options);
    Loader loader(connection, u"c", connection.properties(), FieldMarks({}, {}), progress);
    loader.keepRejects(log);
    Awkward source;
    EXPECT_EQ(exitCodeOf(loader.run(source)), ExitCode::DONE_IN_PART);
  }
  const auto again = openPaths({path}, options);
  for (const char* key : {"\xff\xfe", "2"}) {
    const auto item = again->next();
    ASSERT_TRUE(item);
    ASSERT_TRUE(std::holds_alternative<Document>(item->what))
        << std::get<SourceProblem>(item->what).text;
    const auto& document = std::get<Document>(item->what);
    EXPECT_EQ(document.key, key);
    EXPECT_EQ(document.content, "\x80 text");
    ASSERT_EQ(document.fields.size(), 1U);
    EXPECT_EQ(document.fields[0].name + '=' + document.fields[0].value, "title=\"q\"\n");
    EXPECT_EQ(document.omittedMembers, 0U);
  }
  EXPECT_FALSE(again->next());
  std::filesystem::remove(path);
}

TEST(Ping, CountsLostAnswersAndRepeatsNothing) {
  const Peer peer({OK});
  Settings settings = peer.settings();
  settings.command = Command::PING;
  settings.count = 2;
  settings.interval = 0;
  settings.retries = 5;
  settings.output = "csv";
  std::ostringstream out;
  std::ostringstream err;
  EXPECT_EQ(runCommand(settings, {out, err}), ExitCode::DONE_IN_PART);
  EXPECT_EQ(out.str().find("sent,answered,lost,minMs"), 0U) << out.str();
  EXPECT_NE(out.str().find("\n2,1,1,"), std::string::npos) << out.str();
  EXPECT_NE(err.str().find(": ERR_"), std::string::npos) << err.str();
  EXPECT_EQ(err.str().find("tried"), std::string::npos) << err.str();
}

TEST(Commands, EndWithTheCodeOfTheirReply) {
  const std::string hits = OK + record(1, "a") + record(1, "b");
  const std::string shown = "{\"rank\":1,\"key\":\"a\"}\n{\"rank\":2,\"key\":\"b\"}\n";
  const std::string error = record(6, pair("MsgId", "E_X") + pair("MsgText", "oops"));
  const struct {
    const char* name;
    Command command;
    std::string reply;
    ExitCode code;
    std::string out;
    const char* says;
    // clang-format off
  } cases[] = {
      {"hits", Command::SEARCH, hits + END_MARKER, ExitCode::DONE, shown, ""},
      {"a key that is no text", Command::SEARCH, OK + record(1, "a\xc3\xa9") + record(1, "\xff\xfe") + END_MARKER,
       ExitCode::DONE, "{\"rank\":1,\"key\":\"a\xc3\xa9\"}\n{\"rank\":2,\"key\":\"base64://4=\"}\n", ""},
      {"no hits", Command::SEARCH, OK + END_MARKER, ExitCode::DONE, "", "no hits"},
      {"cut hits", Command::SEARCH, hits, ExitCode::PROTOCOL, shown, "before its reply was complete"},
      {"an error among the hits", Command::SEARCH, hits + error + END_MARKER, ExitCode::REFUSED, shown, "E_X: oops"},
      {"an error without a word", Command::SEARCH, hits + record(6, "") + END_MARKER, ExitCode::REFUSED, shown,
       "ERR_SERVER_APP: "},
      {"not authorised", Command::SEARCH, "\x01\x91", ExitCode::NOT_AUTHORISED, "", "--token-file"},
      {"no reply", Command::SEARCH, "", ExitCode::NO_CONNECTION, "", "ERR_SERVER_COMM_RECV"},
      {"busy", Command::STATUS, "\0\5"s, ExitCode::ANSWER_IS_NO, "{\"status\":1,\"state\":\"busy\"}\n", ""},
      {"a rejected outcome", Command::OUTCOMES, OK + accepted("k") + rejected("l") + END_MARKER,
       ExitCode::ANSWER_IS_NO,
       "{\"accepted\":true,\"key\":\"k\"}\n"
       "{\"accepted\":false,\"id\":\"E_BAD\",\"message\":\"no good\",\"key\":\"l\"}\n", ""},
      {"an estimate", Command::ESTIMATE, OK + record(1, "\0\0\0\7\0\0\0\x9\0\0\0\5"s) + END_MARKER,
       ExitCode::DONE, "{\"matches\":7,\"atLeast\":5,\"documents\":9}\n", ""},
  };
  // clang-format on
  for (const auto& c : cases) {
    for (const bool streamed : {false, true}) {
      SCOPED_TRACE(c.name);
      const Peer peer({c.reply});
      Settings settings = peer.settings();
      settings.command = c.command;
      settings.noScore = true;
      settings.stream = streamed;
      std::ostringstream out;
      std::ostringstream err;
      Failure end;
      try {
        end.code = runCommand(settings, {out, err});
      } catch (const std::exception&) {
        end = currentFailure("here");
      }
      EXPECT_EQ(end.code, c.code);
      EXPECT_EQ(out.str(), c.out);
      EXPECT_NE((err.str() + end.text).find(c.says), std::string::npos) << err.str() << end.text;
    }
  }
}

}  // namespace
