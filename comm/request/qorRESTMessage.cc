// SPDX-License-Identifier: Apache-2.0
#include "comm/request/internal/qorRESTMessage.h"

#include <cstring>
#include <limits>
#include <new>
#include <string>

#include "comm/protocol/internal/qorRequestKinds.h"
#include "comm/protocol/internal/qorWireStatus.h"
#include "comm/protocol/internal/qorWords.h"
#include "comm/protocol/qorStaticDefs.h"
#include "comm/request/internal/qorCatalogue.h"
#include "comm/support/internal/qorConversionCache.h"
#include "comm/support/internal/qorConverter.h"
#include "comm/support/internal/qorRaiseSites.h"
#include "infra/bytes/internal/qorByteReader.h"
#include "infra/oss/internal/qorTextConversion.h"

namespace orvix::comm {

using detail::Catalogue;
using icu::UnicodeString;
namespace wire = detail::wire;
namespace words = detail::words;

namespace {

constexpr std::uint64_t LENGTH_LIMIT = std::uint64_t{1} << 30U;  // a longer one the masks would cut
constexpr std::size_t WORD = sizeof(std::uint32_t);

std::uint64_t checkedLength(std::uint64_t length) {
  if (length >= LENGTH_LIMIT) detail::raiseAt(detail::sites::REQUEST_TOO_LARGE);
  return length;
}

std::uint64_t utf8Length(const UnicodeString& text) {
  if (const auto cached = detail::ConversionCache::find(text)) return cached->size();
  return checkedLength(oss::wireLength(text));
}

/// Bytes that the record of `pair` takes at most.
std::uint64_t recordEstimate(const KVPair& pair) {
  const std::uint64_t key = utf8Length(pair.key);
  const std::uint64_t extra = pair.extra != 0 ? WORD : 0;
  if (pair.binValue != nullptr) return checkedLength(pair.binLength) + key + 3 * WORD + extra;
  return key + utf8Length(pair.value) + 4 * WORD + extra;
}

void writeText(oss::ByteWriter& out, const UnicodeString& text, std::uint32_t mask) {
  if (const auto cached = detail::ConversionCache::find(text)) {
    out.u32(oss::cutToU32(cached->size()) & mask);
    out.bytes(*cached);
    return;
  }
  const std::size_t length = oss::wireLength(text);
  out.u32(oss::cutToU32(length) & mask);
  if (char* room = out.claim(length); room != nullptr) oss::textToWire(text, room, length);
}

void writeField(oss::ByteWriter& out, const KVPair& pair) {
  writeText(out, pair.key, pair.extra == 0 ? wire::LENGTH_MASK : wire::EXTRA_KEY_MASK);
  if (pair.binValue != nullptr) {
    out.u32(pair.binLength & wire::LENGTH_MASK);
    out.bytes({reinterpret_cast<const char*>(pair.binValue), pair.binLength});
    return;
  }
  writeText(out, pair.value, wire::LENGTH_MASK);
  if (pair.extra != 0) out.u32(pair.extra);
}

void writeRun(oss::ByteWriter& out, std::string_view run) {
  out.u32(oss::cutToU32(run.size()) & wire::LENGTH_MASK);
  out.bytes(run);
}

/// The caller's token travels under a name of its own.
const UnicodeString& nameOnWire(const UnicodeString& key) {
  return key == StaticDefs::PARAM_AUTHENTICATION_TOKEN ? words::AUTHORIZATION : key;
}

}  // namespace

RESTMessage::RESTMessage(ClientRequest& request)
    : kind_(request.getRequestType()),
      content_(request.getContent()),
      contentLength_(content_ == nullptr ? 0 : request.getContentLength()) {
  Catalogue::get();
  properties_.copy(request.getProperties());
  unsigned int keyLength = 0;
  const char* key = request.getDocKey(keyLength);
  UnicodeString length;
  if (kind_ == kinds::LAST_DOC_SENT) {
    writeTerminator();
    length = UnicodeString(std::to_string(wire::TERMINATOR_SIZE).c_str(), "");
  } else if (key != nullptr && keyLength != 0) {
    writeBody(request, {key, keyLength});
    const std::uint64_t whole = std::uint64_t{bodyLength_} + contentLength_;
    length = UnicodeString(std::to_string(whole).c_str(), "");
  }
  properties_.putProperty(words::CONTENT_LENGTH, length);
}

void RESTMessage::writeTerminator() {
  std::memset(terminator_.data(), 0, wire::TERMINATOR_SIZE);
  terminatorLength_ = wire::TERMINATOR_SIZE;
}

void RESTMessage::writeBody(const ClientRequest& request, std::string_view docKey) {
  const Catalogue& catalogue = Catalogue::get();
  std::uint64_t estimate = WORD;
  for (const KVPair& pair : request.getFields()) estimate += recordEstimate(pair);
  estimate += catalogue.rowId().size() + 2 * WORD + checkedLength(docKey.size());
  if (contentLength_ != 0) {
    checkedLength(contentLength_);
    estimate += WORD + catalogue.data().size() + WORD;
  }
  estimate += WORD;
  if (estimate + contentLength_ > std::numeric_limits<std::uint32_t>::max()) {
    detail::raiseAt(detail::sites::REQUEST_TOO_LARGE);
  }
  if (estimate > body_.length()) body_.resize(estimate);
  if (body_.data() == nullptr) throw std::bad_alloc();

  oss::ByteWriter out(body_.data(), body_.length());
  out.u32(wire::BODY_FORMAT);
  char* rest = out.claim(WORD);
  for (const KVPair& pair : request.getFields()) writeField(out, pair);
  writeRun(out, catalogue.rowId());
  writeRun(out, docKey);
  if (contentLength_ != 0) {
    writeRun(out, catalogue.data());
    out.u32(contentLength_ & wire::LENGTH_MASK);
  }
  bodyLength_ = oss::cutToU32(out.written());
  oss::storeU32(rest, oss::cutToU32(out.written() - wire::BODY_HEADER_SIZE + contentLength_));
}

const char* RESTMessage::getHeaderText() {
  const Catalogue& catalogue = Catalogue::get();
  const UnicodeString& path = catalogue.pathWord(kind_);
  if (!path.isEmpty()) properties_.putProperty(words::ACTION, path);
  properties_.putProperty(words::ACTION_TYPE, catalogue.accessClass(kind_));
  UnicodeString text;
  for (const auto& [key, value] : properties_) {
    text.append(nameOnWire(key)).append(words::HEADER_SEPARATOR).append(value);
    text.append(StaticDefs::NEWLINE);
  }
  text.append(words::HEADER_END);
  return oss::Converter::convert(text, header_);
}

UnicodeString RESTMessage::getQueryString() const {
  UnicodeString text;
  for (const auto& [key, value] : properties_) {
    text.append(text.isEmpty() ? words::QUERY_OPEN : words::QUERY_NEXT);
    text.append(nameOnWire(key)).append(words::QUERY_VALUE).append(value);
  }
  return text;
}

}  // namespace orvix::comm
