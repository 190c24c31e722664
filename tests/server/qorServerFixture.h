// SPDX-License-Identifier: Apache-2.0
// What the server's tests share: frames and bodies as a client would lay them out, replies taken
// apart, and a whole server without its socket over a temporary folder.
#pragma once

#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <vector>

#include "infra/bytes/internal/qorByteReader.h"
#include "infra/bytes/internal/qorByteWriter.h"
#include "server/qorBackup.h"
#include "server/qorCollectionStore.h"
#include "server/qorDataDirectory.h"
#include "server/qorDispatcher.h"
#include "server/qorFrameReader.h"
#include "server/qorTokens.h"

namespace orvix::server::testing {

inline constexpr std::string_view TERMINATOR("\0\0\0\0\0\0\0\0", 8);

inline std::string u16Bytes(std::size_t value) {
  std::string out(2, '\0');
  oss::storeU16(out.data(), oss::cutToU16(value));
  return out;
}

inline std::string u32Bytes(std::size_t value) {
  std::string out(4, '\0');
  oss::storeU32(out.data(), oss::cutToU32(value));
  return out;
}

inline std::string bodyRecord(std::string_view name, std::string_view value) {
  return u32Bytes(name.size()) + std::string(name) + u32Bytes(value.size()) + std::string(value);
}

inline std::string bodyOf(const std::string& records) {
  return u32Bytes(0) + u32Bytes(records.size()) + records;
}

using NamedValues = std::vector<std::pair<std::string, std::string>>;

inline std::string documentOf(std::string_view key, std::string_view content = {},
                              const NamedValues& fields = {}) {
  std::string records;
  for (const auto& [name, value] : fields) records += bodyRecord(name, value);
  records += bodyRecord("rowId", key);
  if (!content.empty()) records += bodyRecord("data", content);
  return bodyOf(records);
}

inline std::string frameOf(const std::string& lines, std::string_view body = {}) {
  const std::string length = body.empty() ? "" : std::to_string(body.size());
  const std::string header = "Content-Length  : " + length + "\n" + lines + "\r\n";
  return u16Bytes(header.size()) + header + std::string(body);
}

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

inline std::map<std::string, std::string> pairsOf(std::string_view bytes) {
  std::map<std::string, std::string> pairs;
  oss::ByteReader reader(bytes);
  while (reader.remaining() != 0) {
    const auto key = reader.bytes(reader.u16().value_or(0)).value_or("");
    pairs[std::string(key)] = reader.bytes(reader.u16().value_or(0)).value_or("");
  }
  return pairs;
}

/// The "MsgId" of an error reply; the status as "status N" for any other.
inline std::string verdictOf(std::string_view reply) {
  oss::ByteReader reader(reply);
  const auto status = reader.u16().value_or(0);
  if (status != 6) return "status " + std::to_string(status);
  return pairsOf(reader.bytes(reader.u16().value_or(0)).value_or(""))["MsgId"];
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
  ServerFixture() : root_(freshRoot()) { restart(); }
  ~ServerFixture() override {
    server_.reset();
    std::filesystem::remove_all(root_);
  }

  /// A new server over the same folder; what was not committed is gone.
  void restart() {
    server_.reset();
    server_ = std::make_unique<Server>(root_);
  }

  std::string ask(const std::string& action, Properties properties, std::string body = {}) {
    return wholeReply(
        server_->dispatcher.handle(requestOf(action, std::move(properties), std::move(body))));
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

  [[nodiscard]] const std::filesystem::path& root() const { return root_; }
  [[nodiscard]] Dispatcher& dispatcher() { return server_->dispatcher; }
  [[nodiscard]] CollectionStore& store() { return server_->store; }

 private:
  struct Server {
    explicit Server(const std::filesystem::path& root) : directory(root) {}
    DataDirectory directory;
    CollectionStore store{directory};
    Backups backups{directory, store};
    ServerContext context{store, backups};
    Tokens tokens;
    Dispatcher dispatcher{context, tokens};
  };

  static std::filesystem::path freshRoot() {
    std::string name = (std::filesystem::temp_directory_path() / "qorserver-XXXXXX").string();
    return ::mkdtemp(name.data()) == nullptr ? "" : name;
  }

  std::filesystem::path root_;
  std::unique_ptr<Server> server_;
};

}  // namespace orvix::server::testing
