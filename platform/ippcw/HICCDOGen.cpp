#include "kdi/ippcw/HICCDOGen.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <new>
#include <stdexcept>

#include "kdi/cdo/Cdo.h"
#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiText.h"
#include "kdi/cores/Outputs.h"
#include "kdi/cores/Registers.h"
#include "kdi/cores/Store.h"
#include "platform/ippcw/configured_core.h"

using hardip_eng::ConfiguredAccess;
using hardip_eng::ConfiguredCore;
using kdi::cores::RegisterCommand;
using kdi::cores::RegisterImage;
using kdi::cores::RegisterMap;

struct HICCDOGen::State {
  std::string core_name;
  std::shared_ptr<kdi::cores::Core const> description;
  std::unique_ptr<ConfiguredCore> core;  // none until there are values
};

namespace {

constexpr int kStrength = 10;

template <class Step>
void told(Step step) {
  try {
    step();
  } catch (std::bad_alloc const&) {
    throw;
  } catch (std::exception const& error) {
    ComMsgMgr::sendMsg::eval(1, __FILE__, __LINE__, "ippcw", ComMsgMgr::MSG_ERROR, "%s", error.what());
  }
}

// The outputs of a core that a directory of descriptions stands for.
StrVec outputs_in(std::string const& directory, RegisterMap const& map) {
  const kdi::JsonFile file(directory + "/registers.json");
  const kdi::JsonValue root = file.root();
  root.allow_only({"format", "outputs"});
  root.member("format").integer(1, 1);
  StrVec outputs;
  const StrVec known = map.outputs();
  for (const kdi::JsonValue output : root.member("outputs").items()) {
    if (std::find(known.begin(), known.end(), output.text()) == known.end())
      output.refuse("an output of the core: " + kdi::text::joined(known, ", "));
    outputs.emplace_back(output.text());
  }
  return outputs;
}

}  // namespace

HICCDOGen::HICCDOGen(std::string& coreName) : state_(std::make_unique<State>()) {
  state_->core_name = coreName;
  told([&] {
    const StrVec versions = kdi::cores::core_versions(coreName);
    if (versions.empty())
      throw std::runtime_error("no core " + kdi::text::shown(coreName) + "; there are " +
                               kdi::text::joined(kdi::cores::core_names(), ", "));
    state_->description = kdi::cores::core_description(coreName, versions.back());
  });
}

HICCDOGen::~HICCDOGen() = default;

// Pads and monitor follow from the parameters, as they did where the maps were made.
void HICCDOGen::readRegisters(ParamMap& values, ParamMap&, ParamMap&) {
  if (state_->description == nullptr) return;
  told([&] {
    auto core = std::make_unique<ConfiguredCore>(state_->description, nullptr, state_->core_name);
    RawResult dropped;
    ParamMap messages;
    core->apply(values, dropped, messages, kStrength);
    state_->core = std::move(core);
  });
}

void HICCDOGen::writeMaskDefinitonsFile() {
  if (state_->description == nullptr) return;
  told([&] {
    kdi::write_file(state_->core_name + "_mask_definitions.h",
                    kdi::cores::mask_definitions(*RegisterMap::of(state_->description), state_->core_name));
  });
}

void HICCDOGen::writeCDOinCFiles(ParamMap&, std::string& specDir, std::string coreName, std::string& outputPath, int) {
  if (state_->core == nullptr) return;
  told([&] {
    const std::shared_ptr<RegisterMap const> map = RegisterMap::of(state_->description);
    const StrVec outputs = outputs_in(specDir, *map);
    const std::string name = std::filesystem::path(specDir).filename().string();
    std::string source;
    state_->core->use([&](ConfiguredAccess const& access) {
      const std::vector<RegisterCommand> commands =
          RegisterImage(*map, access.configuration.instance()).commands(outputs);
      source = kdi::cdo::to_c(kdi::cores::plain(commands), coreName + "_" + name,
                              [&](std::size_t i) { return kdi::cores::words_of(*map, commands[i]); });
    });
    kdi::make_directories(outputPath);
    kdi::write_file(outputPath + "/" + name + ".c", source);
  });
}
