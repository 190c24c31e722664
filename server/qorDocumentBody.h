// SPDX-License-Identifier: Apache-2.0
// Decodes the binary body of a document request into its fields, key and content. Nothing is
// copied: the views live as long as the body's bytes.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace orvix::server {

struct DocumentField {
  std::string_view name;
  std::string_view value;
};

struct DocumentBody {
  std::vector<DocumentField> fields;
  std::string_view key;
  std::string_view content;    ///< empty when the body carried none
  bool contentIsText = false;  ///< in UTF-8, whatever the request says of its type
};

/// Shape: format: u32 = 0, length: u32, { name length: u32, name, value length: u32, value }*
///        The key is the last record, or the last but one when the content follows it; a record of
///        the same name before that is a field.
/// Throws: BODY_MALFORMED when the records do not end exactly at the length; DOCUMENT_KEY_INVALID.
[[nodiscard]] DocumentBody decodeDocumentBody(std::string_view body);

/// The key of a body that cannot be decoded, as far as its first bytes still tell: for the outcome
/// of a refused document. Empty when they do not.
[[nodiscard]] std::string_view salvageDocumentKey(std::string_view head) noexcept;

/// A key is 1 to this many bytes, so that hits and outcomes fit their records.
inline constexpr std::size_t MAX_DOCUMENT_KEY = 16384;

/// Throws: DOCUMENT_KEY_INVALID.
void checkDocumentKey(std::string_view key);

}  // namespace orvix::server
