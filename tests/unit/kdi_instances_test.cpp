// Instances of a manager: lent, ended, renamed, forgotten where they hold nothing, and never too many.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

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

  inline static std::atomic<int> count = 0;
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

TEST_F(InstancesTest, FindsWhatIsThereAndMakesNothing) {
  EXPECT_EQ(things_.find("a"), nullptr);
  EXPECT_EQ(things_.size(), 0U);
  Thing* const a = get("a");
  EXPECT_EQ(things_.find("a"), a);
  things_.erase("a");
  EXPECT_EQ(things_.find("a"), nullptr);
  EXPECT_EQ(a->name, "a") << "which was lent";
}

TEST_F(InstancesTest, PutGivesAKeyAnotherInstance) {
  EXPECT_TRUE(things_.put("a", std::make_shared<Thing>("first")));
  Thing* const first = things_.find("a");
  EXPECT_TRUE(things_.put("a", std::make_shared<Thing>("second")));
  EXPECT_EQ(things_.find("a")->name, "second");
  EXPECT_EQ(first->name, "first");
  for (std::size_t i = 1; i < kMost; ++i) ASSERT_TRUE(things_.put(std::to_string(i), std::make_shared<Thing>("more")));
  EXPECT_FALSE(things_.put("one more", std::make_shared<Thing>("one more")));
  EXPECT_EQ(things_.find("one more"), nullptr);
  EXPECT_TRUE(things_.put("a", std::make_shared<Thing>("third"))) << "one that is there makes no more of them";
  EXPECT_EQ(things_.find("a")->name, "third");
}

TEST_F(InstancesTest, ANewNameMustBeFree) {
  using Renamed = decltype(things_)::Renamed;
  get("a")->value = 1;
  get("b")->value = 2;
  EXPECT_EQ(things_.rename_to_free("a", "b"), Renamed::taken);
  EXPECT_EQ(things_.rename_to_free("none", "c"), Renamed::no_such_key);
  EXPECT_EQ(things_.rename_to_free("none", "a"), Renamed::no_such_key);
  EXPECT_EQ(things_.rename_to_free("a", "a"), Renamed::done);
  EXPECT_EQ(things_.find("a")->value, 1);
  EXPECT_EQ(things_.find("b")->value, 2);
  EXPECT_EQ(things_.rename_to_free("a", "c"), Renamed::done);
  EXPECT_EQ(things_.find("a"), nullptr);
  EXPECT_EQ(things_.find("c")->value, 1);
}

TEST_F(InstancesTest, WhatIsClearedIsShownFirst) {
  get("a");
  get("b");
  std::string shown;
  things_.clear(
      [&](Thing& thing) { shown += thing.name + (things_.find(thing.name) == nullptr ? " gone " : " there "); });
  EXPECT_EQ(shown, "a gone b gone ");
  EXPECT_EQ(things_.size(), 0U);
}

// What one thread puts, another finds, renames and ends; whoever finds one may use it.
TEST_F(InstancesTest, SeveralThreadsPutFindAndRename) {
  std::vector<std::thread> threads;
  std::atomic<int> faults = 0;
  for (int thread = 0; thread < 4; ++thread)
    threads.emplace_back([this, thread, &faults] {
      for (int round = 0; round < 500; ++round) {
        const std::string key = std::to_string(round % 5), other = std::to_string((round + thread) % 5);
        things_.put(key, std::make_shared<Thing>("put"));
        if (Thing* const found = things_.find(other); found != nullptr && found->name != "put") ++faults;
        things_.rename_to_free(key, "r" + other);
        if (Thing* const found = things_.find("r" + other); found != nullptr && found->name != "put") ++faults;
        things_.erase("r" + other);
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(faults, 0);
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
