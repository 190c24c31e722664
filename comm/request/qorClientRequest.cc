// SPDX-License-Identifier: Apache-2.0
#include "comm/request/qorClientRequest.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "comm/protocol/internal/qorRequestKinds.h"
#include "comm/protocol/internal/qorWords.h"
#include "comm/protocol/qorStaticDefs.h"

namespace orvix::comm {

using icu::UnicodeString;

namespace {

unsigned char* copyBytes(const unsigned char* bytes, std::uint32_t length) {
  if (bytes == nullptr) return nullptr;
  auto copy = std::make_unique<unsigned char[]>(length);
  std::copy_n(bytes, length, copy.get());
  return copy.release();
}

}  // namespace

KVPair::KVPair() = default;

KVPair::KVPair(const UnicodeString& fieldKey, const UnicodeString& fieldValue)
    : key(fieldKey), value(fieldValue) {}

KVPair::KVPair(const KVPair& other)
    : key(other.key),
      value(other.value),
      attribute(other.attribute),
      extra(other.extra),
      binValue(copyBytes(other.binValue, other.binLength)),
      binLength(other.binLength) {}

KVPair& KVPair::operator=(const KVPair& other) {
  if (this == &other) return *this;
  KVPair copy(other);
  std::swap(key, copy.key);
  std::swap(value, copy.value);
  attribute = copy.attribute;
  extra = copy.extra;
  std::swap(binValue, copy.binValue);
  binLength = copy.binLength;
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
  const UnicodeString name(collectionName);  // the caller may pass a value out of `props`
  kind_ = kind;
  collectionName_ = name;
  properties_.copy(props);
  properties_.putProperty(detail::words::VER, detail::words::PROTOCOL_VERSION);
  properties_.putProperty(StaticDefs::PARAM_COLLECTION_ID, name);
  if (const char* mode = detail::requestKind(kind).mode; mode != nullptr) {
    properties_.putProperty(detail::words::MODE, UnicodeString(mode, ""));
  }
  setOperationName();
}

void ClientRequest::buildRequest(REQUEST kind, const util::ExtendedProperties& props) {
  kind_ = kind;
  collectionName_ = detail::words::EMPTY;
  properties_.copy(props);
  properties_.putProperty(detail::words::VER, detail::words::PROTOCOL_VERSION);
  setOperationName();
}

void ClientRequest::setOperationName() {
  const char* name = detail::requestKind(kind_).displayName;
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
