// SPDX-License-Identifier: Apache-2.0
// Stored form: key/value pairs as replies carry them; the kept properties follow the first two.
#include "server/qorCollectionConfig.h"

#include <array>
#include <optional>

#include "infra/bytes/internal/qorByteReader.h"
#include "server/qorRefusal.h"
#include "server/qorReplyWriter.h"
#include "server/qorServerWords.h"

namespace orvix::server {

namespace {

struct Pair {
  std::string key;
  std::string value;
};

std::string takeRun(oss::ByteReader& reader) {
  const auto length = reader.u16();
  const auto run = length ? reader.bytes(*length) : std::nullopt;
  if (!run) {
    refuse(MessageId::STORAGE_FAILED,
           "The collection's stored configuration is damaged; restore it");
  }
  return std::string(*run);
}

Pair takePair(oss::ByteReader& reader) {
  Pair pair;
  pair.key = takeRun(reader);
  pair.value = takeRun(reader);
  return pair;
}

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
  config.displayName = takePair(reader).value;
  config.language = takePair(reader).value;
  while (reader.remaining() != 0) {
    Pair pair = takePair(reader);
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
