// SPDX-License-Identifier: Apache-2.0
// CSV files to rows and documents: what RFC 4180 allows, what it does not, and where it was.
#include "cli/qorCtlCsv.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "cli/qorCtlDocumentSource.h"
#include "tests/support/qorFolder.h"

namespace {

using namespace orvix::ctl;

/// "line:cell|cell" of a row, "line!problem" of what is none.
std::vector<std::string> rowsOf(const std::string& bytes, CsvLimits limits = {100}) {
  const orvix::test::Folder folder;
  ByteInput input(folder.file("rows.csv", bytes));
  CsvReader reader(input, limits);
  std::vector<std::string> rows;
  std::uint64_t read = 0;
  while (const auto row = reader.next()) {
    std::string text = std::to_string(row->line) + (row->problem.empty() ? ":" : "!");
    for (std::size_t at = 0; at < row->cells.size() && row->problem.empty(); ++at) {
      text += (at == 0 ? "" : "|") + row->cells[at];
    }
    rows.push_back(text + row->problem);
    read += row->bytes;
  }
  EXPECT_LE(read, bytes.size());
  return rows;
}

using Texts = std::vector<std::string>;

TEST(CsvRows, AreReadAsTheStandardHasThem) {
  struct Case {
    const char* name;
    std::string bytes;
    Texts rows;
  };
  const Case cases[] = {
      {"line feeds", "a,b\n1,2\n", {"1:a|b", "2:1|2"}},
      {"carriage returns too, no end", "a,b\r\n1,2", {"1:a|b", "2:1|2"}},
      {"a carriage return at the end", "a,b\r", {"1:a|b"}},
      {"empty cells", ",\n,,\n", {"1:|", "2:||"}},
      {"blank lines", "\n\r\na\n\n", {"3:a"}},
      {"an empty cell in quotes is no blank line", "\"\"\n", {"1:"}},
      {"commas and quotes in quotes", "\"a,\"\"b\"\"\",c\n", {"1:a,\"b\"|c"}},
      {"line ends in quotes", "\"a\r\nb\n\",c\nd,e\n", {"1:a\r\nb\n|c", "4:d|e"}},
      {"closed at the very end", "\"a\"", {"1:a"}},
      {"a mark of byte order",
       "\xef\xbb\xbf"
       "a,b",
       {"1:a|b"}},
      {"the same before quotes", "\xef\xbb\xbf\"a,\",b", {"1:a,|b"}},
      {"what only starts like one", "\xef\xbc\xa1,b", {"1:\xef\xbc\xa1|b"}},
      {"nothing", "", {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(rowsOf(c.bytes), c.rows);
  }
}

TEST(CsvRows, WhatIsNoneIsNamedAndPassedOver) {
  struct Case {
    const char* name;
    std::string row;
    const char* says;
  };
  const Case cases[] = {
      {"a quote in a plain cell", "x\"y,z", "a quote within a cell without quotes"},
      {"text behind quotes", "\"x\"y,z", "text behind the closing quote"},
      {"a lone carriage return", "x\ry", "a carriage return outside of quotes"},
      {"too long", std::string(101, 'x'), "more than 100 bytes"},
      {"too long in quotes", '"' + std::string(101, 'x') + "\n\"", "more than 100 bytes"},
      {"too many cells", ",,,,", "more than 4 cells"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Texts rows = rowsOf("a,b\n" + c.row + "\n1,2\n", {100, 4});
    ASSERT_EQ(rows.size(), 3U);
    EXPECT_EQ(rows[0], "1:a|b");
    EXPECT_EQ(rows[1].find("2!"), 0U) << rows[1];
    EXPECT_NE(rows[1].find(c.says), std::string::npos) << rows[1];
    EXPECT_NE(rows[2].find(":1|2"), std::string::npos) << rows[2];
  }
  EXPECT_EQ(rowsOf("a\n\"b\n\nc"),
            (Texts{"1:a", "2!the quotes that open on line 2 are not closed"}));
}

TEST(CsvRows, EveryCutEndsInARowOrInOpenQuotes) {
  const std::string whole = "k,\"c\"\"d\"\r\n1,\"a\nb\"\r\n2,x\r\n";
  for (std::size_t cut = 1; cut < whole.size(); ++cut) {
    SCOPED_TRACE(cut);
    const Texts rows = rowsOf(whole.substr(0, cut));
    ASSERT_FALSE(rows.empty());
    const bool open = rows.back().find('!') != std::string::npos;
    EXPECT_EQ(open, (cut > 2 && cut < 8 && cut != 5) || (cut > 12 && cut < 17)) << rows.back();
  }
}

/// key/content/fields of a document, "! text" of a problem.
Texts documentsOf(const std::string& bytes, const SourceOptions& options = {}) {
  Texts all;
  const orvix::test::Folder folder;
  const auto source = openPaths({folder.file("rows.csv", bytes)}, options);
  while (const auto item = source->next()) {
    if (const auto* problem = std::get_if<SourceProblem>(&item->what)) {
      all.push_back("! " + problem->text.substr(problem->text.find("line")));
      continue;
    }
    const auto& document = std::get<Document>(item->what);
    std::string text = document.key + '/' + document.content;
    for (const Field& field : document.fields) text += '/' + field.name + '=' + field.value;
    all.push_back(text + (document.omittedMembers == 0 ? "" : " omitted"));
  }
  return all;
}

TEST(CsvDocuments, TakeKeyContentAndFieldsFromTheirColumns) {
  EXPECT_EQ(documentsOf("year,key,content,\n1999,a,x,\n,b,,z\n"),
            (Texts{"a/x/year=1999", "b/ omitted"}));
  SourceOptions options;
  options.keyMember = "isbn";
  options.contentMember = "text";
  options.mappings = {{"title", "name"}, {"sortTitle", "name"}};
  EXPECT_EQ(documentsOf("isbn,name,text,key\n1,N,\xff,k\n", options),
            (Texts{"1/\xff/title=N/sortTitle=N/key=k"}));
}

TEST(CsvDocuments, ProblemsNameTheLineAndTheRemedy) {
  struct Case {
    const char* name;
    std::string bytes;
    Texts all;
  };
  const Case cases[] = {
      {"no such key",
       "id;content\n1;x\n",
       {"! line 1: there is no column 'key'; name another one with --key; there are 'id;content'"}},
      {"no such content",
       "key,text\n1,x\n",
       {"! line 1: there is no column 'content'; name another one with --content; there are 'key', "
        "'text'"}},
      {"a column twice",
       "key,key,content\n",
       {"! line 1: two columns are called 'key'; rename one"}},
      {"a short row",
       "key,content\n1\n2,y\n",
       {"! line 2: it has 1 cells, but the header row has 2", "2/y"}},
      {"an empty key", "key,content\n,x\n", {"! line 2: the key is empty"}},
      {"a field that is not UTF-8",
       "key,content,f\n1,x,\xff\n",
       {"! line 2: the cell of 'f' is not UTF-8; convert the file"}},
      {"an empty file", "", {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(documentsOf(c.bytes), c.all);
  }
}

}  // namespace
