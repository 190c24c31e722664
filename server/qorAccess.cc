// SPDX-License-Identifier: Apache-2.0
// Reads the token file. No message carries a token or a line of the file.
#include "server/qorAccess.h"

#include <fcntl.h>
#include <fstream>
#include <sodium.h>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

#include "comm/protocol/internal/qorRequestKinds.h"
#include "server/qorDescriptor.h"
#include "server/qorRefusal.h"
#include "server/qorSync.h"

namespace orvix::server {

namespace {

constexpr std::size_t MAX_FILE = 1U << 20U;
constexpr std::size_t FRESH_TOKEN_SIZE = 32;

struct NamedClass {
  std::string_view name;
  AccessSet::Class value;
};
constexpr std::array<NamedClass, 4> CLASSES{{{"admin", AccessSet::ADMIN},
                                             {"update", AccessSet::UPDATE},
                                             {"select", AccessSet::SELECT},
                                             {"monitor", AccessSet::MONITOR}}};

template <std::size_t SIZE>
std::string hexOf(const std::array<unsigned char, SIZE>& bytes) {
  std::string hex(SIZE * 2 + 1, '\0');
  sodium_bin2hex(hex.data(), hex.size(), bytes.data(), bytes.size());
  hex.pop_back();
  return hex;
}

template <std::size_t SIZE>
bool fromHex(const std::string& hex, std::array<unsigned char, SIZE>& bytes) noexcept {
  std::size_t length = 0;
  const char* end = nullptr;
  return sodium_hex2bin(bytes.data(), SIZE, hex.data(), hex.size(), nullptr, &length, &end) == 0 &&
         length == SIZE && end == hex.data() + hex.size();
}

using Hash = std::array<unsigned char, Tokens::HASH_SIZE>;
using Salt = std::array<unsigned char, Tokens::SALT_SIZE>;

Hash hashOf(std::string_view token, const Salt& salt) noexcept {
  Hash hash{};
  crypto_generichash(hash.data(), hash.size(), reinterpret_cast<const unsigned char*>(token.data()),
                     token.size(), salt.data(), salt.size());
  return hash;
}

/// Checks the opened file, not the name: what is checked is what is read.
std::string privateContentOf(const std::filesystem::path& file) {
  const Descriptor opened(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat facts {};
  if (!opened || ::fstat(opened.get(), &facts) != 0) refuseByErrno("Reading the token file", file);
  if ((facts.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
    refuse(MessageId::STORAGE_FAILED, "Others may use the token file " + file.string() +
                                          "; take their rights away (chmod 600)");
  }
  std::string text(MAX_FILE, '\0');
  const ssize_t count = ::read(opened.get(), text.data(), text.size());
  if (count < 0) refuseByErrno("Reading the token file", file);
  text.resize(static_cast<std::size_t>(count));
  return text;
}

}  // namespace

AccessSet AccessSet::parse(std::string_view text) {
  if (text == "all") return all();
  AccessSet access;
  while (!text.empty()) {
    const std::string_view word = text.substr(0, text.find(','));
    text.remove_prefix(std::min(word.size() + 1, text.size()));
    std::uint32_t found = 0;
    for (const NamedClass& each : CLASSES) {
      if (each.name == word) found = each.value;
    }
    if (found == 0) {
      refuse(MessageId::ACCESS_INVALID, inQuotes(word) +
                                            " is no access class; give admin, update, "
                                            "select and monitor, with commas, or all");
    }
    access.add(AccessSet(found));
  }
  return access;
}

AccessSet::Class accessClassOf(std::uint32_t kind) noexcept {
  const std::string_view word = comm::detail::requestKind(kind).accessClass;
  for (const NamedClass& each : CLASSES) {
    if (each.name == word) return each.value;
  }
  return AccessSet::UPDATE;
}

std::string_view nameOf(AccessSet::Class wanted) noexcept {
  for (const NamedClass& each : CLASSES) {
    if (each.value == wanted) return each.name;
  }
  return "unknown";
}

Tokens::Tokens(const std::filesystem::path& file) : required_(true) {
  std::istringstream lines(privateContentOf(file));
  std::string line;
  for (std::size_t number = 1; std::getline(lines, line); ++number) {
    if (line.ends_with('\r')) line.pop_back();
    if (line.empty() || line.front() == '#') continue;
    entries_.push_back(
        entryOf(line, "Line " + std::to_string(number) + " of the token file " + file.string()));
  }
  if (entries_.empty()) {
    refuse(MessageId::STORAGE_FAILED, "The token file " + file.string() +
                                          " holds no token; add a line that qorserver token makes");
  }
}

Tokens::Entry Tokens::entryOf(const std::string& line, const std::string& where) {
  std::istringstream words(line);
  std::string classes;
  std::string salt;
  std::string hash;
  std::string surplus;
  words >> classes >> salt >> hash;
  Entry entry;
  if (!words || words >> surplus || !fromHex(salt, entry.salt) || !fromHex(hash, entry.hash)) {
    refuse(MessageId::STORAGE_FAILED,
           where + " is not of the form that qorserver token makes: classes, salt, hash");
  }
  entry.access = AccessSet::parse(classes);
  return entry;
}

AccessSet Tokens::accessOf(std::string_view token) const noexcept {
  if (!required_) return AccessSet::all();
  AccessSet access;
  for (const Entry& entry : entries_) {
    const Hash hash = hashOf(token, entry.salt);
    const bool same = sodium_memcmp(hash.data(), entry.hash.data(), hash.size()) == 0;
    access.add(same ? entry.access : AccessSet());
  }
  return access;
}

std::string Tokens::lineFor(std::string_view token, const std::string& classes) {
  static_cast<void>(AccessSet::parse(classes));
  Salt salt{};
  randombytes_buf(salt.data(), salt.size());
  return classes + " " + hexOf(salt) + " " + hexOf(hashOf(token, salt));
}

std::string Tokens::freshToken() {
  std::array<unsigned char, FRESH_TOKEN_SIZE> bytes{};
  randombytes_buf(bytes.data(), bytes.size());
  return hexOf(bytes);
}

}  // namespace orvix::server
