#include "host/register_export.h"

#include <algorithm>
#include <set>
#include <stdexcept>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"

namespace register_export {
namespace {

constexpr char kLineEnd[] = "\r\n";

std::string hex(std::uint64_t value, std::size_t digits = 8) { return "0x" + kdi::number::hexadecimal(value, digits); }

// A field in quotes where it has what separates fields, or a quote.
std::string field(std::string const& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string quoted = "\"";
  for (const char c : text) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
  return quoted + "\"";
}

// What may stand in a comment of C: it does not end it, and stays on its line.
std::string remark(std::string text) {
  for (char& c : text)
    if (kdi::text::is_control(c)) c = ' ';
  for (std::size_t at = 0; (at = text.find("*/", at)) != std::string::npos;) text.replace(at, 2, "* /");
  for (std::size_t at = 0; (at = text.find("/*", at)) != std::string::npos;) text.replace(at, 2, "/ *");
  return text;
}

void require_name(std::string const& name) {
  const bool is_one =
      !name.empty() && !kdi::text::is_digit(name[0]) &&
      std::all_of(name.begin(), name.end(), [](char c) { return kdi::text::is_letter_or_digit(c) || c == '_'; });
  if (!is_one) throw std::invalid_argument(kdi::text::shown(name) + " is no name in C");
}

std::string macro_of(std::string_view name) {
  std::string macro = kdi::text::uppered(name);
  for (char& c : macro)
    if (!kdi::text::is_letter_or_digit(c)) c = '_';
  return macro;
}

std::string guarded(std::string const& name, std::string const& content) {
  const std::string guard = macro_of(name) + "_H";
  return "#ifndef " + guard + "\n#define " + guard + "\n\n" + content + "\n#endif\n";
}

}  // namespace

std::string csv_of(std::span<Write const> writes) {
  std::string text = std::string("address,data,comment") + kLineEnd;
  for (Write const& write : writes)
    text += hex(write.address) + "," + hex(write.data) + "," + field(write.comment) + kLineEnd;
  return text;
}

std::string header_of(std::span<Write const> writes, std::string const& name) {
  require_name(name);
  const bool is_wide = std::any_of(writes.begin(), writes.end(),
                                   [](Write const& write) { return (write.address | write.data) >> 32 != 0; });
  const std::string type = is_wide ? "uint64_t" : "uint32_t", end = is_wide ? "ull" : "u";
  const std::string size = macro_of(name) + "_WRITES";
  std::string text = "#include <stdint.h>\n\n#define " + size + " " + std::to_string(writes.size()) +
                     "\n\n/* Addresses, each with its data, in the order of the writes. */\nstatic const " + type +
                     " " + name + "[" + (writes.empty() ? "1" : size) + "][2] = {\n";
  for (Write const& write : writes)
    text += "  {" + hex(write.address) + end + ", " + hex(write.data) + end + "}," +
            (write.comment.empty() ? "" : " /* " + remark(write.comment) + " */") + "\n";
  if (writes.empty()) text += "  {0, 0}, /* there are none */\n";
  return guarded(name, text + "};\n");
}

std::string csv_of(std::span<Configured const> registers) {
  std::string text = std::string("core,register,address,reset,value,meaning") + kLineEnd;
  for (Configured const& one : registers)
    text += field(one.core) + "," + field(one.name) + "," + one.address + "," + one.reset + "," + one.value + "," +
            field(one.meaning) + kLineEnd;
  return text;
}

std::string header_of(std::span<Configured const> registers, std::string const& name) {
  require_name(name);
  std::set<std::string> macros;
  std::string text;
  for (Configured const& one : registers) {
    const std::string macro = macro_of(one.core) + "_" + macro_of(one.name);
    if (!macros.insert(macro).second)
      throw std::invalid_argument("two registers would be called " + macro + ": a pattern can leave one out");
    text += "/* " + remark(one.meaning) + " */\n#define " + macro + "_ADDRESS " + one.address + "u\n#define " + macro +
            "_RESET " + one.reset + "u\n#define " + macro + "_VALUE " + one.value + "u\n";
  }
  return guarded(name, text);
}

}  // namespace register_export
