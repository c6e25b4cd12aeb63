// Fuzzes the readers of what users write of memories: their types, I/O standards, boards, and parts of their own. The
// first letter of the input says which. A fault of data names a line; what is taken can be used; a part that is good
// can be given back.
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>

#include "kdi/common/KdiJson.h"
#include "kdi/planning/Interface.h"
#include "platform/coregen/custom_parts.h"
#include "platform/coregen/loading.h"
#include "platform/planning/data.h"
#include "tests/fuzz/require.h"

namespace {

using namespace kdi;
using fuzz::require;

constexpr std::size_t kLongestText = 65536;

void read_type(std::string_view text) {
  const planning::MemoryKind kind = planning::read_memory(JsonFile(std::string(text), "input"), "DDR4");
  for (planning::MemoryPart const& part : kind.reference_parts)
    for (const int width : {part.width, 2 * part.width, 72}) {
      planning::InterfaceRequest request{&kind, part, width};
      try {
        const planning::Interface interface = planning::interface_of(request);
        for (planning::Signal const& signal : interface.signals)
          require(signal.partner < static_cast<int>(interface.signals.size()), "a pair leads nowhere");
      } catch (std::string const& refusal) {
        require(!refusal.empty(), "a refusal without words");
      }
    }
}

void read_standards(std::string_view text) {
  std::map<std::string, planning::IoStandard, std::less<>> all;
  planning::read_standards(JsonFile(std::string(text), "input"), all);
  for (auto const& [name, standard] : all)
    for (auto const& [kind, highest] : standard.rate_mbps)
      for (char const* const grade : {"", "-1", "-2"})
        require(standard.rate(kind, grade).value_or(0) > 0 && *standard.rate(kind, grade) <= highest, name.c_str());
}

void read_parts(std::string_view text) {
  constexpr char const* kTypes[] = {"DDR4", "QDRIV", "DDR5", "RLDRAMII"};
  const std::size_t type = text.empty() ? 0 : static_cast<unsigned char>(text[0]) % std::size(kTypes);
  planning::MemoryKind const& kind = *planning::find_memory(kTypes[type]);
  const coregen::ReadParts read = coregen::parts_of_text(text.substr(text.empty() ? 0 : 1), kind);
  for (coregen::PartFault const& fault : read.faults)
    require(!fault.reason.empty() && fault.text("input").find(',') == std::string::npos, "a fault that cannot be told");
  if (!read.faults.empty()) return;
  for (auto const& [name, part] : read.parts) {
    const coregen::ReadParts again = coregen::read_part(name, part.attributes, kind);
    require(again.faults.empty() && again.parts.at(name).attributes == part.attributes, name.c_str());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size < 2 || size > kLongestText) return 0;
  const std::string_view text(reinterpret_cast<char const*>(data) + 1, size - 1);
  try {
    if (data[0] == 't') read_type(text);
    if (data[0] == 's') read_standards(text);
    if (data[0] == 'b') coregen::read_loadings(JsonFile(std::string(text), "input"));
    if (data[0] == 'p') read_parts(text);
  } catch (JsonError const& error) {
    const std::string told = error.what();
    require(told.rfind("input:", 0) == 0 && std::atoi(told.c_str() + 6) > 0, told.c_str());
  }
  return 0;
}
