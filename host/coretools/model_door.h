// Every operation of the parameter models, for a script to ask for. What a model does not have is refused by name, and
// so is all that needs one of a core that has none.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "kdi/common/KdiTypes.h"
#include "kdi/ip/host/Customization.h"

class HACGCPSPMCCustomDRCModel;
class HACGCPSXLCustomDRCModel;
class HACGCPCWCustomDRCModel;

namespace coretools {

/// Of the three kinds of models, or of none. The customisation outlives it.
class ModelDoor {
 public:
  using OutMap = kdi::ip::Customization::OutMap;

  explicit ModelDoor(kdi::ip::Customization& customization);

  HACGCPSPMCCustomDRCModel* pspmc() const { return pspmc_; }
  HACGCPSXLCustomDRCModel* psxl() const { return psxl_; }
  /// Whether the core has a model.
  bool is_there() const { return pspmc_ != nullptr || psxl_ != nullptr || pcw_ != nullptr; }

  // Operations throw std::invalid_argument if the model lacks them; "of" tells which have them.

  /// Each permitted value with its label. Of PSPMC and PSXL, and of a core without a model.
  StrPairs choices(std::string const& parameter);
  /// A list of names and values as pairs. Of PSPMC.
  StrPairs configuration(std::string const& list);
  /// guiSetParams. Of PSPMC, which tells nobody what moved, and PSXL.
  void set_together(StrPairs const& pairs);
  /// Of PSPMC.
  std::string boot_mode(std::string const& peripheral);
  /// Of PSPMC and PSXL, as is first_supply.
  std::string monitor(std::string const& what, std::string const& which);
  int first_supply();
  /// Of PSXL, as all down to cross_configure.
  bool has_bank();
  int slr_count();
  StrVec monitor_parameters();
  StrVec occupied_pins();
  std::string merge(std::string current, std::string update);
  bool is_clock_in_range(std::string const& parameter, std::string const& value, StrVec const& range);
  OutMap cross_configure(ParamMap const& source, ParamMap const& target, std::string const& internal,
                         std::string const& shown, StrVec const& names);

  struct Ranges {
    RawResult rows;
    ParamMap messages;
  };
  /// get_ranges. Of PSPMC and PCW.
  Ranges ranges(ParamMap changes, ParamMap user);
  /// The messages of validateParamRanges; rows are what the engine's instance tells.
  ParamMap check(ParamMap values);
  /// reportMessages: errors become those of the customisation, others go to the message manager. Whether there was an
  /// error.
  bool take_messages(ParamMap messages);
  struct Kind {
    std::string word;  ///< `info`, `warning`, `critical_warning`, `error`; empty for an empty text
    std::string text;  ///< without its tag
  };
  Kind classify(std::string text);
  std::string replace(std::string subject, std::string const& search, std::string const& replacement);
  struct Number {
    bool is_numeric, is_float;
    std::string whole, fraction;  ///< empty for none
  };
  Number number(std::string const& text);
  /// What the engine's instance tells of all parameters, whatever the model; empty if there is none.
  RawResult rows() const;
  /// getOUTParams, of rows as an engine tells them.
  OutMap outputs_of(RawResult rows);
  /// setInputParamValue. Of PSPMC and PCW.
  OutMap inputs_of(ParamMap values);
  void load_sub_presets(ParamMap params);
  /// Kept for a core without a model as well.
  ParamMap gui_context();
  void set_gui_context(ParamMap const& context);
  /// createInstance, or, `apart`, createInstanceByThread, which drops what the instance tells. Of PCW.
  OutMap create(ParamMap params, int strength, bool apart, StrVec& errors);

 private:
  template <class Use>
  auto use(Use const& use);
  template <class Use>
  auto each(Use const& use_model);
  [[noreturn]] void lacks() const;

  kdi::ip::Customization& customization_;
  HACGCPSPMCCustomDRCModel* pspmc_ = nullptr;
  HACGCPSXLCustomDRCModel* psxl_ = nullptr;
  HACGCPCWCustomDRCModel* pcw_ = nullptr;
};

}  // namespace coretools
