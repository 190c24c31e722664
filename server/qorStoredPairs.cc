// SPDX-License-Identifier: Apache-2.0
// Shape: { key length: u16, key, value length: u16, value }*.
#include "server/qorStoredPairs.h"

#include "server/qorRefusal.h"

namespace orvix::server {

namespace {

std::string takeRun(oss::ByteReader& reader, const char* what) {
  const auto length = reader.u16();
  const auto run = length ? reader.bytes(*length) : std::nullopt;
  if (!run) {
    refuse(MessageId::STORAGE_FAILED, std::string(what) + " is damaged; restore the collection");
  }
  return std::string(*run);
}

}  // namespace

StoredPair takeStoredPair(oss::ByteReader& reader, const char* what) {
  StoredPair pair;
  pair.key = takeRun(reader, what);
  pair.value = takeRun(reader, what);
  return pair;
}

}  // namespace orvix::server
