// SPDX-License-Identifier: Apache-2.0
// Loads and searches against a small peer on loopback that answers with prepared bytes: what is
// counted, and which replies are failures.
#include <arpa/inet.h>
#include <cstdint>
#include <cstdlib>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sstream>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include "cli/qorCtlCommands.h"
#include "cli/qorCtlLoad.h"

namespace {

using namespace orvix::ctl;
using namespace std::string_literals;

const std::string OK = "\0\1"s;
const std::string END = "\0\1\0\0"s;

std::string sized(const std::string& bytes) {
  return {static_cast<char>(bytes.size() >> 8U), static_cast<char>(bytes.size() & 0xffU)};
}

std::string record(char status, const std::string& payload) {
  return "\0"s + status + sized(payload) + payload;
}

std::string pair(const std::string& key, const std::string& value) {
  return sized(key) + key + sized(value) + value;
}

std::string accepted(const std::string& key) { return record(1, pair("Doc", key)); }

std::string rejected(const std::string& key) {
  return record(1, pair("Doc", key) + pair("MsgId", "E_BAD") + pair("MsgText", "no good"));
}

/// Answers the requests that want an answer with the given replies in turn, and then closes.
class Peer {
 public:
  explicit Peer(std::vector<std::string> replies) : replies_(std::move(replies)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    EXPECT_EQ(bind(listener_, generic, size), 0);
    EXPECT_EQ(listen(listener_, 1), 0);
    EXPECT_EQ(getsockname(listener_, generic, &size), 0);
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { serve(); });
  }
  ~Peer() {
    shutdown(listener_, SHUT_RDWR);
    thread_.join();
    close(listener_);
  }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  [[nodiscard]] Settings settings() const {
    Settings settings;
    settings.port = port_;
    settings.collection = "c";
    settings.query = "q";
    settings.retries = 0;
    settings.timeout = 10;
    return settings;
  }

 private:
  void serve() {
    connection_ = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    const timeval limit{10, 0};
    setsockopt(connection_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    std::size_t next = 0;
    while (connection_ >= 0 && next < replies_.size() && takeRequest()) {
      const std::string& reply = replies_[next++];
      if (send(connection_, reply.data(), reply.size(), MSG_NOSIGNAL) < 0) break;
    }
    shutdown(listener_, SHUT_RDWR);  // first, so that nobody connects again and waits
    if (connection_ >= 0) close(connection_);
  }

  /// Reads up to the next request that wants an answer.
  bool takeRequest() {
    for (;;) {
      const std::string length = take(2);
      if (length.empty()) return false;
      const std::string head = take(static_cast<std::size_t>(
          static_cast<unsigned char>(length[0]) << 8U | static_cast<unsigned char>(length[1])));
      const std::string word = "Content-Length  : ";
      const std::size_t at = head.find(word);
      if (at != std::string::npos) {
        static_cast<void>(take(std::strtoul(head.c_str() + at + word.size(), nullptr, 10)));
      }
      if (head.find("asyncAddDocument") == std::string::npos) return !head.empty();
    }
  }

  std::string take(std::size_t count) const {
    std::string bytes(count, '\0');
    const ssize_t got = count == 0 ? 0 : ::recv(connection_, bytes.data(), count, MSG_WAITALL);
    return got == static_cast<ssize_t>(count) ? bytes : "";
  }

  std::vector<std::string> replies_;
  int listener_ = -1;
  int connection_ = -1;
  std::uint16_t port_ = 0;
  std::thread thread_;
};

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
  struct Case {
    const char* name;
    std::vector<std::string> replies;  // the first one is for what an earlier batch has left
    std::uint64_t sent, accepted, rejected, unconfirmed;
    ExitCode code;
    const char* says;
  };
  const Case cases[] = {
      {"all well",
       {OK + END, OK + accepted("1") + accepted("2") + END, OK + accepted("3") + END},
       3,
       3,
       0,
       0,
       ExitCode::DONE,
       ""},
      {"leftovers are not ours",
       {OK + accepted("x") + rejected("y") + END, OK + accepted("1") + accepted("2") + END,
        OK + accepted("3") + END},
       3,
       3,
       0,
       0,
       ExitCode::DONE,
       "of an earlier batch: document 'y' was rejected: E_BAD"},
      {"a rejection is named and the rest goes on",
       {OK + END, OK + accepted("1") + rejected("2") + END, OK + accepted("3") + END},
       3,
       2,
       1,
       0,
       ExitCode::DONE_IN_PART,
       "document '2' was rejected: E_BAD: no good"},
      {"an outcome is missing",
       {OK + END, OK + accepted("1") + END},
       2,
       1,
       0,
       1,
       ExitCode::DONE_IN_PART,
       "the server has 1 outcomes"},
      {"all outcomes are missing",
       {OK + END, OK + END},
       2,
       0,
       0,
       2,
       ExitCode::PROTOCOL,
       "the server has 0 outcomes"},
      {"the outcomes are cut",
       {OK + END, OK + accepted("1") + accepted("2")},
       2,
       2,
       0,
       0,
       ExitCode::DONE_IN_PART,
       "before its reply was complete"},
      {"no such collection",
       {"\0\6"s + sized("") + pair("MsgId", "E_NONE")},
       0,
       0,
       0,
       0,
       ExitCode::REFUSED,
       ""},
      {"the server goes after a batch",
       {OK + END, OK + accepted("1") + accepted("2") + END},
       3,
       2,
       0,
       1,
       ExitCode::DONE_IN_PART,
       "load c at 127.0.0.1:"},
  };
  for (const Case& c : cases) {
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

TEST(Commands, EndWithTheCodeOfTheirReply) {
  const std::string hits = OK + record(1, "a") + record(1, "b");
  const std::string error = record(6, pair("MsgId", "E_X") + pair("MsgText", "oops"));
  struct Case {
    const char* name;
    Command command;
    std::string reply;
    ExitCode code;
    const char* out;
    const char* says;
  };
  const Case cases[] = {
      {"hits", Command::SEARCH, hits + END, ExitCode::DONE,
       "{\"rank\":1,\"key\":\"a\"}\n{\"rank\":2,\"key\":\"b\"}\n", ""},
      {"no hits", Command::SEARCH, OK + END, ExitCode::DONE, "", "no hits"},
      {"cut hits", Command::SEARCH, hits, ExitCode::PROTOCOL,
       "{\"rank\":1,\"key\":\"a\"}\n{\"rank\":2,\"key\":\"b\"}\n", "before its reply was complete"},
      {"an error among the hits", Command::SEARCH, hits + error + END, ExitCode::REFUSED,
       "{\"rank\":1,\"key\":\"a\"}\n{\"rank\":2,\"key\":\"b\"}\n", "E_X: oops"},
      {"not authorised", Command::SEARCH, "\x01\x91", ExitCode::NOT_AUTHORISED, "", "--token-file"},
      {"no reply", Command::SEARCH, "", ExitCode::NO_CONNECTION, "", "ERR_SERVER_COMM_RECV"},
      {"busy", Command::STATUS, "\0\5"s, ExitCode::ANSWER_IS_NO,
       "{\"status\":1,\"state\":\"busy\"}\n", ""},
      {"a rejected outcome", Command::OUTCOMES, OK + accepted("k") + rejected("l") + END,
       ExitCode::ANSWER_IS_NO,
       "{\"accepted\":true,\"key\":\"k\"}\n"
       "{\"accepted\":false,\"id\":\"E_BAD\",\"message\":\"no good\",\"key\":\"l\"}\n",
       ""},
      {"an estimate", Command::ESTIMATE, OK + record(1, "\0\0\0\7\0\0\0\x9\0\0\0\5"s) + END,
       ExitCode::DONE, "{\"matches\":7,\"atLeast\":5,\"documents\":9}\n", ""},
  };
  for (const Case& c : cases) {
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
