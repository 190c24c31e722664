// SPDX-License-Identifier: Apache-2.0
// The prefix keeps "." and ".." and the server's own files out of the range of the mapping.
#include "server/qorNameEncoding.h"

#include <cstddef>

namespace orvix::server {

namespace {

constexpr std::string_view PREFIX = "n-";
constexpr std::string_view HEX = "0123456789ABCDEF";
constexpr std::size_t MAX_FOLDER_NAME = 200;

bool isPlain(char byte) noexcept {
  return (byte >= 'a' && byte <= 'z') || (byte >= '0' && byte <= '9') || byte == '_' || byte == '-';
}

}  // namespace

std::optional<std::string> folderNameOf(std::string_view name) {
  std::string folder(PREFIX);
  for (const char byte : name) {
    if (isPlain(byte)) {
      folder += byte;
    } else {
      const auto value = static_cast<unsigned char>(byte);
      folder += {'%', HEX[value / HEX.size()], HEX[value % HEX.size()]};
    }
    if (folder.size() > MAX_FOLDER_NAME) return std::nullopt;
  }
  if (name.empty()) return std::nullopt;
  return folder;
}

std::optional<std::string> nameOfFolder(std::string_view folder) {
  if (!folder.starts_with(PREFIX)) return std::nullopt;
  std::string name;
  for (std::size_t i = PREFIX.size(); i < folder.size(); ++i) {
    if (folder[i] != '%') {
      name += folder[i];
      continue;
    }
    if (folder.size() - i < 3) return std::nullopt;
    const std::size_t high = HEX.find(folder[i + 1]);
    const std::size_t low = HEX.find(folder[i + 2]);
    if (high == std::string_view::npos || low == std::string_view::npos) return std::nullopt;
    name += static_cast<char>(high * HEX.size() + low);
    i += 2;
  }
  if (folderNameOf(name) != folder) return std::nullopt;
  return name;
}

}  // namespace orvix::server
