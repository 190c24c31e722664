// SPDX-License-Identifier: Apache-2.0
// The checksum finds accidents, not forgeries: its key is no secret.
#include "server/qorOutcomeFile.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fcntl.h>
#include <fstream>
#include <sodium.h>
#include <sstream>
#include <string_view>
#include <unistd.h>
#include <utility>

#include "infra/bytes/internal/qorByteReader.h"
#include "infra/bytes/internal/qorByteWriter.h"
#include "server/qorDescriptor.h"
#include "server/qorReplyWriter.h"
#include "server/qorServerWords.h"
#include "server/qorStoredPairs.h"
#include "server/qorSync.h"

namespace orvix::server {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view NUMBER = "number";
constexpr std::string_view TIME = "time";
constexpr std::string_view SPENT = "spent";
constexpr const char* WHAT = "The file of outcomes";
constexpr std::size_t HEAD_SIZE = 4 + crypto_shorthash_BYTES;

std::string checksumOf(std::string_view bytes) {
  static constexpr std::array<unsigned char, crypto_shorthash_KEYBYTES> KEY{};
  std::array<unsigned char, crypto_shorthash_BYTES> sum{};
  crypto_shorthash(sum.data(), reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(),
                   KEY.data());
  return {sum.begin(), sum.end()};
}

std::string recordOf(const std::string& pairs) {
  std::array<char, 4> length{};
  oss::storeU32(length.data(), oss::cutToU32(pairs.size()));
  return std::string(length.data(), length.size()) + checksumOf(pairs) + pairs;
}

std::string recordOf(const Outcome& outcome) {
  std::string pairs;
  putPair(pairs, NUMBER, std::to_string(outcome.number));
  putPair(pairs, TIME, std::to_string(outcome.settledAt));
  putPair(pairs, words().doc, outcome.key);
  if (outcome.fault) {
    putPair(pairs, words().messageId, messageIdText(outcome.fault->id));
    putPair(pairs, words().messageText, cutAtCharacter(outcome.fault->text, MAX_MESSAGE_TEXT));
  }
  return recordOf(pairs);
}

/// The pairs of the next whole record; nothing at the end or where the bytes are torn.
std::optional<std::string_view> takeRecord(oss::ByteReader& reader) {
  const auto length = reader.u32();
  const auto checksum = length ? reader.bytes(crypto_shorthash_BYTES) : std::nullopt;
  const auto pairs = checksum ? reader.bytes(*length) : std::nullopt;
  if (!pairs || checksumOf(*pairs) != *checksum) return std::nullopt;
  return pairs;
}

std::uint64_t wholeNumber(std::string_view text) noexcept {
  std::uint64_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

void dropUpTo(std::deque<Outcome>& outcomes, std::uint64_t number) {
  while (!outcomes.empty() && outcomes.front().number <= number) outcomes.pop_front();
}

void applyRecord(std::string_view pairs, std::deque<Outcome>& outcomes) {
  Outcome outcome;
  oss::ByteReader reader(pairs);
  while (reader.remaining() != 0) {
    const auto [key, value] = takeStoredPair(reader, WHAT);
    if (key == SPENT) return dropUpTo(outcomes, wholeNumber(value));
    if (key == NUMBER) outcome.number = wholeNumber(value);
    if (key == TIME) outcome.settledAt = static_cast<std::time_t>(wholeNumber(value));
    if (key == words().doc) outcome.key = value;
    if (key == words().messageId) outcome.fault = Fault{messageIdOf(value), {}};
    if (key == words().messageText && outcome.fault) outcome.fault->text = value;
  }
  outcomes.push_back(std::move(outcome));
}

std::string contentOf(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  std::ostringstream bytes;
  if (stream) bytes << stream.rdbuf();
  return std::move(bytes).str();
}

void writeAll(int descriptor, std::string_view bytes, const fs::path& file) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) refuseByErrno("Writing", file);
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

}  // namespace

std::deque<Outcome> OutcomeFile::load() {
  std::deque<Outcome> outcomes;
  const std::string bytes = contentOf(file_);
  oss::ByteReader reader(bytes);
  goodSize_ = 0;
  records_ = 0;
  while (const auto pairs = takeRecord(reader)) {
    applyRecord(*pairs, outcomes);
    goodSize_ += HEAD_SIZE + pairs->size();
    ++records_;
  }
  return outcomes;
}

void OutcomeFile::append(const std::deque<Outcome>& outcomes, std::size_t from) {
  std::string bytes;
  for (std::size_t i = from; i < outcomes.size(); ++i) bytes += recordOf(outcomes[i]);
  write(bytes, true);
  records_ += outcomes.size() - std::min(from, outcomes.size());
}

void OutcomeFile::spend(std::uint64_t upTo) {
  std::string pairs;
  putPair(pairs, SPENT, std::to_string(upTo));
  write(recordOf(pairs), false);
  ++records_;
}

void OutcomeFile::rewrite(const std::deque<Outcome>& kept) {
  if (kept.empty()) {
    if (::truncate(file_.c_str(), 0) != 0 && errno != ENOENT) refuseByErrno("Emptying", file_);
    goodSize_ = 0;
    records_ = 0;
    return;
  }
  OutcomeFile fresh(file_.string() + ".new");
  fresh.append(kept, 0);
  fs::rename(fresh.file_, file_);
  syncFolder(file_.parent_path());
  goodSize_ = fresh.goodSize_;
  records_ = fresh.records_;
}

/// Cuts off what an earlier failure left behind, so that whole records never follow a torn one.
void OutcomeFile::write(const std::string& bytes, bool sync) {
  const bool known = fs::exists(file_);
  const Descriptor opened(::open(file_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
  if (!opened) refuseByErrno("Opening", file_);
  if (::ftruncate(opened.get(), static_cast<off_t>(goodSize_)) != 0) {
    refuseByErrno("Cutting", file_);
  }
  writeAll(opened.get(), bytes, file_);
  if (sync && ::fdatasync(opened.get()) != 0) refuseByErrno("Syncing", file_);
  if (sync && !known) syncFolder(file_.parent_path());
  goodSize_ += bytes.size();
}

}  // namespace orvix::server
