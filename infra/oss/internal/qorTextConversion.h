// SPDX-License-Identifier: Apache-2.0
// Text between UTF-8 on the wire and UTF-16 inside. ICU does the conversion; this only sets bounds.
#pragma once

#include <cstddef>
#include <new>
#include <string>
#include <string_view>

#include <unicode/unistr.h>

#include "infra/qorExport.h"

namespace orvix::oss {

/// Text of a run of UTF-8 bytes from the wire. Kept: a NUL byte ends the text. Ill-formed sequences
/// become substitution characters; no content makes it fail. Throws NLSException when memory runs
/// out or the text is longer than a UnicodeString can be.
QORINFRA_EXPORT icu::UnicodeString textFromWire(std::string_view bytes);

/// Converts into `out` (at most `capacity` bytes, no NUL added) and returns the bytes that the
/// whole text needs, which may be more than `capacity`; then what stands in `out` is cut short.
QORINFRA_EXPORT std::size_t textToWire(const icu::UnicodeString& text, char* out,
                                       std::size_t capacity);

/// No text needs more bytes than this as UTF-8: three for a unit.
inline std::size_t mostWireBytes(const icu::UnicodeString& text) {
  return 3 * static_cast<std::size_t>(text.length());
}

/// Bytes that `text` needs as UTF-8; more than any buffer holds when 31 bits cannot say it.
QORINFRA_EXPORT std::size_t wireLength(const icu::UnicodeString& text);

/// ICU reports a lack of memory by a bogus text. Throws NLSException "ES_ERR_OUT_OF_MEMORY" for a
/// text that was built here and came out bogus.
QORINFRA_EXPORT void requireText(const icu::UnicodeString& built);
[[noreturn]] QORINFRA_EXPORT void raiseOutOfMemory();

/// Text of a message about a failure. Throws bad_alloc when ICU has no memory for it: a failure
/// must not be reported without its text.
QORINFRA_EXPORT icu::UnicodeString messageText(std::string_view utf8);

/// The copy of a text that borrows its units is a clone, and a bogus one when ICU had no memory for
/// it. Throws bad_alloc for such a copy; that of a text which was bogus itself is an empty text.
inline void requireCopy(const icu::UnicodeString& copy, const icu::UnicodeString& source) {
  if (copy.isBogus() && !source.isBogus()) throw std::bad_alloc();
}

/// A copy of `text`, whatever it borrows. Throws bad_alloc.
inline icu::UnicodeString copyOf(const icu::UnicodeString& text) {
  icu::UnicodeString copy(text);
  requireCopy(copy, text);
  return copy;
}

/// `text` as UTF-8.
inline std::string utf8(const icu::UnicodeString& text) {
  std::string bytes;
  text.toUTF8String(bytes);
  return bytes;
}

}  // namespace orvix::oss
