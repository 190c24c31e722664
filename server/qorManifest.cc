// SPDX-License-Identifier: Apache-2.0
// The list is text, one line a file: { hash in hex, " ", size, " ", name, "\n" }*. The hash is the
// 32-byte BLAKE2b that b2sum -l 256 prints, so that people can check a copy by hand.
#include "server/qorManifest.h"

#include <array>
#include <fstream>
#include <map>
#include <sodium.h>
#include <sstream>
#include <string>
#include <vector>

#include "server/qorCollection.h"
#include "server/qorRefusal.h"
#include "server/qorSync.h"

namespace orvix::server {

namespace fs = std::filesystem;

namespace {

constexpr const char* MANIFEST_FILE = "manifest";
constexpr std::size_t HASH_SIZE = 32;
constexpr std::size_t PIECE = 1U << 20U;

using Manifest = std::map<std::string, std::string>;  // name -> hash and size, as one line has them

std::string hexOf(const std::array<unsigned char, HASH_SIZE>& bytes) {
  std::string hex(HASH_SIZE * 2 + 1, '\0');
  sodium_bin2hex(hex.data(), hex.size(), bytes.data(), bytes.size());
  hex.pop_back();
  return hex;
}

/// Hash and size of the file.
std::string fingerprintOf(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  if (!stream) refuseByErrno("Reading", file);
  crypto_generichash_state state;
  crypto_generichash_init(&state, nullptr, 0, HASH_SIZE);
  std::vector<char> piece(PIECE);
  std::uint64_t size = 0;
  while (stream) {
    stream.read(piece.data(), static_cast<std::streamsize>(piece.size()));
    const auto count = static_cast<std::uint64_t>(stream.gcount());
    crypto_generichash_update(&state, reinterpret_cast<const unsigned char*>(piece.data()), count);
    size += count;
  }
  if (stream.bad()) refuseByErrno("Reading", file);
  std::array<unsigned char, HASH_SIZE> hash{};
  crypto_generichash_final(&state, hash.data(), hash.size());
  return hexOf(hash) + " " + std::to_string(size);
}

/// The lock of the engine's writer and the outcomes belong to the running collection. A link is no
/// file of a copy: it could lead anywhere.
bool isPartOfCopy(const fs::directory_entry& entry) {
  const std::string name = entry.path().filename().string();
  return fs::is_regular_file(entry.symlink_status()) && name != "flintlock" &&
         name != Collection::OUTCOMES_FILE && name != MANIFEST_FILE;
}

Manifest manifestOf(const fs::path& folder) {
  Manifest manifest;
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (!isPartOfCopy(entry)) continue;
    manifest[entry.path().filename().string()] = fingerprintOf(entry.path());
  }
  return manifest;
}

Manifest readManifest(const fs::path& copy) {
  std::ifstream lines(copy / MANIFEST_FILE);
  Manifest manifest;
  std::string hash;
  std::string size;
  std::string name;
  while (lines >> hash >> size >> name) manifest[name] = hash.append(1, ' ').append(size);
  return manifest;
}

void copyFiles(const fs::path& from, const fs::path& to) {
  fs::create_directory(to);
  for (const auto& entry : fs::directory_iterator(from)) {
    if (isPartOfCopy(entry)) fs::copy_file(entry.path(), to / entry.path().filename());
  }
}

}  // namespace

void copyWithManifest(const fs::path& from, const fs::path& to) {
  const Manifest manifest = manifestOf(from);
  copyFiles(from, to);
  std::ofstream lines(to / MANIFEST_FILE);
  for (const auto& [name, fingerprint] : manifest) lines << fingerprint << ' ' << name << '\n';
  lines.close();
  if (!lines) refuseByErrno("Writing", to / MANIFEST_FILE);
}

void checkManifest(const fs::path& copy) {
  const Manifest listed = readManifest(copy);
  if (!listed.empty() && listed == manifestOf(copy)) return;
  refuse(
      MessageId::BACKUP_DAMAGED,
      "The copy in " + copy.string() + " is not what its list of hashes says; take another backup");
}

void copyListed(const fs::path& copy, const fs::path& to) { copyFiles(copy, to); }

}  // namespace orvix::server
