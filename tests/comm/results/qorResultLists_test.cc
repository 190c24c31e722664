// SPDX-License-Identifier: Apache-2.0
// The caller's cursors: order, counts, what a drained list does, and who owns the raw keys.
#include "comm/results/qorParseResponse.h"
#include "comm/results/qorSearchResponse.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "tests/comm/response/qorReplyDriver.h"

namespace orvix::test {
namespace {

void add(comm::SearchResponse& list, const std::string& name) { list.append(hit(name)); }
void add(comm::ParseResponse& list, const std::string& name) { list.append(outcome(name)); }

template <class List>
std::string drain(List& list) {
  std::string names;
  while (list.hasMore()) names += nameOf(list.getNext());
  EXPECT_EQ(list.count(), 0);
  return names;
}

template <class List>
class ResultLists : public testing::Test {};
using Lists = testing::Types<comm::SearchResponse, comm::ParseResponse>;
TYPED_TEST_SUITE(ResultLists, Lists);

TYPED_TEST(ResultLists, HandOutInOrderAndStartOverWhenARecordArrivesDrained) {
  TypeParam list;
  const auto& none = list.getNext();  // a record without a raw key is copied without one
  TypeParam copy;
  copy.append(none);
  EXPECT_EQ(nameOf(TypeParam(copy).getNext()), "");
  EXPECT_EQ(drain(list), "");
  for (const char* name : {"a", "b", "c"}) add(list, name);
  EXPECT_EQ(nameOf(list.getNext()), "a");
  EXPECT_EQ(list.count(), 2);
  add(list, "d");
  EXPECT_EQ(drain(list), "bcd");
  EXPECT_EQ(&list.getNext(), &none);  // an empty one
  EXPECT_EQ(drain(list), "");
  add(list, "e");
  EXPECT_EQ(list.count(), 1);
  EXPECT_EQ(nameOf(list.getNext()), "a");
  EXPECT_FALSE(list.hasMore());
  list.reset();
  EXPECT_EQ(&list.getNext(), &none);
  add(list, "x");
  add(list, "y");
  EXPECT_EQ(drain(list), "xy");
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
  original->getNext();
  original.reset();
  EXPECT_EQ(drain(copy), "bc");
  EXPECT_EQ(drain(assigned), "bc");
  assigned = copy;
  add(assigned, "z");
  EXPECT_EQ(drain(assigned), "a");
}

}  // namespace
}  // namespace orvix::test
