// The driver as a program, over the data that are shipped: its C sources are taken by two compilers and, run over
// registers that behave, bring them to what the engine's own configuration data do.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "kdi/cdo/Cdo.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiText.h"
#include "kdi/cores/RegisterMemory.h"
#include "kdi/cores/Registers.h"
#include "kdi/cores/Store.h"
#include "kdi/ippcw/HICJsonReader.h"
#include "kdi/ippcw/HardIP.h"
#include "tests/support/cdo_access.h"
#include "tests/support/places.h"
#include "tests/support/program.h"
#include "tests/support/scratch.h"

namespace {

using namespace kdi::cores;
using kdi::cores::RegisterMemory;
using Texts = std::vector<std::string>;

constexpr char const* kPart = "brvn3716-die-2LHP-e-S-es1";

RegisterMemory& memory_of(void* context) { return *static_cast<RegisterMemory*>(context); }

class DriverData : public testing::TestWithParam<char const*> {
 protected:
  std::string hiw(std::string const& name) const {
    return places::data("tavrel/" + std::string(GetParam()) + "/hiw/" + name);
  }
  std::shared_ptr<Core const> core_ = core_description(GetParam(), core_versions(GetParam()).back());
};

INSTANTIATE_TEST_SUITE_P(Of, DriverData, testing::Values("psxl", "pmcps", "ps11"),
                         [](auto const& one) { return std::string(one.param); });

TEST_P(DriverData, IsThatOfTheCore) {
  ParamMap initial, mio;
  HICJsonReader reader;
  ASSERT_TRUE(reader.parseStateJson(hiw("pspmc_init.json"), initial));
  ASSERT_TRUE(reader.parseMioParams(hiw("pspmc_init.json"), mio));
  for (auto const& [name, value] : initial) EXPECT_TRUE(core_->find(name)) << name;
  Texts described;
  for (std::string const& folder : kdi::list_directory(hiw("cdospec"))) {
    const kdi::JsonFile file(hiw("cdospec/" + folder + "/registers.json"));
    for (const kdi::JsonValue output : file.root().member("outputs").items()) described.emplace_back(output.text());
  }
  std::sort(described.begin(), described.end());
  EXPECT_EQ(described, RegisterMap::of(core_)->outputs()) << "each output once";
}

TEST_P(DriverData, GivesSourcesThatConfigureTheRegisters) {
  const Scratch work;
  const std::string name = GetParam();
  ParamMap given;
  for (Parameter const& parameter : core_->parameters())
    for (char const* const end : {"_UART0_PERIPHERAL_ENABLE", "_I2C0_PERIPHERAL_ENABLE", "_UART0_PERIPHERAL"})
      if (parameter.name.ends_with(end) && parameter.widget == Widget::checkbox) given[parameter.name] = "1";
  EXPECT_FALSE(given.empty());
  std::string input = "ps_core_name," + name + "\npart," + kPart + "\n";
  for (auto const& [parameter, value] : given) input += parameter + "," + value + "\n";
  Surroundings around;
  around.folder = work.folder();
  const Outcome outcome = run_program({places::program("cdo_driver"), work.file("input", input), "out"}, around);
  ASSERT_EQ(outcome.status, 0) << outcome.out << outcome.err;
  ParamMap values;
  EXPECT_TRUE(HICJsonReader().parseStateJson(work.path(name + "_state.json"), values));
  EXPECT_EQ(values.size(), core_->parameters().size());

  const auto map = RegisterMap::of(core_);
  RegisterMemory by_sources(*map), by_engine(*map);
  cdo_access access = {
      [](void* context, std::uint32_t address, std::uint32_t value) { memory_of(context).write(address, value); },
      [](void* context, std::uint32_t address, std::uint32_t mask, std::uint32_t value) {
        memory_of(context).masked_write(address, mask, value);
      },
      [](void* context, std::uint32_t address, std::uint32_t mask, std::uint32_t value, std::uint32_t timeout_us) {
        try {
          memory_of(context).poll(address, mask, value, timeout_us);
          return 0;
        } catch (kdi::cores::RegisterFault const&) {
          return 1;
        }
      },
      [](void*, std::uint32_t) {}, &by_sources};
  EXPECT_NE(kdi::read_file(work.path(name + "_mask_definitions.h")).find("_ADDRESS 0xf"), std::string::npos);
  Texts order = kdi::list_directory(work.path("out"), ".c");
  // the controller first, as it is carried out
  std::stable_sort(order.begin(), order.end(),
                   [](std::string const& a, std::string const&) { return a == "pmc_data.c"; });
  ASSERT_FALSE(order.empty());
  for (std::string const& source : order) {
    const std::string path = work.path("out/" + source), library = path + ".so";
    for (char const* const compiler : {"/usr/bin/cc", "/usr/bin/clang"}) {
      if (::access(compiler, X_OK) != 0) continue;
      const Outcome compiled =
          run_program({compiler, "-std=c99", "-Wall", "-Wextra", "-Wpedantic", "-Werror", "-include",
                       work.path(name + "_mask_definitions.h"), "-shared", "-fPIC", path, "-o", library});
      ASSERT_EQ(compiled.status, 0) << compiled.err;
    }
    void* const loaded = ::dlopen(library.c_str(), RTLD_NOW);
    ASSERT_NE(loaded, nullptr) << ::dlerror();
    const std::string function = name + "_" + source.substr(0, source.size() - 2) + "_configure";
    auto* const configure = reinterpret_cast<int (*)(cdo_access const*)>(::dlsym(loaded, function.c_str()));
    ASSERT_NE(configure, nullptr) << function;
    EXPECT_EQ(configure(&access), 0) << source;
    ::dlclose(loaded);
  }

  StrVec errors;
  hardip_eng::HardIPInterface* const engine = hardip_eng::HardIPManager::getInstance()->getOrCreateInstance(
      {{"ps_core_name", name}, {"instance_name", "u1"}, {"part", kPart}}, errors);
  ASSERT_NE(engine, nullptr) << errors.at(0);
  RawResult rows;
  ParamMap messages;
  engine->getRanges(given, rows, messages, 10);
  std::string folder = work.path("engine");
  ParamMap none;
  engine->writeDesignData(folder, none);
  for (std::string const& source : order) {
    const std::string file = folder + "/u1_" + source.substr(0, source.size() - 2) + ".cdo";
    if (kdi::is_file(file)) by_engine.run(kdi::cdo::from_text(kdi::read_file(file), file));
  }
  EXPECT_EQ(by_sources.words(), by_engine.words());
}

}  // namespace
