#include "host/memtools/connectors.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <numeric>
#include <set>

#include "kdi/common/KdiDataDir.h"
#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiText.h"

namespace memtools {
namespace {

namespace text = kdi::text;
using planning::Signal;

constexpr int kNibble = 4;
constexpr int kDataBits = 64;      // of a module, without those of a checksum
constexpr int kBytesOfModule = 9;  // with them

// By type and kind of module, and there by name.
using Numbers = std::map<std::pair<std::string, std::string>, std::map<std::string, int>>;

std::map<std::string, int> read_contacts(kdi::JsonValue list, std::set<std::string> const& supplies) {
  std::map<std::string, int> numbers;
  int number = 0;
  for (const kdi::JsonValue value : list.items()) {
    ++number;
    for (const std::string_view name : text::words(value.text()))
      if (!supplies.contains(std::string(name)) && !numbers.emplace(name, number).second)
        value.refuse("a contact that there is once");
  }
  return numbers;
}

Numbers read_connectors() {
  Numbers all;
  for (std::string const& directory : kdi::data_directories("board")) {
    if (!kdi::is_file(directory + "/connectors.json")) continue;
    const kdi::JsonFile file(directory + "/connectors.json");
    file.root().allow_only({"format", "supplies", "connectors"});
    file.root().member("format").integer(1, 1);
    std::set<std::string> supplies;
    for (const kdi::JsonValue value : file.root().member("supplies").items())
      supplies.insert(std::string(value.text()));
    for (const kdi::JsonValue value : file.root().member("connectors").items()) {
      value.allow_only({"type", "modules", "source", "contacts"});
      value.member("source").text();
      const auto contacts = read_contacts(value.member("contacts"), supplies);
      for (const kdi::JsonValue module : value.member("modules").items())
        all[{std::string(value.member("type").text()), std::string(module.text())}] = contacts;
    }
    break;  // the first root that has it counts
  }
  return all;
}

Numbers const& connectors() {
  static std::mutex mutex;
  static Numbers const* all = nullptr;  // never destroyed
  const std::lock_guard lock(mutex);
  if (all == nullptr) all = new Numbers(read_connectors());
  return *all;
}

// An index before what says the polarity: DQS3_t, CK1_c, CS0_n.
std::string indexed(std::string const& port, int index) {
  const std::string number = index < 0 ? "" : std::to_string(index);
  const std::size_t at = port.rfind('_');
  if (at == std::string::npos || port.size() - at != 2) return text::uppered(port) + number;
  return text::uppered(port.substr(0, at)) + number + port.substr(at);
}

class Namer {
 public:
  Namer(planning::InterfaceRequest const& request, Signal const& signal) : request_(request), signal_(signal) {
    port_ = signal.port.substr(("c0_" + request.kind->prefix + "_").size());
  }

  std::string name() const {
    if (port_ == "dq")
      return signal_.index >= kDataBits ? "CB" + std::to_string(signal_.index - kDataBits)
                                        : indexed("dq", signal_.index);
    if (port_ == "adr" || port_ == "addr") return address();
    return indexed(port_, index());
  }

  std::vector<int> slots() const {
    std::vector<int> all(static_cast<std::size_t>(request_.slots));
    std::iota(all.begin(), all.end(), 0);
    return own() > 0 && signal_.index >= 0 ? std::vector<int>{signal_.index / own()} : all;
  }

 private:
  std::string address() const {
    constexpr char const* kCommands[] = {"WE_n/A14", "CAS_n/A15", "RAS_n/A16"};
    if (request_.kind->type == "DDR4" && signal_.index >= 14 && signal_.index <= 16)
      return kCommands[signal_.index - 14];
    return "A" + std::to_string(signal_.index);
  }

  // How many of a signal each slot has of its own; 0 where all slots have it together.
  int own() const {
    for (planning::AddressPort const& port : request_.kind->address) {
      if (port.port != port_ && port.negative != port_) continue;
      if (port.count == "ranks") return request_.ranks;
      if (port.count == "clocks") return request_.ranks < 2 ? 1 : 2;
    }
    return 0;
  }

  int index() const {
    if (own() > 0) return signal_.index % own();
    // Of devices of four bits the second one of each byte has a strobe behind those of all bytes.
    if (signal_.what == planning::SignalClass::strobe && request_.part.width == kNibble)
      return signal_.index / 2 + (signal_.index % 2 == 1 ? kBytesOfModule : 0);
    return signal_.index;
  }

  planning::InterfaceRequest const& request_;
  Signal const& signal_;
  std::string port_;
};

}  // namespace

std::optional<Contact> contact_of(planning::InterfaceRequest const& request, Signal const& signal) {
  if (signal.unit == Signal::kSystem) return std::nullopt;
  const Namer namer(request, signal);
  Contact contact{namer.name(), std::nullopt, namer.slots()};
  const auto connector = connectors().find({request.kind->type, request.part.module});
  if (connector == connectors().end()) return contact;
  if (const auto number = connector->second.find(contact.name); number != connector->second.end())
    contact.pin = number->second;
  return contact;
}

}  // namespace memtools
