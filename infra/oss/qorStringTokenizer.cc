// SPDX-License-Identifier: Apache-2.0
#include "infra/oss/qorStringTokenizer.h"

namespace orvix::oss {

StringTokenizer::StringTokenizer(const icu::UnicodeString& text, const char* delimiters)
    : text_(text), delimiters_(delimiters == nullptr ? "" : delimiters) {}

StringTokenizer::~StringTokenizer() = default;

bool StringTokenizer::isDelimiter(char16_t unit) const {
  return unit < 0x80 && delimiters_.find(static_cast<char>(unit)) != std::string::npos;
}

std::int32_t StringTokenizer::tokenStart() const {
  std::int32_t at = at_;
  while (at < text_.length() && isDelimiter(text_.charAt(at))) ++at;
  return at;
}

icu::UnicodeString StringTokenizer::getFirstTokenString() {
  at_ = 0;
  return getNextTokenString();
}

bool StringTokenizer::hasMoreTokens() const { return tokenStart() < text_.length(); }

icu::UnicodeString StringTokenizer::getNextTokenString() {
  const std::int32_t start = tokenStart();
  at_ = start;
  while (at_ < text_.length() && !isDelimiter(text_.charAt(at_))) ++at_;
  return icu::UnicodeString(text_, start, at_ - start);
}

}  // namespace orvix::oss
