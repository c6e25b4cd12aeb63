// What the three models do alike. A model takes the parts in as stateless bases; what tells the models apart in them
// are the traits of model_traits.h, and the maps that each model has of its own.
#pragma once

#include <algorithm>
#include <iterator>
#include <set>
#include <string>
#include <utility>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/HPAParamMgr.h"
#include "kdi/common/KdiText.h"
#include "kdi/common/KdiTypes.h"
#include "kdi/ip/HACGCCustomDRCModel.h"
#include "tcltasks/psmodels/debug_log.h"
#include "tcltasks/psmodels/engine_messages.h"
#include "tcltasks/psmodels/model_traits.h"
#include "tcltasks/psmodels/number_checks.h"
#include "tcltasks/psmodels/outputs.h"
#include "tcltasks/psmodels/range_checks.h"

namespace psmodels {

/// Sets a flag for as long as it lives, and back to what it was whatever ends it.
class FlagGuard {
 public:
  FlagGuard(bool& flag, bool value) : flag_(flag), before_(std::exchange(flag, value)) {}
  FlagGuard(FlagGuard const&) = delete;
  FlagGuard& operator=(FlagGuard const&) = delete;
  ~FlagGuard() { flag_ = before_; }

 private:
  bool& flag_;
  bool before_;
};

inline bool param_is_true(char const* name) { return HPAParamMgr::getParamMgr().getValueAsBool(name); }
/// For a parameter that a site may lack.
inline bool param_exists_and_is_true(char const* name) {
  return HPAParamMgr::getParamMgr().getValueIfExistAsBool(name, false);
}

/// What is printed of the time that the ranges took (frame::CpuTime).
inline constexpr char const* kRangeTime = "updateAll::get_range time : Approx milliseconds: ";

/// Parts of all models.
template <class Model, class Traits>
class ModelParts {
 public:
  using OutMap = HACGCCustomDRCModel::OutMap;

  bool validateNumericString(std::string const& text) { return psmodels::validateNumericString(text); }
  bool validateFloatString(std::string const& text) { return psmodels::validateFloatString(text); }
  bool validateAndConvertLong(std::string const& text, long long& value) {
    return psmodels::validateAndConvertLong(text, value);
  }
  bool validateAndConvertDouble(std::string const& text, double& value) {
    return psmodels::validateAndConvertDouble(text, value);
  }

  bool isInfoOrWarningMessage(std::string& text, std::string& cleaned, ComMsgMgr::MsgMask& mask) {
    return psmodels::isInfoOrWarningMessage(text, cleaned, mask);
  }
  void replaceStrInPlace(std::string& subject, std::string const& search, std::string const& replacement) {
    psmodels::replaceStrInPlace(subject, search, replacement);
  }
  /// Whether there was an error. Only the messages matter.
  bool reportMessages(ParamMap&, RawResult&, ParamMap& messages) {
    return psmodels::reportMessages(messages, self().paramErrors, Traits::kChannel);
  }

  void getOUTParams(RawResult& raw, OutMap& outParams) { tell_outputs<Traits>(raw, outParams); }

 protected:
  /// The names of parameters with errors.
  std::set<std::string> marked() const {
    std::set<std::string> names;
    for (auto const& [name, text] : self().paramErrors) names.insert(name);
    return names;
  }

  /// Adds to what an engine moved what has an error now and what had one, `affected`: a user interface sets its marks
  /// anew and takes the old ones away.
  void add_marked(std::set<std::string> affected, StrVec& modified) {
    for (std::string const& name : modified) {
      log(Traits::kModifiedChannel, kUsualLevel, Traits::kModifiedFormat, name.c_str());
      StrVec error;
      self().getParamInfo(name, Model::ERRMSG, error);
      const std::string text = error.empty() ? std::string() : error.front();
      log(Traits::kModifiedChannel, kUsualLevel, Traits::kModifiedErrorFormat, text.c_str());
      if (!text.empty()) affected.insert(name);
    }
    affected.merge(marked());
    const std::set<std::string> listed(modified.begin(), modified.end());
    std::ranges::set_difference(affected, listed, std::back_inserter(modified));
  }

  Model& self() { return static_cast<Model&>(*this); }
  Model const& self() const { return static_cast<Model const&>(*this); }
};

/// Parts of the models that ask the engine for ranges and hold values against them.
template <class Model, class Traits>
class RangeModelParts : public ModelParts<Model, Traits> {
 public:
  using typename ModelParts<Model, Traits>::OutMap;

  /// Values as outputs of their own, for whoever makes an output map by hand.
  void setInputParamValue(ParamMap& params, OutMap& outParams) {
    for (auto const& [name, value] : params) {
      outParams.emplace(name, typename OutMap::mapped_type{{HACGCCustomDRCModel::XGUI_VALUE, value}});
      log(Traits::kChannel, 2, "Setting INPUT param=%s,value=%s\n", name.c_str(), value.c_str());
    }
  }

  void validateParamRanges(ParamMap& params, RawResult& raw, ParamMap& messages) {
    psmodels::validateParamRanges(params, raw, messages, Traits::kChannel);
  }

 protected:
  /// updateAll, whose outputs `complete` may add to.
  template <class Complete>
  bool update(ParamMap& params, ParamMap& userParams, OutMap& outParams, ParamMap& context, Complete complete) {
    log(Traits::kChannel, kUsualLevel, "Inside TCLTask XGUI UpdateAll 3_1 Size = %d \n",
        static_cast<int>(params.size()));
    this->self().paramErrors.clear();
    RawResult raw;
    ParamMap messages;
    this->self().get_ranges(params, userParams, raw, context, messages);
    validate_if_asked(params, raw, messages);
    const bool has_errors = this->reportMessages(params, raw, messages);
    log(Traits::kChannel, Traits::kUpdateLevel, "UPDATE ALL results of set property\n");
    this->getOUTParams(raw, outParams);
    complete();
    log(Traits::kChannel, Traits::kUpdateLevel, "FROM UPDATE ALL\n");
    return !has_errors;
  }

  void validate_if_asked(ParamMap& params, RawResult& raw, ParamMap& messages) {
    if (!param_is_true("pcw.internalSimulation") && param_is_true("pcw.doRangeValidation"))
      validateParamRanges(params, raw, messages);
  }
};

}  // namespace psmodels
