// Fuzzes the texts of composite parameters: any text is taken; what shows behind it, given anew, shows the same, and
// with everything taken back nothing is left.
#include <cstdint>
#include <string>

#include "kdi/cores/Configuration.h"
#include "tests/fuzz/require.h"

namespace {

using namespace kdi::cores;

constexpr std::size_t kLongestText = 8192;

constexpr char kInner[] = R"({"format": 1, "core": "inner", "version": "1.0", "parameters": [
  {"name": "IN", "type": "integer", "widget": "EDIT", "description": "d", "default": "3", "limits": ["0", "9"]},
  {"name": "WORD", "type": "text", "widget": "EDIT", "description": "d", "default": ""}]})";
constexpr char kOuter[] = R"({"format": 1, "core": "outer", "version": "1.0",
  "sub_cores": [{"name": "sub", "core": "inner", "version": "1.0"}],
  "composites": [{"name": "ALL", "internal": "ALL_INTERNAL", "members": [{"parameter": "ON"}, {"parameter": "MHZ", "key": "clock"}]},
                 {"name": "SUB", "internal": "SUB_INTERNAL", "sub_core": "sub"}],
  "parameters": [
  {"name": "ALL", "type": "text", "widget": "EDIT", "description": "d", "default": ""},
  {"name": "ALL_INTERNAL", "type": "text", "widget": "EDIT", "description": "d", "default": ""},
  {"name": "SUB", "type": "text", "widget": "EDIT", "description": "d", "default": ""},
  {"name": "SUB_INTERNAL", "type": "text", "widget": "EDIT", "description": "d", "default": ""},
  {"name": "ON", "type": "truth", "widget": "CHECKBOX", "description": "d", "default": "0"},
  {"name": "MHZ", "type": "decimal", "widget": "EDIT", "description": "d", "default": "1.5", "enabled": "ON"}]})";

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size == 0 || size > kLongestText) return 0;
  static const auto& inner = *new auto(Core::parse(kInner, "inner.json"));
  static const auto& outer = *new auto(Core::parse(kOuter, "outer.json"));
  Configuration core(outer, {}, [](std::string const&, std::string const&) { return inner; });
  constexpr char const* kNames[] = {"ALL", "ALL_INTERNAL", "SUB", "SUB_INTERNAL"};
  const std::string text(reinterpret_cast<char const*>(data) + 1, size - 1);
  const Configuration::Place place = core.find(kNames[data[0] % 4]).value();
  core.set({{place, text}});
  core.messages();
  // What shows, given to another, shows there.
  Configuration other(outer, {}, [](std::string const&, std::string const&) { return inner; });
  for (char const* const shown : {"ALL", "SUB"}) {
    const std::string value = core.value(core.find(shown)->number);
    other.set({{other.find(shown).value(), value}});
    fuzz::require(other.value(other.find(shown)->number) == value, "a text that does not show itself", value);
  }
  core.take_all_back();
  fuzz::require(core.is_default(), "what was taken back is still there", text);
  return 0;
}
