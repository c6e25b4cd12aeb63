// Fuzzes the two forms of a configuration as a file: what is read is written and read back equal, in both forms; what
// is refused is refused with the file's name.
#include <cstdint>
#include <string>

#include "kdi/common/KdiJson.h"
#include "kdi/cores/Settings.h"
#include "tests/fuzz/require.h"

namespace {

using namespace kdi::cores;

constexpr std::size_t kLongestText = 65536;
constexpr std::string_view kCommand = "coretools::set $core";

void keep(Settings const& settings) {
  fuzz::require(read_settings_json(settings_json(settings), "again") == settings, "another one as JSON");
  std::string script;
  try {
    script = settings_script(settings, kCommand);
  } catch (SettingsError const&) {
    return;  // a core whose name is no word
  }
  fuzz::require(read_settings_script(script, "again", kCommand) == settings, "another one as a script", script);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size > kLongestText) return 0;
  const std::string text(reinterpret_cast<char const*>(data), size);
  try {
    keep(read_settings_json(text, "input"));
  } catch (kdi::JsonError const& error) {
    fuzz::require(std::string(error.what()).starts_with("input:"), "a fault without the file", error.what());
  }
  try {
    keep(read_settings_script(text, "input", kCommand));
  } catch (SettingsError const& error) {
    fuzz::require(std::string(error.what()).starts_with("input:"), "a fault without the file", error.what());
  }
  return 0;
}
