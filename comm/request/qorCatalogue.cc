// SPDX-License-Identifier: Apache-2.0
#include "comm/request/internal/qorCatalogue.h"

#include "comm/protocol/internal/qorWords.h"
#include "comm/protocol/qorStaticDefs.h"
#include "infra/oss/internal/qorTextConversion.h"

namespace orvix::comm::detail {

using icu::UnicodeString;

const Catalogue& Catalogue::get() {
  static const Catalogue catalogue;
  return catalogue;
}

Catalogue::Catalogue()
    : rowId_(oss::utf8(words::ROW_ID)),
      data_(oss::utf8(words::DATA)),
      separator_(oss::utf8(words::HEADER_SEPARATOR)),
      lineEnd_(oss::utf8(StaticDefs::NEWLINE)),
      headerEnd_(oss::utf8(words::HEADER_END)) {
  for (const RequestKind& row : REQUEST_KINDS) {
    Words& into = words_[row.kind];
    if (row.pathWord != nullptr) into.path = UnicodeString(row.pathWord, "");
    into.access = UnicodeString(row.accessClass, "");
  }
}

const UnicodeString& Catalogue::pathWord(std::uint32_t kind) const {
  return words_[requestKind(kind).kind].path;
}

const UnicodeString& Catalogue::accessClass(std::uint32_t kind) const {
  return words_[requestKind(kind).kind].access;
}

}  // namespace orvix::comm::detail
