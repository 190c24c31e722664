// SPDX-License-Identifier: Apache-2.0
// Text between UTF-8 on the wire and UTF-16 inside. ICU does the conversion; this only sets bounds.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <unicode/unistr.h>

#include "infra/qorExport.h"

namespace orvix::oss {

/// Text of a run of UTF-8 bytes from the wire. Kept: a NUL byte ends the text. Ill-formed sequences
/// become substitution characters; no content makes it fail.
QORINFRA_EXPORT icu::UnicodeString textFromWire(std::string_view bytes);

/// Converts into `out` (at most `capacity` bytes, no NUL added) and returns the bytes that the
/// whole text needs, which may be more than `capacity`; then what stands in `out` is cut short.
QORINFRA_EXPORT std::size_t textToWire(const icu::UnicodeString& text, char* out,
                                       std::size_t capacity);

/// Bytes that `text` needs as UTF-8.
QORINFRA_EXPORT std::size_t wireLength(const icu::UnicodeString& text);

/// `text` as UTF-8.
inline std::string utf8(const icu::UnicodeString& text) {
  std::string bytes;
  text.toUTF8String(bytes);
  return bytes;
}

}  // namespace orvix::oss
