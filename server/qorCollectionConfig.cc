// SPDX-License-Identifier: Apache-2.0
// Stored form: key/value pairs; the kept properties follow the first two.
#include "server/qorCollectionConfig.h"

#include <array>

#include "infra/bytes/internal/qorByteReader.h"
#include "server/qorReplyWriter.h"
#include "server/qorServerWords.h"
#include "server/qorStoredPairs.h"

namespace orvix::server {

namespace {

constexpr const char* WHAT = "The collection's stored configuration";

}  // namespace

std::string CollectionConfig::store() const {
  std::string out;
  putPair(out, words().displayName, displayName);
  putPair(out, words().documentLanguage, language);
  for (const auto& [key, value] : configuration) putPair(out, key, value);
  return out;
}

CollectionConfig CollectionConfig::load(std::string_view stored) {
  CollectionConfig config;
  oss::ByteReader reader(stored);
  config.displayName = takeStoredPair(reader, WHAT).value;
  config.language = takeStoredPair(reader, WHAT).value;
  while (reader.remaining() != 0) {
    StoredPair pair = takeStoredPair(reader, WHAT);
    config.configuration.insert_or_assign(std::move(pair.key), std::move(pair.value));
  }
  return config;
}

Properties configurationOf(const Properties& request) {
  const ServerWords& w = words();
  Properties kept = request;
  for (const std::string* key :
       {&w.action, &w.actionType, &w.mode, &w.version, &w.collection, &w.contentLength,
        &w.authorization, &w.authToken, &w.tableUser, &w.tablePassword}) {
    kept.erase(*key);
  }
  return kept;
}

}  // namespace orvix::server
