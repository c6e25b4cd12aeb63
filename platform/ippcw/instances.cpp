#include "platform/ippcw/instances.h"

#include <algorithm>
#include <utility>

#include "kdi/common/KdiText.h"
#include "kdi/cores/Store.h"
#include "kdi/device/parts.h"
#include "kdi/ippcw/HardIPInstance.h"
#include "kdi/ippcw/cips_top.h"
#include "platform/ippcw/HICHipInst.h"

namespace hardip_eng {
namespace {

using kdi::cores::Interface;

class FixedInstance final : public HardIPInstance<FixedInstance, Named<HardIPInterface>> {
 public:
  using HardIPInstance::HardIPInstance;
  // Nothing of it can be set, so that no output grows old.
  bool keepsExistingOutput() override { return true; }
};
class BlockInstance final : public HardIPInstance<BlockInstance, WithParameters<HardIPInterface>> {
  using HardIPInstance::HardIPInstance;
};
class StagedInstance final : public HardIPInstance<StagedInstance, WithStages<HardIPInterface>> {
  using HardIPInstance::HardIPInstance;
};
class PlainInstance final : public HardIPInstance<PlainInstance, WithMonitor<HardIPInterface>> {
  using HardIPInstance::HardIPInstance;
};
class PspmcInstance final : public HardIPInstance<PspmcInstance, WithModel<pspmc_config::pspmc_top>> {
  using HardIPInstance::HardIPInstance;
};
class CipsInstance final : public HardIPInstance<CipsInstance, WithModel<cips_config::cips_top>> {
  using HardIPInstance::HardIPInstance;
};

std::shared_ptr<HardIPInterface> instance_of(Interface interface, Configured core) {
  switch (interface) {
    case Interface::fixed:
      return std::make_shared<FixedInstance>(std::move(core));
    case Interface::block:
    case Interface::earlier:
      return std::make_shared<BlockInstance>(std::move(core));
    case Interface::staged:
      return std::make_shared<StagedInstance>(std::move(core));
    case Interface::plain:
      return std::make_shared<PlainInstance>(std::move(core));
    case Interface::pspmc:
      return std::make_shared<PspmcInstance>(std::move(core));
    case Interface::cips:
      return std::make_shared<CipsInstance>(std::move(core));
    case Interface::psxl:
      return std::make_shared<HICHipInst>(std::move(core));
  }
  return nullptr;
}

std::string shown(std::string const& word) { return kdi::text::quoted(kdi::text::shortened(word)); }

// The cores that a part has, for people: `pmcps 1.0, xram`.
std::string cores_of(kdi::device::ProcessingSystem const& system) {
  std::vector<std::string> all;
  for (auto const& [name, versions] : system.cores)
    all.push_back(versions.empty() ? name : name + " " + kdi::text::joined(versions, " "));
  return kdi::text::joined(all, ", ");
}

// The versions of a core that the part has, of those that have a description; none with an error.
StrVec versions_on(kdi::device::Part const& part, std::string const& name, StrVec const& described, StrVec& errors) {
  auto const& system = part.device->processing_system;
  const std::string who = "the part " + part.name;
  if (!system || system->cores.empty()) {
    errors.push_back(who + " has no configurable core");
    return {};
  }
  const auto hosted = system->cores.find(name);
  if (hosted == system->cores.end()) {
    errors.push_back(who + " does not have the core " + name + "; it has " + cores_of(*system));
    return {};
  }
  StrVec versions;
  for (std::string const& version : described)
    if (hosted->second.empty() ||
        std::find(hosted->second.begin(), hosted->second.end(), version) != hosted->second.end())
      versions.push_back(version);
  if (versions.empty())
    errors.push_back(who + " has no version of " + name + " that is described; it has " + cores_of(*system));
  return versions;
}

}  // namespace

std::string context_value(ParamMap const& context, char const* key) {
  const auto place = context.find(key);
  return place == context.end() ? std::string() : place->second;
}

Configured configured_core(ParamMap const& context, StrVec& errors) {
  const auto refuse = [&](std::string const& text) {
    errors.push_back(text);
    return nullptr;
  };
  const std::string name = context_value(context, "ps_core_name");
  if (name.empty()) return refuse("the context has no ps_core_name");
  const StrVec described = kdi::cores::core_versions(name);
  if (described.empty())
    return refuse("no core " + shown(name) + "; there are " + kdi::text::joined(kdi::cores::core_names(), ", "));
  const std::string part_name = context_value(context, "part");
  if (part_name.empty()) return refuse("the context has no part");
  kdi::device::Part const* const part = kdi::device::find_part(part_name);
  if (part == nullptr) return refuse(kdi::device::unknown_part(part_name));
  const StrVec versions = versions_on(*part, name, described, errors);
  if (versions.empty()) return nullptr;
  const std::string asked = context_value(context, "ps_core_ver");
  std::string const& version = asked.empty() ? versions.back() : asked;
  if (std::find(versions.begin(), versions.end(), version) == versions.end())
    return refuse("no version " + shown(version) + " of " + name + " on the part " + part_name + "; there are " +
                  kdi::text::joined(versions, ", "));
  auto core = kdi::cores::core_description(name, version);
  if (core == nullptr) return refuse("the description of " + name + " " + version + " is gone");
  return std::make_shared<ConfiguredCore>(std::move(core), part, context_value(context, "instance_name"));
}

std::shared_ptr<HardIPInterface> make_instance(ParamMap const& context, StrVec& errors) {
  Configured core = configured_core(context, errors);
  if (core == nullptr) return nullptr;
  const Interface interface = core->description().interface();
  return instance_of(interface, std::move(core));
}

std::vector<SubInstance> sub_instances(HardIPInterface& instance, ParamMap const& context) {
  std::vector<SubInstance> all;
  auto const* const with_core = dynamic_cast<WithCore*>(&instance);
  if (with_core == nullptr || with_core->core()->core().interface() != Interface::psxl) return all;
  ConfiguredCore const& outer = *with_core->core();
  for (kdi::cores::SubCore const& sub : outer.sub_cores()) {
    const auto named = [&](std::string const& name) -> ParamMap {
      return {{"instance_name", name}, {"ps_core_name", sub.core}, {"part", context_value(context, "part")}};
    };
    const std::string own = outer.instance_name() + "_" + sub.name, cell = "bd_" + own + "_0";
    const auto inst =
        std::make_shared<HICHipInst>(std::make_shared<ConfiguredCore>(outer, sub, own), "tmp_" + sub.name);
    all.push_back({named(own), inst});
    all.push_back({named(cell),
                   std::make_shared<HICCell>(std::make_shared<ConfiguredCore>(outer, sub, cell), inst->getHICInst())});
  }
  return all;
}

}  // namespace hardip_eng
