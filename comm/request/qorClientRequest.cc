// SPDX-License-Identifier: Apache-2.0
#include "comm/request/qorClientRequest.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "comm/protocol/internal/qorRequestKinds.h"
#include "comm/protocol/internal/qorWords.h"
#include "comm/protocol/qorStaticDefs.h"
#include "comm/request/internal/qorPropertyMerge.h"
#include "infra/oss/internal/qorTextConversion.h"

namespace orvix::comm {

using icu::UnicodeString;

namespace {

unsigned char* copyBytes(const unsigned char* bytes, std::uint32_t length) {
  if (bytes == nullptr) return nullptr;
  auto copy = std::make_unique<unsigned char[]>(length);
  std::copy_n(bytes, length, copy.get());
  return copy.release();
}

/// Whether `properties` are what `props` and `own` come to.
bool isMergeOf(const util::ExtendedProperties& properties, const util::ExtendedProperties& props,
               std::span<const detail::Overlay> own) {
  auto at = properties.begin();
  bool same = true;
  detail::visitMerged(props, own, [&](const UnicodeString& key, const UnicodeString& value) {
    same = same && at != properties.end() && at->first == key && at->second == value;
    if (same) ++at;
  });
  return same && at == properties.end();
}

}  // namespace

KVPair::KVPair() = default;

KVPair::KVPair(const UnicodeString& fieldKey, const UnicodeString& fieldValue)
    : key(oss::copyOf(fieldKey)), value(oss::copyOf(fieldValue)) {}

KVPair::KVPair(const KVPair& other)
    : key(oss::copyOf(other.key)),
      value(oss::copyOf(other.value)),
      attribute(other.attribute),
      extra(other.extra),
      binValue(copyBytes(other.binValue, other.binLength)),
      binLength(other.binLength) {}

KVPair& KVPair::operator=(const KVPair& other) {
  if (this == &other) return *this;
  UnicodeString otherKey = oss::copyOf(other.key);
  UnicodeString otherValue = oss::copyOf(other.value);
  delete[] std::exchange(binValue, copyBytes(other.binValue, other.binLength));
  binLength = other.binLength;
  key = std::move(otherKey);
  value = std::move(otherValue);
  attribute = other.attribute;
  extra = other.extra;
  return *this;
}

KVPair::~KVPair() {
  delete[] binValue;
  binValue = nullptr;
}

ClientRequest::ClientRequest() = default;
ClientRequest::ClientRequest(const ClientRequest&) = default;
ClientRequest& ClientRequest::operator=(const ClientRequest&) = default;
ClientRequest::~ClientRequest() = default;

void ClientRequest::buildRequest(const UnicodeString& collectionName, REQUEST kind,
                                 const util::ExtendedProperties& props) {
  collectionName_ =
      oss::copyOf(collectionName);  // first: the caller may pass a value of this request
  const char* const word = detail::requestKind(kind).mode;
  const UnicodeString mode(word == nullptr ? "" : word, "");
  detail::Overlay own[3] = {{&StaticDefs::PARAM_COLLECTION_ID, &collectionName_}};
  std::size_t count = 1;
  if (!mode.isEmpty()) own[count++] = {&detail::words::MODE, &mode};
  own[count++] = {&detail::words::VER, &detail::words::PROTOCOL_VERSION};
  build(kind, props, std::span(own, count));
}

void ClientRequest::buildRequest(REQUEST kind, const util::ExtendedProperties& props) {
  collectionName_ = detail::words::EMPTY;
  const detail::Overlay own[] = {{&detail::words::VER, &detail::words::PROTOCOL_VERSION}};
  build(kind, props, own);
}

/// A request that is built again as it was, for the next document say, copies nothing.
void ClientRequest::build(REQUEST kind, const util::ExtendedProperties& props,
                          std::span<const detail::Overlay> own) {
  kind_ = kind;
  if (!isMergeOf(properties_, props, own)) {
    properties_.copy(props);
    for (const detail::Overlay& entry : own) properties_.putProperty(*entry.key, *entry.value);
  }
  const char* const name = detail::requestKind(kind).displayName;
  if (name != nullptr) operationName_ = UnicodeString(name, "");
}

void ClientRequest::setDocKey(const char* key, unsigned int length) {
  docKey_ = key;
  docKeyLength_ = length;
}

void ClientRequest::setContent(const std::list<KVPair>& fields, const char* content,
                               unsigned int length) {
  fields_ = fields;  // pair by pair; the request's own list stays as it is
  content_ = content;
  contentLength_ = length;
}

const char* ClientRequest::getContent() { return content_; }

const char* ClientRequest::getDocKey(unsigned int& length) {
  length = docKeyLength_;
  return docKey_;
}

}  // namespace orvix::comm
