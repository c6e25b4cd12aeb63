// The data behind the power calculator: what the reader refuses, and that the shipped files fit the shipped devices.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "kdi/common/KdiJson.h"
#include "kdi/device/HARPartsParse.h"
#include "kdi/device/host/PartCatalogue.h"
#include "tests/support/places.h"
#include "tests/support/power_fixture.h"
#include "tests/support/scratch.h"

namespace {

using kdi::power::Model;
using kdi::power::read_model;

std::string shipped_text(std::string const& generation) {
  return kdi::read_file(places::data("power/" + generation + ".json"));
}

// The shipped text with the first `from` replaced.
std::string changed(std::string const& from, std::string const& to) {
  std::string text = shipped_text("zorvan1");
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return text.replace(at, from.size(), to);
}

std::string fault(std::string const& text) {
  try {
    read_model(text, "f");
  } catch (kdi::JsonError const& error) {
    return error.what();
  }
  return "none";
}

TEST(PowerModel, RefusesWhatIsWrongWithSystems) {
  const auto place = [](std::string const& fault) { return fault.substr(fault.find(' ') + 1); };
  EXPECT_EQ(place(fault(changed("\"load_pf\": 12", "\"load_pf\": -1"))),
            "systems[0].load_pf: expected a number from 0 to 1e+06, found the number -1");
  EXPECT_EQ(place(fault(changed("\"first\": 16, \"last\": 53", "\"first\": 16, \"last\": 15"))),
            "systems[0].banks[1].last: expected an integer from 16 to 1000, found the number 15");
  EXPECT_EQ(place(fault(changed("\"kind\": \"ps7\"", "\"kind\": \"\""))),
            "systems[0].kind: expected a word, found the text \"\"");
  EXPECT_EQ(place(fault(changed("{\"volts\": 1.8, ", "{\"volts\": 18, "))),
            "systems[0].standards.LVCMOS1.8.volts: expected a number from 0 to 10, found the number 18");
  EXPECT_EQ(place(fault(changed("\"load_pf\": 12,", ""))), "systems[0]: expected a field \"load_pf\", found none");
  EXPECT_EQ(
      place(fault(changed("_MIO_{}_PULLUP", "_MIO_PULLUP"))),
      "systems[0].banks[0].pull: expected a name with {} for the number of the pad, found the text \"_MIO_PULLUP\"");
  EXPECT_EQ(place(fault(changed("\"centre\"", "\"center\""))),
            "systems[0].memory.standards.DDR3.end: expected open, centre, supply or ground, found the text \"center\"");
  EXPECT_EQ(place(fault(changed("\"driver_ohm\": 34", "\"driver_ohm\": 0"))),
            "systems[0].memory.standards.DDR3.driver_ohm: expected a number from 1 to 1e+06, found the number 0");
}

TEST(PowerModel, RefusesWhatIsWrongWithItsPlace) {
  EXPECT_EQ(fault(shipped_text("zorvan1")), "none");
  EXPECT_EQ(fault("[]"), "f:1: top level: expected an object, found a list");
  EXPECT_EQ(fault(changed("\"format\": 1", "\"format\": 2")),
            "f:2: format: expected an integer from 1 to 1, found the number 2");
  EXPECT_EQ(fault(changed("\"junction_c\": 25, ", "")), "f:4: conditions: expected a field \"junction_c\", found none");
  EXPECT_EQ(fault(changed("\"leakage_doubling_c\": 27", "\"leakage_doubling_c\": 0")),
            "f:5: conditions.leakage_doubling_c: expected a number from 1 to 1000, found the number 0");
  EXPECT_EQ(fault(changed("\"pll_idle\": 0.4", "\"pll_idle\": 1.4")),
            "f:11: transceivers[0].pll_idle: expected a number from 0 to 1, found the number 1.4");
  EXPECT_EQ(fault(changed("\"pll_idle\"", "\"pll_idol\"")).substr(0, 40), "f:11: transceivers[0].pll_idol: expected");
  EXPECT_EQ(fault(changed("\"8B10B\":", "\"raw\":")),
            "f:17: transceivers[0].encodings.raw: expected a word that does not occur twice as the field's name, found "
            "an object");
  EXPECT_EQ(fault(changed("{\"Single\": 1, \"Dual\": 2}", "{}")),
            "f:30: memory.slots: expected at least one word, found an object");
  EXPECT_EQ(fault(changed("\"write_share\": 0.25", "\"write_share\": 0.75")),
            "f:27: memory.write_share: expected no more than read_share leaves, found the number 0.75");
  EXPECT_EQ(fault(changed("\"family\": \"QDRIIP\"", "\"family\": \"DDR3\"")),
            "f:43: memories[1].family: expected a name that does not occur twice, found the text \"DDR3\"");
  EXPECT_EQ(fault(changed("\"type\": \"GTF\"", "\"type\": \"\"")),
            "f:10: transceivers[0].type: expected a word, found the text \"\"");
}

TEST(PowerModel, WordsAreFoundByTheLongestThatTheyBeginWith) {
  kdi::power::Words<int> words{{{"Usual", 0}, {"64B", 1}, {"64B66B", 2}}};
  EXPECT_EQ(*words.find("64b66b_async"), 2);
  EXPECT_EQ(*words.find("64B67B"), 1);
  EXPECT_EQ(*words.find("USUAL"), 0);
  EXPECT_EQ(words.find("64"), nullptr);
  EXPECT_EQ(words.find(""), nullptr);
}

TEST(PowerModel, ABrokenFileIsReportedAndIsNone) {
  const Scratch scratch;
  scratch.file("power/bad_generation.json", "{\n\"format\": 1,\n\"generation\": 5}");
  scratch.file("power/misnamed.json", shipped_text("zorvan1"));
  const Environment root("KDI_DATA_DIR", scratch.folder());
  const Reported reported;
  EXPECT_EQ(kdi::power::model_of("bad_generation"), nullptr);
  EXPECT_EQ(kdi::power::model_of("misnamed"), nullptr);
  EXPECT_EQ(kdi::power::model_of("no_such_generation"), nullptr);
  ASSERT_EQ(reported.lines.size(), 2U);
  EXPECT_NE(reported.lines[0].find("bad_generation.json:3: generation: expected a text, found the number 5"),
            std::string::npos)
      << reported.lines[0];
  EXPECT_NE(reported.lines[1].find("misnamed.json:3: generation: expected the file's name, misnamed"),
            std::string::npos)
      << reported.lines[1];
  scratch.file("power/bad_generation.json", changed("\"zorvan1\"", "\"bad_generation\""));
  ASSERT_NE(kdi::power::model_of("bad_generation"), nullptr) << "mended, it is read";
  EXPECT_EQ(kdi::power::model_of("bad_generation"), kdi::power::model_of("bad_generation"));
}

class ShippedDevicePower : public testing::TestWithParam<std::string> {};

kdi::device::PartCatalogue& shipped() {
  static kdi::device::PartCatalogue catalogue({places::data("devices")});
  return catalogue;
}

INSTANTIATE_TEST_SUITE_P(Each, ShippedDevicePower, testing::ValuesIn(shipped().devices()),
                         [](auto const& device) { return device.param; });

TEST_P(ShippedDevicePower, ModelAndDeviceFitTogether) {
  kdi::device::Device const& device = *shipped().part(shipped().parts(GetParam()).front())->values().device;
  const Model model = read_model(shipped_text(device.generation), "shipped");
  EXPECT_EQ(model.generation, device.generation);
  for (auto const& grade : device.speed_grades) {
    EXPECT_EQ(model.conditions.leakage.count(grade.name), 1U) << grade.name;
    for (auto const& type : grade.transceivers) {
      const auto around = std::find_if(model.transceivers.begin(), model.transceivers.end(),
                                       [&](auto const& each) { return each.type == type.type; });
      ASSERT_NE(around, model.transceivers.end()) << type.type;
      auto const& modes = device.power.transceiver(type.type)->equaliser_w;
      EXPECT_EQ(modes.count(around->auto_short), 1U);
      EXPECT_EQ(modes.count(around->auto_long), 1U);
      EXPECT_LE(modes.at(around->auto_short), modes.at(around->auto_long));
      std::set<std::string> encodings;
      for (auto const& encoding : around->encodings.all) encodings.insert(encoding.name);
      EXPECT_EQ(encodings, std::set<std::string>(type.encodings.begin(), type.encodings.end()));
    }
  }
  for (kdi::power::MemoryFamily const& family : model.memories) {
    kdi::device::MemoryPower const* const power = device.power.memory(family.type);
    ASSERT_NE(power, nullptr) << family.type;
    EXPECT_EQ(power->termination_w.count(family.usual_termination), 1U) << family.usual_termination;
  }
}

}  // namespace
