// SPDX-License-Identifier: Apache-2.0
#include "bench/qorWorkload.h"

#include <fcntl.h>
#include <functional>
#include <malloc.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

#include "bench/qorPeer.h"
#include "comm/protocol/qorStaticDefs.h"
#include "comm/transport/qorTamberPerfClient.h"
#include "infra/bytes/internal/qorByteWriter.h"
#include "infra/util/qorBase64.h"

namespace orvix::bench {

using icu::UnicodeString;

namespace {

constexpr std::pair<const char*, const char*> SEARCH_PAIRS[] = {
    {"query", "rivers AND (hills OR mountains) AND NOT (desert, dune)"},
    {"queryLang", "en_US"},
    {"locale", "en_US"},
    {"resultLimit", "10"},
    {"scoreWanted", "true"},
    {"start", "0"},
    {"size", "10"},
    {"sortField", "SCORE"},
};

constexpr std::uint16_t WITH_SCORE = 5;
constexpr std::uint16_t THOUSANDTHS = 1234;

/// Runs `send` against a peer that hands back what it was sent.
std::string captured(const std::string& reply,
                     const std::function<void(comm::TamberPerfClient&)>& send) {
  int ends[2];
  // Roomy, for nobody reads it before all is sent.
  if (::pipe(ends) != 0 || ::fcntl(ends[1], F_SETPIPE_SZ, 1 << 20) < 0) {
    throw std::runtime_error("no pipe for what a client sends");
  }
  const Peer peer(chooseCores().peer, [&](int connection) {
    char buffer[4096];
    bool answered = false;
    for (ssize_t got = 0; (got = ::recv(connection, buffer, sizeof buffer, 0)) > 0;) {
      if (::write(ends[1], buffer, static_cast<std::size_t>(got)) != got) return;
      if (!answered && !reply.empty()) writeAll(connection, reply.data(), reply.size());
      answered = true;
    }
    ::_exit(0);  // closes the last writing end
  });
  ::close(ends[1]);
  {
    comm::TamberPerfClient client(u"127.0.0.1", peer.port());
    send(client);
  }
  std::string bytes;
  char buffer[4096];
  for (ssize_t got = 0; (got = ::read(ends[0], buffer, sizeof buffer)) > 0;) {
    bytes.append(buffer, static_cast<std::size_t>(got));
  }
  ::close(ends[0]);
  return bytes;
}

UnicodeString text(const std::string& ascii) { return {ascii.c_str(), ""}; }

}  // namespace

void requireCount(const char* what, std::size_t found, std::size_t wanted) {
  if (found == wanted) return;
  throw std::runtime_error(std::string(what) + ": " + std::to_string(found) + " instead of " +
                           std::to_string(wanted));
}

void startCold(std::size_t elements) {
  constexpr std::size_t LONG = 100'000;
  if (elements >= LONG) ::malloc_trim(0);
}

Search::Search() : collection(u"notes") {
  for (const auto& [key, value] : SEARCH_PAIRS) {
    properties.emplace_back(UnicodeString(key, ""), UnicodeString(value, ""));
  }
}

void Search::fill(util::ExtendedProperties& map) const {
  for (const auto& [key, value] : properties) map.putProperty(key, value);
}

void Search::fill(comm::ClientRequest& request) const {
  util::ExtendedProperties map;
  fill(map);
  request.buildRequest(collection, comm::ClientRequest::SCALAR_SEARCH, map);
}

std::vector<std::pair<std::string, std::string>> searchPairs() {
  return {std::begin(SEARCH_PAIRS), std::end(SEARCH_PAIRS)};
}

std::string keyOf(std::size_t index) {
  std::string key(KEY_SIZE, '0');
  for (std::size_t at = KEY_SIZE; at-- != 0; index /= 10) {
    key[at] = static_cast<char>('0' + index % 10);
  }
  return key;
}

std::string records(std::size_t first, std::size_t count) {
  std::string bytes(count * RECORD_SIZE, '\0');
  oss::ByteWriter out(bytes.data(), bytes.size());
  for (std::size_t i = first; i < first + count; ++i) {
    out.u16(WITH_SCORE);
    out.u16(static_cast<std::uint16_t>(2 + KEY_SIZE));
    out.u16(THOUSANDTHS);
    out.bytes(keyOf(i));
  }
  return bytes;
}

std::string endMarker() { return {"\0\x01\0\0", 4}; }

std::string searchReply(std::size_t hits) {
  return std::string("\0\x01", 2) + records(0, hits) + endMarker();
}

std::string base64(std::string_view bytes) {
  std::vector<unsigned short> units(util::Base64::encodeSize(bytes.size()));
  units.resize(util::Base64::encode(units.data(), units.size(), bytes.data(), bytes.size()));
  return {units.begin(), units.end()};
}

std::string jsonReply(std::size_t hits) {
  std::string body = "{\"hits\":[";
  for (std::size_t i = 0; i < hits; ++i) {
    body += (i == 0 ? "" : ",");
    body += R"({"key":")" + base64(keyOf(i)) + R"(","score":1.234})";
  }
  return body + "]}";
}

Document::Document(std::size_t size) : collection(u"notes"), key(keyOf(4711)), content(size, ' ') {
  const std::pair<const char*, const char*> parameters[] = {
      {"KnownContentType", "text/plain"}, {"KnownCharset", "UTF-8"}, {"KnownLanguage", "en_US"}};
  for (const auto& [name, value] : parameters) properties.putProperty(text(name), text(value));
  fieldBytes = {{"Indexable:title", "Rivers of the hills"},
                {"Indexable:author", "A. N. Writer"},
                {"[sortable]year", "1987"}};
  for (const auto& [name, value] : fieldBytes) fields.emplace_back(text(name), text(value));
  constexpr std::string_view WORDS = "a river runs from the hills down to the sea ";
  for (std::size_t i = 0; i < size; ++i) content[i] = WORDS[i % WORDS.size()];
}

void Document::fill(comm::ClientRequest& request) const {
  request.buildRequest(collection, comm::ClientRequest::ASYNC_ADD_DOCUMENT, properties);
  setKey(request);
  request.setContent(fields, content.data(), static_cast<unsigned int>(content.size()));
}

void Document::setKey(comm::ClientRequest& request) const {
  request.setDocKey(key.data(), static_cast<unsigned int>(key.size()));
}

std::vector<std::string> documentKeys() {
  constexpr std::size_t KEYS = 1000;
  std::vector<std::string> keys;
  for (std::size_t i = 0; i < KEYS; ++i) keys.push_back(keyOf(i));
  return keys;
}

std::string searchFrame() {
  std::string frame = captured(searchReply(REPLY_HITS), [](comm::TamberPerfClient& client) {
    comm::ClientRequest request;
    comm::ClientResponse response;
    Search().fill(request);
    client.sendAndRecvMesg(request, response);
  });
  requireCount("bytes of the search request", frame.size(), REQUEST_SIZE);
  return frame;
}

std::string documentFrame(const Document& document) {
  return captured("", [&](comm::TamberPerfClient& client) {
    comm::ClientRequest request;
    comm::ClientResponse response;
    document.fill(request);
    client.sendAndRecvMesg(request, response);
  });
}

}  // namespace orvix::bench
