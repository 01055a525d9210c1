#include <gtest/gtest.h>
#include <string.h>

#include <map>
#include <random>
#include <vector>

#include "platform/indxobj.h"

namespace {

// Positive: a sorts before b.
int by_number(const void *a, const void *b) {
  return *static_cast<const int *>(b) - *static_cast<const int *>(a);
}

struct list_of_numbers {
  list_of_numbers() { created = indxobj_create(&list, 1, 2, by_number, 3); }
  ~list_of_numbers() { indxobj_destroy(&list); }
  indxobj_t list = {};
  int created;
};

bool all_zero(const indxobj_t &list) {
  const indxobj_t zero = {};
  return memcmp(&list, &zero, sizeof list) == 0;
}

TEST(IndexList, CreateAnswersTwo) {
  list_of_numbers numbers;
  EXPECT_EQ(numbers.created, 2);
}

TEST(IndexList, CreateOfAListThatExistsIsRefusedAndKeepsIt) {
  list_of_numbers numbers;
  int key = 5;
  indxobj_add(&numbers.list, &key, &key);
  EXPECT_EQ(indxobj_create(&numbers.list, 0, 0, by_number, 0), 0);
  EXPECT_EQ(indxobj_find(&numbers.list, &key, 0), &key);
}

TEST(IndexList, CreateWithoutAnOrderIsRefused) {
  indxobj_t list = {};
  EXPECT_EQ(indxobj_create(&list, 0, 0, nullptr, 0), 0);
  EXPECT_TRUE(all_zero(list));
}

TEST(IndexList, DuplicateKeyIsRefusedAndTheFirstStays) {
  list_of_numbers numbers;
  int key = 5, same = 5, first = 1, second = 2;
  EXPECT_NE(indxobj_add(&numbers.list, &key, &first), 0);
  EXPECT_EQ(indxobj_add(&numbers.list, &same, &second), 0);
  EXPECT_EQ(indxobj_find(&numbers.list, &same, 0), &first);
}

TEST(IndexList, FindKeepsTheElementAndRemoveReturnsIt) {
  list_of_numbers numbers;
  int key = 5, data = 1;
  indxobj_add(&numbers.list, &key, &data);
  EXPECT_EQ(indxobj_find(&numbers.list, &key, 0), &data);
  EXPECT_EQ(indxobj_find(&numbers.list, &key, 0), &data);
  EXPECT_EQ(indxobj_remove(&numbers.list, &key), &data);
  EXPECT_EQ(indxobj_remove(&numbers.list, &key), nullptr);
  EXPECT_EQ(indxobj_find(&numbers.list, &key, 0), nullptr);
  EXPECT_NE(indxobj_add(&numbers.list, &key, &data), 0);
}

TEST(IndexList, AbsentKeyBesidePresentOnesIsNull) {
  list_of_numbers numbers;
  int keys[] = {10, 20, 30};
  for (int &key : keys) {
    indxobj_add(&numbers.list, &key, &key);
  }
  for (int absent : {0, 15, 25, 99}) {
    EXPECT_EQ(indxobj_find(&numbers.list, &absent, 0), nullptr) << absent;
    EXPECT_EQ(indxobj_remove(&numbers.list, &absent), nullptr) << absent;
  }
}

TEST(IndexList, ListThatWasNeverCreatedHoldsNothing) {
  indxobj_t list = {};
  int key = 1;
  EXPECT_EQ(indxobj_add(&list, &key, &key), 0);
  EXPECT_EQ(indxobj_find(&list, &key, 0), nullptr);
  EXPECT_EQ(indxobj_remove(&list, &key), nullptr);
  EXPECT_EQ(indxobj_destroy(&list), 0);
}

TEST(IndexList, DestroyLeavesZerosAndTheListCanBeCreatedAgain) {
  indxobj_t list = {};
  int key = 1;
  indxobj_create(&list, 0, 0, by_number, 0);
  indxobj_add(&list, &key, &key);
  EXPECT_EQ(indxobj_destroy(&list), 0);
  EXPECT_TRUE(all_zero(list));
  EXPECT_EQ(indxobj_create(&list, 0, 0, by_number, 0), 2);
  EXPECT_EQ(indxobj_find(&list, &key, 0), nullptr);
  indxobj_destroy(&list);
}

TEST(IndexList, KeysInAnyOrderAgreeWithAMap) {
  list_of_numbers numbers;
  std::vector<int> keys(500);
  for (int i = 0; i < 500; ++i) {
    keys[static_cast<size_t>(i)] = i;
  }
  std::mt19937 random(7);
  std::map<int, int *> model;
  for (int step = 0; step < 20'000; ++step) {
    int &key = keys[random() % keys.size()];
    if (random() % 2 == 0) {
      EXPECT_EQ(indxobj_add(&numbers.list, &key, &key) != 0, model.emplace(key, &key).second);
    } else {
      EXPECT_EQ(indxobj_remove(&numbers.list, &key) == &key, model.erase(key) == 1);
    }
    int &asked = keys[random() % keys.size()];
    EXPECT_EQ(indxobj_find(&numbers.list, &asked, 0), model.count(asked) ? &asked : nullptr);
  }
}

}  // namespace
