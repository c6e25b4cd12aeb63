// The option reader of the clocking commands: the first line is a schema or the number of one of theirs, the others are
// words. What is parsed has a value of the schema's type for every option; what is not leaves nothing behind.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "kdi/ip/HIPClocking.h"

namespace {

using Ip_Clocking::HIPClockingUtils;

constexpr char const* kSchemas[] = {
    R"(-part <mandatory:string:""> -output_freq <mandatory:list:""> -input_freq <mandatory:list:""> -inclk1_period <optional:double:10.00>)",
    R"(-part <mandatory:string:""> -input_freq <mandatory:double:10.00> -primtive <mandatory:string:0> -clkoutphy_multiplication_factor <optional:long:1> -min_jitter <optional:bool:false>)"};

// The type that the schema gives the option.
std::string type_of(std::string const& schema, std::string const& name) {
  for (std::size_t at = schema.find(name); at != std::string::npos; at = schema.find(name, at + 1)) {
    if (at > 0 && schema[at - 1] != ' ') continue;
    std::size_t end = at + name.size();
    if (end >= schema.size() || schema[end] != ' ') continue;
    while (end < schema.size() && schema[end] == ' ') ++end;
    if (end >= schema.size() || schema[end] != '<') continue;
    const std::size_t first = schema.find(':', end), second = schema.find(':', first + 1);
    return schema.substr(first + 1, second - first - 1);
  }
  std::abort();
}

void destroy(std::string const& type, void* value) {
  if (value == nullptr) std::abort();
  if (type == "string") return delete static_cast<std::string*>(value);
  if (type == "double") return delete static_cast<double*>(value);
  if (type == "long") return delete static_cast<long*>(value);
  if (type == "bool") return delete static_cast<bool*>(value);
  if (type == "list") return delete static_cast<std::vector<std::string>*>(value);
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::vector<std::string> lines(1);
  for (std::size_t i = 0; i < size; ++i)
    if (data[i] == '\n')
      lines.emplace_back();
    else
      lines.back() += static_cast<char>(data[i]);
  std::string schema = lines.front();
  if (schema == "0" || schema == "1") schema = kSchemas[schema == "1"];
  lines.erase(lines.begin());

  std::map<std::string, void*> values;
  const bool parsed = HIPClockingUtils::parseArgs(schema, lines, values);
  if (!parsed && !values.empty()) std::abort();
  for (std::size_t i = 0; parsed && i < lines.size(); i += 2)
    if (!values.contains(lines[i])) std::abort();
  for (auto const& [name, value] : values) destroy(type_of(schema, name), value);

  bool enabled = false;
  std::string mode, error;
  double number = 0;
  for (std::string& line : lines)
    if (!HIPClockingUtils::validateSSArgs(line, enabled, mode, number, error) && error.empty()) std::abort();
  return 0;
}
