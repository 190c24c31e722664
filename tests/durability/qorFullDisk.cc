// SPDX-License-Identifier: Apache-2.0
#include "tests/durability/qorFullDisk.h"

#include <cerrno>
#include <fcntl.h>
#include <fstream>
#include <memory>
#include <sched.h>
#include <sys/mount.h>
#include <system_error>
#include <unistd.h>
#include <xapian.h>

#include "tests/durability/qorPeer.h"
#include "tests/durability/qorWatchedServer.h"
#include "tests/server/qorServerBytes.h"

namespace orvix::durability {

namespace fs = std::filesystem;
namespace bytes = server::testing;

namespace {

const std::string OF_COLLECTION = "index: c\n";
constexpr const char* OK = "status 1";
constexpr std::size_t ROOM = 1U << 20U;
constexpr int MOST_DOCUMENTS = 5000;  // far more than fit

bool writeLine(const char* file, const std::string& line) {
  std::ofstream stream(file);
  stream << line << std::flush;
  return static_cast<bool>(stream);
}

/// As root within: of a user namespace when the process is not root outside.
bool ownNamespace() {
  if (::unshare(CLONE_NEWNS) != 0) {
    const std::string user = "0 " + std::to_string(::getuid()) + " 1";
    const std::string group = "0 " + std::to_string(::getgid()) + " 1";
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
    if (!writeLine("/proc/self/setgroups", "deny") || !writeLine("/proc/self/uid_map", user) ||
        !writeLine("/proc/self/gid_map", group)) {
      return false;
    }
  }
  return ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

/// One run over the disk. Every document has the word of all and one of its own.
class Run {
 public:
  Run(std::string program, const fs::path& disk)
      : program_(std::move(program)),
        data_(disk / "data"),
        ballast_(disk / "ballast"),
        others_(disk / "others") {}

  FullDiskResult all();

 private:
  void start();
  bool add();
  void batch();
  void fillWithDocuments();
  void fillToTheLastBlock();
  void expect(bool condition, const std::string& what) {
    if (!condition) result_.problems.push_back(what);
  }
  void expectAllFound(const std::string& when);
  void expectNothingTaken();
  void expectError(const std::string& when);

  std::string program_;
  fs::path data_;
  fs::path ballast_;
  fs::path others_;  // whose removal makes room
  std::unique_ptr<WatchedServer> server_;
  std::unique_ptr<Peer> peer_;
  int next_ = 0;
  Keys acknowledged_;
  Keys doubtful_;
  FullDiskResult result_;
};

void Run::start() {
  peer_.reset();
  server_.reset();
  server_ = std::make_unique<WatchedServer>(program_, data_.string(), std::vector<std::string>{});
  peer_ = std::make_unique<Peer>(server_->port());
  expect(server_->port() != 0, "the server does not start");
}

std::string bodyOf(const std::string& key) {
  std::string text = "common " + key;
  for (int i = 0; i < 1000; ++i) text += " " + key + "w" + std::to_string(i);
  return bytes::documentOf(key, text);
}

bool Run::add() {
  const std::string key = "k" + std::to_string(next_++) + "n";
  const auto verdict = peer_->ask("action: addDocument\n" + OF_COLLECTION, bodyOf(key));
  if (verdict == OK) {
    acknowledged_.insert(key);
    return true;
  }
  expect(verdict.has_value(), "the server is gone");
  doubtful_.insert(key);
  ++result_.refused;
  return false;
}

/// Of each document must be told what became of it.
void Run::batch() {
  Keys sent;
  for (int i = 0; i < 20; ++i) {
    const std::string key = "k" + std::to_string(next_++) + "n";
    sent.insert(key);
    peer_->tell("action: asyncAddDocument\n" + OF_COLLECTION, bodyOf(key));
  }
  peer_->tell("action: asyncAddDocument\n" + OF_COLLECTION, bytes::TERMINATOR);
  Keys rejected;
  const auto indexed = peer_->outcomes("c", rejected);
  expect(indexed.has_value(), "the outcomes are not told");
  if (!indexed) return;
  acknowledged_.insert(indexed->begin(), indexed->end());
  doubtful_.insert(rejected.begin(), rejected.end());
  result_.refused += rejected.size();
  Keys told = *indexed;
  told.insert(rejected.begin(), rejected.end());
  expect(told == sent, "not every document of a batch has an outcome");
}

void Run::expectAllFound(const std::string& when) {
  const auto found = peer_->search("c", "common");
  expect(found.has_value(), when + ": the search is not answered");
  if (!found) return;
  for (const std::string& key : acknowledged_) {
    expect(found->contains(key), when + ": " + key + " was acknowledged and is not found");
  }
  for (const std::string& key : *found) {
    const bool known = acknowledged_.contains(key) || doubtful_.contains(key);
    expect(known, when + ": " + key + " is found and was never sent");
  }
}

void Run::expectError(const std::string& when) {
  const std::string status = peer_->ask("action: getStatus\n").value_or("nothing");
  expect(status.starts_with("SRV_"), when + ": the status is " + status);
}

void Run::fillWithDocuments() {
  while (next_ < MOST_DOCUMENTS && add()) {
  }
  expect(result_.refused == 1, "the disk does not fill");
  expect(acknowledged_.size() > 10, "there was hardly room for anything");
  expectError("after the first refusal");
  expectAllFound("after the first refusal");
  batch();
  expectAllFound("after a batch without room");
}

/// What a refused change gave back goes, too.
void Run::fillToTheLastBlock() {
  const int file = ::open(ballast_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  const std::string zeros(4096, '\0');
  while (::write(file, zeros.data(), zeros.size()) > 0) {
  }
  expect(errno == ENOSPC, "the ballast does not fill the disk");
  ::close(file);
}

void Run::expectNothingTaken() {
  for (int i = 0; i < 3; ++i) expect(!add(), "a document was taken without any room");
  expectError("without any room");
  const auto saved = peer_->ask("action: backup\ndataDir: b\n" + OF_COLLECTION);
  expect(saved && saved != OK, "a backup succeeds without any room");
  expectAllFound("without any room");
}

FullDiskResult Run::all() {
  std::ofstream(others_) << std::string(ROOM, '0');
  start();
  expect(peer_->ask("action: createCollection\n" + OF_COLLECTION) == OK, "creating is refused");
  fillWithDocuments();
  fillToTheLastBlock();
  expectNothingTaken();
  expect(server_->terminate(), "the server does not end properly without any room");
  start();
  expectAllFound("started without any room");
  expectNothingTaken();
  fs::remove(others_);
  expect(
      peer_->ask("action: deleteDocument\n" + OF_COLLECTION, bodyOf(*acknowledged_.begin())) == OK,
      "a delete is refused with space again");
  acknowledged_.erase(acknowledged_.begin());
  const std::string status = peer_->ask("action: getStatus\n").value_or("nothing");
  expect(status == OK, "with space again the status is " + status);
  expectAllFound("with space again");
  expect(server_->terminate(), "the server does not end properly");
  start();
  expectAllFound("after a restart");
  peer_.reset();
  server_.reset();
  const std::string collection = (data_ / "collections" / "n-c").string();
  expect(Xapian::Database::check(collection, 0, nullptr) == 0, "the check finds damage");
  result_.acknowledged = acknowledged_.size();
  return result_;
}

}  // namespace

SmallDisk::SmallDisk(const fs::path& folder, unsigned mebibytes) : path_(folder / "disk") {
  fs::create_directories(path_);
  const std::string options = "size=" + std::to_string(mebibytes) + "m";
  mounted_ = ownNamespace() &&
             ::mount("tmpfs", path_.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, options.c_str()) == 0;
  if (!mounted_) why_ = std::generic_category().message(errno);
}

SmallDisk::~SmallDisk() {
  if (mounted_) ::umount2(path_.c_str(), MNT_DETACH);
}

FullDiskResult fillDisk(const std::string& program, const SmallDisk& disk) {
  return Run(program, disk.path()).all();
}

}  // namespace orvix::durability
