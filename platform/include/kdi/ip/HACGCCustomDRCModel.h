// The parameter model of one customisation: what a controller fills and asks, and what the package's models derive
// from.
//
// A controller makes a model by the identifier of an IP (kdi/common/HACGCHybridCustomController.h), fills its public
// maps from the core's data, calls init_params, hands over changes by updateAll or guiSetParam, and deletes it. All
// operations run on the caller's thread, one at a time.
#pragma once

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/common/KdiTypes.h"

class KDI_DOOR HACGCCustomDRCModel {
 public:
  /// What is told of a parameter.
  enum XGUI_PROP {
    XGUI_RANGE = 0,   ///< permitted values, or least and greatest, joined with commas
    XGUI_VALUE = 1,   ///< the value
    XGUI_ENABLED = 2  ///< "true" or "false"
  };
  /// Parameter to what is told of it.
  using OutMap = std::map<std::string, std::map<XGUI_PROP, std::string>>;

  virtual ~HACGCCustomDRCModel() = default;

  /// Applies `params` and tells all parameters in `outParams`. False if getParametersWithErrors() has any.
  virtual bool updateAll(ParamMap& params, ParamMap& userParams, OutMap& outParams, ParamMap& context) = 0;

  /// Makes or finds the engine's instance for `context`, gives it `params`, and tells all parameters in `outParams`.
  /// False if `errors` has any.
  virtual bool init_params(ParamMap&, OutMap&, ParamMap&, StrVec&, int) { return true; }

  /// One change by the user.
  virtual void guiSetParam(std::string, std::string) {}

  /// Parameter to error, of the last change.
  virtual ParamMap& getParametersWithErrors() = 0;

  /// Finds the sub-presets that a stored configuration stands for.
  virtual void loadSubPresetParams(ParamMap) {}

  virtual void setGuiContextParams(ParamMap const& other) {
    if (&other != &guiContextParams) guiContextParams = other;
  }

  ParamMap displayNames;
  std::map<std::string, StrPairs> choiceMappings;  ///< parameter to its values, each with a label
  ParamMap descriptions;
  std::map<std::string, StrVec> subPresetChoices;                 ///< sub-preset parameter to its choices
  AttrMap subPresetConfigs;                                       ///< choice to the settings that it stands for
  AttrMap subPresetInfos;                                         ///< sub-preset parameter to texts about it
  std::map<std::string, std::set<std::string>> subPresetMembers;  ///< parameter to those configured together with it
  ParamMap guiContextParams;
  bool eventsEnabled = true;  ///< false while HPSPMCParameterChanged is delivered
};
