// SPDX-License-Identifier: Apache-2.0
// The named fields of one collection: which of them can be searched or sorted by, and the engine's
// term prefix and value slot of each. Part of the collection's stored metadata.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <xapian.h>

namespace orvix::server {

/// A field name as a document carried it, taken apart.
struct FieldName {
  std::string_view bare;
  bool searchable = false;
  bool sortable = false;
};

/// "Indexable:" and "[sortable]" may stand before the bare name, each once, in either order.
[[nodiscard]] FieldName splitFieldName(std::string_view name) noexcept;

class FieldRegistry {
 public:
  struct Field {
    Xapian::valueno number = 0;
    bool searchable = false;
    bool sortable = false;
  };
  static constexpr std::size_t MAX_FIELDS = 1000;
  static constexpr std::size_t MAX_NAME = 200;

  /// Registers the field, or adds what it can newly do.
  /// Throws: FIELD_INVALID when the name is empty or too long or the collection has MAX_FIELDS.
  const Field& add(const FieldName& name);

  [[nodiscard]] const Field* find(std::string_view bare) const noexcept;
  [[nodiscard]] const std::map<std::string, Field, std::less<>>& all() const noexcept {
    return fields_;
  }

  /// True after a change, until the stored form was taken.
  [[nodiscard]] bool changed() const noexcept { return changed_; }
  [[nodiscard]] std::string store();
  /// Throws: STORAGE_FAILED when the bytes are no stored form.
  [[nodiscard]] static FieldRegistry load(std::string_view stored);

  /// Starts every term of the field. Ends in a colon, so that no field's terms run into another's.
  [[nodiscard]] static std::string prefixOf(const Field& field);
  [[nodiscard]] static Xapian::valueno slotOf(const Field& field) noexcept { return field.number; }

 private:
  std::map<std::string, Field, std::less<>> fields_;
  bool changed_ = false;
};

}  // namespace orvix::server
