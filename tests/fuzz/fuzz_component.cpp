// Fuzzes the converter of component descriptions: what it takes becomes JSON, what it refuses is told with its line.
#include <cstdint>
#include <cstdlib>

#include "kdi/common/KdiJson.h"
#include "kdi/ippcw/host/ComponentJson.h"
#include "tests/fuzz/require.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size > 65536) return 0;
  try {
    const std::string json = hardip_eng::component_json({reinterpret_cast<char const*>(data), size}, "c");
    kdi::JsonFile(json, "json").root().member("root").member("element").text();
  } catch (hardip_eng::ComponentError const& error) {
    const std::string text = error.what();
    fuzz::require(text.starts_with("c:") && std::atoi(text.c_str() + 2) > 0, "an error without a line", text);
  }
  return 0;
}
