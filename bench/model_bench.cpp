// Computing a whole model of a thousand parameters, against Kconfig, which many programs are configured with, and
// against the same rules written by hand: model_bench KCONFIG_CONF.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/made_up_model.h"
#include "bench/program.h"
#include "bench/ratio.h"
#include "bench/written_model.h"
#include "kdi/cores/Instance.h"

namespace {

using namespace kdi::cores;

constexpr int kPairs = 21;
constexpr int kEvaluations = 20;
constexpr int kParameters = made_up::kWrittenParameters;

// A folder that goes with the program.
class Folder {
 public:
  Folder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "model_bench.XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) std::abort();
    path_ = pattern;
  }
  ~Folder() { std::filesystem::remove_all(path_); }
  Folder(Folder const&) = delete;
  Folder& operator=(Folder const&) = delete;
  std::string write(std::string const& name, std::string const& text) const {
    std::ofstream(path_ / name) << text;
    return (path_ / name).string();
  }
  std::string path(std::string const& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

// What kconfig-conf takes to give every symbol of the model its default and to write what came out.
double seconds_of_kconfig(std::string const& program, std::string const& model) {
  try {
    return bench::processor_seconds_of_program({program, "-s", "--alldefconfig", model});
  } catch (std::runtime_error const&) {
    std::fprintf(stderr, "%s does not run (the Debian package kconfig-frontends-nox has it)\n", program.c_str());
    std::exit(EXIT_FAILURE);
  }
}

// Both sides give the same values.
void check(Instance const& instance, made_up::Answers const& answers) {
  for (std::uint32_t p = 0; p < answers.size(); ++p) {
    std::vector<std::string> range;
    for (const std::int64_t limit : answers[p].range) range.push_back(std::to_string(limit));
    const bool is_range_equal = range.empty() || instance.range(p) == range;
    if (instance.is_enabled(p) == answers[p].enabled && instance.backup(p) == std::to_string(answers[p].value) &&
        is_range_equal)
      continue;
    std::fprintf(stderr, "%s: %s, by hand %s\n", std::string(instance.core().parameters()[p].name).c_str(),
                 instance.backup(p).c_str(), std::to_string(answers[p].value).c_str());
    std::exit(EXIT_FAILURE);
  }
}

bool measure_by_hand(std::shared_ptr<Core const> const& core) {
  const made_up::Given given(kParameters);
  const auto ours = [&] {
    return bench::processor_seconds_of([&] {
      for (int i = 0; i < kEvaluations; ++i) const Instance fresh(core);
    });
  };
  made_up::Answers answers;
  const auto by_hand = [&] {
    return bench::processor_seconds_of([&] {
      for (int i = 0; i < kEvaluations; ++i) {
        answers = made_up::Answers(kParameters);
        made_up::evaluate(given, answers);
      }
    });
  };
  const bool kept = bench::print_row("all of it, 20 times / the same rules written in C++",
                                     bench::interleaved(kPairs, ours, by_hand), 5);
  check(Instance(core), answers);
  return kept;
}

bool measure_kconfig(std::shared_ptr<Core const> const& core, std::string const& description,
                     std::string const& program) {
  const Folder folder;
  std::filesystem::current_path(folder.path("."));
  const std::string model = folder.write("model", made_up::kconfig(kParameters));
  const std::string empty = folder.write("empty", "mainmenu \"made up\"\n");
  // What is measured is small beside the start of a process: the fastest of each.
  const auto net = [&] {
    double with = 1e9, without = 1e9;
    for (int i = 0; i < kPairs; ++i) {
      with = std::min(with, seconds_of_kconfig(program, model));
      without = std::min(without, seconds_of_kconfig(program, empty));
    }
    return with - without;
  };
  const auto whole = [&] { return bench::processor_seconds_of([&] { const Instance fresh(core); }); };
  const auto read = [&] {
    return bench::processor_seconds_of([&] { const Instance fresh(Core::parse(description, "made up")); });
  };
  constexpr int kNetPairs = 3;
  const bool kept = bench::print_row("all of it / kconfig-conf, net of an empty model",
                                     bench::interleaved(kNetPairs, whole, net), 0.3);
  // For information: Kconfig reads its model each time.
  const bench::RatioResult with_reading = bench::interleaved(kNetPairs, read, net);
  std::printf("    with the reading of the model: %.3f ms, %.3f\n", 1e3 * with_reading.first, with_reading.ratio);
  std::filesystem::current_path("/");
  return kept;
}

}  // namespace

int main(int argc, char** argv) {
  bench::print_heading("A model of 1,000 parameters");
  const std::string description = made_up::description(kParameters);
  const std::shared_ptr<Core const> core = Core::parse(description, "made up");
  bool kept = measure_by_hand(core);
  if (argc > 1) kept = measure_kconfig(core, description, argv[1]) && kept;
  return kept ? EXIT_SUCCESS : EXIT_FAILURE;
}
