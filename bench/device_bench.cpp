// Looking up a part: the first time, which reads its device's files, and every time after that.
#include <cstdlib>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

#include "bench/ratio.h"
#include "kdi/common/KdiJson.h"
#include "kdi/device/host/PartCatalogue.h"
#include "tests/support/places.h"

namespace {

constexpr int kPairs = 21;
constexpr int kLookups = 20000;
const std::string kDirectory = places::data("devices");
const std::string kPart = "brvn3716-die-2LHP-e-S-es1";

double first_lookup() {
  std::optional<kdi::device::PartCatalogue> catalogue;
  catalogue.emplace(std::vector<std::string>{kDirectory});
  return bench::processor_seconds_of([&] {
    if (catalogue->part(kPart) == nullptr) std::abort();
  });
}

double parse_alone() {
  return bench::processor_seconds_of([] {
    const kdi::JsonFile device(kDirectory + "/brvn3716.json");
    const kdi::JsonFile family(kDirectory + "/families/tavrel.json");
  });
}

}  // namespace

int main() {
  bench::print_heading("Parts by name");
  bool kept = bench::print_row("first lookup of a part / parsing the two files it stands in",
                               bench::interleaved(kPairs, first_lookup, parse_alone), 4.0);

  kdi::device::PartCatalogue catalogue({kDirectory});
  std::unordered_map<std::string, HDARPart const*> plain;
  for (std::string const& name : catalogue.parts("brvn3716")) plain.emplace(name, catalogue.part(name));
  std::mutex mutex;
  const auto lookups = [](auto look) {
    return bench::processor_seconds_of([&] {
      for (int i = 0; i < kLookups; ++i)
        if (look() == nullptr) std::abort();
    });
  };
  kept &= bench::print_row("20000 more lookups / as many in a hash table with a lock",
                           bench::interleaved(
                               kPairs, [&] { return lookups([&] { return catalogue.part(kPart); }); },
                               [&] {
                                 return lookups([&] {
                                   const std::lock_guard lock(mutex);
                                   return plain.find(kPart)->second;
                                 });
                               }),
                           3.0);
  return kept ? 0 : 1;
}
