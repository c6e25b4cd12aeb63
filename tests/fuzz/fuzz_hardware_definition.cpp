// Fuzzes the reader of hardware definitions. What it takes holds together, and is read back the same when it is
// written.
#include <cstdint>

#include "kdi/hdf/host/HardwareDefinition.h"
#include "tests/fuzz/require.h"

using fuzz::require;

namespace {

constexpr std::size_t kLongestPackage = 65536;

void check(kdi::hdf::HardwareDefinition const& definition) {
  for (auto const& file : definition.files) {
    require(kdi::hdf::is_entry_name(file.name), "a name that leads elsewhere", file.name);
    require(!file.is_missing || file.content.empty(), "a missing file with a content", file.name);
  }
  require(kdi::hdf::unpacked(kdi::hdf::packed(definition), "again") == definition, "another definition when read back");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size > kLongestPackage) return 0;
  try {
    check(kdi::hdf::unpacked({reinterpret_cast<char const*>(data), size}, "input"));
  } catch (kdi::hdf::DefinitionError const& error) {
    require(std::string(error.what()).starts_with("input: "), "an error without the package's name", error.what());
  }
  return 0;
}
