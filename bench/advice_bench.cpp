// Advice on cores as they are shipped, configured at random: how long a question takes, as a share of what a person
// waits without noticing. Seconds are the processor's, so that they hold on a busy machine. `advice_bench CORE VERSION`
// asks of one alone.
#include <time.h>

#include <cstdlib>
#include <random>
#include <string>

#include "bench/ratio.h"
#include "kdi/cores/Advice.h"
#include "tests/support/places.h"

namespace {

using namespace kdi::cores;

constexpr int kCases = 10'000;
constexpr int kCasesOfOneRun = 50;
constexpr double kTypical = 2, kWorst = 20;  // yardsticks of 54 ms where this was written: a tenth of a second, and one

struct Times {
  std::vector<double> seconds;
  int found[4] = {}, none = 0, not_within = 0;
  std::string worst;
  double most = 0;
};

double processor_seconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// A text that may or may not be permitted.
std::string some_text(Instance const& instance, std::uint32_t number, std::mt19937_64& random) {
  Parameter const& parameter = instance.core().parameters()[number];
  const std::vector<std::string> range = instance.range(number);
  if (parameter.type == Type(Kind::truth)) return random() % 3 == 0 ? "0" : "1";
  if (range.empty() || random() % 8 == 0) return std::to_string(random() % 3000);
  return range[random() % range.size()];
}

void ask(Instance const& instance, Wish const& wish, Times& times) {
  const double begin = processor_seconds();
  const Advice advice = advise(instance, wish);
  const double seconds = processor_seconds() - begin;
  if (advice.outcome == Advice::Outcome::fulfilled) return;  // no question
  times.seconds.push_back(seconds);
  times.none += advice.outcome == Advice::Outcome::none;
  times.not_within += advice.outcome == Advice::Outcome::not_within;
  if (advice.outcome == Advice::Outcome::found) ++times.found[advice.changes.size()];
  if (seconds < times.most) return;
  times.most = seconds;
  times.worst = instance.core().parameters()[wish.parameter].name + " " + wish.message + ", " +
                std::to_string(advice.trials) + " trials";
}

Times asked(std::string const& name, std::string const& version) {
  const std::size_t cases = bench::runs_once() ? kCasesOfOneRun : kCases;
  const auto core = Core::read(places::data("cores"), name, version);
  const auto count = static_cast<std::uint32_t>(core->parameters().size());
  std::mt19937_64 random(1);
  Times times;
  while (times.seconds.size() < cases) {
    Instance instance(core);
    for (std::uint64_t i = random() % 60 + 1; i > 0; --i) {
      const auto number = static_cast<std::uint32_t>(random() % count);
      instance.set({{number, some_text(instance, number, random)}});
    }
    for (Due const& due : instance.messages())
      if (due.parameter != Due::kNoParameter && times.seconds.size() < cases)
        ask(instance, {Wish::Kind::cleared, due.parameter, due.name}, times);
    for (int i = 0; i < 40 && times.seconds.size() < cases; ++i) {
      const auto number = static_cast<std::uint32_t>(random() % count);
      if (!instance.is_enabled(number)) ask(instance, {Wish::Kind::enabled, number}, times);
      ask(instance, {Wish::Kind::permitted, number}, times);
    }
  }
  return times;
}

}  // namespace

int main(int argc, char** argv) {
  bench::print_heading("Advice, 10,000 questions to cores configured at random; second: sorting a million numbers");
  const double yardstick = bench::yardstick_seconds();
  bool kept = true;
  std::vector<std::pair<std::string, std::string>> cores = {{"xram", "1.0"}, {"pspmc", "1.4"}, {"pspmcx", "1.0"},
                                                            {"psxl", "1.0"}, {"psu", "1.0"},   {"ps7", "1.4"},
                                                            {"cpm5", "1.0"}};
  if (argc > 2) cores = {{argv[1], argv[2]}};
  for (auto const& [name, version] : cores) {
    const Times times = asked(name, version);
    const double typical = bench::median(times.seconds);
    const std::string core = name + " " + version;
    kept = bench::print_time((core + ", median").c_str(), typical, yardstick, kTypical) && kept;
    kept = bench::print_time((core + ", worst").c_str(), times.most, yardstick, kWorst) && kept;
    std::printf("  found with 1, 2, 3 changes: %d, %d, %d; none %d; not within the effort %d; worst: %s\n",
                times.found[1], times.found[2], times.found[3], times.none, times.not_within, times.worst.c_str());
    std::fflush(stdout);
  }
  return kept ? EXIT_SUCCESS : EXIT_FAILURE;
}
