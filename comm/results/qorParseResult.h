// SPDX-License-Identifier: Apache-2.0
// What became of one document of an asynchronous batch.
#pragma once

#include <cstdint>

#include <unicode/unistr.h>

#include "comm/qorExport.h"
#include "comm/results/qorGenRespRecord.h"
#include "infra/oss/qorMessage.h"

namespace orvix::comm {

/// The outcome of one document: its "Doc" text and, when it was rejected, the server's message.
class QORCOMM_EXPORT ParseResult : public GenRespRecord {
 public:
  explicit ParseResult(bool withProperties = false);
  ParseResult(const ParseResult& other);  ///< carries no map
  ParseResult& operator=(const ParseResult& other);
  ~ParseResult() override;

  /// Text from "Doc" (required: BaseException otherwise), message from "MsgId" and "MsgText".
  void postParse() override;

  /// The document's key as the server names it; bogus before decoding.
  [[nodiscard]] const icu::UnicodeString& getText() const { return text_; }
  /// Without an id when the document was accepted.
  [[nodiscard]] const oss::Message& getMessage() const { return message_; }
  [[nodiscard]] std::uint32_t getCode() const { return code_; }

 private:
  icu::UnicodeString text_;
  std::uint32_t code_ = 0;
  oss::Message message_;
};

}  // namespace orvix::comm
