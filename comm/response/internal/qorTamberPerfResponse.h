// SPDX-License-Identifier: Apache-2.0
// The parser that the transport uses: a 2-byte binary header, then records with a 16-bit status and
// a 16-bit length each. Which bytes make a unit is qorReplyFraming.h's; what they mean is decided
// here.
#pragma once

#include <cstdint>
#include <string_view>

#include <unicode/unistr.h>

#include "comm/response/internal/qorRESTResponse.h"

namespace orvix::comm {

/// Shape:  { status: u16 }, then by request kind { status: u16, length: u16, payload }*;
///         an error body { length: u16, pairs } when the status is 6.
/// States: as RESTResponse; this parser starts in HEADER and sets FINISHED with the end of stream.
class TamberPerfResponse final : public RESTResponse {
 public:
  TamberPerfResponse(std::uint32_t requestKind, bool resultsExpected);

  /// As if newly constructed.
  void begin(std::uint32_t requestKind, bool resultsExpected);
  void reset(bool streaming) override;
  void parseErrorBody(const char* buffer, std::uint32_t length, RESTException& failure) override;
  /// Of a header of which one byte arrived nothing is consumed: the answer is then 1, in state
  /// HEADER.
  std::uint32_t parseHeader(const char* buffer, std::uint32_t length,
                            ClientResponse& response) override;

  int getNextReadSize(std::uint32_t& wanted) const;
  /// Consumes a piece. `continued`: the piece is payload only, of a text record that began earlier
  /// with `continuedStatus`. Returns the bytes not consumed; negative when a record claimed more
  /// than the piece holds, -1 also when an outcome took the rest of the piece.
  std::int32_t parse(const char* buffer, std::uint32_t length, ClientResponse& response,
                     bool& endOfStream, bool continued = false, std::uint16_t continuedStatus = 0);
  std::int32_t parseContent(const char* buffer, std::uint32_t length, ClientResponse& response,
                            bool& endOfStream, bool continued, std::uint16_t continuedStatus);
  std::int32_t parseStreamSearch(const char* buffer, std::uint32_t length, ClientResponse& response,
                                 bool& endOfStream);
  std::int32_t parseParseResult(const char* buffer, std::uint32_t length, ClientResponse& response,
                                bool& endOfStream);
  std::int32_t parseSelectivity(const char* buffer, std::uint32_t length, ClientResponse& response,
                                bool& endOfStream);

  /// One line about the parser on the standard error stream, for whoever debugs a transport.
  void printState(const icu::UnicodeString& context) const;

 private:
  struct Record;

  [[nodiscard]] Record frame(std::string_view piece, std::int64_t& at) const;
  template <class Store>
  std::int32_t forEachRecord(std::string_view piece, bool& endOfStream, Store store);
  std::int32_t parseState(std::string_view piece, ClientResponse& response, bool& endOfStream,
                          bool continued, std::uint16_t continuedStatus);
  std::int32_t parseSuccess(std::string_view piece, ClientResponse& response, bool& endOfStream,
                            bool continued, std::uint16_t continuedStatus);
  void parseBusy(ClientResponse& response, bool& endOfStream) const;
  void parseFailure(std::string_view piece, ClientResponse& response, bool& endOfStream);

  bool resultsExpected_;
};

}  // namespace orvix::comm
