// SPDX-License-Identifier: Apache-2.0
#include "infra/util/qorBase64.h"

namespace orvix::util {

namespace {

constexpr char ALPHABET[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

unsigned int byteAt(const char* in, std::size_t length, std::size_t at) {
  return at < length ? static_cast<unsigned char>(in[at]) : 0U;
}

}  // namespace

std::size_t Base64::encodeSize(std::size_t byteCount) noexcept {
  return byteCount / 3 * 4 + (byteCount % 3 == 0 ? 0 : 4);
}

std::size_t Base64::encode(unsigned short* out, std::size_t outCapacity, const char* in,
                           std::size_t inLength) noexcept {
  const std::size_t units = encodeSize(inLength);
  if (units > outCapacity) return 0;
  for (std::size_t at = 0; at < inLength; at += 3) {
    const unsigned int group = byteAt(in, inLength, at) << 16U |
                               byteAt(in, inLength, at + 1) << 8U | byteAt(in, inLength, at + 2);
    *out++ = static_cast<unsigned char>(ALPHABET[group >> 18U & 63U]);
    *out++ = static_cast<unsigned char>(ALPHABET[group >> 12U & 63U]);
    *out++ = at + 1 < inLength ? static_cast<unsigned char>(ALPHABET[group >> 6U & 63U]) : u'=';
    *out++ = at + 2 < inLength ? static_cast<unsigned char>(ALPHABET[group & 63U]) : u'=';
  }
  return units;
}

}  // namespace orvix::util
