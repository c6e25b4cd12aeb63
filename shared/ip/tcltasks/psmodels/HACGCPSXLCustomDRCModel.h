// The parameter model of the larger processing systems and of their wizards.
//
// It works with one HICInst, which init_params finds or makes and which the model keeps alive. Several sub-cores of a
// wizard have a model each: what one is told of the system monitor is told to the others, and configurations are copied
// between them.
#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>

#include "kdi/ip/HPSPMCEvents.h"
#include "kdi/ippcw/HICInst.h"
#include "tcltasks/psmodels/live_models.h"
#include "tcltasks/psmodels/measurements.h"
#include "tcltasks/psmodels/model_parts.h"

class HACGCPSXLCustomDRCModel : public HACGCCustomDRCModel,
                                public psmodels::ModelParts<HACGCPSXLCustomDRCModel, psmodels::PsxlTraits> {
 public:
  using OutMap = HACGCCustomDRCModel::OutMap;

  enum paramInfo { VALUE, TYPE, RANGE, ENABLED, VISIBLE, DISPLAY_NAME, DESCRIPTION, ERRMSG, UNKNOWN };

  /// Without an instance in the manager the model has one of its own. `strength` is not used.
  bool init_params(ParamMap& params, OutMap& outParams, ParamMap& context, StrVec& errors, int strength) override;
  /// May change `params`: what the wizard's other sub-cores say is put in.
  bool updateAll(ParamMap& params, ParamMap& userParams, OutMap& outParams, ParamMap& context) override;

  /// One change by the user, or several at once. Each fires HPSPMCUpdateGuiEvent and, where the tool parameters say so,
  /// HPSPMCParameterChanged.
  void guiSetParam(std::string name, std::string value) override;
  void guiSetParams(StrPairs pairs);
  void guiSetParams(ParamMap settings);

  /// Appends to `answer`; nothing for VISIBLE, DISPLAY_NAME, DESCRIPTION and UNKNOWN, and without an instance.
  void getParamInfo(std::string name, paramInfo kind, StrVec& answer);
  /// Each permitted value as value and label.
  StrPairs getParamChoicesMappingList(std::string name);
  ParamMap& getParametersWithErrors() override { return paramErrors; }
  /// What the user changed since the last call, as names and values.
  std::string getUserModifiedParams();

  /// Adds a message for each enabled parameter that is typed and whose value is no number, or a frequency out of range.
  void validateParamRanges(ParamMap& params, ParamMap& messages);
  /// Whether `value` is made of what numbers are made of, and, if `name` is that of a frequency, lies in the range.
  bool validClkFreqRange(std::string const& name, std::string const& value, StrVec const& range);

  StrVec getSysmonIPParams() { return psmodels::sysmon_ip_params(); }
  /// The values of `update` for the keys of `current`, both lists of keys and values.
  void updateDictParam(std::string& current, std::string& update, std::string& result) {
    result = psmodels::merged_dict(current, update);
  }
  /// Copies what is not empty of `list` from the text `publicName` of `target` into the text `internalName` of
  /// `source`, and tells the outcome in `outParams` if there was anything.
  void copyCrossConfig(ParamMap const& source, ParamMap const& target, std::string const& internalName,
                       std::string const& publicName, StrVec const& list, OutMap& outParams);

  /// The preset pins that are taken, each with what takes it: "PMCX_PRESET_MIO_0:UART".
  void getMioOccupiedPins(StrVec& answer);
  bool isPSBankAvailable();
  /// 0 without an instance.
  int guiGetSlrCount();
  std::string getSysmonData(std::string a, std::string b);
  /// -1 if there is none.
  int guiGetStartSupplyID();

 private:
  friend psmodels::ModelParts<HACGCPSXLCustomDRCModel, psmodels::PsxlTraits>;

  std::shared_ptr<HICInst> hicInst;
  ParamMap inputParams;
  ParamMap paramErrors;
  ParamMap userModifiedParams;
  std::string coreName;  ///< of the context of init_params
  psmodels::Living living_{*this};

  bool has_instance(char const* complaint) const;
  bool has_instance() const;
  std::string value_of(std::string const& name);

  using BeforeOwn = std::function<void(StrPairs& pairs, StrVec& modified, ParamMap& messages)>;
  void change(StrPairs pairs, std::set<std::string> affected, BeforeOwn const& before_own);
  void validate_if_asked(ParamMap& params, ParamMap& messages);
  bool broadcasts() const;
  void broadcast(std::string const& name, StrPairs& pairs, StrVec& modified, ParamMap& messages);
  void tell_customiser(ParamMap& params, HPSPMCParameterChanged::CUSTOMIZER_FLOW flow);

  void copy_cross_configurations(ParamMap const& params, OutMap& outParams);
  void keep_npi_frequency(ParamMap& params, OutMap& outParams);
  ParamMap changed_values(RawResult const& raw) const;
  void filter_measurements(RawResult& records);
};
