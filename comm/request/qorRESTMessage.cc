// SPDX-License-Identifier: Apache-2.0
#include "comm/request/internal/qorRESTMessage.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>
#include <new>
#include <span>
#include <string_view>

#include "comm/protocol/internal/qorRequestKinds.h"
#include "comm/protocol/internal/qorWireStatus.h"
#include "comm/protocol/internal/qorWords.h"
#include "comm/protocol/qorStaticDefs.h"
#include "comm/request/internal/qorCatalogue.h"
#include "comm/request/internal/qorPropertyMerge.h"
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

/// Bytes that the record of `pair` takes at most, by what `textLength` says of its texts.
template <class TextLength>
std::uint64_t recordEstimate(const KVPair& pair, TextLength textLength) {
  const std::uint64_t key = textLength(pair.key);
  const std::uint64_t extra = pair.extra != 0 ? WORD : 0;
  if (pair.binValue != nullptr) return checkedLength(pair.binLength) + key + 3 * WORD + extra;
  return key + textLength(pair.value) + 4 * WORD + extra;
}

/// Bytes that `fields` take at most: three for a unit while that fits into `room`, else counted.
std::uint64_t fieldsEstimate(const std::list<KVPair>& fields, std::uint64_t room) {
  std::uint64_t most = 0;
  for (const KVPair& pair : fields) {
    most += recordEstimate(pair, oss::mostWireBytes);
    if (most > room) break;
  }
  if (most <= room) return most;
  most = 0;
  for (const KVPair& pair : fields) {
    most += recordEstimate(
        pair, [](const UnicodeString& text) { return checkedLength(oss::wireLength(text)); });
  }
  return most;
}

/// The text behind its length; the estimates have made room for it.
void writeText(oss::ByteWriter& out, const UnicodeString& text, std::uint32_t mask) {
  char* const length = out.claim(WORD);
  const std::size_t bytes = oss::textToWire(text, out.rest(), out.room());
  if (length != nullptr && out.claim(bytes) != nullptr) {
    oss::storeU32(length, oss::cutToU32(bytes) & mask);
  }
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

UnicodeString decimal(std::uint64_t number) {
  char16_t digits[20];
  char16_t* at = std::end(digits);
  do {
    *--at = static_cast<char16_t>(u'0' + number % 10);
    number /= 10;
  } while (number != 0);
  return UnicodeString(at, static_cast<std::int32_t>(std::end(digits) - at));
}

/// Header lines, one behind the other, in a buffer that grows when it must.
class HeaderWriter {
 public:
  explicit HeaderWriter(oss::SizeableBuffer<char, 0x4000>& buffer) : buffer_(buffer) {}

  void append(const UnicodeString& text) {
    written_ = oss::Converter::append(text, buffer_, written_);
  }

  void append(std::string_view utf8) {
    oss::Converter::makeRoom(buffer_, written_, utf8.size());
    std::memcpy(buffer_.data() + written_, utf8.data(), utf8.size());
    written_ += utf8.size();
  }

 private:
  oss::SizeableBuffer<char, 0x4000>& buffer_;
  std::size_t written_ = 0;
};

}  // namespace

RESTMessage::RESTMessage(ClientRequest& request)
    : properties_(request.getProperties()),
      kind_(request.getRequestType()),
      content_(request.getContent()),
      contentLength_(content_ == nullptr ? 0 : request.getContentLength()) {
  Catalogue::get();
  unsigned int keyLength = 0;
  const char* key = request.getDocKey(keyLength);
  if (kind_ == kinds::LAST_DOC_SENT) {
    writeTerminator();
    wholeLength_ = decimal(wire::TERMINATOR_SIZE);
  } else if (key != nullptr && keyLength != 0) {
    writeBody(request, {key, keyLength});
    wholeLength_ = decimal(std::uint64_t{bodyLength_} + contentLength_);
  }
}

void RESTMessage::writeTerminator() {
  std::memset(terminator_.data(), 0, wire::TERMINATOR_SIZE);
  terminatorLength_ = wire::TERMINATOR_SIZE;
}

void RESTMessage::writeBody(const ClientRequest& request, std::string_view docKey) {
  const Catalogue& catalogue = Catalogue::get();
  std::uint64_t estimate = WORD;
  estimate += catalogue.rowId().size() + 2 * WORD + checkedLength(docKey.size());
  if (contentLength_ != 0) {
    checkedLength(contentLength_);
    estimate += WORD + catalogue.data().size() + WORD;
  }
  estimate += WORD;
  estimate += fieldsEstimate(request.getFields(),
                             body_.length() > estimate ? body_.length() - estimate : 0);
  if (estimate > LENGTH_LIMIT ||
      estimate + contentLength_ > std::numeric_limits<std::uint32_t>::max()) {
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

/// Visits the request's properties and the message's own in the order of their keys.
template <class Visitor>
void RESTMessage::forEachProperty(Visitor visit) const {
  const Catalogue& catalogue = Catalogue::get();
  const UnicodeString& path = catalogue.pathWord(kind_);
  detail::Overlay own[3] = {{&words::CONTENT_LENGTH, &wholeLength_}};
  std::size_t count = 1;
  if (headerBuilt_ && !path.isEmpty()) own[count++] = {&words::ACTION, &path};
  if (headerBuilt_) own[count++] = {&words::ACTION_TYPE, &catalogue.accessClass(kind_)};
  detail::visitMerged(properties_, std::span(own, count), visit);
}

const char* RESTMessage::getHeaderText() {
  headerBuilt_ = true;
  const Catalogue& catalogue = Catalogue::get();
  HeaderWriter out(header_);
  forEachProperty([&](const UnicodeString& key, const UnicodeString& value) {
    out.append(nameOnWire(key));
    out.append(catalogue.separator());
    out.append(value);
    out.append(catalogue.lineEnd());
  });
  out.append(catalogue.headerEnd());
  out.append(std::string_view("\0", 1));
  return header_.data();
}

UnicodeString RESTMessage::getQueryString() const {
  UnicodeString text;
  forEachProperty([&](const UnicodeString& key, const UnicodeString& value) {
    text.append(text.isEmpty() ? words::QUERY_OPEN : words::QUERY_NEXT);
    text.append(nameOnWire(key)).append(words::QUERY_VALUE).append(value);
  });
  oss::requireText(text);
  return text;
}

}  // namespace orvix::comm
