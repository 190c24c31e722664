// SPDX-License-Identifier: Apache-2.0
// One document on its way from a local file into a request.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <set>
#include <string>
#include <vector>

#include "qorcomm.h"

namespace orvix::ctl {

/// The largest file, or line, that is sent.
inline constexpr std::size_t MAX_DOCUMENT_BYTES = std::size_t{64} << 20U;

struct Field {
  std::string name;
  std::string value;
  std::string column = {};  ///< where its value stood in its source; empty: under its name
};

struct Document {
  std::string key;  ///< bytes; need not be UTF-8
  std::vector<Field> fields;
  std::string content;
  std::uint64_t omittedMembers = 0;  ///< of its line: neither text nor number, or without a name
};

/// What the server is to do with which fields.
class FieldMarks {
 public:
  FieldMarks(const std::vector<std::string>& indexed, const std::vector<std::string>& sortable);
  /// The field's name with the prefixes that mark it.
  [[nodiscard]] icu::UnicodeString wireName(const std::string& name) const;

 private:
  std::set<std::string> indexed_;
  std::set<std::string> sortable_;
};

/// Fields from NAME=VALUE texts.
[[nodiscard]] std::vector<Field> parseFields(const std::vector<std::string>& texts);

/// Puts key, fields and content into the request, which borrows key and content from `document`.
void fillRequest(comm::ClientRequest& request, const Document& document, const FieldMarks& marks);

/// The bytes of a file, or of standard input for "-".
/// Throws CtlFailure LOCAL_FILE, naming the file, when it cannot be read or has more than `limit`.
[[nodiscard]] std::string readFile(const std::string& path, std::size_t limit = MAX_DOCUMENT_BYTES);

}  // namespace orvix::ctl
