// A file of configuration commands of any content, text, binary or a C source: refused with its place, or read to what
// is written back and read again to the same.
#include <cstdint>
#include <string>

#include "kdi/cdo/Cdo.h"
#include "tests/fuzz/require.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  using namespace kdi::cdo;
  const std::string content(reinterpret_cast<char const*>(data), size);
  Commands commands;
  try {
    commands = from_any(content, "name");
  } catch (CdoError const& error) {
    fuzz::require(std::string(error.what()).starts_with("name:"), "an error without its place", content);
    return 0;
  }
  fuzz::require(from_text(to_text(commands), "text") == commands, "another text", content);
  const std::string binary = to_binary(commands);
  fuzz::require(from_binary(binary, "binary") == commands, "another binary", content);
  fuzz::require(from_c(to_c(commands, "made"), "source") == Source{"made", commands}, "another source", content);
  fuzz::require(!content.starts_with("CDO1") || binary == content, "two binaries for the same commands", content);
  return 0;
}
