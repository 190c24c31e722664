// SPDX-License-Identifier: Apache-2.0
// Who may use the server for what: the tokens of a file, or everybody when no file is configured.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace orvix::server {

/// A set of access classes, as the catalogue of request kinds names them.
class AccessSet {
 public:
  enum Class : std::uint32_t { ADMIN = 1, UPDATE = 2, SELECT = 4, MONITOR = 8 };

  constexpr AccessSet() = default;
  constexpr explicit AccessSet(std::uint32_t bits) noexcept : bits_(bits) {}
  [[nodiscard]] static constexpr AccessSet all() noexcept {
    return AccessSet(ADMIN | UPDATE | SELECT | MONITOR);
  }
  /// "admin,select" or "all". Throws: ACCESS_INVALID, naming the word.
  [[nodiscard]] static AccessSet parse(std::string_view text);

  [[nodiscard]] constexpr bool empty() const noexcept { return bits_ == 0; }
  [[nodiscard]] constexpr bool has(Class wanted) const noexcept { return (bits_ & wanted) != 0; }
  [[nodiscard]] bool operator==(const AccessSet&) const = default;
  constexpr void add(AccessSet other) noexcept { bits_ |= other.bits_; }

 private:
  std::uint32_t bits_ = 0;
};

/// The class that a kind needs, from the catalogue. Kinds for which that says "unknown" need
/// UPDATE: they add documents and open collections.
[[nodiscard]] AccessSet::Class accessClassOf(std::uint32_t kind) noexcept;
[[nodiscard]] std::string_view nameOf(AccessSet::Class wanted) noexcept;

/// Shape of the file: one token a line, "<classes> <salt in hex> <keyed hash in hex>"; blank lines
/// and lines that start with '#' do not count. The tokens themselves are nowhere.
class Tokens {
 public:
  static constexpr std::size_t SALT_SIZE = 16;
  static constexpr std::size_t HASH_SIZE = 32;

  /// Everybody may do everything.
  Tokens() = default;
  /// Throws: STORAGE_FAILED when others may read the file, or it cannot be read, has a line that is
  ///         none, or no token.
  explicit Tokens(const std::filesystem::path& file);

  /// What the token allows; nothing when it is none of the file's. Takes the same time however much
  /// of a token was right, and whichever line it was.
  [[nodiscard]] AccessSet accessOf(std::string_view token) const noexcept;

  [[nodiscard]] std::size_t count() const noexcept { return entries_.size(); }
  [[nodiscard]] bool operator==(const Tokens&) const = default;

  /// A line for the file. The salt is new each time.
  [[nodiscard]] static std::string lineFor(std::string_view token, const std::string& classes);
  /// A token that nobody can guess.
  [[nodiscard]] static std::string freshToken();

 private:
  struct Entry {
    AccessSet access;
    std::array<unsigned char, SALT_SIZE> salt{};
    std::array<unsigned char, HASH_SIZE> hash{};

    [[nodiscard]] bool operator==(const Entry&) const = default;
  };

  [[nodiscard]] static Entry entryOf(const std::string& line, const std::string& where);

  std::vector<Entry> entries_;
  bool required_ = false;
};

}  // namespace orvix::server
