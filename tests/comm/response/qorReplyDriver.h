// SPDX-License-Identifier: Apache-2.0
// Records as a reply brings them, a binary reply's parser driven directly, each piece from exactly
// sized memory, and what reached the response in one line.
#pragma once

#include <cstdint>
#include <string>

#include "comm/protocol/internal/qorRequestKinds.h"
#include "comm/response/internal/qorTamberPerfResponse.h"
#include "comm/response/qorClientResponse.h"
#include "tests/support/qorBytes.h"

namespace orvix::test {

inline const std::string OK = hex("0001");      // header of a success
inline const std::string FAILED = hex("0006");  // of a failure

inline comm::SearchResult hit(const std::string& rawKey) {
  comm::SearchResult made(true);
  decode(made, rawKey);
  return made;
}
inline std::string nameOf(const comm::SearchResult& hit) {
  return {reinterpret_cast<const char*>(hit.getRawKey()), hit.getRawKeyLength()};
}

inline comm::ParseResult outcome(const std::string& document) {
  comm::ParseResult made(true);
  decode(made, pair("Doc", document));
  return made;
}
inline std::string nameOf(const comm::ParseResult& outcome) { return text(outcome.getText()); }

/// Each with a blank in front: "bytes@score/status" per hit without score 0 and status 1,
/// "text:messageId" per outcome, "(estimate)", "'content'", "status=code messageId", "failed"; what
/// is as in a fresh response is left out.
inline std::string render(comm::ClientResponse response) {
  std::string all;
  for (comm::SearchResponse& list = response.getSearchResponse(); list.hasMore();) {
    const comm::SearchResult& hit = list.getNext();
    all += ' ' + nameOf(hit);
    if (hit.getScore() != 0.0) all += '@' + std::to_string(hit.getScore()).substr(0, 6);
    if (hit.getStatus() > 1) all += '/' + std::to_string(hit.getStatus());
  }
  for (comm::ParseResponse& list = response.getParseResponse(); list.hasMore();) {
    const comm::ParseResult& outcome = list.getNext();
    all += ' ' + nameOf(outcome) + ':' + text(outcome.getMessage().getMessageID());
  }
  const comm::SelectivityInfo& info = response.getSelectivityInfo();
  const std::string estimate = " (" + std::to_string(info.getValue1()) + ' ' +
                               std::to_string(info.getValue2()) + ' ' +
                               std::to_string(info.getValue3()) + ')';
  if (estimate != " (1 1 100)") all += estimate;
  if (!response.getContent().isEmpty()) all += " '" + text(response.getContent()) + '\'';
  if (const auto code = response.getStatusCode()) all += " status=" + std::to_string(code);
  const std::string message = inOneLine(response.getStatusMessage());
  if (!message.empty()) all += ' ' + message;
  return response.success() ? all : all + " failed";
}

/// A binary reply whose header has been fed.
struct BinaryReply {
  BinaryReply(std::uint32_t kind, const std::string& header)
      : parser(kind, comm::detail::requestKind(kind).resultsExpected) {
    if (!header.empty()) feed(header);
  }
  std::int32_t feed(const std::string& piece, bool continued = false, std::uint16_t status = 0) {
    const ExactBytes held(piece);
    return parser.parse(held.data(), held.size(), response, end, continued, status);
  }
  /// Bytes left of a piece or the error, then "end", then all results.
  std::string fed(const std::string& piece, bool continued = false, std::uint16_t status = 0) {
    std::string line;
    const std::string error =
        raisedBy([&] { line = std::to_string(feed(piece, continued, status)); });
    return (line.empty() ? error : line) + (end ? " end" : "") + render(response);
  }
  [[nodiscard]] std::string wants() const {
    std::uint32_t wanted = 77777;
    if (parser.getNextReadSize(wanted) == 0) return std::to_string(wanted);
    return wanted == 77777 ? "nothing" : "changed";
  }

  comm::ClientResponse response;
  comm::TamberPerfResponse parser;
  bool end = false;
};

}  // namespace orvix::test
