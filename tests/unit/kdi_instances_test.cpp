// Instances of a manager: lent, ended, renamed, forgotten where they hold nothing, and never too many.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <thread>

#include "kdi/common/KdiInstances.h"

namespace {

// Counts those that are there, and tells whether one holds anything.
struct Thing {
  explicit Thing(std::string of) : name(std::move(of)) { ++count; }
  Thing(Thing const&) = delete;
  Thing& operator=(Thing const&) = delete;
  ~Thing() {
    --count;
    if (on_end) on_end();
  }

  inline static int count = 0;
  std::string name;
  int value = 0;
  std::function<void()> on_end;
};

class InstancesTest : public testing::Test {
 protected:
  static constexpr std::size_t kMost = 1000;

  Thing* get(std::string const& key) {
    return things_.get(key, [&key] { return std::make_shared<Thing>(key); });
  }
  // Lends so many others that nothing else stays lent to this thread.
  static void forget_what_was_lent() {
    for (std::size_t i = 0; i < kdi::kLentAtOnce; ++i) kdi::lend(std::make_shared<int>(0));
  }

  void SetUp() override { forget_what_was_lent(); }
  void TearDown() override {
    things_.clear();
    forget_what_was_lent();
    EXPECT_EQ(Thing::count, 0);
  }

  kdi::Instances<std::string, Thing> things_{kMost, [](Thing const& thing) { return thing.value == 0; }};
};

TEST_F(InstancesTest, OneForEachKey) {
  Thing* const a = get("a");
  EXPECT_EQ(a->name, "a");
  EXPECT_EQ(get("a"), a);
  EXPECT_NE(get("b"), a);
  EXPECT_EQ(things_.size(), 2U);
}

TEST_F(InstancesTest, WhatIsLentOutlivesItsEnd) {
  Thing* const a = get("a");
  a->value = 5;
  things_.erase("a");
  things_.erase("a");
  EXPECT_EQ(a->value, 5);
  EXPECT_EQ(Thing::count, 1);
  EXPECT_EQ(get("a")->value, 0) << "another one";
  things_.clear();
  EXPECT_EQ(a->value, 5);
}

TEST_F(InstancesTest, AThreadIsLentTheLastOnes) {
  get("first");
  for (std::size_t i = 1; i < kdi::kLentAtOnce; ++i) get(std::to_string(i));
  get("first");  // which makes it the last
  for (std::size_t i = 1; i < kdi::kLentAtOnce; ++i) get(std::to_string(i));
  things_.clear();
  EXPECT_EQ(Thing::count, static_cast<int>(kdi::kLentAtOnce));
  get("another");
  things_.clear();
  EXPECT_EQ(Thing::count, static_cast<int>(kdi::kLentAtOnce)) << "the first went for it";
}

TEST_F(InstancesTest, TheEndOfAThreadGivesBackWhatItWasLent) {
  std::thread([this] {
    get("a");
    things_.erase("a");
    EXPECT_EQ(Thing::count, 1);
  }).join();
  EXPECT_EQ(Thing::count, 0);
}

TEST_F(InstancesTest, ANewNameReplacesWhatHadIt) {
  get("a")->value = 1;
  get("b")->value = 2;
  things_.rename("a", "b");
  things_.rename("nothing", "b");
  EXPECT_EQ(get("b")->value, 1);
  EXPECT_EQ(things_.size(), 1U);
  things_.rename("b", "b");
  EXPECT_EQ(get("b")->value, 1);
}

TEST_F(InstancesTest, WhatHoldsNothingIsForgottenWhenThereAreMany) {
  get("kept")->value = 7;
  for (int i = 0; i < 20000; ++i) get(std::to_string(i));
  EXPECT_LT(things_.size(), 600U);
  EXPECT_EQ(get("kept")->value, 7);
}

TEST_F(InstancesTest, NothingThatIsLentIsForgotten) {
  Thing* const lent = get("lent");
  std::thread([this] {
    for (int i = 0; i < 20000; ++i) get(std::to_string(i));
  }).join();
  EXPECT_EQ(get("lent"), lent);
}

TEST_F(InstancesTest, ThereAreNeverTooMany) {
  for (std::size_t i = 0; i < kMost; ++i) get(std::to_string(i))->value = 1;
  EXPECT_EQ(get("one more"), nullptr);
  EXPECT_NE(get("0"), nullptr);
  EXPECT_EQ(things_.size(), kMost);
  things_.erase("0");
  EXPECT_NE(get("one more"), nullptr);
  EXPECT_EQ(things_.size(), kMost);
}

// An end that comes back to the manager would wait for itself for ever under a lock.
TEST_F(InstancesTest, NoLockIsHeldWhenOneEnds) {
  for (char const* key : {"a", "b", "c"}) get(key)->on_end = [this] { things_.erase("nothing"); };
  forget_what_was_lent();
  things_.erase("a");
  things_.rename("b", "c");
  EXPECT_EQ(Thing::count, 1);
  things_.clear();
  EXPECT_EQ(Thing::count, 0);
}

}  // namespace
