// Fuzzes the reader of device files. Beside not crashing it has to keep its word: a fault names the file and a line,
// and what it takes is consistent.
#include <cstdint>
#include <string>

#include "kdi/common/KdiJson.h"
#include "kdi/device/host/PartCatalogue.h"
#include "tests/fuzz/require.h"

namespace {

using namespace kdi::device;

constexpr std::size_t kLongestText = 65536;

using fuzz::require;

void check_package(Package const& package) {
  std::size_t pins = 0;
  for (IoBank const& bank : package.banks)
    for (ByteLane const& lane : bank.lanes)
      for (Pad const& pad : lane.pads) pins += pad.pin.empty() ? 0 : 1;
  for (Quad const& quad : package.quads) pins += quad.pads.size();
  require(pins == package.pins.size(), "a pin has no pad, or two");
}

void check_part(Part const& part) {
  require(part.name.rfind(part.device->name, 0) == 0, "a part's name does not begin with its device's");
  require(part.package != nullptr && part.speed != nullptr, "a part without package or speed grade");
  for (ClockPrimitive const& primitive : part.speed->clock_primitives) {
    require(primitive.count > 0 && !primitive.outputs.empty() && !primitive.loops.empty(), "a hollow clock primitive");
    require(primitive.vco_mhz.min > 0 && primitive.vco_mhz.min <= primitive.vco_mhz.max, "a VCO range out of order");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size > kLongestText) return 0;
  try {
    const std::vector<Part> parts = read_device_text({reinterpret_cast<char const*>(data), size}, "input", {});
    require(!parts.empty(), "a device without parts");
    for (Part const& part : parts) check_part(part);
    for (Package const& package : parts.front().device->packages) check_package(package);
  } catch (kdi::JsonError const& error) {
    const std::string text = error.what();
    require(text.rfind("input:", 0) == 0 && std::atoi(text.c_str() + 6) > 0, text.c_str());
  }
  return 0;
}
