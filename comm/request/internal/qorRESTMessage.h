// SPDX-License-Identifier: Apache-2.0
// One request as bytes: header text, then for documents a binary body, then the caller's content.
// The transport frames these pieces and writes them; nothing here knows a socket.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <unicode/unistr.h>

#include "comm/request/qorClientRequest.h"
#include "comm/support/qorSizeableBuffer.h"
#include "infra/bytes/internal/qorByteWriter.h"
#include "infra/util/qorExtendedProperties.h"

namespace orvix::comm {

/// The serialised form of one request, for one send.
/// Shape of the body: { format: u32 = 0, length: u32, field*, key record, content record? }; a
/// record is { nameLength: u32, name, valueLength: u32, value }. All but the content stands here.
/// Borrows: the request with its properties, and its content, until it is sent.
/// Throws:  RESTException ERR_CLIENT_INTERNAL for a field, key or content of 2^30 bytes or more,
///          for a key and fields that take more than that together, or for a body that a 32-bit
///          length cannot say; NLSException when memory for text runs out.
class RESTMessage {
 public:
  explicit RESTMessage(ClientRequest& request);
  RESTMessage(const RESTMessage&) = delete;
  RESTMessage& operator=(const RESTMessage&) = delete;
  ~RESTMessage() = default;

  virtual const char* getContent() { return content_; }

  /// NUL-terminated UTF-8, built afresh by every call and valid until the next.
  const char* getHeaderText();
  /// The same properties as "?key=value&key=value". No request is sent in that form.
  icu::UnicodeString getQueryString() const;
  [[nodiscard]] const char* getBody() const { return body_.data(); }
  [[nodiscard]] std::uint32_t getBodyLength() const { return bodyLength_; }
  [[nodiscard]] std::uint32_t getContentLength() const { return contentLength_; }
  /// The end-of-batch marker of kind 10.
  [[nodiscard]] const char* getTerminator() const { return terminator_.data(); }
  [[nodiscard]] std::uint32_t getTerminatorLength() const { return terminatorLength_; }
  [[nodiscard]] std::uint32_t getKind() const { return kind_; }

 private:
  void writeTerminator();
  void writeBody(const ClientRequest& request, std::string_view docKey);
  template <class Visitor>
  void forEachProperty(Visitor visit) const;

  oss::SizeableBuffer<char, 0x4000> header_;
  const util::ExtendedProperties& properties_;  // the request's: the message's own stand apart
  icu::UnicodeString wholeLength_;              // of body and content, in decimal; empty: no body
  oss::SizeableBuffer<char, 0x4000> body_;
  oss::SizeableBuffer<char, 0x200> terminator_;
  std::uint32_t kind_;
  bool headerBuilt_ = false;  // from then on the message has the properties of its operation
  std::uint32_t bodyLength_ = 0;
  const char* content_;
  std::uint32_t contentLength_;
  std::uint32_t terminatorLength_ = 0;
};

}  // namespace orvix::comm
