// SPDX-License-Identifier: Apache-2.0
// An owned, NUL-terminated run of UTF-8 bytes.
#pragma once

#include <string>

#include <unicode/unistr.h>

#include "infra/qorExport.h"

namespace orvix::oss {

/// UTF-8 bytes with a terminating NUL. A value: copies are deep.
class QORINFRA_EXPORT UTF8String {
 public:
  UTF8String();
  /// The bytes up to the first NUL; null counts as empty.
  UTF8String(const char* bytes);
  UTF8String(const icu::UnicodeString& text);
  UTF8String(const UTF8String&);
  UTF8String& operator=(const UTF8String&);
  UTF8String& operator=(const icu::UnicodeString& text);
  virtual ~UTF8String();

  /// Valid until the next change.
  [[nodiscard]] const char* getString() const { return bytes_.c_str(); }
  /// Appends `length` bytes, NULs included; a null pointer or a length below 1 appends nothing.
  void appendString(const char* bytes, int length);
  /// Appends its UTF-8 form.
  void appendString(const icu::UnicodeString& text);

 private:
  std::string bytes_;
};

}  // namespace orvix::oss
