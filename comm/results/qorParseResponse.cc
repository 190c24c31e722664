// SPDX-License-Identifier: Apache-2.0
#include "comm/results/qorParseResponse.h"

namespace orvix::comm {

ParseResponse::ParseResponse() = default;
ParseResponse::ParseResponse(const ParseResponse&) = default;
ParseResponse& ParseResponse::operator=(const ParseResponse& other) {
  if (this == &other) return *this;
  ParseResponse copy(other);
  RecordCursor::swap(copy);
  return *this;
}
ParseResponse::~ParseResponse() = default;

void ParseResponse::restart(const ParseResult& record) {
  ParseResponse fresh;
  fresh.append(record);
  RecordCursor::swap(fresh);
}

}  // namespace orvix::comm
