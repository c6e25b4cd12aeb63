// Calls of an engine that is loaded when it is first needed: whatever a call has passes through the first one, which
// finds the engine, as through the second.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <thread>

#include "tcltasks/entry/imports.h"
#include "tests/support/made_up_engine.h"

namespace {

using made_up::Fault;

bool is_loaded() {
  void* const engine = dlopen("libmade_up_engine.so", RTLD_NOW | RTLD_NOLOAD);
  if (engine != nullptr) dlclose(engine);
  return engine != nullptr;
}

// Each test is a process of its own, so that the first of two calls is the one that loads.
template <class Call>
void expect_twice(Call call) {
#ifdef __x86_64__
  EXPECT_FALSE(is_loaded());
#endif
  call();
  EXPECT_TRUE(is_loaded());
  call();
}

TEST(ImportStubs, CarryResultsOfEachKind) {
  expect_twice([] {
    const made_up::Mixed mixed = made_up::mixed(41, 5.0);
    EXPECT_EQ(mixed.whole, 42);
    EXPECT_EQ(mixed.fraction, 2.5);
  });
}
TEST(ImportStubs, CarryResultsThroughMemory) {
  expect_twice([] { EXPECT_EQ(made_up::large(2).values, (std::array<double, 9>{2, 3, 4, 5, 6, 7, 8, 9, 10})); });
}
TEST(ImportStubs, CarryLongDoubles) {
  expect_twice([] { EXPECT_EQ(made_up::wide(3.75L), 1.25L); });
}
TEST(ImportStubs, CarryMoreArgumentsThanThereAreRegisters) {
  expect_twice([] {
    const made_up::Large last = {{11, 12, 13, 14, 15, 16, 17, 18, 19}};
    EXPECT_EQ(
        made_up::many(1, -2, 3, 4, 5, 6, 7, 8, .1, .2, .3, .4, .5, .6, .7, .8, .9, 1.5F, last, "long enough a text"),
        "long enough a text 1 -2 3 4 5 6 7 8 0.10 0.20 0.30 0.40 0.50 0.60 0.70 0.80 0.90 1.50 11 12 13 14 15 16 17 "
        "18 19");
  });
}
TEST(ImportStubs, CarryArgumentsOfAnyNumber) {
  expect_twice([] {
    EXPECT_EQ(made_up::sum(0), 0);
    EXPECT_EQ(made_up::sum(11, 1., 2., 3., 4., 5., 6., 7., 8., 9., 10., 11.), 66);
  });
}
TEST(ImportStubs, CarryMembers) {
  expect_twice([] {
    made_up::Counter counter(5);
    EXPECT_EQ(counter.next(), 5);
    EXPECT_EQ(counter.next(), 6);
    EXPECT_EQ(*made_up::Counter::made(), 7);
  });
}

TEST(ImportStubs, CarryExceptionsOfTheEngine) {
  expect_twice([] {
    try {
      made_up::fail("the text", 17);
      ADD_FAILURE() << "nothing was thrown";
    } catch (Fault const& fault) {
      EXPECT_STREQ(fault.what(), "the text");
      EXPECT_EQ(fault.number(), 17);
    }
    EXPECT_THROW(made_up::fail("as its base", 1), std::runtime_error);
  });
}

class Patient : public made_up::NamedListener {
 public:
  std::string hear(int number) override { return std::to_string(number * number); }
  int patience() const override { return 3; }
  std::string name() const override { return "patient"; }
};
class Brief : public made_up::Listener {
 public:
  std::string hear(int number) override { return std::to_string(number); }
};
class Failing : public made_up::Listener {
 public:
  std::string hear(int number) override { throw Fault("from within", number); }
};

TEST(ImportStubs, CarryClassesThatTheCallerDerives) {
  expect_twice([] {
    Patient patient;
    EXPECT_EQ(made_up::tell(patient), "1;4;9;patient");
    Brief brief;
    EXPECT_EQ(made_up::tell(brief), "1;") << "its patience is the base's, and it has no name";
  });
}
TEST(ImportStubs, CarryExceptionsThroughTheEngine) {
  expect_twice([] {
    Failing failing;
    try {
      made_up::tell(failing);
      ADD_FAILURE() << "nothing was thrown";
    } catch (Fault const& fault) {
      EXPECT_EQ(fault.number(), 1);
    }
  });
}
class Tripling : public made_up::Model {
 public:
  int evaluate(int value) override { return 3 * Model::evaluate(value); }
};
TEST(ImportStubs, CarryABaseClassThatIsWholeInItsHeader) {
  expect_twice([] {
    const auto doubling = made_up::make_model(2);
    EXPECT_EQ(doubling->evaluate(1), 6);
    Tripling tripling;
    tripling.steps.emplace_back("step");
    EXPECT_EQ(tripling.evaluate(1), 6);
    EXPECT_EQ(made_up::kind_of(*doubling), "doubling");
    EXPECT_EQ(made_up::kind_of(tripling), "derived");
    EXPECT_EQ(made_up::kind_of(made_up::Model()), "model") << "its type is the same to both sides";
    EXPECT_EQ(dynamic_cast<Tripling*>(doubling.get()), nullptr);
  });
}

TEST(ImportStubs, MayBeCalledFirstFromSeveralThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i)
    threads.emplace_back([] {
      for (int call = 0; call < 1000; ++call) made_up::count();
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(made_up::count(), 8001);
}

#ifdef __x86_64__
TEST(ImportStubs, ThrowWhenTheEngineIsNotThere) {
  for (int i = 0; i < 2; ++i) {
    const std::string text(100, 'x');
    try {
      made_up::absent(1, 2, 3, 4, 5, 6, 7, text);
      ADD_FAILURE() << "nothing was thrown";
    } catch (std::runtime_error const& error) {
      EXPECT_EQ(std::string(error.what()).find("engine not available: libmade_up_absent.so:"), 0U) << error.what();
    }
  }
}
// An odd one, in a pointer to a member, is taken for a place among virtual functions; compilers that look through such
// pointers do not notice.
TEST(ImportStubs, HaveEvenAddresses) {
  const auto is_even = [](auto* function) {
    auto* volatile const looked_up = function;  // the compiler takes for granted that it is
    return reinterpret_cast<std::uintptr_t>(looked_up) % 2 == 0;
  };
  EXPECT_TRUE(is_even(&made_up::absent));
  EXPECT_TRUE(is_even(&made_up::mixed));
  EXPECT_TRUE(is_even(&made_up::large));
}
TEST(ImportStubs, OpenNothingWhileEnginesStayOut) {
  {
    const frame::EnginesStayOut out;
    try {
      made_up::count();
      ADD_FAILURE() << "nothing was thrown";
    } catch (std::runtime_error const& error) {
      EXPECT_STREQ(error.what(), "engine not in use: libmade_up_engine.so");
    }
    EXPECT_FALSE(is_loaded());
  }
  EXPECT_EQ(made_up::count(), 1);
  const frame::EnginesStayOut out;
  EXPECT_EQ(made_up::count(), 2) << "one that is there is called";
  EXPECT_EQ(made_up::mixed(1, 1).whole, 2) << "by any of its functions";
}
#endif

}  // namespace
