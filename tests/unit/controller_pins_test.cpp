// Pins of controllers, below the commands: what an upgrade leaves out, and why there are none.
#include <gtest/gtest.h>

#include "kdi/common/host/MessageHost.h"
#include "kdi/coregen/mig_v7_0.h"
#include "kdi/device/HARPartMgr.h"
#include "platform/coregen/pin_plan.h"

namespace {

using namespace kdi::coregen;
using kdi::planning::Occupancy;
using kdi::planning::Seat;
using mig::mig_v7_0::HIPMigInstance;
using mig::mig_v7_0::HIPMigIPMgr;

PinsWanted eight_bits() {
  PinsWanted wanted;
  wanted.part = &HARPartMgr::getGlobal()->getPart("zrv9010-f900-2-e")->values();
  wanted.instance = "m";
  wanted.interface.kind = kdi::planning::find_memory("DDR4");
  wanted.interface.part = wanted.interface.kind->part("DDR4-2400R-8Gb-x8").value();
  wanted.interface.width = 8;
  wanted.bank_kinds = {"HP"};
  wanted.period_ps = 833;
  return wanted;
}

std::string fault_of(PinsWanted const& wanted, std::vector<kdi::planning::TakenPad> const& taken = {}) {
  Occupancy occupancy;
  Seat other(occupancy, "p"), own(occupancy, "p");
  other.put(taken, 0);
  return PinPlan(wanted, own).fault();
}

// All pads of the I/O banks but those that `open` says of.
template <class Open>
std::vector<kdi::planning::TakenPad> all_but(Open open) {
  const kdi::planning::Layout layout = kdi::planning::layout_of(*eight_bits().part);
  std::vector<kdi::planning::TakenPad> taken;
  for (std::size_t pad = 0; pad < layout.pads.size(); ++pad)
    if (!layout.pads[pad].ball.empty() && !layout.pads[pad].impedance && !open(layout.pads[pad]))
      taken.push_back({static_cast<int>(pad), "all", "", false, false});
  return taken;
}

TEST(ControllerPins, SayWhyThereAreNone) {
  PinsWanted wanted = eight_bits();
  EXPECT_EQ(fault_of(wanted), "");
  EXPECT_EQ(fault_of(wanted, all_but([](auto const&) { return false; })),
            "the pins cannot be placed: 1 groups (DQ[0-7] ...) have 0 lanes that they fit into in banks 64 to 67");
  EXPECT_EQ(fault_of(wanted, all_but([](auto const& pad) { return pad.name.starts_with("IO_T0_"); })),
            "the pins cannot be placed: nothing holds the address in banks 64 to 67");
  EXPECT_EQ(fault_of(wanted, all_but([](auto const& pad) { return !pad.clock; })).substr(0, 56),
            "the pins cannot be placed: 1 groups (DQ[0-7] ...) have 0");
  wanted.voltage = "1.8V";
  EXPECT_EQ(fault_of(wanted), "the pins cannot be placed: nothing holds the interface");
}

TEST(ControllerPins, AnUpgradeTellsWhatItLeavesOut) {
  HIPMigIPMgr::loadMigPkgData({{"-instance_name", "upgraded"},
                               {"-part", "zrv9010-f900-2-e"},
                               {"-controllertype", "DDR4"},
                               {"-memorypart", "DDR4-2400R-8Gb-x8"},
                               {"-datawidth", "16"},
                               {"-timeperiod", "833"}});
  HIPMigInstance* const instance = HIPMigIPMgr::getIPInstance("upgraded");
  ASSERT_NE(instance, nullptr);
  const message_host::Capture messages;
  instance->setSelectedBytes_upgrade(
      {{"DQ[7:0]", {"65", "T1"}}, {"dq[8-15]", {"44", "H0"}}, {"DQ[32-39]", {"65", "T2"}}, {"D[1]", {"65"}}}, {});
  EXPECT_EQ(instance->byteSelectionStatus("DQ[0-7]"), 1);
  EXPECT_EQ(instance->byteSelectionStatus("DQ[8-15]"), 0);
  std::string lines;
  for (std::string const& line : messages.lines()) lines += line.substr(line.find(']') + 1) + "\n";
  EXPECT_EQ(lines,
            " D[1] is left out: group \"D[1]\" needs a bank and a lane\n no group \"DQ[32-39]\"\n"
            " DQ[8-15] is left out: byte-in-lane: DQ[8-15] does not fit into lane H0 of bank 44\n");
  HIPMigIPMgr::releasePkgData({{"-instance_name", "upgraded"}});
}

TEST(ControllerPins, BanksThatAreFullSaySo) {
  Occupancy occupancy;
  Seat other(occupancy, "p"), own(occupancy, "p");
  other.put(all_but([](auto const&) { return false; }), 0);
  const PinPlan plan(eight_bits(), own);
  const std::vector<int> nothing(plan.pads().size(), -1);
  int full = 0;
  for (kdi::planning::BankUse const& use : kdi::planning::bank_uses(plan.request(), nothing))
    full += use.reason == "no lane of it is free" ? 1 : 0;
  EXPECT_EQ(full, 4);
}

TEST(ControllerPins, PadsAreFreeWhenTheirOwnerIsGone) {
  Occupancy occupancy;
  Seat first(occupancy, "p"), second(occupancy, "p"), elsewhere(occupancy, "q");
  const PinPlan plan(eight_bits(), first);
  EXPECT_EQ(second.others().taken.size(), plan.pads().size());
  EXPECT_TRUE(elsewhere.others().taken.empty());
  EXPECT_FALSE(second.put({}, second.others().version + 1));  // something has changed since
  first.leave();
  EXPECT_TRUE(second.others().taken.empty());
  EXPECT_TRUE(first.put({{0, "", "", false, false}}, 77));  // one that has left has no pads
  EXPECT_TRUE(second.others().taken.empty());
}

}  // namespace
