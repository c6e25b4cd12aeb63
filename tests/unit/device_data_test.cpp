// The shipped devices: every file is read, and what it says fits together. These tests hold for any device file that is
// put beside them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>

#include "kdi/device/host/PartCatalogue.h"
#include "tests/support/places.h"

namespace {

using namespace kdi::device;

PartCatalogue& shipped() {
  static PartCatalogue catalogue({places::data("devices")});
  return catalogue;
}

class ShippedDevice : public testing::TestWithParam<std::string> {
 protected:
  std::vector<Part const*> parts() const {
    std::vector<Part const*> all;
    for (std::string const& name : shipped().parts(GetParam())) all.push_back(&shipped().part(name)->values());
    return all;
  }
  Device const& device() const { return *parts().front()->device; }
};

INSTANTIATE_TEST_SUITE_P(Each, ShippedDevice, testing::ValuesIn(shipped().devices()),
                         [](auto const& device) { return device.param; });

TEST(ShippedDevices, CoverBothFamilies) {
  std::map<std::string, std::set<std::string>> devices_by_generation;
  bool several_slrs = false;
  for (std::string const& name : shipped().devices()) {
    Device const& device = *shipped().part(shipped().parts(name).front())->values().device;
    devices_by_generation[device.family + "/" + device.generation].insert(device.name);
    several_slrs = several_slrs || (device.family == "tavrel" && device.slrs.size() > 1);
  }
  EXPECT_GE(devices_by_generation["zorvan/zorvan1"].size(), 1u);
  EXPECT_GE(devices_by_generation["zorvan/zorvan2"].size(), 1u);
  EXPECT_GE(devices_by_generation["tavrel/tavrel"].size(), 3u);
  EXPECT_TRUE(several_slrs);
}

TEST_P(ShippedDevice, ComesInTwoPackagesAndTwoSpeedGrades) {
  EXPECT_GE(device().packages.size(), 2u);
  EXPECT_GE(device().speed_grades.size(), 2u);
  EXPECT_GE(parts().size(), 4u);
}

TEST_P(ShippedDevice, SaysThatItIsAModelOfOurOwn) {
  EXPECT_NE(device().description.find("Reference model"), std::string::npos);
}

// Counts how often each pin is met in the lanes and quads, independently of the package's own table.
TEST_P(ShippedDevice, HasEachPinInExactlyOneBankOrQuad) {
  for (Package const& package : device().packages) {
    std::map<std::string, int> seen;
    for (IoBank const& bank : package.banks)
      for (ByteLane const& lane : bank.lanes)
        for (Pad const& pad : lane.pads)
          if (!pad.pin.empty()) ++seen[pad.pin];
    for (Quad const& quad : package.quads)
      for (Pad const& pad : quad.pads) ++seen[pad.pin];
    EXPECT_EQ(seen.size(), package.pins.size()) << package.name;
    for (auto const& [pin, count] : seen) EXPECT_EQ(count, 1) << pin;
    for (auto const& [pin, site] : package.pins) {
      if (site.kind == PinSite::Kind::quad) {
        EXPECT_EQ(package.quad(site.number)->pads.at(static_cast<std::size_t>(site.pad)).pin, pin);
        continue;
      }
      IoBank const* const bank = package.bank(site.number);
      ASSERT_NE(bank, nullptr) << pin;
      EXPECT_EQ(bank->lanes.at(static_cast<std::size_t>(site.lane)).pads.at(static_cast<std::size_t>(site.pad)).pin,
                pin);
    }
  }
}

TEST_P(ShippedDevice, BondsByteLanesWholeOrNotAtAll) {
  for (Package const& package : device().packages)
    for (IoBank const& bank : package.banks)
      for (ByteLane const& lane : bank.lanes) {
        const auto bonded =
            std::count_if(lane.pads.begin(), lane.pads.end(), [](Pad const& p) { return !p.pin.empty(); });
        EXPECT_TRUE(bonded == 0 || bonded == static_cast<long>(lane.pads.size())) << package.name << bank.number;
      }
}

// A byte of a memory: eight data, a strobe pair and a mask.
TEST_P(ShippedDevice, HasRoomForAByteInEachLaneOfAMemoryBank) {
  std::set<std::string> memory_kinds;
  for (MemoryController const& controller : device().speed_grades.front().memory_controllers)
    for (MemoryInterface const& memory : controller.interfaces)
      memory_kinds.insert(memory.bank_kinds.begin(), memory.bank_kinds.end());
  for (IoBank const& bank : device().banks) {
    if (memory_kinds.count(bank.kind) == 0) continue;
    int bytes = 0;
    for (ByteLane const& lane : bank.lanes) {
      const auto strobes = std::count_if(lane.pads.begin(), lane.pads.end(), [](Pad const& pad) { return pad.strobe; });
      bytes += lane.pads.size() >= 11 && strobes >= 2 ? 1 : 0;
      for (Pad const& pad : lane.pads) EXPECT_TRUE(!pad.strobe || pad.partner >= 0) << pad.name;
    }
    EXPECT_GE(bytes, 4) << bank.number;
  }
}

TEST_P(ShippedDevice, PairsPadsBothWays) {
  for (IoBank const& bank : device().banks)
    for (ByteLane const& lane : bank.lanes)
      for (std::size_t i = 0; i < lane.pads.size(); ++i) {
        Pad const& pad = lane.pads[i];
        if (pad.partner < 0) continue;
        Pad const& other = lane.pads.at(static_cast<std::size_t>(pad.partner));
        EXPECT_EQ(other.partner, static_cast<int>(i)) << pad.name;
        EXPECT_NE(other.positive, pad.positive) << pad.name;
        EXPECT_EQ(other.nibble, pad.nibble) << pad.name;
      }
}

TEST_P(ShippedDevice, NamesEverythingOnce) {
  std::set<std::string> pads;
  std::set<int> numbers;
  for (IoBank const& bank : device().banks) {
    EXPECT_TRUE(numbers.insert(bank.number).second) << bank.number;
    for (ByteLane const& lane : bank.lanes)
      for (Pad const& pad : lane.pads) EXPECT_TRUE(pads.insert(pad.name).second) << pad.name;
  }
  for (Quad const& quad : device().quads) {
    EXPECT_TRUE(numbers.insert(quad.number).second) << quad.number;
    for (Pad const& pad : quad.pads) EXPECT_TRUE(pads.insert(pad.name).second) << pad.name;
  }
  std::set<std::string> names;
  for (Part const* part : parts()) EXPECT_TRUE(names.insert(part->name).second) << part->name;
}

TEST_P(ShippedDevice, HasEveryBankAndQuadInAPackage) {
  for (IoBank const& bank : device().banks)
    EXPECT_TRUE(std::any_of(device().packages.begin(), device().packages.end(), [&](Package const& package) {
      return package.bank(bank.number) != nullptr;
    })) << bank.number;
  for (Quad const& quad : device().quads)
    EXPECT_TRUE(std::any_of(device().packages.begin(), device().packages.end(), [&](Package const& package) {
      return package.quad(quad.number) != nullptr;
    })) << quad.number;
}

// Clocks: the limits of one primitive can be kept at once.
TEST_P(ShippedDevice, HasClockLimitsThatCanBeMet) {
  constexpr double kRounding = 1e-9;
  for (SpeedGrade const& grade : device().speed_grades) {
    EXPECT_FALSE(grade.clock_primitives.empty());
    for (ClockPrimitive const& primitive : grade.clock_primitives) {
      SCOPED_TRACE(grade.name + " " + primitive.name);
      EXPECT_GE(primitive.pfd_mhz.min, primitive.input_mhz.min / primitive.divide.max);
      EXPECT_LE(primitive.pfd_mhz.max, primitive.input_mhz.max / primitive.divide.min);
      EXPECT_LE(primitive.pfd_mhz.min * primitive.multiply.min, primitive.vco_mhz.min);
      EXPECT_GE(primitive.pfd_mhz.max * primitive.multiply.max, primitive.vco_mhz.max);
      EXPECT_GE(primitive.vco_mhz.max, 2 * primitive.vco_mhz.min * (1 - 0.1));  // nearly an octave: no large gaps
      for (ClockOutput const& output : primitive.outputs) {
        EXPECT_GE(primitive.output_mhz.min, primitive.vco_mhz.min / output.divide.max - kRounding);
        EXPECT_LE(primitive.output_mhz.max, primitive.vco_mhz.max / output.divide.min);
        EXPECT_LE(output.divide.min, output.divide.fraction_min);
      }
      if (!primitive.phy_output) continue;
      for (PhyOutput::Mode const& mode : primitive.phy_output->modes) {  // each mode is of use
        EXPECT_LE(mode.vco_ratio * primitive.vco_mhz.min, primitive.phy_output->output_mhz.max) << mode.name;
        EXPECT_GE(mode.vco_ratio * primitive.vco_mhz.max, primitive.phy_output->output_mhz.min) << mode.name;
      }
    }
  }
}

TEST_P(ShippedDevice, GetsFasterFromGradeToGrade) {
  for (std::size_t i = 1; i < device().speed_grades.size(); ++i) {
    SpeedGrade const& slow = device().speed_grades[i - 1];
    SpeedGrade const& fast = device().speed_grades[i];
    ASSERT_EQ(slow.keys.size(), fast.keys.size());
    for (auto const& [key, value] : slow.keys) {
      const bool period = key.find("_PERIOD_MIN") != std::string::npos;
      const bool frequency = !period && key.find("_MAX") != std::string::npos;
      EXPECT_TRUE(!period || fast.keys.at(key) <= value) << key;
      EXPECT_TRUE(!frequency || fast.keys.at(key) >= value) << key;
    }
    for (std::size_t j = 0; j < slow.block_memories.size(); ++j)
      EXPECT_LE(slow.block_memories[j].clock_max_mhz, fast.block_memories[j].clock_max_mhz);
    for (std::size_t j = 0; j < slow.transceivers.size(); ++j)
      EXPECT_LE(slow.transceivers[j].line_rate_gbps.back().max, fast.transceivers[j].line_rate_gbps.back().max);
    for (std::size_t j = 0; j < slow.memory_controllers.size(); ++j)
      for (std::size_t k = 0; k < slow.memory_controllers[j].interfaces.size(); ++k)
        EXPECT_LE(slow.memory_controllers[j].interfaces[k].rate_mbps.max,
                  fast.memory_controllers[j].interfaces[k].rate_mbps.max);
  }
}

TEST_P(ShippedDevice, PullsItsLoopsApart) {
  using Calculator = HASTJitterCalculatorKelvane;
  for (ClockPrimitive const& primitive : device().speed_grades.front().clock_primitives) {
    LoopModel const* const low = primitive.loop(Calculator::BW_LOW);
    LoopModel const* const best = primitive.loop(Calculator::BW_OPTIMIZED);
    LoopModel const* const high = primitive.loop(Calculator::BW_HIGH);
    ASSERT_TRUE(low != nullptr && best != nullptr && high != nullptr);
    EXPECT_EQ(primitive.loop(Calculator::BW_NONE), nullptr);
    // a wider loop passes more of the input's jitter and gathers less of the VCO's
    EXPECT_LT(low->pfd_ratio, best->pfd_ratio);
    EXPECT_LT(best->pfd_ratio, high->pfd_ratio);
    EXPECT_LT(low->input_gain, best->input_gain);
    EXPECT_LT(best->input_gain, high->input_gain);
    EXPECT_GT(low->vco_ps, best->vco_ps);
    EXPECT_GT(best->vco_ps, high->vco_ps);
  }
}

TEST_P(ShippedDevice, HasBlockMemoriesOfOneSilicon) {
  std::vector<BlockMemory> const& memories = device().speed_grades.front().block_memories;
  ASSERT_FALSE(memories.empty());
  const double bits = static_cast<double>(memories.front().bits) * memories.front().count;
  for (BlockMemory const& memory : memories) {
    EXPECT_EQ(static_cast<double>(memory.bits) * memory.count, bits) << memory.name;
    EXPECT_FALSE(memory.single_port.empty());
    for (auto const* aspects : {&memory.single_port, &memory.simple_dual_port, &memory.true_dual_port})
      for (Aspect const& aspect : *aspects)  // no shape wastes more than the parity bits
        EXPECT_GE(aspect.depth_words * aspect.width_bits * 9, memory.bits * 8) << memory.name;
  }
}

// Each end of a line rate range is a rate that one of the PLLs makes.
TEST_P(ShippedDevice, HasAPllForEachLineRate) {
  for (SpeedGrade const& grade : device().speed_grades)
    for (Transceiver const& transceiver : grade.transceivers) {
      const bool pam4 = std::count(transceiver.modulations.begin(), transceiver.modulations.end(), "PAM4") != 0;
      const auto reachable = [&](double gbps) {
        for (TransceiverPll const& pll : transceiver.plls)
          for (const int divide : pll.output_divides)
            for (int bits = 1; bits <= (pam4 ? 2 : 1); ++bits)
              if (pll.vco_ghz.contains(gbps / bits * divide / 2)) return true;
        return false;
      };
      for (Range const& rates : transceiver.line_rate_gbps)
        for (int step = 0; step <= 100; ++step) {
          const double rate = rates.min + (rates.max - rates.min) * step / 100;
          EXPECT_TRUE(reachable(rate)) << transceiver.type << " " << rate;
          EXPECT_TRUE(transceiver.reaches(rate));
        }
      EXPECT_FALSE(transceiver.reaches(transceiver.line_rate_gbps.back().max * 1.01));
    }
}

TEST_P(ShippedDevice, HasPowerForAllThatItHas) {
  Power const& power = device().power;
  for (SpeedGrade const& grade : device().speed_grades) {
    for (ClockPrimitive const& primitive : grade.clock_primitives)
      EXPECT_NE(power.clock(primitive.name), nullptr) << primitive.name;
    for (Transceiver const& transceiver : grade.transceivers) {
      TransceiverPower const* const found = power.transceiver(transceiver.type);
      ASSERT_NE(found, nullptr) << transceiver.type;
      double before = 0;
      for (double rate = 0.5; rate < 60; rate += 0.25) {  // more bits, more power
        EXPECT_GT(found->transmit_w(rate) + found->receive_w(rate), before);
        before = found->transmit_w(rate) + found->receive_w(rate);
      }
    }
    for (MemoryController const& controller : grade.memory_controllers)
      for (MemoryInterface const& memory : controller.interfaces)
        EXPECT_NE(power.memory(memory.type), nullptr) << memory.type;
  }
}

TEST_P(ShippedDevice, DrivesBanksThatFitItsControllers) {
  for (MemoryController const& controller : device().speed_grades.front().memory_controllers) {
    EXPECT_EQ(controller.hard, !controller.sites.empty());
    for (ControllerSite const& site : controller.sites)
      for (const int number : site.banks) {
        const auto bank = std::find_if(device().banks.begin(), device().banks.end(),
                                       [&](IoBank const& each) { return each.number == number; });
        ASSERT_NE(bank, device().banks.end());
        for (MemoryInterface const& memory : controller.interfaces)
          EXPECT_EQ(std::count(memory.bank_kinds.begin(), memory.bank_kinds.end(), bank->kind), 1);
      }
  }
}

TEST_P(ShippedDevice, HasClocksAndSuppliesForItsProcessingSystem) {
  EXPECT_EQ(!device().processing_system, device().name == "brvn6112");
  if (!device().processing_system) return;
  ProcessingSystem const& system = *device().processing_system;
  ASSERT_TRUE(system.monitor);
  for (SpeedGrade const& grade : device().speed_grades) {
    EXPECT_FALSE(grade.system_plls.empty());
    EXPECT_FALSE(grade.system_clocks.empty());
    // Each clock can be had from some PLL through a divider.
    for (auto const& [name, mhz] : grade.system_clocks)
      EXPECT_TRUE(std::any_of(grade.system_plls.begin(), grade.system_plls.end(),
                              [&, most = mhz](SystemPll const& pll) { return pll.output_max_mhz >= most; }))
          << name;
  }
  EXPECT_EQ(std::count_if(system.monitor->supplies.begin(), system.monitor->supplies.end(),
                          [](SystemMonitor::Supply const& supply) { return supply.name.starts_with("VCCO_"); }),
            static_cast<std::ptrdiff_t>(device().banks.size()));
}

TEST(TransceiverPower, IsLinearBetweenPointsAndProportionalOutside) {
  TransceiverPower power;
  power.points = {{2, 0.2, 0.4}, {4, 0.3, 0.8}};
  EXPECT_DOUBLE_EQ(power.transmit_w(0), 0);
  EXPECT_DOUBLE_EQ(power.transmit_w(1), 0.1);
  EXPECT_DOUBLE_EQ(power.transmit_w(2), 0.2);
  EXPECT_DOUBLE_EQ(power.transmit_w(3), 0.25);
  EXPECT_DOUBLE_EQ(power.receive_w(3), 0.6);
  EXPECT_DOUBLE_EQ(power.receive_w(8), 1.6);
  EXPECT_DOUBLE_EQ(power.receive_w(-1), 0);
}

}  // namespace
