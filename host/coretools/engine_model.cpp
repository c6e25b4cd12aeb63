#include "host/coretools/engine_model.h"

#include <algorithm>
#include <array>
#include <set>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/HACGCHybridCustomController.h"
#include "kdi/common/KdiText.h"
#include "kdi/cores/Core.h"
#include "kdi/cores/Store.h"
#include "kdi/ippcw/HardIP.h"

namespace coretools {
namespace {

using hardip_eng::HardIPInterface;
using hardip_eng::HardIPManager;
using hardip_eng::HardIPOp;
using kdi::cores::Severity;

constexpr int kFullStrength = 10;  // ranges, derived values and searches

// Of a row that an instance tells of a parameter, its first text; empty for none.
std::string first_of(std::vector<StrVec> const& rows, std::size_t row) {
  return row < rows.size() && !rows[row].empty() ? rows[row].front() : std::string();
}

// Whether any of the identifiers begins so.
bool has_any(StrVec const& identifiers, std::string_view begin) {
  return std::any_of(identifiers.begin(), identifiers.end(),
                     [begin](std::string const& one) { return one.starts_with(begin); });
}

ComMsgMgr::MsgMask mask_of(Severity severity) {
  return severity == Severity::info      ? ComMsgMgr::MSG_INFO
         : severity == Severity::warning ? ComMsgMgr::MSG_WARNING
                                         : ComMsgMgr::MSG_CRITICAL_WARNING;
}

}  // namespace

std::unique_ptr<HACGCCustomDRCModel> EngineModel::for_core(std::string const& identifier) {
  const auto words = kdi::text::split(identifier, ':');
  if (words.size() != 4 || words[3].empty()) return nullptr;
  const std::string library = kdi::text::joined(std::array{words[0], words[1]}, ":") + ":", name(words[2]);
  const StrVec known = HACGCHybridCustomController::identifiers();
  if (!has_any(known, library) || has_any(known, library + name + ":")) return nullptr;
  return kdi::cores::core_versions(name).empty() ? nullptr : std::make_unique<EngineModel>();
}

StrVec EngineModel::identifiers() {
  const StrVec known = HACGCHybridCustomController::identifiers();
  std::set<std::string> libraries;
  for (std::string const& one : known)
    if (kdi::text::split(one, ':').size() == 4) libraries.insert(one.substr(0, one.find(':', one.find(':') + 1) + 1));
  StrVec all;
  for (std::string const& name : kdi::cores::core_names())
    for (std::string const& library : libraries)
      if (!has_any(known, library + name + ":"))
        for (std::string const& version : kdi::cores::core_versions(name))
          all.push_back(library + name + ":" + version);
  return all;
}

bool EngineModel::init_params(ParamMap& params, OutMap& told, ParamMap& context, StrVec& errors, int strength) {
  HardIPInterface* const core = HardIPManager::getInstance()->getOrCreateInstance(context, errors);
  if (core != nullptr) apply(*core, params, told, strength);
  return core != nullptr;
}

bool EngineModel::updateAll(ParamMap& params, ParamMap& user, OutMap& told, ParamMap& context) {
  StrVec errors;
  HardIPInterface* const core = HardIPManager::getInstance()->getOrCreateInstance(context, errors);
  if (core == nullptr) throw std::runtime_error(kdi::text::joined(errors, "\n"));
  if (core->isDefaultInstance()) core->storeUserParams(user);  // somebody else ended the one that had them
  apply(*core, params, told, kFullStrength);
  return errors_.empty();
}

void EngineModel::apply(HardIPInterface& core, ParamMap const& params, OutMap& told, int strength) {
  errors_.clear();
  RawResult all;
  ParamMap messages;
  core.getRanges(params, all, messages, strength);
  if (!core.implements(HardIPOp::getRanges))
    for (auto const& [name, value] : params) messages.emplace(name, "the core has no parameter that can be set");
  int number = 1;
  for (auto const& [parameter, text] : messages) {
    const Severity severity = kdi::cores::severity_told(text);
    if (severity == Severity::error)
      errors_.emplace(parameter, text);
    else
      ComMsgMgr::sendMsgById("PDMS", number++, mask_of(severity), text.substr(kdi::cores::tag_of(severity).size()));
  }
  for (auto const& [name, rows] : all)
    told.insert_or_assign(
        name, OutMap::mapped_type{{XGUI_VALUE, first_of(rows, 0)},
                                  {XGUI_RANGE, rows.size() > 1 ? kdi::text::joined(rows[1], ",") : std::string()},
                                  {XGUI_ENABLED, first_of(rows, 2) == "ENABLE" ? "true" : "false"}});
}

}  // namespace coretools
