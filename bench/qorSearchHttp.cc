// SPDX-License-Identifier: Apache-2.0
// The search as a web client would do it: libcurl with one handle that is kept, JSON both ways.
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <curl/curl.h>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <vector>

#include "bench/qorPeer.h"
#include "bench/qorSearches.h"
#include "bench/qorWorkload.h"

namespace orvix::bench {

namespace {

/// Bytes of the first request in `held`, or 0 when it is not all there.
std::size_t requestSize(const std::string& held) {
  constexpr char END[] = "\r\n\r\n";
  constexpr char LENGTH[] = "Content-Length:";
  const std::size_t end = held.find(END);
  const std::size_t length = held.find(LENGTH);
  if (end == std::string::npos || length > end) return 0;
  const unsigned long body = std::strtoul(held.c_str() + length + std::strlen(LENGTH), nullptr, 10);
  const std::size_t whole = end + std::strlen(END) + body;
  return held.size() < whole ? 0 : whole;
}

/// Answers each POST with `body`: the least that a web client accepts.
Peer::Serve answeringPosts(const std::string& body) {
  const std::string reply =
      "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: " +
      std::to_string(body.size()) + "\r\n\r\n" + body;
  return [reply](int connection) {
    std::string held;
    char buffer[4096];
    for (ssize_t got = 0; (got = ::recv(connection, buffer, sizeof buffer, 0)) > 0;) {
      held.append(buffer, static_cast<std::size_t>(got));
      for (std::size_t size = 0; (size = requestSize(held)) != 0;) {
        held.erase(0, size);
        writeAll(connection, reply.data(), reply.size());
      }
    }
  };
}

std::size_t append(char* bytes, std::size_t size, std::size_t count, void* into) {
  static_cast<std::string*>(into)->append(bytes, size * count);
  return size * count;
}

class HttpSearch : public Operation {
 public:
  explicit HttpSearch(int core)
      : pairs_(searchPairs()),
        peer_(core, answeringPosts(jsonReply(REPLY_HITS))),
        handle_(curl_easy_init()),
        headers_(curl_slist_append(nullptr, "Content-Type: application/json")) {
    if (handle_ == nullptr || headers_ == nullptr) throw std::bad_alloc();
    const std::string url = "http://127.0.0.1:" + std::to_string(peer_.port()) + "/search";
    curl_easy_setopt(handle_.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(handle_.get(), CURLOPT_NOPROXY, "*");
    curl_easy_setopt(handle_.get(), CURLOPT_HTTPHEADER, headers_.get());
    curl_easy_setopt(handle_.get(), CURLOPT_WRITEFUNCTION, append);
    curl_easy_setopt(handle_.get(), CURLOPT_WRITEDATA, &reply_);
  }

  void run(std::size_t count) override {
    for (std::size_t i = 0; i < count; ++i) once();
  }

 private:
  struct FreeHandle {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
  };
  struct FreeList {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
  };

  void once() {
    nlohmann::json request;
    for (const auto& [key, value] : pairs_) request[key] = value;
    const std::string body = request.dump();
    reply_.clear();
    curl_easy_setopt(handle_.get(), CURLOPT_POSTFIELDS, body.c_str());
    curl_easy_setopt(handle_.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    if (const CURLcode code = curl_easy_perform(handle_.get()); code != CURLE_OK) {
      throw std::runtime_error(curl_easy_strerror(code));
    }
    const nlohmann::json reply = nlohmann::json::parse(reply_);
    const auto& hits = reply.at("hits");
    requireCount("hits of a search", hits.size(), REPLY_HITS);
    for (const auto& hit : hits) {
      sink_.take(hit.at("key").get_ref<const std::string&>());
      sink_.take(hit.at("score").get<double>());
    }
  }

  std::vector<std::pair<std::string, std::string>> pairs_;
  Peer peer_;
  std::unique_ptr<CURL, FreeHandle> handle_;
  std::unique_ptr<curl_slist, FreeList> headers_;
  std::string reply_;
  Sink sink_;
};

}  // namespace

std::unique_ptr<Operation> httpSearch(int core) { return std::make_unique<HttpSearch>(core); }

}  // namespace orvix::bench
