// SPDX-License-Identifier: Apache-2.0
// Splits a text at any of a set of single-byte delimiters.
#pragma once

#include <cstdint>
#include <string>

#include <unicode/unistr.h>

#include "infra/qorExport.h"

namespace orvix::oss {

/// Cursor over the tokens of an owned copy of a text. Empty tokens are skipped, so runs of
/// delimiters count as one. Past the last token it hands out empty texts.
class QORINFRA_EXPORT StringTokenizer {
 public:
  StringTokenizer(const icu::UnicodeString& text, const char* delimiters);
  ~StringTokenizer();

  /// Starts over and hands out the first token.
  icu::UnicodeString getFirstTokenString();
  [[nodiscard]] bool hasMoreTokens() const;
  icu::UnicodeString getNextTokenString();

 private:
  [[nodiscard]] bool isDelimiter(char16_t unit) const;
  [[nodiscard]] std::int32_t tokenStart() const;

  icu::UnicodeString text_;
  std::string delimiters_;
  std::int32_t at_ = 0;
};

}  // namespace orvix::oss
