// SPDX-License-Identifier: Apache-2.0
// ICU does the work; well-formed UTF-8, the usual case, is only copied.
#include "server/qorTextDecoder.h"

#include <cstdint>
#include <memory>

#include <unicode/localpointer.h>
#include <unicode/ucnv.h>
#include <unicode/unistr.h>
#include <unicode/ustring.h>

#include "server/qorRefusal.h"
#include "server/qorServerWords.h"

namespace orvix::server {

namespace {

std::string decodeWith(UConverter* converter, std::string_view bytes) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::UnicodeString text(bytes.data(), static_cast<std::int32_t>(bytes.size()), converter,
                                status);
  if (U_FAILURE(status) != 0) {
    refuse(MessageId::INTERNAL_FAILURE,
           std::string("Converting the document's text failed: ") + u_errorName(status));
  }
  std::string out;
  text.toUTF8String(out);
  return out;
}

}  // namespace

bool isWellFormedUtf8(std::string_view bytes) noexcept {
  if (bytes.empty()) return true;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8(nullptr, 0, nullptr, bytes.data(), static_cast<std::int32_t>(bytes.size()),
                &status);
  return status != U_INVALID_CHAR_FOUND;
}

bool isCharsetKnown(std::string_view charset) {
  if (charset.empty()) return false;
  UErrorCode status = U_ZERO_ERROR;
  const icu::LocalUConverterPointer converter(ucnv_open(std::string(charset).c_str(), &status));
  return U_SUCCESS(status) != 0;
}

std::string toUtf8(std::string_view bytes, std::string_view charset) {
  const std::string name(charset.empty() ? std::string_view(words().utf8) : charset);
  if (name == words().utf8 && isWellFormedUtf8(bytes)) return std::string(bytes);
  UErrorCode status = U_ZERO_ERROR;
  const icu::LocalUConverterPointer converter(ucnv_open(name.c_str(), &status));
  if (U_FAILURE(status) != 0) {
    refuse(MessageId::CHARSET_UNKNOWN, "The character set " + inQuotes(name) +
                                           " is not known; give a name such as UTF-8 or "
                                           "ISO-8859-1");
  }
  return decodeWith(converter.getAlias(), bytes);
}

}  // namespace orvix::server
