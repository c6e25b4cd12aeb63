// The parameter model of the newer processing systems with their platform controller, and of the wizard around them.
//
// It stands between a controller or user interface and one instance of the engine, which it finds anew at each call by
// the context that init_params was given. What it has of its own: the errors of the last change, what the user changed,
// and sub-presets, each of which is one choice that stands for many settings.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "kdi/common/HSTVector.h"
#include "kdi/ippcw/pspmc_top.h"
#include "tcltasks/psmodels/live_models.h"
#include "tcltasks/psmodels/model_parts.h"

class HACGCPSPMCCustomDRCModel : public HACGCCustomDRCModel,
                                 public psmodels::RangeModelParts<HACGCPSPMCCustomDRCModel, psmodels::PspmcTraits> {
 public:
  using OutMap = HACGCCustomDRCModel::OutMap;

  enum paramInfo { VALUE, TYPE, RANGE, ENABLED, VISIBLE, DISPLAY_NAME, DESCRIPTION, ERRMSG, UNKNOWN };

  /// `strength` is told and not used: the engine is asked in strength 5.
  bool init_params(ParamMap& params, OutMap& outParams, ParamMap& context, StrVec& errors, int strength) override;
  bool updateAll(ParamMap& params, ParamMap& userParams, OutMap& outParams, ParamMap& context) override;
  /// Applies `params`; an instance that is made for it begins with `userParams`.
  void get_ranges(ParamMap& params, ParamMap& userParams, RawResult& raw, ParamMap& context, ParamMap& messages);

  /// One change by the user, or several at once. The first fires HPSPMCUpdateGuiEvent; of the others, which take user
  /// names as well as the engine's, that is the caller's business.
  void guiSetParam(std::string name, std::string value) override;
  void guiSetParams(StrPairs pairs);
  void guiSetParams(ParamMap settings);

  /// A choice of the integrity mode, with all settings that it stands for. Fires HPSPMCUpdateGuiEvent.
  void guiSetSubPresetParam(std::string value);
  void loadSubPresetParams(ParamMap params) override;
  /// What sub-presets have set is what their choices of now stand for: for whoever changed the instance by another way,
  /// which may have made or undone a choice.
  void relinkSubPresets();
  StrVec getSubPresetParams();
  /// "Custom" is offered only while it is the value.
  StrVec getSubPresetChoicesForSubPresetParam(std::string name);
  std::string getSubPresetInfoForSubPresetParam(std::string name, std::string key);

  /// Appends to `answer`; nothing for VISIBLE and UNKNOWN, and without an instance.
  void getParamInfo(std::string name, paramInfo kind, StrVec& answer);
  /// A value and a label for each permitted value.
  StrPairs getParamChoicesMappingList(std::string name);
  ParamMap& getParametersWithErrors() override { return paramErrors; }

  /// What the user changed since the last call, as names and values.
  std::string getUserModifiedParams();
  /// The other way round: what the user changed is what `settings` says from now on. Values with blanks are in braces,
  /// and a last name without a value has an empty one. The engine hears nothing of it.
  void setUserModifiedParams(std::string settings);
  /// The parameters of a configuration, a list of names and values.
  void getCurrentConfiguration(std::string name, HSTVector<std::pair<std::string, std::string>>& answer);

  std::string getBootModeOfSDPeripheral(std::string const& peripheral);
  std::string getSysmonData(std::string a, std::string b);
  /// -1 if there is none.
  int guiGetStartSupplyID();

 private:
  friend psmodels::ModelParts<HACGCPSPMCCustomDRCModel, psmodels::PspmcTraits>;
  friend psmodels::RangeModelParts<HACGCPSPMCCustomDRCModel, psmodels::PspmcTraits>;
  struct Absence;

  ParamMap paramErrors;
  ParamMap inputParams;
  ParamMap ipContext;
  ParamMap paramToSubPreset;  ///< the engine's name of a parameter to the sub-preset parameter that set it
  ParamMap userModifiedParams;
  bool applyingSubPreset = false;
  psmodels::Living living_{*this};

  pspmc_config::pspmc_top* find_instance(Absence const& absence);
  pspmc_config::pspmc_top* find_instance();
  void key_choices_by_engine_names(pspmc_config::pspmc_top& instance);
  void link_sub_presets(pspmc_config::pspmc_top& instance);
  void leave_sub_presets(std::string const& name, StrPairs& pairs);
  StrVec change(pspmc_config::pspmc_top& instance, StrPairs const& pairs, ParamMap changed);
  ParamMap sub_preset_settings(std::string const& choice) const;
  void adjust_choices(StrVec const& value, StrVec& choices) const;
  StrVec value_of(std::string const& name);
};
