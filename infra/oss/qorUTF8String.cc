// SPDX-License-Identifier: Apache-2.0
#include "infra/oss/qorUTF8String.h"

namespace orvix::oss {

UTF8String::UTF8String() = default;
UTF8String::UTF8String(const char* bytes) : bytes_(bytes == nullptr ? "" : bytes) {}
UTF8String::UTF8String(const icu::UnicodeString& text) { text.toUTF8String(bytes_); }
UTF8String::UTF8String(const UTF8String&) = default;
UTF8String& UTF8String::operator=(const UTF8String&) = default;
UTF8String::~UTF8String() = default;

UTF8String& UTF8String::operator=(const icu::UnicodeString& text) {
  bytes_.clear();
  text.toUTF8String(bytes_);
  return *this;
}

void UTF8String::appendString(const char* bytes, int length) {
  if (bytes != nullptr && length > 0) bytes_.append(bytes, static_cast<std::size_t>(length));
}

void UTF8String::appendString(const icu::UnicodeString& text) { text.toUTF8String(bytes_); }

}  // namespace orvix::oss
