#include <algorithm>
#include <memory>
#include <mutex>
#include <set>

#include "kdi/common/KdiDataDir.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/planning/HardController.h"
#include "platform/planning/data.h"

namespace kdi::planning {
namespace {

constexpr int kMostBanks = 16;
constexpr int kBits = 8;  // of a byte
constexpr char kFree[] = "-";

using Words = std::vector<std::string>;
using ByLane = std::map<SiteLane, Words>;

std::string shown(SiteLane const& lane) { return std::to_string(lane.bank) + "." + lane.lane; }

}  // namespace

class HardControllerReader {
 public:
  HardController read(JsonFile const& file, std::string const& stem) {
    const JsonValue root = file.root();
    root.allow_only({"format", "controller", "banks", "bytes", "checksum", "byte", "system_clock", "types"});
    root.member("format").integer(1, 1);
    made_.name_ = root.member("controller").text();
    if (made_.name_ != stem) root.member("controller").refuse("the name of the file, " + text::quoted(stem));
    made_.banks_ = data::whole(root.member("banks"), 1, kMostBanks);
    for (const JsonValue value : root.member("bytes").items()) made_.bytes_.push_back(byte_lane(value));
    if (made_.bytes_.empty()) root.member("bytes").refuse("a lane at least");
    made_.checksum_ = byte_lane(root.member("checksum"));
    for (const JsonValue value : root.member("byte").items()) read_byte(value);
    const JsonValue clock = root.member("system_clock");
    clock.allow_only({"lane", "words"});
    made_.clock_lane_ = lane(clock.member("lane").text(), clock.member("lane"));
    made_.clock_words_ = words(clock.member("words"), {"n", "p"});
    for (const JsonValue value : root.member("types").items()) read_type(value);
    return std::move(made_);
  }

 private:
  SiteLane lane(std::string_view text, JsonValue at) const {
    const std::size_t point = text.find('.');
    const auto bank = number::whole<int>(std::string_view(text).substr(0, point));
    if (point == std::string::npos || !bank || *bank < 0 || *bank >= made_.banks_ || point + 1 == text.size())
      at.refuse("a lane like 0.B1, with a bank from 0 to " + std::to_string(made_.banks_ - 1));
    return {*bank, std::string(text.substr(point + 1))};
  }

  SiteLane byte_lane(JsonValue value) {
    SiteLane one = lane(value.text(), value);
    if (!byte_lanes_.insert(one).second) value.refuse("a lane that has no other byte");
    return one;
  }

  // Each of `needed` once, the others any words, once as well.
  static Words words(JsonValue list, std::set<std::string> const& needed, std::set<std::string> seen = {}) {
    Words all;
    for (const JsonValue value : list.items()) {
      const std::string word(value.text());
      if (word.empty() || (word != kFree && !seen.insert(word).second)) value.refuse("a word that is not there before");
      all.push_back(word);
    }
    if (!needed.empty() && seen != needed) list.refuse("the words " + text::joined(needed, " ") + " and " + kFree);
    return all;
  }

  void read_byte(JsonValue value) {
    value.allow_only({"strobes", "words"});
    const int strobes = data::whole(value.member("strobes"), 1, 2);
    std::set<std::string> needed{"p0", "n0"};
    for (int bit = 0; bit < kBits; ++bit) needed.insert(std::to_string(bit));
    if (strobes == 1) needed.insert("m");
    if (strobes == 2) needed.insert({"p1", "n1"});
    if (!made_.byte_words_.emplace(strobes, words(value.member("words"), needed)).second)
      value.member("strobes").refuse("a number that is not there before");
  }

  void read_type(JsonValue value) {
    value.allow_only({"type", "address", "without_checksum"});
    HardController::Words type;
    std::set<std::string> seen;
    read_lanes(value.member("address"), type.always, seen, false);
    if (const auto more = value.find("without_checksum")) read_lanes(*more, type.without_ecc, seen, true);
    if (!made_.address_.emplace(value.member("type").text(), std::move(type)).second)
      value.member("type").refuse("a type that is not there before");
  }

  void read_lanes(JsonValue object, ByLane& lanes, std::set<std::string>& seen, bool checksum_free) {
    for (const JsonValue list : object.members()) {
      const SiteLane one = lane(list.name(), list);
      if (byte_lanes_.contains(one) && !(checksum_free && one == made_.checksum_)) list.refuse("a lane without a byte");
      Words all = words(list, {}, seen);
      seen.insert(all.begin(), all.end());
      seen.erase(kFree);
      lanes.emplace(one, std::move(all));
    }
  }

  HardController made_;
  std::set<SiteLane> byte_lanes_;
};

namespace {

using Controllers = std::map<std::string, HardController, std::less<>>;

Controllers const& controllers() {
  static std::mutex mutex;
  static Controllers const* all = nullptr;  // never destroyed: lent as plain pointers
  const std::lock_guard lock(mutex);
  if (all != nullptr) return *all;
  auto read = std::make_unique<Controllers>();
  for (std::string const& directory : data_directories("hard_controllers"))
    for (std::string const& name : list_directory(directory, ".json")) {
      const std::string stem = name.substr(0, name.size() - 5);
      if (read->contains(stem)) continue;  // the first root that has it counts
      read->emplace(stem, read_hard_controller(JsonFile(directory + "/" + name), stem));
    }
  all = read.release();
  return *all;
}

// Puts signals on the pads of a site.
class Seating {
 public:
  Seating(std::string const& controller, HardInterface const& wanted)
      : controller_(controller), wanted_(wanted), pads_(wanted.interface->signals.size(), -1) {}

  void check_site(int banks) const {
    if (static_cast<int>(wanted_.site->banks.size()) != banks)
      refuse("it has " + std::to_string(wanted_.site->banks.size()) + " banks and not " + std::to_string(banks));
    int row = 0;
    for (std::size_t i = 0; i < wanted_.site->banks.size(); ++i) {
      PlacedBank const& bank = this->bank(static_cast<int>(i));
      if (bank.slr != wanted_.site->slr) refuse("bank " + std::to_string(bank.number) + " is on another die");
      if (i > 0 && bank.row != row + 1)
        refuse("bank " + std::to_string(bank.number) + " is not next to the one before");
      row = bank.row;
    }
  }

  void put(int signal, SiteLane const& lane, std::size_t place) {
    Layout const& layout = *wanted_.layout;
    const int index = layout.lane_of(bank_index(lane.bank), lane.lane);
    if (index < 0) refuse("there is no lane " + shown(lane));
    PlacedLane const& at = layout.lanes[static_cast<std::size_t>(index)];
    if (place >= static_cast<std::size_t>(at.pads)) refuse("lane " + shown(lane) + " has fewer pads");
    const int pad = at.first + static_cast<int>(place);
    PlacedPad const& one = layout.pads[static_cast<std::size_t>(pad)];
    Signal const& what = wanted_.interface->signals[static_cast<std::size_t>(signal)];
    if (one.ball.empty()) refuse("the package leaves " + one.name + " out");
    if (what.what == SignalClass::strobe && !one.strobe) refuse(one.name + " is no strobe site");
    if (what.unit == Signal::kSystem && !one.clock) refuse(one.name + " is no clock site");
    if (what.partner >= 0 && (one.partner < 0 || one.positive == what.negative))
      refuse(one.name + " has not its place in a pair");
    pads_[static_cast<std::size_t>(signal)] = pad;
  }

  bool has(int signal) const { return pads_[static_cast<std::size_t>(signal)] >= 0; }
  std::vector<int> done() { return std::move(pads_); }

  [[noreturn]] void refuse(std::string const& fault) const {
    throw "site " + wanted_.site->name + " is none of a " + controller_ + " in this package: " + fault;
  }

 private:
  int bank_index(int of_site) const {
    const int number = wanted_.site->banks[static_cast<std::size_t>(of_site)];
    const int index = wanted_.layout->bank_of_number(number);
    if (index < 0) refuse("there is no bank " + std::to_string(number));
    return index;
  }
  PlacedBank const& bank(int of_site) const {
    return wanted_.layout->banks[static_cast<std::size_t>(bank_index(of_site))];
  }

  std::string const& controller_;
  HardInterface const& wanted_;
  std::vector<int> pads_;
};

// The signal of a unit that a word stands for; -1 for none.
int signal_of(Interface const& interface, Unit const& unit, std::string const& word) {
  const int cell = word.size() == 2 ? word[1] - '0' : 0;
  if (word[0] == 'p' || word[0] == 'n')
    return cell >= static_cast<int>(unit.cells.size()) ? -1
           : word[0] == 'p'                            ? unit.cells[static_cast<std::size_t>(cell)].positive
                                                       : unit.cells[static_cast<std::size_t>(cell)].negative;
  const auto bit = number::whole<int>(word);
  for (const int signal : unit.signals) {
    Signal const& one = interface.signals[static_cast<std::size_t>(signal)];
    if (bit ? one.what == SignalClass::data && one.index % kBits == *bit : word == "m" && one.what == SignalClass::mask)
      return signal;
  }
  return -1;
}

}  // namespace

std::vector<int> HardController::pads(HardInterface const& wanted) const {
  Interface const& interface = *wanted.interface;
  const auto type = address_.find(wanted.kind->type);
  if (type == address_.end()) throw "a " + name_ + " has no pads for " + wanted.kind->type;
  Seating seating(name_, wanted);
  seating.check_site(banks_);
  for (std::size_t i = 0; i < interface.units.size(); ++i) {
    Unit const& unit = interface.units[i];
    const bool is_checksum = wanted.ecc && i + 1 == interface.units.size();
    const auto words = byte_words_.find(static_cast<int>(unit.cells.size()));
    if (words == byte_words_.end() || (!is_checksum && i >= bytes_.size()))
      throw "a " + name_ + " has no lane for " + unit.group;
    SiteLane const& lane = is_checksum ? checksum_ : bytes_[i];
    for (std::size_t place = 0; place < words->second.size(); ++place)
      if (const int signal = signal_of(interface, unit, words->second[place]); signal >= 0)
        seating.put(signal, lane, place);
  }
  const auto put_address = [&](ByLane const& lanes) {
    for (auto const& [lane, words] : lanes)
      for (std::size_t place = 0; place < words.size(); ++place)
        if (const int signal = interface.signal("c0_" + wanted.kind->prefix + "_" + words[place]); signal >= 0)
          seating.put(signal, lane, place);
  };
  put_address(type->second.always);
  if (!wanted.ecc) put_address(type->second.without_ecc);
  for (std::size_t place = 0; place < clock_words_.size(); ++place)
    for (const int signal : interface.system_clock)
      if (clock_words_[place] == (interface.signals[static_cast<std::size_t>(signal)].negative ? "n" : "p"))
        seating.put(signal, clock_lane_, place);
  for (std::size_t signal = 0; signal < interface.signals.size(); ++signal)
    if (!seating.has(static_cast<int>(signal)))
      throw "a " + name_ + (wanted.ecc ? " with a checksum" : "") + " has no pad for " + interface.signals[signal].name;
  return seating.done();
}

std::vector<std::string> HardController::types() const {
  std::vector<std::string> names;
  for (auto const& [type, words] : address_) names.push_back(type);
  return names;
}

HardController const* find_hard_controller(std::string_view name) {
  const auto at = controllers().find(name);
  return at == controllers().end() ? nullptr : &at->second;
}

HardController read_hard_controller(JsonFile const& file, std::string const& stem) {
  return HardControllerReader().read(file, stem);
}

}  // namespace kdi::planning
