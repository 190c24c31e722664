// SPDX-License-Identifier: Apache-2.0
// Backups at paths: below the configured roots, on whatever file system, and nowhere else.
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "server/qorBackup.h"
#include "server/qorRefusal.h"
#include "tests/support/qorFolder.h"

namespace orvix::server {
namespace {

namespace fs = std::filesystem;

/// "" when the work succeeds, else the refusal's identifier and text.
template <typename Work>
std::string refusalOf(const Work& work) {
  try {
    work();
    return "";
  } catch (const Refusal& refusal) {
    return std::string(messageIdText(refusal.fault().id)) + " " + refusal.fault().text;
  }
}

class BackupsAtPaths : public ::testing::Test {
 protected:
  BackupsAtPaths() { fs::create_directories(disk_); }

  void fill() {
    store_.create("c", CollectionConfig{"c", "en", {}});
    Collection& collection = store_.open("c");
    DocumentBody body;
    body.key = "k";
    body.content = "word";
    collection.add(body, {});
    collection.commit();
  }
  Xapian::doccount documents() { return store_.open("c").reader().get_doccount(); }
  std::string take(const std::string& path) {
    return refusalOf([&] { backups_.take(path, "c"); });
  }
  std::string restore(const std::string& path) {
    return refusalOf([&] { backups_.restore(path, "c", OnExisting::REPLACE); });
  }

  test::Folder folder_;
  fs::path top_ = folder_.path();
  fs::path data_ = top_ / "data";
  fs::path disk_ = top_ / "disk";
  DataDirectory directory_{data_};
  CollectionStore store_{directory_};
  Backups backups_{directory_, store_, BackupRoots({disk_.string() + "/", "/dev/shm"}, data_)};
};

TEST_F(BackupsAtPaths, BringBackWhatTheySaw) {
  fill();
  const test::Folder memory("/dev/shm");
  const fs::path& shared = memory.path();
  struct stat here {};
  struct stat there {};
  if (shared.empty() || ::stat(top_.c_str(), &here) != 0 || ::stat(shared.c_str(), &there) != 0 ||
      here.st_dev == there.st_dev) {
    GTEST_SKIP() << "/dev/shm is no file system of its own that can be written to";
  }
  for (const fs::path& path : {disk_ / "2024" / "monday", shared / "new" / "er"}) {
    SCOPED_TRACE(path);
    fs::create_directories(path / "unfinished" / "left-behind");
    ASSERT_EQ(take(path), "");
    ASSERT_EQ(take(path), "") << "the second replaces the first";
    EXPECT_TRUE(fs::exists(path / "n-c" / "manifest"));
    EXPECT_FALSE(fs::exists(path / "unfinished"));
    store_.drop("c");
    ASSERT_EQ(refusalOf([&] { backups_.restore(path.string(), "", OnExisting::REFUSE); }), "");
    EXPECT_EQ(documents(), 1U);
    std::ofstream(path / "n-c" / "postlist.glass", std::ios::app) << 'x';
    EXPECT_NE(restore(path).find("SRV_BACKUP_DAMAGED The copy in " + path.string()),
              std::string::npos);
  }
  EXPECT_TRUE(fs::is_empty(data_ / "scratch"));
}

TEST_F(BackupsAtPaths, LeaveTheRootsByNoWay) {
  fill();
  fs::create_directory_symlink(data_, disk_ / "link");
  fs::create_directory(disk_ / "real");
  fs::create_directory_symlink(data_ / "collections" / "n-c", disk_ / "real" / "n-c");
  std::ofstream(disk_ / "file") << 'x';
  const std::string disk = disk_.string();
  const struct {
    std::string path;
    std::string part;
  } cases[] = {
      {"/elsewhere/b", "below " + disk},    {disk, "below " + disk},
      {disk + "/", "below " + disk},        {disk + "er/b", "below " + disk},
      {disk + "/../data", ". or .."},       {disk + "/a/..", ". or .."},
      {disk + "/link/b", "symbolic link"},  {disk + "/link", "symbolic link"},
      {disk + "/a/n-c/b", "start with n-"}, {disk + "/file/b", "\"file\" in it is no folder"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    for (const std::string& refusal : {take(c.path), restore(c.path)}) {
      EXPECT_EQ(refusal.rfind("SRV_BACKUP_NAME_INVALID", 0), 0U) << refusal;
      EXPECT_NE(refusal.find(c.part), std::string::npos) << refusal;
    }
  }
  EXPECT_EQ(restore(disk + "/absent").rfind("SRV_BACKUP_UNKNOWN", 0), 0U);
  EXPECT_EQ(restore(disk + "/real").rfind("SRV_BACKUP_UNKNOWN", 0), 0U) << "the copy is a link";
  EXPECT_EQ(fs::exists(disk_ / "absent"), false) << "asking makes no folder";
  EXPECT_EQ(documents(), 1U);
}

TEST_F(BackupsAtPaths, NeverEnterTheDataDirectory) {
  fill();
  Backups above(directory_, store_, BackupRoots({top_.string()}, data_));
  for (const char* inside : {"data", "data/collections", "data/collections/other"}) {
    const std::string refusal = refusalOf([&] { above.take((top_ / inside).string(), "c"); });
    EXPECT_NE(refusal.find("lies in the data directory"), std::string::npos) << refusal;
  }
  for (const std::string& root : {(data_ / "backups").string(), std::string("relative")}) {
    EXPECT_NE(refusalOf([&] { BackupRoots({root}, data_); }), "") << root;
  }
  Backups rootless(directory_, store_);
  EXPECT_NE(refusalOf([&] { rootless.take("/b", "c"); }).find("--backup-root"), std::string::npos);
}

}  // namespace
}  // namespace orvix::server
