#include "platform/ippcw/earlier_core.h"

#include <utility>

#include "kdi/ippcw/host/PSUFactories.h"
#include "platform/ippcw/earlier_texts.h"
#include "platform/ippcw/factories.h"
#include "platform/ippcw/init_files.h"
#include "platform/ippcw/instances.h"

namespace hardip_eng {
namespace {

constexpr int kFullStrength = 10;

// The named one of presets or boards, and what else is given.
struct Chosen {
  std::string name;
  ParamMap others;
};
Chosen chosen(ParamMap const& params, char const* key) {
  Chosen asked{{}, params};
  if (const auto place = asked.others.find(key); place != asked.others.end()) {
    asked.name = place->second;
    asked.others.erase(place);
  }
  return asked;
}

}  // namespace

// Applies what is given, and tells its errors: a configuration that has some is no base for outputs. Warnings are told
// by the questions for ranges.
bool EarlierCore::take(ParamMap const& params, StrVec& errors) {
  RawResult result;
  ParamMap messages;
  core_->apply(params, result, messages, kFullStrength);
  const std::size_t before = errors.size();
  for (auto const& [parameter, text] : messages)
    if (kdi::cores::severity_told(text) == kdi::cores::Severity::error) errors.push_back(parameter + ": " + text);
  return errors.size() == before;
}

void EarlierCore::getHdlParams(ParamMap const& values, std::set<std::string> const& names, std::vector<StrVec>& rows,
                               StrVec& errors) {
  take(values, errors);
  const ParamMap all = core_->definitions_behind("HDL_");
  for (std::string const& name : names)
    if (!all.contains(name))
      errors.push_back(core_->description().name() + " " + core_->description().version() + " has no HDL parameter " +
                       name);
  for (auto const& [name, value] : all)
    if (names.empty() || names.contains(name)) rows.push_back({name, value});
}

void EarlierCore::importPreset(ParamMap const& params, RawResult& result, ParamMap& messages) {
  const Chosen asked = chosen(params, "preset");
  core_->apply_named(kdi::cores::Origin::preset, asked.name, asked.others, result, messages);
}

void EarlierCore::applyBoard(ParamMap const& params, RawResult& result, ParamMap& messages) {
  const Chosen asked = chosen(params, "board");
  core_->apply_named(kdi::cores::Origin::board, asked.name, asked.others, result, messages);
}

// A text of the configuration as it is with `params`.
template <class Write>
void EarlierCore::write(ParamMap const& params, std::string& text, StrVec& errors, Write writer) {
  if (!take(params, errors)) return;
  core_->look([&](auto const&, kdi::cores::Instance const& instance) { text = writer(instance); });
}

void EarlierCore::generateXdc(ParamMap const& params, std::string& text, StrVec& errors) {
  write(params, text, errors, [&](auto const& instance) { return constraints(instance, core_->instance_name()); });
}

void EarlierCore::generatePowerData(ParamMap const& params, std::string& text, StrVec& errors) {
  write(params, text, errors, [&](auto const& instance) { return power_data(instance, core_->part()); });
}

void EarlierCore::generateIOPadData(ParamMap const& params, std::string& text, StrVec& errors) {
  write(params, text, errors, pad_report);
}

void EarlierCore::generateJitterConstraints(ParamMap const& params, std::string& text, StrVec& errors) {
  write(params, text, errors,
        [&](auto const& instance) { return jitter_constraints(instance, core_->instance_name()); });
}

std::string EarlierCore::generateBootLoaderFiles(ParamMap const& params, bool all, ParamMap& files, StrVec& errors) {
  if (!take(params, errors)) return {};
  std::string said;
  core_->look([&](std::shared_ptr<kdi::cores::Core const> const& core, kdi::cores::Instance const& instance) {
    try {
      InitFiles made = init_files(core, instance);
      said = core->name() + ": " + std::to_string(made.commands) + " commands";
      files["FSBL_PSINIT_C"] = std::move(made.c);
      files["FSBL_PSINIT_H"] = std::move(made.h);
      files["FSBL_PSINIT_HTML"] = std::move(made.html);
      files["FSBL_PSINIT_TCL"] = std::move(made.tcl);
      if (!all) return;
      files["FSBL_GPL_PSINIT_C"] = std::move(made.gpl_c);
      files["FSBL_GPL_PSINIT_H"] = std::move(made.gpl_h);
    } catch (std::bad_alloc const&) {
      throw;
    } catch (std::exception const& error) {
      errors.push_back(error.what());
    }
  });
  return said;
}

}  // namespace hardip_eng

namespace processing_system {
namespace {

hardip_eng::Factories<PSUFactory>& factories() {
  static auto& factories = *new hardip_eng::Factories<PSUFactory>;  // never destroyed: asked while the process ends
  return factories;
}

std::unique_ptr<PSU_Interface> make_own(ParamMap const& context, StrVec& errors) {
  hardip_eng::Configured core = hardip_eng::configured_core(context, errors);
  if (core == nullptr) return nullptr;
  if (core->description().interface() == kdi::cores::Interface::earlier)
    return std::make_unique<hardip_eng::EarlierCore>(std::move(core));
  errors.push_back(core->description().name() + " is none of the earlier processing systems");
  return nullptr;
}

}  // namespace

void set_psu_factory(std::string const& ps_core_name, PSUFactory factory) {
  factories().set(ps_core_name, std::move(factory));
}

PSU_Interface* PSU_Interface::createInstanceNonStatic(ParamMap const& context, StrVec& errors) {
  const std::string name = hardip_eng::context_value(context, "ps_core_name");
  const PSUFactory factory = factories().of(name);
  return hardip_eng::made(name, errors, [&] { return factory ? factory(context, errors) : make_own(context, errors); })
      .release();
}

}  // namespace processing_system
