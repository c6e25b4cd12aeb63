// The chain catalogue against the least that the same work can cost: ducddc_bench ?all?
// With `all` the files of every configuration are written, not of one in ten.
#include <tcl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "bench/ratio.h"
#include "tcltasks/dsp/ducddcgen/ducddc_catalogue.h"
#include "tcltasks/dsp/ducddcgen/ducddcgen.h"

namespace {

using namespace ducddcgen_init;
namespace fs = std::filesystem;

constexpr int kPairs = 9;

// Returns a string as long as the command's, from one buffer.
int same_size_cmd(ClientData, Tcl_Interp* interp, int, Tcl_Obj* const objv[]) {
  static char buffer[4096];
  int size = 0;
  Tcl_GetIntFromObj(interp, objv[2], &size);
  Tcl_SetObjResult(interp, Tcl_NewStringObj(buffer, size));
  return TCL_OK;
}

class Calls {
 public:
  Calls(Tcl_Interp* interp, char const* command) : interp_(interp), command_(held(Tcl_NewStringObj(command, -1))) {}
  void add(std::string const& name, int number) {
    words_.push_back(held(Tcl_NewStringObj(name.c_str(), -1)));
    words_.push_back(held(Tcl_NewIntObj(number)));
  }
  double seconds() const {
    return bench::processor_seconds_of([&] {
      for (std::size_t i = 0; i < words_.size(); i += 2) {
        Tcl_Obj* const call[] = {command_, words_[i], words_[i + 1]};
        if (Tcl_EvalObjv(interp_, 3, call, 0) != TCL_OK) std::abort();
      }
    });
  }

 private:
  static Tcl_Obj* held(Tcl_Obj* object) {
    Tcl_IncrRefCount(object);
    return object;
  }
  Tcl_Interp* interp_;
  Tcl_Obj* command_;
  std::vector<Tcl_Obj*> words_;
};

struct File {
  std::string path, text;
};

}  // namespace

int main(int argc, char** argv) {
  const bool writes_all = argc > 1 && std::string(argv[1]) == "all";
  Tcl_FindExecutable(nullptr);
  Tcl_Interp* interp = Tcl_CreateInterp();
  init(interp);
  Tcl_CreateObjCommand(interp, "same_size", same_size_cmd, nullptr, nullptr);

  std::vector<std::string> names;
  for (Record const& record : database) names.push_back(name_of(record));
  std::shuffle(names.begin(), names.end(), std::mt19937(1));

  bench::print_heading("Chain catalogue");
  // Many short pairs: what else the machine does falls on few of them.
  constexpr int kShortPairs = 301, kCalls = 1280;
  bool kept = true;
  for (const std::size_t in_turn : {1, 64}) {
    Calls reports(interp, "ducddcgen"), strings(interp, "same_size");
    for (std::size_t i = 0; i < kCalls; ++i) {
      std::string const& name = names[i % in_turn];
      reports.add(name, 0);
      strings.add(name, static_cast<int>(DUCDDCConfig(name).get_file(0).size()));
    }
    const std::string row = "lookup and .cfg, " + std::to_string(in_turn) + " names in turn / a text as long";
    kept &= bench::print_row(row.c_str(),
                             bench::interleaved(
                                 kShortPairs, [&] { return reports.seconds(); }, [&] { return strings.seconds(); }),
                             3.0);
  }

  // The number of the stated catalogue, whatever the tables hold.
  constexpr std::size_t kNumbers = 31635;
  std::vector<DUCDDCConfig> configs;
  std::vector<double> numbers;
  for (std::size_t i = 0; numbers.size() < kNumbers; ++i) {
    configs.emplace_back(names[i]);
    for (auto const& taps : configs.back().coefs) numbers.insert(numbers.end(), taps.begin(), taps.end());
  }
  std::size_t bytes = 0;
  kept &= bench::print_row(
      "coefficient text, 31,635 numbers / a bare snprintf loop",
      bench::interleaved(
          kPairs,
          [&] {
            return bench::processor_seconds_of([&] {
              for (DUCDDCConfig const& config : configs)
                for (int s = 1; s <= static_cast<int>(config.coefs.size()); ++s) bytes += config.get_file(s).size();
            });
          },
          [&] {
            return bench::processor_seconds_of([&] {
              char line[64];
              for (double number : numbers)
                bytes += static_cast<std::size_t>(std::snprintf(line, sizeof line, "%40.30f,\n", number));
            });
          }),
      1.2);

  // Another share of the configurations for each pair: one in ten of them together, or each once, which is a bench of
  // the disk's directories unless TMPDIR is a folder in memory. The last share also warms up.
  const fs::path folder = fs::temp_directory_path() / ("ducddc_bench." + std::to_string(getpid()));
  const int shares = writes_all ? 100 : kPairs;
  const std::size_t used = writes_all ? names.size() : names.size() / 10;
  int share = -1;  // the first pair does not count
  std::vector<File> files;
  const auto library_side = [&] {
    fs::remove_all(folder);
    fs::create_directories(folder);
    files.clear();
    const auto place = static_cast<std::size_t>(share < 0 ? shares - 1 : share);
    const std::size_t begin = used * place / static_cast<std::size_t>(shares);
    const std::size_t end = used * (place + 1) / static_cast<std::size_t>(shares);
    ++share;
    const double seconds = bench::processor_seconds_of([&] {
      for (std::size_t i = begin; i < end; ++i)
        if (ducddcgen(names[i].c_str(), folder.c_str()) != 0) std::abort();
    });
    for (std::size_t i = begin; i < end; ++i) {
      const DUCDDCConfig config(names[i]);
      for (int s = -1; s <= static_cast<int>(config.coefs.size()); ++s)
        files.push_back({(folder / (names[i] + "." + std::to_string(s))).string(), config.get_file(s)});
    }
    fs::remove_all(folder);
    fs::create_directories(folder);
    return seconds;
  };
  const auto plain_side = [&] {
    return bench::processor_seconds_of([&] {
      for (File const& file : files) {
        std::FILE* const out = std::fopen(file.path.c_str(), "wb");
        if (out == nullptr || std::fwrite(file.text.data(), 1, file.text.size(), out) != file.text.size() ||
            std::fclose(out) != 0)
          std::abort();
      }
    });
  };
  const std::string row = "all files of " + std::to_string(used) + " configurations / the same by fwrite";
  kept &= bench::print_row(row.c_str(), bench::interleaved(shares, library_side, plain_side), 2.0);
  fs::remove_all(folder);
  return kept && bytes != 0 ? 0 : 1;
}
