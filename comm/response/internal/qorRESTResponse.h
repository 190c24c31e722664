// SPDX-License-Identifier: Apache-2.0
// The incremental parser of one reply in plain-text framing: status line, header, chunk-size line,
// body. Bytes come in pieces from the caller; results go into its ClientResponse. Reads no socket.
#pragma once

#include <cstdint>
#include <string_view>

#include "comm/response/qorClientResponse.h"
#include "comm/support/qorRESTException.h"

namespace orvix::comm {

/// Base of the reply parsers.
/// Use:    getNextReadSize(), receive about so much, parse(); until the size call answers 1.
/// Reads:  never beyond the length that it is given; what a length word claims beyond it is cut.
/// Throws: RESTException; text conversion's NLSException passes. Results stored before stay stored.
class RESTResponse {
 public:
  enum class State : std::uint32_t {
    HEADER = 1,        ///< nothing consumed; the header is awaited
    AFTER_HEADER = 2,  ///< header consumed; the chunk-size line (text) or the body is awaited
    BODY = 3,          ///< a body piece is awaited
    FINISHED = 4       ///< all consumed; parse() is an error
  };

  RESTResponse(std::uint32_t requestKind, bool streaming);
  RESTResponse(const RESTResponse&) = delete;
  RESTResponse& operator=(const RESTResponse&) = delete;
  ~RESTResponse() = default;

  /// Ready for a new reply, or for the next piece of a stream.
  virtual void reset(bool streaming);
  /// Reads a server's error record out of `length` bytes into `failure`.
  virtual void parseErrorBody(const char* buffer, std::uint32_t length, RESTException& failure);
  /// Reads the header. Returns the bytes left behind it.
  virtual std::uint32_t parseHeader(const char* buffer, std::uint32_t length,
                                    ClientResponse& response);

  /// 1 when parsing is finished, and `wanted` is left alone; else 0 and the bytes wanted next.
  int getNextReadSize(std::uint32_t& wanted) const;
  /// Consumes a piece; returns the bytes of it that were not consumed.
  std::uint32_t parse(const char* buffer, std::uint32_t length, ClientResponse& response,
                      bool& endOfStream);
  std::uint32_t parseContent(const char* buffer, std::uint32_t length, ClientResponse& response,
                             bool& endOfStream);
  std::uint32_t parseStreamSearch(const char* buffer, std::uint32_t length,
                                  ClientResponse& response, bool& endOfStream);
  std::uint32_t parseParseResult(const char* buffer, std::uint32_t length, ClientResponse& response,
                                 bool& endOfStream);

  [[nodiscard]] State getState() const { return state_; }
  [[nodiscard]] std::uint32_t getStatusCode() const { return statusCode_; }
  [[nodiscard]] std::uint32_t getContentLength() const { return contentLength_; }
  [[nodiscard]] bool isChunked() const { return chunked_; }
  [[nodiscard]] bool hasError() const { return errorFlag_; }

 protected:
  /// As if newly constructed.
  void begin(std::uint32_t requestKind, bool streaming);

  // What the parser of the framed replies, which is derived from this one, goes on with.
  // NOLINTBEGIN(misc-non-private-member-variables-in-classes)
  bool errorFlag_ = false;  // the header had no line, or an awaited chunk-size line was not there
  State state_ = State::HEADER;
  std::uint32_t statusCode_ = 0;
  bool chunked_ = false;
  bool streaming_ = false;
  std::uint32_t contentLength_ = 0;
  std::uint32_t requestKind_ = 0;
  // NOLINTEND(misc-non-private-member-variables-in-classes)

 private:
  std::uint32_t parseState(const char* buffer, std::uint32_t length, ClientResponse& response,
                           bool& endOfStream);
  void parseHeaderLines(std::string_view header);
  void parseStatusLine(const icu::UnicodeString& line);
  void parseHeaderLine(const icu::UnicodeString& line);
  std::uint32_t parseChunkSize(std::string_view bytes);
  std::uint32_t parseBody(std::string_view piece, ClientResponse& response, bool& endOfStream);
  [[noreturn]] void raiseStatus(std::string_view piece);
};

}  // namespace orvix::comm
