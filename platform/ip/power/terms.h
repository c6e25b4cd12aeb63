// What the transceiver and the memory model share: conditions as factors, numbers of a record made safe, the sum of a
// core's contributors, and words that are looked up.
#pragma once

#include <algorithm>
#include <map>
#include <string>

#include "kdi/device/Device.h"
#include "platform/ip/power/power_model.h"

namespace kdi::power {

/// Factors of the part's conditions; see ip/HIPWPowerCalcIntf.h for L, D and C.
struct Factors {
  double leakage = 1;
  double dynamic = 1;
  double core = 1;
};
Factors factors_of(device::Part const& part, Conditions const& conditions);
/// The hottest junction that the part's grade allows; the reference where the part does not say.
double junction_c(device::Part const& part, Conditions const& conditions);

constexpr double kMost = 1e6;

/// A record's number: 0 where it is negative or none, at most a million.
template <class Number>
double sane(Number number) {
  const auto value = static_cast<double>(number);
  return value > 0 ? std::min(value, kMost) : 0;
}

/// Tells the user about a word of a record that the data does not have.
void warn(std::string const& text);

/// The value of the record's word `text`; that of the first word if it is empty or, with a warning, unknown.
template <class Value>
Value const& value_of(Words<Value> const& words, char const* what, std::string const& text) {
  Word<Value> const& usual = words.all.front();
  if (text.empty()) return usual.value;
  if (Value const* const found = words.find(text)) return *found;
  warn(std::string("unknown ") + what + " \"" + text + "\" counts as " + usual.name);
  return usual.value;
}

/// Watts by contributor. However wild the data and the record are, each fits a float.
class Terms {
 public:
  explicit Terms(std::map<std::string, float>& breakdown) : breakdown_(breakdown) { breakdown.clear(); }

  void add(char const* contributor, double watts) {
    watts = std::min(watts, kMostWatts);
    breakdown_[contributor] += static_cast<float>(watts);
    total_ += watts;
  }
  float total() const { return static_cast<float>(total_); }

 private:
  static constexpr double kMostWatts = 1e30;

  std::map<std::string, float>& breakdown_;
  double total_ = 0;
};

}  // namespace kdi::power
