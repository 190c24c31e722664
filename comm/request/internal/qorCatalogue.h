// SPDX-License-Identifier: Apache-2.0
// The words of the request kinds as texts, and the UTF-8 forms that every request needs, built
// once.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include <unicode/unistr.h>

#include "comm/protocol/internal/qorRequestKinds.h"

namespace orvix::comm::detail {

/// Process-wide and immutable once built. The first get() builds it under a once-flag; after that
/// any thread reads it without a lock.
class Catalogue {
 public:
  static const Catalogue& get();

  /// The word sent as "action"; empty when the kind has none.
  [[nodiscard]] const icu::UnicodeString& pathWord(std::uint32_t kind) const;
  /// The word sent as "actionType".
  [[nodiscard]] const icu::UnicodeString& accessClass(std::uint32_t kind) const;
  /// The names of the key and content records of a document body.
  [[nodiscard]] std::string_view rowId() const { return rowId_; }
  [[nodiscard]] std::string_view data() const { return data_; }
  /// What stands between key and value of a header line, behind the line, and behind the last one.
  [[nodiscard]] std::string_view separator() const { return separator_; }
  [[nodiscard]] std::string_view lineEnd() const { return lineEnd_; }
  [[nodiscard]] std::string_view headerEnd() const { return headerEnd_; }

 private:
  Catalogue();

  struct Words {
    icu::UnicodeString path;
    icu::UnicodeString access;
  };
  std::array<Words, REQUEST_KINDS.size()> words_;
  std::string rowId_;
  std::string data_;
  std::string separator_;
  std::string lineEnd_;
  std::string headerEnd_;
};

}  // namespace orvix::comm::detail
