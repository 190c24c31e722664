// SPDX-License-Identifier: Apache-2.0
// The caller's cursors: order, counts, what a drained list does, and who owns the raw keys.
#include "comm/results/qorResultLists.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "tests/support/qorWireLiterals.h"

namespace orvix::comm {
namespace {

using wirelit::ExactBytes;
using wirelit::utf8;

/// Appends a hit or an outcome that is called `name`, as a parser does.
void add(SearchResponse& list, const std::string& name) {
  SearchResult record(true);
  const ExactBytes bytes(name);
  record.decode(bytes.raw(), static_cast<unsigned short>(bytes.size()), 1);
  list.append(record);
}

void add(ParseResponse& list, const std::string& name) {
  ParseResult record(true);
  const ExactBytes bytes(wirelit::pairs({{"Doc", name}}));
  record.decode(bytes.raw(), static_cast<unsigned short>(bytes.size()), 1);
  list.append(record);
}

std::string nameOf(const SearchResult& record) {
  return {reinterpret_cast<const char*>(record.getRawKey()), record.getRawKeyLength()};
}
std::string nameOf(const ParseResult& record) { return utf8(record.getText()); }

template <class List>
std::string drain(List& list) {
  std::string names;
  while (list.hasMore()) names += nameOf(list.getNext());
  return names;
}

template <class List>
class ResultLists : public testing::Test {};
using Lists = testing::Types<SearchResponse, ParseResponse>;
TYPED_TEST_SUITE(ResultLists, Lists);

TYPED_TEST(ResultLists, HandOutInOrderAndCountWhatIsLeft) {
  TypeParam list;
  EXPECT_FALSE(list.hasMore());
  EXPECT_EQ(list.count(), 0);
  for (const char* name : {"a", "b", "c"}) add(list, name);
  EXPECT_EQ(list.count(), 3);
  EXPECT_EQ(nameOf(list.getNext()), "a");
  EXPECT_EQ(list.count(), 2);
  EXPECT_TRUE(list.hasMore());
  add(list, "d");
  EXPECT_EQ(drain(list), "bcd");
  EXPECT_EQ(list.count(), 0);
}

TYPED_TEST(ResultLists, StartOverFromTheOldestWhenARecordArrivesDrained) {
  TypeParam list;
  add(list, "a");
  add(list, "b");
  drain(list);
  add(list, "c");
  EXPECT_EQ(list.count(), 1);
  EXPECT_EQ(nameOf(list.getNext()), "a");
  EXPECT_FALSE(list.hasMore());
  list.reset();
  EXPECT_EQ(list.count(), 0);
  add(list, "x");
  add(list, "y");
  EXPECT_EQ(drain(list), "xy");
}

TYPED_TEST(ResultLists, PastTheEndGiveAnEmptyRecordAndStayAsTheyAre) {
  TypeParam list;
  const auto& none = list.getNext();
  add(list, "a");
  EXPECT_EQ(drain(list), "a");
  EXPECT_EQ(&list.getNext(), &none);
  EXPECT_EQ(list.count(), 0);
  list.reset();
  EXPECT_EQ(&list.getNext(), &none);
}

TYPED_TEST(ResultLists, KeepHandedOutRecordsWhereTheyAreWhileOthersArrive) {
  TypeParam list;
  add(list, "first");
  const auto& first = list.getNext();
  for (int i = 0; i < 2000; ++i) add(list, "more");
  EXPECT_EQ(nameOf(first), "first");
  EXPECT_EQ(first.getProperties(), nullptr);
}

TYPED_TEST(ResultLists, CopyDeeplyWithTheirCursor) {
  auto original = std::make_unique<TypeParam>();
  for (const char* name : {"a", "b", "c"}) add(*original, name);
  original->getNext();
  TypeParam copy(*original);
  TypeParam assigned;
  add(assigned, "old");
  assigned = *original;
  TypeParam& itself = assigned;
  assigned = itself;
  TypeParam kept(*original);
  original->getNext();
  original.reset();
  EXPECT_EQ(drain(copy), "bc");
  EXPECT_EQ(drain(assigned), "bc");
  assigned = copy;
  EXPECT_EQ(assigned.count(), 0);
  add(assigned, "z");
  EXPECT_EQ(drain(assigned), "a");
  EXPECT_EQ(drain(kept), "bc");
}

}  // namespace
}  // namespace orvix::comm
