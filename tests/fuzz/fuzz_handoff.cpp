// Fuzzes the reader of hardware handoffs: what it takes is read back the same when it is written.
#include <cstdint>
#include <cstdlib>
#include <optional>

#include "kdi/ippcw/host/Handoff.h"
#include "tests/fuzz/require.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size > 65536) return 0;
  std::optional<hardip_eng::Handoff> handoff;
  try {
    handoff = hardip_eng::read_handoff_text({reinterpret_cast<char const*>(data), size}, "h");
  } catch (hardip_eng::HandoffError const& error) {
    const std::string text = error.what();
    fuzz::require(text.starts_with("h:") && std::atoi(text.c_str() + 2) > 0, "an error without a line", text);
    return 0;
  }
  try {
    fuzz::require(hardip_eng::read_handoff_text(hardip_eng::handoff_text(*handoff), "h") == *handoff,
                  "another handoff when read back");
  } catch (hardip_eng::HandoffError const& error) {  // what was read has a character that XML does not have
    fuzz::require(std::string(error.what()).ends_with("has no place in XML"), "refused when read back", error.what());
  }
  return 0;
}
