// SPDX-License-Identifier: Apache-2.0
// The one door from the benchmarks to the insides of the library: a reply's parser without a
// socket, and a request's message without a send. It stands in the library that the benchmarks
// link, which is otherwise built like libqorcomm.so.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include <unicode/unistr.h>

#include "comm/request/qorClientRequest.h"
#include "comm/response/qorClientResponse.h"

#define BENCH_DOOR __attribute__((visibility("default")))

namespace orvix::comm {
class TamberPerfResponse;
}

namespace orvix::bench {

/// The parser of one search reply, driven the way the client drives it.
class BENCH_DOOR ReplyParser {
 public:
  ReplyParser();
  ~ReplyParser();
  ReplyParser(const ReplyParser&) = delete;
  ReplyParser& operator=(const ReplyParser&) = delete;

  /// A new reply into `response`; reads its two bytes of header.
  void begin(comm::ClientResponse& response);
  /// Whole records that follow on what came before, with nothing drained in between.
  void append(std::string_view records, comm::ClientResponse& response);
  /// Whole records for a caller who has drained the ones before.
  void pull(std::string_view records, comm::ClientResponse& response);
  [[nodiscard]] bool ended() const { return ended_; }

 private:
  std::unique_ptr<comm::TamberPerfResponse> parser_;
  bool ended_ = false;
};

/// Builds the message of `request`; the bytes of its header text and of its body.
BENCH_DOOR std::size_t headerLength(comm::ClientRequest& request);
BENCH_DOOR std::size_t bodyLength(comm::ClientRequest& request);
/// Where the records of `held` end that make a whole unit.
BENCH_DOOR std::size_t wholeRecords(std::string_view held);
BENCH_DOOR std::size_t toWire(const icu::UnicodeString& text, char* out, std::size_t capacity);
BENCH_DOOR icu::UnicodeString fromWire(std::string_view bytes);

}  // namespace orvix::bench
