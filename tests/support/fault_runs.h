// Runs of code that reads and writes files, each with faults of its own, in a process of its own.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include "tests/support/file_faults.h"
#include "tests/support/scratch.h"

inline constexpr unsigned kMostSeconds = 20;  // for one run; what takes longer hangs

struct Outcome {
  bool ended = false;  ///< by itself
  int failed = 0;      ///< calls
  std::map<file_faults::Call, int> counts;
  std::string value;
  std::string told;  ///< on standard error
};

using Action = std::function<std::string()>;

// What an action answers in a process of its own, so that each reads its files for the first time.
inline Outcome in_a_process(Scratch const& scratch, std::function<void()> const& watch, Action const& action) {
  const pid_t child = ::fork();
  if (child == 0) {
    if (std::freopen(scratch.path("told").c_str(), "w", stderr) == nullptr) ::_exit(2);
    ::alarm(kMostSeconds);
    watch();
    std::string value;
    try {
      value = action();
    } catch (std::exception const& error) {
      value = std::string("refused: ") + error.what();
    }
    std::ostringstream seen;
    seen << file_faults::failed() << '\n';
    for (const file_faults::Call call : file_faults::kCalls) seen << file_faults::count(call) << '\n';
    file_faults::stop_watching();
    std::fflush(stderr);
    scratch.file("seen", seen.str() + value);
    ::_exit(0);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  Outcome outcome;
  outcome.told = scratch.content("told");
  outcome.ended = WIFEXITED(status) && WEXITSTATUS(status) == 0;
  if (!outcome.ended) return outcome;
  std::istringstream seen(scratch.content("seen"));
  seen >> outcome.failed;
  for (const file_faults::Call call : file_faults::kCalls) seen >> outcome.counts[call];
  seen.ignore();
  outcome.value.assign(std::istreambuf_iterator<char>(seen), {});
  return outcome;
}

inline std::string reason(int error) { return std::generic_category().message(error); }

/// Lets each call of these kinds that a calm run made fail with each of the errors, once and for ever, and has
/// `check(plan, outcome)` look at what came of it. `run(plan)` runs the action so; of many calls one in `step` of them,
/// through all kinds. The number of runs.
template <class Run, class Check>
int fail_each_call(Outcome const& calm, std::vector<file_faults::Call> const& kinds, std::vector<int> const& errors,
                   Run run, Check check, int step = 1) {
  int runs = 0, number = 0;
  for (const file_faults::Call call : kinds)
    for (int nth = 0; nth < calm.counts.at(call); ++nth) {
      if (number++ % step != 0) continue;
      for (const bool for_ever : {false, true})
        for (const int error : errors) {
          const file_faults::Plan plan{call, nth, for_ever, error};
          SCOPED_TRACE(std::string(file_faults::name_of(call)) + " " + std::to_string(nth) +
                       (for_ever ? " for ever" : ""));
          const Outcome of = run(plan);
          EXPECT_TRUE(of.ended) << of.told;
          EXPECT_GE(of.failed, 1);
          if (of.ended) check(plan, of);
          ++runs;
        }
    }
  return runs;
}
