// SPDX-License-Identifier: Apache-2.0
#include "comm/results/qorParseResult.h"

#include "comm/protocol/internal/qorWords.h"
#include "comm/results/internal/qorServerMessage.h"

namespace orvix::comm {

ParseResult::ParseResult(bool withProperties) : GenRespRecord(withProperties) {
  text_.setToBogus();
}

ParseResult::ParseResult(const ParseResult& other)
    : GenRespRecord(false), text_(other.text_), code_(other.code_), message_(other.message_) {}

ParseResult& ParseResult::operator=(const ParseResult& other) {
  text_ = other.text_;
  code_ = other.code_;
  message_ = other.message_;
  return *this;
}

ParseResult::~ParseResult() = default;

void ParseResult::postParse() {
  if (getProperties() == nullptr) return;
  text_ = getProperties()->requireProperty(detail::words::DOC);
  detail::extractServerMessage(*getProperties(), message_, code_, false);
}

}  // namespace orvix::comm
