// SPDX-License-Identifier: Apache-2.0
#include "comm/request/internal/qorCatalogue.h"

#include "comm/protocol/internal/qorWords.h"
#include "comm/protocol/qorStaticDefs.h"
#include "comm/support/internal/qorConversionCache.h"
#include "infra/oss/internal/qorTextConversion.h"

namespace orvix::comm::detail {

using icu::UnicodeString;

namespace {

/// The words that requests are made of. Those that occur twice have two names but one text.
void warmConversionCache() {
  using D = StaticDefs;
  const UnicodeString* const constants[] = {&D::PARAM_CONTENT_TYPE_TEXT,
                                            &D::PARAM_KNOWN_CHARSET_UTF8,
                                            &words::DEFAULT_LANGUAGE,
                                            &D::PARAM_COLLECTION_ID,
                                            &D::PARAM_DOCUMENT_ID,
                                            &words::ROW_ID,
                                            &words::DATA,
                                            &D::PARAM_DISPLAY_NAME,
                                            &D::PARAM_COLLECTION_DIR,
                                            &words::COLLECTION_NAME,
                                            &words::ACTION,
                                            &words::ACTION_TYPE,
                                            &words::CON_PERSIST,
                                            &words::USE_QUEUE,
                                            &words::MODE,
                                            &words::OUTPUT,
                                            &D::PARAM_AUTHENTICATION_TOKEN,
                                            &words::AUTHORIZATION,
                                            &words::DOC_TYPE,
                                            &D::PARAM_KNOWN_DOCUMENT_TYPE,
                                            &D::PARAM_OPCODE,
                                            &D::PARAM_SCOPE,
                                            &words::COL_CONFIG,
                                            &words::COL_DATA,
                                            &D::PARAM_INCREMENTAL,
                                            &D::PARAM_CHECK_VER,
                                            &D::PARAM_DB_NAME,
                                            &D::PARAM_TAB_NAME,
                                            &D::PARAM_TAB_UID,
                                            &D::PARAM_TAB_PASSWORD,
                                            &D::PARAM_DB_HOST,
                                            &D::PARAM_DB_PORT,
                                            &words::VER,
                                            &words::PROTOCOL_VERSION,
                                            &D::PARAM_START_OFFSET,
                                            &D::PARAM_SEARCH_SIZE,
                                            &D::PARAM_QUERY,
                                            &D::PARAM_MIME_TYPE,
                                            &words::DOC_LANG,
                                            &D::PARAM_FALLBACK_LANGUAGE,
                                            &D::PARAM_KNOWN_LANGUAGE,
                                            &words::CHARSET,
                                            &D::PARAM_KNOWN_CHARSET,
                                            &D::PARAM_DATA_SOURCE_TYPE,
                                            &D::PARAM_DATA_SOURCE_NAME,
                                            &D::PARAM_CLIENT_LOCALE,
                                            &D::PARAM_QUERY_LANGUAGE,
                                            &words::SCORE_TYPE,
                                            &D::PARAM_RESULT_LIMIT,
                                            &D::PARAM_SCORE_WANTED,
                                            &words::SCALAR,
                                            &words::STREAMING,
                                            &words::SELECTIVITY,
                                            &words::DATA_SOURCE_HOST,
                                            &words::BASIC,
                                            &D::PARAM_COLLECTION_SCOPE,
                                            &D::PARAM_SYSTEM_SCOPE};
  for (const char* locale : {"en_US", "en-us"}) ConversionCache::add(UnicodeString(locale, ""));
  for (const UnicodeString* word : constants) ConversionCache::add(*word);
}

}  // namespace

const Catalogue& Catalogue::get() {
  static const Catalogue catalogue;
  return catalogue;
}

Catalogue::Catalogue() : rowId_(oss::utf8(words::ROW_ID)), data_(oss::utf8(words::DATA)) {
  for (const RequestKind& row : REQUEST_KINDS) {
    Words& into = words_[row.kind];
    if (row.pathWord != nullptr) into.path = UnicodeString(row.pathWord, "");
    into.access = UnicodeString(row.accessClass, "");
  }
  warmConversionCache();
}

const UnicodeString& Catalogue::pathWord(std::uint32_t kind) const {
  return words_[requestKind(kind).kind].path;
}

const UnicodeString& Catalogue::accessClass(std::uint32_t kind) const {
  return words_[requestKind(kind).kind].access;
}

}  // namespace orvix::comm::detail
