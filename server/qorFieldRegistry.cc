// SPDX-License-Identifier: Apache-2.0
// Stored form: { number: u32, abilities: u16, name length: u16, name }*.
#include "server/qorFieldRegistry.h"

#include <array>
#include <optional>

#include "infra/bytes/internal/qorByteReader.h"
#include "infra/bytes/internal/qorByteWriter.h"
#include "server/qorRefusal.h"
#include "server/qorServerWords.h"

namespace orvix::server {

namespace {

constexpr std::uint16_t CAN_SEARCH = 1;
constexpr std::uint16_t CAN_SORT = 2;

bool dropPrefix(std::string_view& name, const std::string& prefix) noexcept {
  if (!name.starts_with(prefix)) return false;
  name.remove_prefix(prefix.size());
  return true;
}

}  // namespace

FieldName splitFieldName(std::string_view name) noexcept {
  FieldName field{name};
  field.searchable = dropPrefix(field.bare, words().indexable);
  field.sortable = dropPrefix(field.bare, words().sortable);
  if (field.sortable && !field.searchable) {
    field.searchable = dropPrefix(field.bare, words().indexable);
  }
  return field;
}

const FieldRegistry::Field& FieldRegistry::add(const FieldName& name) {
  auto found = fields_.find(name.bare);
  if (found == fields_.end()) {
    if (name.bare.empty() || name.bare.size() > MAX_NAME) {
      refuse(MessageId::FIELD_INVALID, "A field's name has " + std::to_string(name.bare.size()) +
                                           " bytes behind its prefixes; give 1 to 200");
    }
    if (fields_.size() == MAX_FIELDS) {
      refuse(MessageId::FIELD_INVALID, "The collection has its 1000 fields already; " +
                                           inQuotes(name.bare) + " is one too many");
    }
    const auto number = static_cast<Xapian::valueno>(fields_.size());
    found = fields_.emplace(std::string(name.bare), Field{number, false, false}).first;
  }
  Field& field = found->second;
  changed_ =
      changed_ || (name.searchable && !field.searchable) || (name.sortable && !field.sortable);
  field.searchable = field.searchable || name.searchable;
  field.sortable = field.sortable || name.sortable;
  return field;
}

const FieldRegistry::Field* FieldRegistry::find(std::string_view bare) const noexcept {
  const auto found = fields_.find(bare);
  return found == fields_.end() ? nullptr : &found->second;
}

std::string FieldRegistry::store() {
  std::string out;
  for (const auto& [name, field] : fields_) {
    std::array<char, 4 + 2 + 2> head{};
    oss::ByteWriter writer(head.data(), head.size());
    writer.u32(field.number);
    writer.u16(static_cast<std::uint16_t>((field.searchable ? CAN_SEARCH : 0) |
                                          (field.sortable ? CAN_SORT : 0)));
    writer.u16(oss::cutToU16(name.size()));
    out.append(head.data(), head.size());
    out += name;
  }
  changed_ = false;
  return out;
}

FieldRegistry FieldRegistry::load(std::string_view stored) {
  FieldRegistry registry;
  oss::ByteReader reader(stored);
  while (reader.remaining() != 0) {
    const auto number = reader.u32();
    const auto abilities = reader.u16();
    const auto length = reader.u16();
    const auto name = length ? reader.bytes(*length) : std::nullopt;
    if (!number || !abilities || !name) {
      refuse(MessageId::STORAGE_FAILED, "The collection's list of fields is damaged; restore it");
    }
    registry.fields_.emplace(std::string(*name), Field{*number, (*abilities & CAN_SEARCH) != 0,
                                                       (*abilities & CAN_SORT) != 0});
  }
  return registry;
}

std::string FieldRegistry::prefixOf(const Field& field) {
  return "XF" + std::to_string(field.number) + ":";
}

}  // namespace orvix::server
