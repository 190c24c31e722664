// SPDX-License-Identifier: Apache-2.0
// Every length is compared with what is left before it takes bytes. The optional number behind a
// field's value is never looked for: a body that carries one does not end where it says.
#include "server/qorDocumentBody.h"

#include <optional>
#include <string>

#include "comm/protocol/internal/qorWireStatus.h"
#include "infra/bytes/internal/qorByteReader.h"
#include "server/qorRefusal.h"
#include "server/qorServerWords.h"

namespace orvix::server {

namespace {

namespace wire = comm::detail::wire;

std::optional<std::string_view> readRun(oss::ByteReader& reader) noexcept {
  const auto length = reader.u32();
  return length ? reader.bytes(*length) : std::nullopt;
}

std::optional<DocumentField> readField(oss::ByteReader& reader) noexcept {
  const auto name = readRun(reader);
  const auto value = name ? readRun(reader) : std::nullopt;
  if (!value) return std::nullopt;
  return DocumentField{*name, *value};
}

void checkBodyHeader(oss::ByteReader& reader) {
  const auto format = reader.u32();
  const auto length = reader.u32();
  if (!format || !length) {
    refuse(MessageId::BODY_MALFORMED, "The request carries no document body; set a document key");
  }
  if (*format != wire::BODY_FORMAT) {
    refuse(MessageId::BODY_MALFORMED,
           "The document body has the unknown format " + std::to_string(*format));
  }
  if (*length != reader.remaining()) {
    refuse(MessageId::BODY_MALFORMED, "The document body states " + std::to_string(*length) +
                                          " bytes but carries " +
                                          std::to_string(reader.remaining()));
  }
}

}  // namespace

DocumentBody decodeDocumentBody(std::string_view body) {
  oss::ByteReader reader(body);
  checkBodyHeader(reader);
  DocumentBody document;
  while (reader.remaining() != 0) {
    const auto field = readField(reader);
    if (!field) {
      refuse(MessageId::BODY_MALFORMED, "The record at byte " + std::to_string(reader.consumed()) +
                                            " of the document body does not end within the body");
    }
    document.fields.push_back(*field);
  }
  auto& fields = document.fields;
  const std::size_t count = fields.size();
  if (count >= 2 && fields[count - 1].name == words().data &&
      fields[count - 2].name == words().rowId) {
    document.content = fields.back().value;
    fields.pop_back();
  }
  if (fields.empty() || fields.back().name != words().rowId) {
    refuse(MessageId::BODY_MALFORMED, "The document body does not end in a document key");
  }
  document.key = fields.back().value;
  fields.pop_back();
  checkDocumentKey(document.key);
  return document;
}

std::string_view salvageDocumentKey(std::string_view head) noexcept {
  oss::ByteReader reader(head);
  std::string_view key;
  if (!reader.bytes(wire::BODY_HEADER_SIZE)) return key;
  while (const auto field = readField(reader)) {
    if (field->name == words().rowId) key = field->value;
  }
  return key.substr(0, MAX_DOCUMENT_KEY);
}

void checkDocumentKey(std::string_view key) {
  if (key.empty()) {
    refuse(MessageId::DOCUMENT_KEY_INVALID, "The document key is empty; give 1 to 16384 bytes");
  }
  if (key.size() > MAX_DOCUMENT_KEY) {
    refuse(MessageId::DOCUMENT_KEY_INVALID,
           "The document key has " + std::to_string(key.size()) + " bytes; give 1 to 16384 bytes");
  }
}

}  // namespace orvix::server
