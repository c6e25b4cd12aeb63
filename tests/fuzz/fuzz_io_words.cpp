// Fuzzes the words of I/O planning: what is read as a dictionary, settings, buses, places, parameters, interfaces or a
// memory file is written and read back equal; what is refused is refused with its key.
#include <cstdint>
#include <string>

#include "kdi/common/host/MessageHost.h"
#include "platform/place/dictionary.h"
#include "platform/place/locations.h"
#include "platform/place/memory_file.h"
#include "platform/place/parameters.h"
#include "platform/place/settings.h"
#include "tests/fuzz/require.h"

namespace {

using namespace kdi::place;

constexpr std::size_t kLongestText = 65536;

// Reads, writes and reads again.
template <class Read, class Write>
void keep(std::string const& text, Read read, Write write) {
  try {
    const auto first = read("key", text);
    fuzz::require(read("key", write(first)) == first, "another one", text);
  } catch (std::string const& fault) {
    fuzz::require(fault.starts_with("key:") || fault.starts_with("key "), "a fault without the key", fault);
  }
}

std::string write_all(Locations const& locations) {
  Pairs pairs;
  for (auto const& [port, at] : locations) pairs.emplace_back(port, written(at));
  return write_dictionary(pairs);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size > kLongestText) return 0;
  const message_host::Capture warnings;
  const std::string text(reinterpret_cast<char const*>(data), size);
  keep(
      text, [](std::string const& key, std::string const& words) { return read_list(words, key); }, write_list);
  keep(
      text, [](std::string const& key, std::string const& words) { return read_dictionary(words, key); },
      write_dictionary);
  keep(text, settings_of_dictionary, [](Settings const& settings) { return settings.written(); });
  keep(
      text, [](std::string const& key, std::string const& words) { return read_buses(key, words); },
      [](Buses const& buses) { return write_buses(buses); });
  keep(
      text, [](std::string const& key, std::string const& words) { return read_locations(key, words); }, write_all);
  keep(
      text, [](std::string const& key, std::string const& words) { return read_interfaces(key, words); },
      write_interfaces);
  keep(
      text, [](std::string const& key, std::string const& words) { return read_memory_file(words, key); },
      [](MemoryFile const& file) { return written(file); });
  try {
    read_translation("key", text);
  } catch (std::string const& fault) {
    fuzz::require(fault.starts_with("key:"), "a fault without the key", fault);
  }
  return 0;
}
