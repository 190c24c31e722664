// SPDX-License-Identifier: Apache-2.0
// The file is opened anew for each look: on network storage only that asks the other side. It always
// has the same size, so that it can be written even to a disk that is full.
#include "server/qorRole.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sodium.h>
#include <unistd.h>
#include <utility>

#include "server/qorDescriptor.h"
#include "server/qorSync.h"

namespace orvix::server {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t INSTANCE_BYTES = 16;
constexpr std::size_t ROLE_SIZE = 6 + 20 + 1 + 9 + 2 * INSTANCE_BYTES + 1;

std::string freshInstance() {
  std::array<unsigned char, INSTANCE_BYTES> bytes{};
  randombytes_buf(bytes.data(), bytes.size());
  std::string hex(2 * INSTANCE_BYTES + 1, '\0');
  sodium_bin2hex(hex.data(), hex.size(), bytes.data(), bytes.size());
  hex.pop_back();
  return hex;
}

std::string textOf(std::uint64_t epoch, const std::string& instance) {
  std::array<char, ROLE_SIZE + 1> text{};
  std::snprintf(text.data(), text.size(), "epoch %020llu\ninstance %s\n",
                static_cast<unsigned long long>(epoch), instance.c_str());
  return text.data();
}

bool writeAndSync(const fs::path& file, int flags, const std::string& text) {
  const Descriptor opened(::open(file.c_str(), O_WRONLY | O_CLOEXEC | flags, 0600));
  return opened &&
         ::pwrite(opened.get(), text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()) &&
         ::fsync(opened.get()) == 0;
}

}  // namespace

Role::Role(fs::path folder, bool taking) : folder_(std::move(folder)), file_(folder_ / FILE_NAME) {
  if (sodium_init() < 0) refuse(MessageId::INTERNAL_FAILURE, "libsodium does not start");
  own_.instance = freshInstance();
  if (taking) take();
}

void Role::take() {
  const std::scoped_lock lock(mutex_);
  const auto known = read();
  const std::uint64_t epoch = std::max(own_.epoch, known ? known->epoch : 0) + 1;
  write({epoch, own_.instance});
  own_.epoch = epoch;
  loss_.reset();
  lost_ = false;
}

void Role::require() {
  const std::scoped_lock lock(mutex_);
  look();
}

void Role::requireAtOnce() {
  const std::unique_lock lock(mutex_, std::try_to_lock);
  if (lock) look();
}

void Role::look() {
  if (!loss_) {
    const auto holder = read();
    if (holder == own_) return;
    const std::string seen =
        holder ? "epoch " + std::to_string(holder->epoch) + " of instance " + holder->instance
               : std::string("nobody");
    loss_ = Fault{MessageId::READ_ONLY,
                  "Another server has taken over the data directory " + folder_.string() + " (" +
                      file_.string() + " names " + seen + ", this one has epoch " +
                      std::to_string(own_.epoch) +
                      "); this one only reads from now on. Stop one of them; a takeover request "
                      "or a restart makes this one write again"};
    lost_ = true;
  }
  refuse(loss_->id, loss_->text);
}

std::uint64_t Role::epoch() const {
  const std::scoped_lock lock(mutex_);
  return own_.epoch;
}

/// Nothing when there is no file.
std::optional<Role::Holder> Role::read() const {
  const Descriptor opened(::open(file_.c_str(), O_RDONLY | O_CLOEXEC));
  if (!opened && errno == ENOENT) return std::nullopt;
  if (!opened) refuseByErrno("Opening", file_);
  std::array<char, ROLE_SIZE + 2> text{};
  const ssize_t size = ::pread(opened.get(), text.data(), ROLE_SIZE + 1, 0);
  if (size < 0) refuseByErrno("Reading", file_);
  unsigned long long epoch = 0;
  std::array<char, 2 * INSTANCE_BYTES + 1> instance{};
  const bool filled =
      std::sscanf(text.data(), "epoch %20llu\ninstance %32[0-9a-f]", &epoch, instance.data()) == 2;
  if (!filled || textOf(epoch, instance.data()) != text.data()) {
    refuse(MessageId::STORAGE_FAILED, "The file " + file_.string() +
                                          " does not tell who may write; when no other server uses "
                                          "the data directory, remove it and restart");
  }
  return Holder{epoch, instance.data()};
}

/// Either by a new file or, without room for one, over the old one: its few bytes lie in one sector.
void Role::write(const Holder& holder) const {
  const std::string text = textOf(holder.epoch, holder.instance);
  const fs::path fresh = file_.string() + ".new";
  if (writeAndSync(fresh, O_CREAT | O_TRUNC, text)) {
    if (std::rename(fresh.c_str(), file_.c_str()) != 0) refuseByErrno("Replacing", file_);
    return syncFolder(folder_);
  }
  ::unlink(fresh.c_str());
  if (!writeAndSync(file_, 0, text)) refuseByErrno("Writing", file_);
}

}  // namespace orvix::server
