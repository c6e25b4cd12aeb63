// Fuzzes the reader of parameter files, and the JSON reader below it, by the text of the file. The first byte picks a
// file of declarations or of values. Beside not crashing, the readers have to keep their word: an error names file,
// line and field and what is expected, and values that were taken read back the same from the file that saving them
// gives.
#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "platform/common/param_files.h"
#include "tests/fuzz/require.h"

namespace {

using param_host::Type;

constexpr std::size_t kLongestText = 65536;

using fuzz::require;

// One name of each type, and whatever ends alike.
Type type_of(std::string const& name) {
  if (name.ends_with("i")) return Type::integer;
  if (name.ends_with("b")) return Type::boolean;
  if (name.ends_with("t")) return Type::text;
  throw std::invalid_argument("not declared");
}

// "f:<line>: <path>: expected <something>"
void check_error(std::string const& what, std::string const& text) {
  require(what.starts_with("f:"), "an error without the file", text);
  const std::size_t digits_end = what.find_first_not_of("0123456789", 2);
  require(digits_end > 2 && digits_end != std::string::npos && what.compare(digits_end, 2, ": ") == 0,
          "an error without a line", text);
  const auto lines = 1 + std::count(text.begin(), text.end(), '\n');
  const long line = std::stol(what.substr(2));
  require(line >= 1 && line <= lines, "a line that the file does not have", text);
  require(what.find(": expected ", digits_end) != std::string::npos, "an error without the accepted form", text);
  require(what.find('\n') == std::string::npos, "an error on two lines", text);
}

void check_values(std::vector<kdi::FileValue> const& values, std::string const& text) {
  std::vector<param_host::Parameter> parameters;
  for (kdi::FileValue const& value : values) {
    const auto canonical = kdi::canonical_value(type_of(value.name), value.value);
    require(canonical == value.value, "a value that is not in its one form", text);
    if (!kdi::is_parameter_name(value.name)) continue;
    param_host::Parameter parameter;
    parameter.name = value.name;
    parameter.value = value.value;
    parameters.push_back(parameter);
  }
  const auto again = kdi::read_values(kdi::JsonFile(kdi::values_text(parameters), "g"), "g", type_of);
  require(again.size() == parameters.size(), "a value that is not saved", text);
  for (std::size_t i = 0; i < again.size(); ++i)
    require(again[i].name == parameters[i].name && again[i].value == parameters[i].value,
            "a value that reads back differently", text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size < 1 || size > kLongestText) return 0;
  const std::string text(reinterpret_cast<char const*>(data + 1), size - 1);
  try {
    const kdi::JsonFile file(text, "f");
    if (data[0] % 2 != 0) {
      for (kdi::FileDeclaration const& read : kdi::read_declarations(file)) {
        require(kdi::is_parameter_name(read.declaration.name), "a name that is none", text);
        require(kdi::canonical_value(read.declaration.type, read.declaration.default_value) ==
                    read.declaration.default_value,
                "a default that is not in its one form", text);
      }
    } else {
      check_values(kdi::read_values(file, "f", type_of), text);
    }
  } catch (kdi::JsonError const& error) {
    check_error(error.what(), text);
  }
  return 0;
}
