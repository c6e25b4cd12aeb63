// Parts by name, as the package asks for them.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "kdi/common/KdiDataDir.h"
#include "kdi/common/KdiJson.h"
#include "kdi/common/host/MessageHost.h"
#include "kdi/device/HARPartMgr.h"
#include "kdi/device/HARPartsParse.h"
#include "kdi/device/host/PartCatalogue.h"
#include "tests/support/places.h"
#include "tests/support/scratch.h"

namespace {

using namespace kdi::device;

constexpr char kDefaultPart[] = "brvn3716-die-2LHP-e-S-es1";
const std::string kShipped = places::data("devices");

// The process's data roots: one with a broken device, one with the example's device, and behind them the shipped data.
class Roots : public testing::Environment {
 public:
  void SetUp() override {
    scratch_ = std::make_unique<Scratch>();
    scratch_->file("devices/brokn10.json", "{\n  \"format\": 1,\n  \"device\": 7\n}\n");
    ::setenv("KDI_DATA_DIR", (scratch_->folder() + ":" + places::source("examples/data")).c_str(), 1);
  }
  void TearDown() override { scratch_.reset(); }
  static std::string broken() { return std::filesystem::canonical(scratch_->path("devices/brokn10.json")); }

 private:
  static inline std::unique_ptr<Scratch> scratch_;
};
testing::Environment* const roots = testing::AddGlobalTestEnvironment(new Roots);

TEST(DataDirectories, AreThoseOfAllRootsInOrder) {
  const std::string given = ::getenv("KDI_DATA_DIR");
  ::setenv("KDI_DATA_DIR", (given + "::/nonexistent:" + given).c_str(), 1);
  const std::vector<std::string> found = kdi::data_directories("devices");
  EXPECT_EQ(kdi::data_directories("no such folder"), std::vector<std::string>{});
  ::setenv("KDI_DATA_DIR", given.c_str(), 1);
  EXPECT_EQ(found, (std::vector<std::string>{std::filesystem::path(Roots::broken()).parent_path(),
                                             std::filesystem::canonical(places::source("examples/data/devices")),
                                             std::filesystem::canonical(kShipped)}));
}

TEST(PartManager, KnowsTheDefaultPart) {
  HDARPart const* const part = HARPartMgr::getGlobal()->getPart(kDefaultPart);
  ASSERT_NE(part, nullptr);
  EXPECT_EQ(part->getProperty("NAME"), kDefaultPart);
  EXPECT_EQ(part->getProperty("DEVICE"), "brvn3716");
  EXPECT_EQ(part->getProperty("FAMILY"), "tavrel");
  EXPECT_EQ(part->getProperty("GENERATION"), "tavrel");
  EXPECT_EQ(part->getProperty("PACKAGE"), "die");
  EXPECT_EQ(part->getProperty("SPEED"), "-2LHP");
  EXPECT_EQ(part->getProperty("STAGE"), "ES1");
  EXPECT_EQ(part->getProperty("TEMPERATURE_MAX_C"), "100");
  EXPECT_EQ(part->getProperty("SLR"), "1");
  EXPECT_EQ(part->getProperty("slr"), "");
  EXPECT_EQ(part->getProperty(""), "");
}

TEST(PartManager, CountsTheSlrs) {
  EXPECT_EQ(HARPartMgr::getGlobal()->getPart("brvn5130-c2601-1LHP-i-S")->getProperty("SLR"), "3");
}

TEST(PartManager, AnswersTheSamePointerEachTimeAndForBothNames) {
  HDARPart const* const part = HARPartMgr::getGlobal()->getPart(kDefaultPart);
  EXPECT_EQ(HARPartMgr::getGlobal()->getPart(kDefaultPart), part);
  EXPECT_EQ(HARPartsParse::getPart(kDefaultPart), part);
  EXPECT_NE(HARPartsParse::getPart("brvn3716-die-2LHP-e-S"), part);
}

TEST(PartManager, DoesNotKnowWhatIsNoPart) {
  for (char const* name : {"", "x", "brvn3716", "brvn3716-die", "brvn3716-die-2LHP-e-S-es2", "BRVN3716-die-2LHP-e-S",
                           "brvn3716-die-2LHP-e-S-es1 ", "schema", "families", "../devices/brvn3716-die-2LHP-e-S",
                           "brvn3716.json", "%s%n"})
    EXPECT_EQ(HARPartMgr::getGlobal()->getPart(name), nullptr) << name;
  EXPECT_EQ(HARPartsParse::getPart(std::string(100000, 'b')), nullptr);
  EXPECT_EQ(HARPartsParse::getPart(std::string("brvn3716-die-2LHP-e-S\0x", 23)), nullptr);
}

TEST(PartManager, ReportsABrokenFileByFileLineAndField) {
  const message_host::Capture messages;
  EXPECT_EQ(HARPartMgr::getGlobal()->getPart("brokn10-a1-1"), nullptr);
  EXPECT_NE(HARPartMgr::getGlobal()->getPart(kDefaultPart), nullptr);  // the others are none the worse
  EXPECT_EQ(messages.lines(), std::vector<std::string>{"ERROR: [device] " + Roots::broken() +
                                                       ":3: device: expected a text, found the number 7"});
}

TEST(PartManager, FindsADeviceThatWasAddedAsAFile) {
  HDARPart const* const part = HARPartMgr::getGlobal()->getPart("zrv7012-c225-2-i");
  ASSERT_NE(part, nullptr);
  Part const& values = part->values();
  EXPECT_EQ(values.device->family, "zorvan");
  EXPECT_EQ(values.clock_primitive("MMCM")->count, 2);
  EXPECT_EQ(values.block_memory("18K"), nullptr);  // not counted, so not there
  EXPECT_EQ(values.transceiver("GTF"), nullptr);
  // 34 leads lanes T0 and T1 to A1 .. D6, and no others
  PinSite const& site = values.package->pins.at("A1");
  EXPECT_EQ(site.number, 34);
  EXPECT_EQ(values.package->bank(34)->lanes.at(0).pads.at(0).pin, "A1");
  EXPECT_EQ(values.package->bank(34)->lanes.at(1).pads.back().pin, "D6");
  EXPECT_EQ(values.package->bank(34)->lanes.at(2).pads.at(0).pin, "");
}

TEST(PartManager, FindsWhatTheGuideShows) {
  const std::string guide = kdi::read_file(places::source("docs/adding-a-device.md"));
  const std::string example = kdi::read_file(places::source("examples/data/devices/zrv7012.json"));
  EXPECT_NE(guide.find("```json\n" + example + "```\n"), std::string::npos);
}

TEST(PartManager, ServesManyThreads) {
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  const std::vector<std::string> names{"brvn2104-b900-1LHP-e-S", "zrv9010-f900-2-i", "zrv7030-c484-1-c",
                                       "no-such-part"};
  for (int i = 0; i < 8; ++i)
    threads.emplace_back([&, i] {
      for (std::size_t turn = 0; turn < 200; ++turn) {
        std::string const& name = names[(turn + static_cast<std::size_t>(i)) % names.size()];
        HDARPart const* const part = HARPartMgr::getGlobal()->getPart(name);
        const std::string found = part == nullptr ? "no-such-part" : part->getProperty("NAME");
        if (found != name) ++wrong;
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

TEST(PartCatalogue, ReadsAFileWhenItsPartIsFirstAskedForAndNeverAgain) {
  const Scratch scratch;
  PartCatalogue catalogue({scratch.folder()});
  EXPECT_EQ(catalogue.part("zrv7012-c225-1-c"), nullptr);
  std::filesystem::copy_file(places::source("examples/data/devices/zrv7012.json"), scratch.path("zrv7012.json"));
  EXPECT_EQ(catalogue.devices(), std::vector<std::string>{"zrv7012"});
  EXPECT_THROW(catalogue.part("zrv7012-c225-1-c"), kdi::JsonError);  // its family is missing here
  std::filesystem::create_directories(scratch.path("families"));
  std::filesystem::copy_file(std::string(kShipped) + "/families/zorvan1.json", scratch.path("families/zorvan1.json"));
  HDARPart const* const part = catalogue.part("zrv7012-c225-1-c");
  ASSERT_NE(part, nullptr);
  std::filesystem::remove(scratch.path("zrv7012.json"));
  EXPECT_EQ(catalogue.part("zrv7012-c225-1-c"), part);
  EXPECT_NE(catalogue.part("zrv7012-c225-2-c"), nullptr);  // of the same file
}

TEST(PartCatalogue, TakesTheFileOfTheFirstDirectory) {
  const Scratch scratch;
  std::string text = kdi::read_file(places::source("examples/data/devices/zrv7012.json"));
  text.replace(text.find("\"MMCM\": 2"), 9, "\"MMCM\": 3");
  scratch.file("zrv7012.json", text);
  PartCatalogue catalogue({places::source("examples/data/devices"), kShipped});
  catalogue.add_directory(scratch.folder());
  EXPECT_EQ(catalogue.part("zrv7012-c225-1-c")->values().clock_primitive("MMCM")->count, 3);
}

TEST(PartCatalogue, ListsPartsOfADevice) {
  PartCatalogue catalogue({kShipped});
  EXPECT_EQ(catalogue.parts("zrv9010"),
            (std::vector<std::string>{"zrv9010-f625-1-e", "zrv9010-f625-1-i", "zrv9010-f625-2-e", "zrv9010-f625-2-i",
                                      "zrv9010-f900-1-e", "zrv9010-f900-1-i", "zrv9010-f900-2-e", "zrv9010-f900-2-i"}));
  EXPECT_TRUE(catalogue.parts("families/tavrel").empty());
  EXPECT_TRUE(catalogue.parts("").empty());
}

TEST(PartCatalogue, WorksWithoutDirectories) {
  PartCatalogue catalogue({"/nonexistent", ""});
  EXPECT_TRUE(catalogue.devices().empty());
  EXPECT_EQ(catalogue.part(kDefaultPart), nullptr);
}

TEST(PartValues, AnswerByName) {
  Part const& part = HARPartMgr::getGlobal()->getPart(kDefaultPart)->values();
  EXPECT_EQ(part.clock_primitive(ClockPrimitiveKind::phy_pll)->name, "PHYPLL");
  EXPECT_EQ(part.clock_primitive("none"), nullptr);
  EXPECT_EQ(part.clock_primitive("MMCM")->multiply.steps_per_unit, 64);
  EXPECT_EQ(part.clock_primitive("MMCM")->outputs.size(), 7u);
  EXPECT_EQ(part.clock_primitive("MMCM")->outputs.back().index, 6);
  EXPECT_DOUBLE_EQ(part.clock_buffer("BUFGCE")->period_ns.min, 0.934);
  EXPECT_EQ(part.transceiver("GTYP")->plls.size(), 4u);
  EXPECT_EQ(part.memory_controller("DDRMC")->sites.size(), 4u);
  EXPECT_DOUBLE_EQ(part.speed_key("MMCM_FVCO_MAX").value(), 4320);
  EXPECT_DOUBLE_EQ(part.speed_key("BUFGCE_PERIOD_MIN").value(), 0.934);
  EXPECT_FALSE(part.speed_key("MMCM_FVCO"));
  EXPECT_EQ(part.package->pins.at("IO_B0_L0P_700").number, 700);  // a die's pins are its pads
  Part const& slow = HARPartMgr::getGlobal()->getPart("brvn3716-die-1LHP-e-S-es1")->values();
  EXPECT_GT(part.clock_primitive("MMCM")->output_mhz.max, slow.clock_primitive("MMCM")->output_mhz.max);
}

// The fractional output of the earlier family counts in eighths, from 2 on.
TEST(PartValues, KeepFractionsOfDividers) {
  Part const& part = HARPartMgr::getGlobal()->getPart("zrv7030-c484-1-c")->values();
  ClockPrimitive const& mmcm = *part.clock_primitive("MMCM");
  EXPECT_EQ(mmcm.outputs.at(0).divide, (CounterRange{1, 128, 8, 2}));
  EXPECT_EQ(mmcm.outputs.at(1).divide, (CounterRange{1, 128, 1, 1}));
  EXPECT_EQ(mmcm.fine_phase_steps_per_vco_period, 56);
}

}  // namespace
