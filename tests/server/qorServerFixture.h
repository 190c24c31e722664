// SPDX-License-Identifier: Apache-2.0
// What the server's tests share: frames and bodies as a client would lay them out, replies taken
// apart, and a whole server without its socket over a temporary folder.
#pragma once

#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "infra/bytes/internal/qorByteReader.h"
#include "server/qorAccess.h"
#include "server/qorBackup.h"
#include "server/qorCollectionStore.h"
#include "server/qorDataDirectory.h"
#include "server/qorDispatcher.h"
#include "server/qorFrameReader.h"
#include "tests/server/qorServerBytes.h"
#include "tests/support/qorFolder.h"

namespace orvix::server::testing {

inline Frame requestOf(const std::string& action, Properties properties, std::string body = {}) {
  Frame frame;
  frame.properties = std::move(properties);
  frame.properties["action"] = action;
  frame.bodyLength = static_cast<std::uint32_t>(body.size());
  frame.body = std::move(body);
  return frame;
}

inline std::string wholeReply(Reply reply) {
  std::string out = std::move(reply.bytes);
  bool more = reply.more != nullptr;
  while (more) {
    std::string piece;
    more = reply.more->next(piece);
    out += piece;
  }
  if (reply.received) reply.received();
  return out;
}

/// The payloads of a successful reply's records; fails the test unless the end marker closes it.
inline std::vector<std::string> recordsOf(std::string_view reply) {
  std::vector<std::string> payloads;
  oss::ByteReader reader(reply);
  EXPECT_EQ(reader.u16(), 1) << verdictOf(reply);
  while (reader.remaining() != 0) {
    const auto status = reader.u16().value_or(0);
    const std::string payload(reader.bytes(reader.u16().value_or(0)).value_or(""));
    if (status == 1 && payload.empty()) {
      EXPECT_EQ(reader.remaining(), 0U);
      return payloads;
    }
    payloads.push_back(payload);
  }
  ADD_FAILURE() << "no end marker";
  return payloads;
}

class ServerFixture : public ::testing::Test {
 protected:
  ServerFixture() { restart(); }

  /// A new server over the same folder; what was not committed is gone.
  void restart(std::uint64_t maxPendingBytes = CollectionStore::MAX_PENDING_BYTES) {
    server_.reset();
    server_ = std::make_unique<Server>(root(), maxPendingBytes);
  }

  std::string ask(const std::string& action, Properties properties, std::string body = {}) {
    return answer(requestOf(action, std::move(properties), std::move(body)));
  }
  virtual std::string answer(const Frame& request) {
    return wholeReply(server_->dispatcher.handle(request));
  }
  std::string verdict(const std::string& action, Properties properties, std::string body = {}) {
    return verdictOf(ask(action, std::move(properties), std::move(body)));
  }

  void create(const std::string& name, const std::string& language = "en") {
    ASSERT_EQ(verdict("createCollection", {{"index", name}, {"docLang", language}}), "status 1");
  }
  void add(const std::string& key, const std::string& content, const NamedValues& fields = {},
           Properties properties = {}) {
    properties["index"] = "c";
    ASSERT_EQ(verdict("addDocument", std::move(properties), documentOf(key, content, fields)),
              "status 1");
  }
  /// The keys of the hits, in order, without scores.
  std::vector<std::string> find(const std::string& query, Properties properties = {}) {
    properties.insert({{"index", "c"}, {"query", query}, {"scoreWanted", "false"}});
    return recordsOf(ask("search", std::move(properties)));
  }
  /// "key" for an indexed document, "key=MsgId" for a rejected one.
  std::vector<std::string> outcomes() {
    std::vector<std::string> told;
    for (const std::string& payload : recordsOf(ask("getParseResult", {{"index", "c"}}))) {
      auto pairs = pairsOf(payload);
      told.push_back(pairs["Doc"] + (pairs.contains("MsgId") ? "=" + pairs["MsgId"] : ""));
    }
    return told;
  }

  [[nodiscard]] const std::filesystem::path& root() const { return folder_.path(); }
  [[nodiscard]] Dispatcher& dispatcher() { return server_->dispatcher; }
  [[nodiscard]] ServerContext& context() { return server_->context; }
  [[nodiscard]] Board& board() { return server_->directory.board(); }

 private:
  struct Server {
    Server(const std::filesystem::path& root, std::uint64_t maxPendingBytes)
        : directory(root), store(directory, maxPendingBytes) {}
    DataDirectory directory;
    CollectionStore store;
    Backups backups{directory, store};
    Readers readers{store, directory.board()};
    ServerContext context{store, backups, readers, directory.role()};
    Tokens tokens;
    Dispatcher dispatcher{context, tokens};
  };

  test::Folder folder_;
  std::unique_ptr<Server> server_;
};

}  // namespace orvix::server::testing
