// SPDX-License-Identifier: Apache-2.0
// What a caller asks for: a request kind, its parameters and, for documents, key, fields, content.
#pragma once

#include <cstdint>
#include <list>
#include <span>

#include <unicode/unistr.h>

#include "comm/protocol/qorRequestKind.h"
#include "comm/qorExport.h"
#include "infra/util/qorExtendedProperties.h"

namespace orvix::comm {

namespace detail {
struct Overlay;
}

/// One field of a document. Owns `binValue` (array allocation); copies are deep.
class QORCOMM_EXPORT KVPair {
 public:
  KVPair();
  /// A text field.
  KVPair(const icu::UnicodeString& fieldKey, const icu::UnicodeString& fieldValue);
  KVPair(const KVPair& other);
  KVPair& operator=(const KVPair& other);
  ~KVPair();

  icu::UnicodeString key;             ///< name, with its prefixes
  icu::UnicodeString value;           ///< used when `binValue` is null
  std::uint32_t attribute = 0;        ///< copied with the pair; not written
  std::uint32_t extra = 0;            ///< when not 0, written as a number after a text value
  unsigned char* binValue = nullptr;  ///< owned; when not null it is sent instead of `value`
  std::uint32_t binLength = 0;        ///< bytes at `binValue`
};

/// One operation, filled by the caller and read by the client that sends it. Checks nothing.
/// Borrows: document key and content, which must outlive the send. Owns everything else.
/// Threads: one thread at a time. May be filled again and sent again.
class QORCOMM_EXPORT ClientRequest {
 public:
  using REQUEST = kinds::REQUEST;  ///< the kinds; the class names them, too
  using enum kinds::REQUEST;

  ClientRequest();
  ClientRequest(const ClientRequest&);
  ClientRequest& operator=(const ClientRequest&);
  ~ClientRequest();  // Kept: not virtual. Do not delete a derived request through this type.

  /// An operation on one collection. Replaces kind, collection, properties and operation name; puts
  /// "ver", "index" and, for the search kinds, "mode". Key, content and fields of an earlier use
  /// stay and are sent again: take a fresh request for each document.
  void buildRequest(const icu::UnicodeString& collectionName, REQUEST kind,
                    const util::ExtendedProperties& props);
  /// An operation on the server. Puts "ver" only: for a search the caller supplies "mode".
  void buildRequest(REQUEST kind, const util::ExtendedProperties& props);
  /// Borrows `length` bytes: the key under which the document is kept and found.
  void setDocKey(const char* key, unsigned int length);
  /// Copies `fields` over the earlier ones and borrows `length` bytes of content.
  void setContent(const std::list<KVPair>& fields, const char* content, unsigned int length);

  /// The content bytes, of getContentLength(). A derived request may supply its own.
  virtual const char* getContent();
  /// The key bytes and, through `length`, their number. A derived request may supply its own.
  virtual const char* getDocKey(unsigned int& length);

  [[nodiscard]] REQUEST getRequestType() const { return kind_; }
  [[nodiscard]] icu::UnicodeString getOperationName() const { return operationName_; }
  [[nodiscard]] const util::ExtendedProperties& getProperties() const { return properties_; }
  [[nodiscard]] icu::UnicodeString getCollectionName() const { return collectionName_; }
  [[nodiscard]] unsigned int getContentLength() const { return contentLength_; }
  [[nodiscard]] unsigned int getDocKeyLength() const { return docKeyLength_; }
  [[nodiscard]] const std::list<KVPair>& getFields() const { return fields_; }

 private:
  void build(REQUEST kind, const util::ExtendedProperties& props,
             std::span<const detail::Overlay> own);

  REQUEST kind_ = static_cast<REQUEST>(0);
  icu::UnicodeString operationName_;
  util::ExtendedProperties properties_;
  const char* content_ = nullptr;
  const char* docKey_ = nullptr;
  unsigned int contentLength_ = 0;
  unsigned int docKeyLength_ = 0;
  icu::UnicodeString collectionName_;
  std::list<KVPair> fields_;
};

}  // namespace orvix::comm
