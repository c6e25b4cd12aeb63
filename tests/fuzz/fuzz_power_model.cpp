// Fuzzes the reader of power models by the text of the file. Beside not crashing, the reader has to keep its word: an
// error names file, line and what is expected, and whatever it takes makes a calculator whose answers are finite and
// not negative and whose parts sum to the total.
#include <cmath>
#include <cstdint>
#include <string>

#include "kdi/common/KdiJson.h"
#include "kdi/common/host/MessageHost.h"
#include "kdi/device/HARPartsParse.h"
#include "platform/ip/power/gt_power.h"
#include "platform/ip/power/memory_power.h"
#include "tests/fuzz/require.h"

namespace {

constexpr std::size_t kLongestText = 65536;

using fuzz::require;

void check(float total, std::map<std::string, float> const& breakdown, std::string const& text) {
  require(std::isfinite(total) && total >= 0, "watts that are none", text);
  double sum = 0;
  for (auto const& [part, watts] : breakdown) {
    require(std::isfinite(watts) && watts >= 0, "a share that is none", text);
    sum += static_cast<double>(watts);
  }
  require(std::abs(sum - static_cast<double>(total)) <= 1e-4 * sum, "parts that do not sum to the total", text);
}

GtPowerRecord transceivers() {
  GtPowerRecord record;
  record.numChannels = 9;
  record.rxLineRate = record.txLineRate = 10;
  record.rxIntDataWidth = record.txUserDataWidth = 32;
  record.rxRefclkFrequency = 100;
  record.insLossNyq = 20;
  record.rxTerminationProgValue = 800;
  return record;
}

MigPowerRecord memory() {
  MigPowerRecord record;
  record.controllerFamily = "DDR3";
  record.memoryClock = 800;
  record.uiClock = 200;
  record.nckPerClk = 4;
  record.dqWidth = 64;
  record.dqsWidth = 8;
  record.addrWidth = 17;
  record.ckWidth = record.odtWidth = 1;
  record.rankWidth = record.numDevices = 4;
  record.mcsEcc = record.debugSignal = record.axiSelection = true;
  record.axiDataWidth = 512;
  record.phyClockMultiplier = 8;
  record.phyClockDivider = 2;
  return record;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size > kLongestText) return 0;
  static kdi::device::Part const& part = HARPartsParse::getPart("zrv7030-c484-1-c")->values();
  static const int sink = message_host::add_sink([](ComMsgMgrInstance const&) {});
  static_cast<void>(sink);
  const std::string text(reinterpret_cast<char const*>(data), size);
  try {
    const kdi::power::Model model = kdi::power::read_model(text, "f");
    std::map<std::string, float> breakdown;
    check(kdi::power::gt_power(part, model, transceivers(), breakdown), breakdown, text);
    check(kdi::power::memory_power(part, model, memory(), breakdown), breakdown, text);
  } catch (kdi::JsonError const& error) {
    const std::string what = error.what();
    require(what.starts_with("f:") && what.find(": expected ") != std::string::npos, "an error without its place",
            what);
  }
  return 0;
}
