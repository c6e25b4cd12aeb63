// Cores under configuration: what a change costs beside computing everything, what loading costs beside parsing the
// files, and how the cost of a model grows with its size.
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "bench/made_up_model.h"
#include "bench/ratio.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiJson.h"
#include "kdi/cores/Instance.h"
#include "tests/support/places.h"

namespace {

using namespace kdi::cores;

constexpr int kPairs = 15;
constexpr int kRounds = 5;  // of which the fastest counts, where what is compared is too long to run in turn
constexpr std::size_t kLargestFile = 1 << 25;  // bytes

std::string cores() { return places::data("cores"); }

template <class Work>
double fastest(Work work) {
  double best = bench::processor_seconds_of(work);
  for (int round = 1; round < kRounds && !bench::runs_once(); ++round)
    best = std::min(best, bench::processor_seconds_of(work));
  return best;
}

// ---------------------------------------------------------------------------------------------------------- loading

// The files that a core's description consists of, each once.
void add_files(std::string const& name, std::set<std::string>& files) {
  const std::string path = cores() + "/" + name;
  if (!files.insert(path).second) return;
  const kdi::JsonFile file(path);
  if (const auto base = file.root().find("extends")) {
    const std::string words(base->text());
    const std::string core = name.substr(0, name.find('/'));
    add_files((words.find('/') == std::string::npos ? core + "/" + words : words) + ".json", files);
  }
  if (const auto parts = file.root().find("includes"))
    for (const kdi::JsonValue part : parts->items()) add_files(std::string(part.member("file").text()), files);
}

bool measure_loading(std::string const& core, std::string const& version) {
  std::set<std::string> files;
  add_files(core + "/" + version + ".json", files);
  std::shared_ptr<Core const> read;  // taken away outside the measurement
  const auto load = [&] {
    read.reset();
    return bench::processor_seconds_of([&] { read = Core::read(cores(), core, version); });
  };
  // By the library that all JSON is parsed with, into its own values: a yardstick of the project's own would let
  // loading off for a slow reader, and blame it for a fast one.
  const auto parse = [&] {
    return bench::processor_seconds_of([&] {
      for (std::string const& path : files)
        if (nlohmann::json::parse(kdi::read_file(path, kLargestFile)).empty()) std::abort();
    });
  };
  const std::string what =
      core + " " + version + ": first load / parsing its " + std::to_string(files.size()) + " files";
  return bench::print_row(what.c_str(), bench::interleaved(kPairs, load, parse), 3.0);
}

// ---------------------------------------------------------------------------------------------------------- a change

// A value that the parameter may take beside the one that it has; nothing if it has no choice.
std::optional<std::string> another_value(Instance const& instance, std::uint32_t number) {
  Parameter const& parameter = instance.core().parameters()[number];
  const std::string now = instance.backup(number);
  if (parameter.type == Type(Kind::truth)) return now == "1" ? "0" : "1";
  for (std::string const& value : instance.range(number))
    if (value != now) return value;
  if (parameter.type == Type(Kind::text)) return "another";
  return now == "1" ? "2" : "1";
}

bool measure_changes(std::string const& core, std::string const& version) {
  const std::shared_ptr<Core const> description = Core::read(cores(), core, version);
  const double full = fastest([&] { const Instance fresh(description); });
  Instance instance(description);
  std::vector<double> ratios;
  double worst = 0;
  std::string slowest;
  for (std::uint32_t p = 0; p < description->parameters().size(); ++p) {
    const std::optional<std::string> other = another_value(instance, p);
    if (!other || !description->is_settable(p)) continue;
    // There and back: two changes.
    const double change = fastest([&] {
                            instance.set({{p, *other}});
                            instance.take_back({p});
                          }) /
                          2;
    ratios.push_back(change / full);
    if (ratios.back() <= worst) continue;
    worst = ratios.back();
    slowest = description->parameters()[p].name;
  }
  const double ratio = bench::median(ratios);
  const std::string what =
      core + " " + version + ": a change, median of " + std::to_string(ratios.size()) + " / everything";
  const bool kept = bench::print_row(what.c_str(), {ratio * full, full, ratio}, 0.1);
  std::printf("    the worst: %s, %.3f\n", slowest.c_str(), worst);
  return kept;
}

// ------------------------------------------------------------------------------------------------------------- growth

// A made-up model; each operation returns the seconds that one of `times` takes.
class Model {
 public:
  explicit Model(int parameters)
      : text_(made_up::description(parameters)), memory_(kBytes * static_cast<std::size_t>(parameters), 1) {
    read(1);
  }
  // All are kept until the last is read: who works with a core has it in memory that is new to the process, and both
  // sides of a pair are to fill as much of it.
  double read(int times) {
    kept_.clear();
    return repeated(times, [&] { kept_.push_back(Core::parse(text_, "made up")); });
  }
  double compute(int times) {
    return repeated(times, [&] { const Instance fresh(kept_.front()); });
  }
  // As much as an instance and the plan of its steps take, which is what the memory alone makes of the size.
  double copy(int times) {
    return repeated(times, [&] {
      const std::vector<char> copied(memory_);
      if (copied[copied.size() / 2] != 1) std::abort();
    });
  }

 private:
  static constexpr std::size_t kBytes = 100;  // of a parameter, about: cells and truths twice, steps, slots of rules

  template <class Work>
  static double repeated(int times, Work work) {
    return bench::processor_seconds_of([&] {
             for (int i = 0; i < times; ++i) work();
           }) /
           times;
  }

  std::string text_;
  std::vector<char> memory_;
  std::vector<std::shared_ptr<Core const>> kept_;
};

// The smaller model is worked on ten times as often, so that both sides of a pair take as long, and what else the
// machine does meets both.
bench::RatioResult growth(Model& larger, Model& smaller, int times, double (Model::*work)(int)) {
  constexpr int kTenfold = 10;
  times = bench::runs_once() ? 1 : std::max(times, 1);
  return bench::interleaved(
      kPairs, [&] { return (larger.*work)(times); }, [&] { return (smaller.*work)(times * kTenfold); });
}

bool measure_growth() {
  constexpr int kRead = 20'000, kComputed = 1'000'000;  // parameters, of a side, in about a hundredth of a second
  bool kept = true;
  auto smaller = std::make_unique<Model>(100);
  const int most = bench::runs_once() ? 1000 : 100'000;
  for (int parameters = 1000; parameters <= most; parameters *= 10) {
    auto larger = std::make_unique<Model>(parameters);
    const std::string count = std::to_string(parameters) + " parameters / " + std::to_string(parameters / 10);
    const auto row = [&](std::string const& what, bench::RatioResult const& result) {
      kept = bench::print_row((what + count).c_str(), result, 12) && kept;
    };
    row("reading a model of ", growth(*larger, *smaller, kRead / parameters, &Model::read));
    row("computing a model of ", growth(*larger, *smaller, kComputed / parameters, &Model::compute));
    std::printf("    copying as much memory: %.3f\n",
                growth(*larger, *smaller, kComputed / parameters, &Model::copy).ratio);
    smaller = std::move(larger);
  }
  return kept;
}

}  // namespace

int main() {
  bench::print_heading("Cores under configuration");
  bool kept = measure_loading("pspmc", "1.0");
  kept = measure_loading("psxl", "1.0") && kept;
  kept = measure_changes("pspmc", "1.0") && kept;
  kept = measure_changes("psxl", "1.0") && kept;
  return measure_growth() && kept ? EXIT_SUCCESS : EXIT_FAILURE;
}
