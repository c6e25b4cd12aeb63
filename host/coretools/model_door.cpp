#include "host/coretools/model_door.h"

#include <optional>
#include <stdexcept>
#include <type_traits>

#include "kdi/common/HACGCHybridCustomController.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/ippcw/HardIP.h"
#include "tcltasks/psmodels/HACGCPCWCustomDRCModel.h"
#include "tcltasks/psmodels/HACGCPSPMCCustomDRCModel.h"
#include "tcltasks/psmodels/HACGCPSXLCustomDRCModel.h"
#include "tcltasks/psmodels/model_table.h"

namespace coretools {

// Which class a model is of: type information stays within the package, and the factory says it as well.
ModelDoor::ModelDoor(kdi::ip::Customization& customization) : customization_(customization) {
  const auto functions = HACGCHybridCustomController::find(customization.identifier());
  const HACGCDRCModelFunc factory = functions ? functions->factory : nullptr;
  customization_.drive([&](HACGCCustomDRCModel& model) {
    if (factory == pspmcRulesObjInit) pspmc_ = static_cast<HACGCPSPMCCustomDRCModel*>(&model);
    if (factory == psxlRulesObjInit || factory == psxlWizardRulesObjInit)
      psxl_ = static_cast<HACGCPSXLCustomDRCModel*>(&model);
    if (factory == pcwRulesObjInit) pcw_ = static_cast<HACGCPCWCustomDRCModel*>(&model);
  });
}

void ModelDoor::lacks() const {
  std::string const& identifier = customization_.identifier();
  throw std::invalid_argument(is_there() ? "the parameter model of " + identifier + " has no such operation"
                                         : identifier + " has no parameter model, which this operation needs");
}

// Calls with the model, while the customisation is the one at work.
template <class Use>
auto ModelDoor::use(Use const& use) {
  using Result = std::invoke_result_t<Use const&>;
  if constexpr (std::is_void_v<Result>) {
    customization_.drive([&](HACGCCustomDRCModel&) { use(); });
  } else {
    std::optional<Result> result;
    customization_.drive([&](HACGCCustomDRCModel&) { result.emplace(use()); });
    return std::move(*result);
  }
}

// Calls with the model of its own class, for what all three have.
template <class Use>
auto ModelDoor::each(Use const& use_model) {
  return use([&] {
    if (pspmc_ != nullptr) return use_model(*pspmc_);
    if (psxl_ != nullptr) return use_model(*psxl_);
    if (pcw_ == nullptr) lacks();
    return use_model(*pcw_);
  });
}

StrPairs ModelDoor::choices(std::string const& parameter) {
  if (!is_there()) {
    StrPairs choices;
    customization_.drive([&](HACGCCustomDRCModel& model) {
      const auto of_it = model.choiceMappings.find(parameter);
      if (of_it != model.choiceMappings.end()) choices = of_it->second;
    });
    return choices;
  }
  if (pspmc_ == nullptr && psxl_ == nullptr) lacks();
  return use([&] {
    return pspmc_ != nullptr ? pspmc_->getParamChoicesMappingList(parameter)
                             : psxl_->getParamChoicesMappingList(parameter);
  });
}

StrPairs ModelDoor::configuration(std::string const& list) {
  if (pspmc_ == nullptr) lacks();
  return use([&] {
    HSTVector<std::pair<std::string, std::string>> answer;
    pspmc_->getCurrentConfiguration(list, answer);
    return StrPairs(answer.begin(), answer.end());
  });
}

void ModelDoor::set_together(StrPairs const& pairs) {
  if (pspmc_ == nullptr && psxl_ == nullptr) lacks();
  use([&] { pspmc_ != nullptr ? pspmc_->guiSetParams(pairs) : psxl_->guiSetParams(pairs); });
}

std::string ModelDoor::boot_mode(std::string const& peripheral) {
  if (pspmc_ == nullptr) lacks();
  return use([&] { return pspmc_->getBootModeOfSDPeripheral(peripheral); });
}

std::string ModelDoor::monitor(std::string const& what, std::string const& which) {
  if (pspmc_ == nullptr && psxl_ == nullptr) lacks();
  return use(
      [&] { return pspmc_ != nullptr ? pspmc_->getSysmonData(what, which) : psxl_->getSysmonData(what, which); });
}

int ModelDoor::first_supply() {
  if (pspmc_ == nullptr && psxl_ == nullptr) lacks();
  return use([&] { return pspmc_ != nullptr ? pspmc_->guiGetStartSupplyID() : psxl_->guiGetStartSupplyID(); });
}

bool ModelDoor::has_bank() {
  if (psxl_ == nullptr) lacks();
  return use([&] { return psxl_->isPSBankAvailable(); });
}

int ModelDoor::slr_count() {
  if (psxl_ == nullptr) lacks();
  return use([&] { return psxl_->guiGetSlrCount(); });
}

StrVec ModelDoor::monitor_parameters() {
  if (psxl_ == nullptr) lacks();
  return use([&] { return psxl_->getSysmonIPParams(); });
}

StrVec ModelDoor::occupied_pins() {
  if (psxl_ == nullptr) lacks();
  return use([&] {
    StrVec pins;
    psxl_->getMioOccupiedPins(pins);
    return pins;
  });
}

std::string ModelDoor::merge(std::string current, std::string update) {
  if (psxl_ == nullptr) lacks();
  return use([&] {
    std::string merged;
    psxl_->updateDictParam(current, update, merged);
    return merged;
  });
}

bool ModelDoor::is_clock_in_range(std::string const& parameter, std::string const& value, StrVec const& range) {
  if (psxl_ == nullptr) lacks();
  return use([&] { return psxl_->validClkFreqRange(parameter, value, range); });
}

ModelDoor::OutMap ModelDoor::cross_configure(ParamMap const& source, ParamMap const& target,
                                             std::string const& internal, std::string const& shown,
                                             StrVec const& names) {
  if (psxl_ == nullptr) lacks();
  return use([&] {
    OutMap outputs;
    psxl_->copyCrossConfig(source, target, internal, shown, names, outputs);
    return outputs;
  });
}

ModelDoor::Ranges ModelDoor::ranges(ParamMap changes, ParamMap user) {
  if (pspmc_ == nullptr && pcw_ == nullptr) lacks();
  return use([&] {
    Ranges ranges;
    ParamMap context = customization_.context();
    pspmc_ != nullptr ? pspmc_->get_ranges(changes, user, ranges.rows, context, ranges.messages)
                      : pcw_->get_ranges(changes, user, ranges.rows, context, ranges.messages);
    return ranges;
  });
}

RawResult ModelDoor::rows() const {
  RawResult rows;
  StrVec none;
  if (auto* const core = hardip_eng::HardIPManager::getInstance()->findInstance(customization_.context(), none))
    core->getOutputParams(rows);
  return rows;
}

ParamMap ModelDoor::check(ParamMap values) {
  ParamMap messages;
  RawResult now = rows();
  each([&](auto& model) {
    if constexpr (std::is_same_v<decltype(model), HACGCPSXLCustomDRCModel&>)
      model.validateParamRanges(values, messages);
    else
      model.validateParamRanges(values, now, messages);
  });
  return messages;
}

bool ModelDoor::take_messages(ParamMap messages) {
  ParamMap none;
  RawResult no_rows;
  return each([&](auto& model) { return model.reportMessages(none, no_rows, messages); });
}

ModelDoor::Kind ModelDoor::classify(std::string text) {
  Kind kind;
  ComMsgMgr::MsgMask mask = ComMsgMgr::MSG_ERROR;
  const bool is_told = each([&](auto& model) { return model.isInfoOrWarningMessage(text, kind.text, mask); });
  if (text.empty()) return kind;
  kind.word = !is_told                         ? "error"
              : mask == ComMsgMgr::MSG_INFO    ? "info"
              : mask == ComMsgMgr::MSG_WARNING ? "warning"
                                               : "critical_warning";
  return kind;
}

std::string ModelDoor::replace(std::string subject, std::string const& search, std::string const& replacement) {
  each([&](auto& model) { model.replaceStrInPlace(subject, search, replacement); });
  return subject;
}

ModelDoor::Number ModelDoor::number(std::string const& text) {
  return each([&](auto& model) {
    long long whole = 0;
    double fraction = 0;
    Number number{model.validateNumericString(text), model.validateFloatString(text), "", ""};
    if (model.validateAndConvertLong(text, whole)) number.whole = std::to_string(whole);
    if (model.validateAndConvertDouble(text, fraction)) number.fraction = kdi::number::shortest(fraction);
    return number;
  });
}

ModelDoor::OutMap ModelDoor::outputs_of(RawResult rows) {
  return each([&](auto& model) {
    OutMap outputs;
    model.getOUTParams(rows, outputs);
    return outputs;
  });
}

ModelDoor::OutMap ModelDoor::inputs_of(ParamMap values) {
  if (pspmc_ == nullptr && pcw_ == nullptr) lacks();
  return use([&] {
    OutMap outputs;
    pspmc_ != nullptr ? pspmc_->setInputParamValue(values, outputs) : pcw_->setInputParamValue(values, outputs);
    return outputs;
  });
}

void ModelDoor::load_sub_presets(ParamMap params) {
  if (!is_there()) lacks();
  customization_.drive([&](HACGCCustomDRCModel& model) { model.loadSubPresetParams(std::move(params)); });
}

ParamMap ModelDoor::gui_context() {
  ParamMap context;
  customization_.drive([&](HACGCCustomDRCModel& model) { context = model.guiContextParams; });
  return context;
}

void ModelDoor::set_gui_context(ParamMap const& context) {
  customization_.drive([&](HACGCCustomDRCModel& model) { model.setGuiContextParams(context); });
}

ModelDoor::OutMap ModelDoor::create(ParamMap params, int strength, bool apart, StrVec& errors) {
  if (pcw_ == nullptr) lacks();
  return use([&] {
    OutMap outputs;
    ParamMap context = customization_.context();
    apart ? pcw_->createInstanceByThread(params, context, strength)
          : pcw_->createInstance(params, outputs, context, errors, strength);
    return outputs;
  });
}

}  // namespace coretools
