// SPDX-License-Identifier: Apache-2.0
// Paths to documents: order, keys, fields, limits, and which line or file a problem is in.
#include "cli/qorCtlDocumentSource.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <utility>
#include <vector>

#include "cli/qorCtlExit.h"
#include "tests/support/qorFolder.h"

namespace {

using namespace orvix::ctl;
namespace fs = std::filesystem;

class TemporaryFolder : public ::testing::Test {
 protected:
  std::string file(const std::string& name, const std::string& bytes) const {
    return folder.file(name, bytes);
  }

  orvix::test::Folder folder;
  const fs::path& root = folder.path();
};

/// "key=content" of a document, "! text" of a problem.
std::vector<std::string> readAll(const std::vector<std::string>& paths,
                                 const SourceOptions& options = {}) {
  std::vector<std::string> all;
  const auto source = openPaths(paths, options);
  while (const auto item = source->next()) {
    if (const auto* document = std::get_if<Document>(&item->what)) {
      all.push_back(document->key + '=' + document->content);
    } else {
      all.push_back("! " + std::get<SourceProblem>(item->what).text);
    }
  }
  return all;
}

using Texts = std::vector<std::string>;

class Folders : public TemporaryFolder {};
class NdjsonFiles : public TemporaryFolder {};

TEST_F(Folders, AreWalkedInNameOrderWithKeysRelativeToThem) {
  file("d/b.txt", "2");
  file("d/a/z.txt", "1");
  file("d/a.ndjson", "not a line of JSON");
  file("d/c/deep/er", "");
  EXPECT_EQ(readAll({(root / "d").string()}),
            (Texts{"a/z.txt=1", "a.ndjson=not a line of JSON", "b.txt=2", "c/deep/er="}));
  EXPECT_EQ(readAll({(root / "d").string() + "/"}).size(), 4U);
}

TEST_F(Folders, WhatIsNoFileIsPassedOverAndLoopsEnd) {
  file("d/a", "1");
  ASSERT_EQ(mkfifo((root / "d/fifo").c_str(), 0600), 0);
  fs::create_directory_symlink(root / "d", root / "d/loop");
  fs::create_symlink(root / "d/a", root / "d/link");
  EXPECT_EQ(readAll({(root / "d").string()}), (Texts{"a=1", "link=1"}));
}

TEST_F(Folders, AProblemIsReportedAndTheRestFollows) {
  file("d/a", "1");
  file("d/big", std::string(101, 'x'));
  file("d/full", std::string(100, 'x'));
  fs::create_symlink(root / "nowhere", root / "d/gone");
  SourceOptions options;
  options.maxBytes = 100;
  const Texts all = readAll({(root / "d").string()}, options);
  ASSERT_EQ(all.size(), 4U);
  EXPECT_EQ(all[0], "a=1");
  EXPECT_EQ(all[1], "! '" + (root / "d/big").string() + "' has more than 100 bytes; split it");
  EXPECT_EQ(all[2], "full=" + std::string(100, 'x'));
  EXPECT_EQ(all[3].find("! '" + (root / "d/gone").string() + "' cannot be read"), 0U) << all[3];
}

TEST_F(Folders, NamedPathsComeInTheOrderGiven) {
  const std::string second = file("x/second.txt", "2");
  file("d/first", "1");
  EXPECT_EQ(readAll({second, (root / "d").string()}), (Texts{"second.txt=2", "first=1"}));
  EXPECT_EQ(measurePaths({second, root.string()}), 3U);
}

TEST_F(Folders, AMissingPathIsALocalFailureThatNamesIt) {
  try {
    requirePaths({root.string(), (root / "no").string()});
    FAIL();
  } catch (const CtlFailure& failure) {
    EXPECT_EQ(failure.code(), ExitCode::LOCAL_FILE);
    EXPECT_NE(std::string(failure.what()).find((root / "no").string()), std::string::npos);
  }
}

TEST_F(NdjsonFiles, MembersBecomeKeyContentAndFields) {
  const std::string path = file(
      "a.jsonl",
      R"({"id":7,"text":"x","title":"A \u00e9","year":1999,"price":-1.5,"tags":[1],"no":null,"b":true})");
  SourceOptions options;
  options.keyMember = "id";
  options.contentMember = "text";
  const auto source = openNdjson(path, options);
  const auto item = source->next();
  ASSERT_TRUE(item);
  const auto& document = std::get<Document>(item->what);
  EXPECT_EQ(document.key, "7");
  EXPECT_EQ(document.content, "x");
  ASSERT_EQ(document.fields.size(), 3U);
  EXPECT_EQ(document.fields[0].name + '=' + document.fields[0].value, "price=-1.5");
  EXPECT_EQ(document.fields[1].name + '=' + document.fields[1].value, "title=A \xc3\xa9");
  EXPECT_EQ(document.fields[2].name + '=' + document.fields[2].value, "year=1999");
  EXPECT_EQ(document.omittedMembers, 3U);
  EXPECT_FALSE(source->next());
}

TEST_F(NdjsonFiles, BadLinesAreNamedByNumberAndPassedOver) {
  struct Case {
    const char* name;
    std::string line;
    const char* says;
  };
  const Case cases[] = {
      {"no JSON", "hello", "it is not valid JSON: column 1: "},
      {"cut", R"({"key":"a","content":)", "it is not valid JSON"},
      {"trailing text", R"({"key":"a","content":""} x)", "it is not valid JSON"},
      {"no UTF-8", "{\"key\":\"\xff\",\"content\":\"\"}", "it is not valid JSON"},
      {"no object", "[1]", "the line holds no JSON object"},
      {"no key", R"({"content":"x"})", "there is no member 'key'; name another one with --key"},
      {"empty key", R"({"key":"","content":"x"})", "the key is empty"},
      {"no content", R"({"key":"x"})", "there is no member 'content'"},
      {"content is an array", R"({"key":"x","content":[]})", "neither text nor a number"},
      {"too long", R"({"key":"x","content":")" + std::string(200, 'y') + "\"}",
       "it has more than 128 bytes; split it"},
  };
  SourceOptions options;
  options.maxBytes = 128;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string path = file("a.ndjson", R"({"key":"1","content":"a"})"
                                              "\n\n" +
                                                  c.line + "\n" + R"({"key":"4","content":"b"})");
    const Texts all = readAll({path}, options);
    ASSERT_EQ(all.size(), 3U);
    EXPECT_EQ(all[0], "1=a");
    EXPECT_EQ(all[1].find("! '" + path + "' line 3: "), 0U) << all[1];
    EXPECT_NE(all[1].find(c.says), std::string::npos) << all[1];
    EXPECT_EQ(all[2], "4=b");
  }
}

TEST_F(NdjsonFiles, LineEndsAndAByteOrderMarkDoNotMatter) {
  const std::string line = R"({"key":"k","content":"c"})";
  for (const std::string& bytes : {line, line + "\n", line + "\r\n\r\n", "\xef\xbb\xbf" + line}) {
    EXPECT_EQ(readAll({file("a.ndjson", bytes)}), Texts{"k=c"}) << bytes;
  }
  EXPECT_EQ(readAll({file("empty.ndjson", "")}), Texts{});
}

TEST_F(NdjsonFiles, AnyNamedFileIsOneWhenItsMembersAreNamed) {
  const std::string path = file("lines.txt", R"({"key":"k","content":"c"})");
  EXPECT_EQ(readAll({path}), Texts{R"(lines.txt={"key":"k","content":"c"})"});
  SourceOptions options;
  options.namedFilesAreNdjson = true;
  EXPECT_EQ(readAll({path}, options), Texts{"k=c"});
}

TEST_F(NdjsonFiles, ItemsAddUpToTheBytesOfTheFile) {
  const std::string text = R"({"key":"k","content":"c"})"
                           "\nbad\n";
  std::uint64_t bytes = 0;
  const auto source = openNdjson(file("a.ndjson", text), {});
  while (const auto item = source->next()) bytes += item->bytes;
  EXPECT_EQ(bytes, text.size());
}

TEST(FieldMarksTest, PrefixTheNamesThatWereGiven) {
  const FieldMarks marks({"title", "both"}, {"year", "both"});
  EXPECT_EQ(marks.wireName("title"), u"Indexable:title");
  EXPECT_EQ(marks.wireName("year"), u"[sortable]year");
  EXPECT_EQ(marks.wireName("both"), u"Indexable:[sortable]both");
  EXPECT_EQ(marks.wireName("other"), u"other");
}

}  // namespace
