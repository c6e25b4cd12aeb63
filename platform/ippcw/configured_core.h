// A core under configuration, in the terms of those who ask: parameters by name, values as texts, rows, messages with
// tags. The classes of instances only hand over to it.
#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kdi/common/KdiTypes.h"
#include "kdi/cores/Configuration.h"
#include "kdi/device/Device.h"
#include "kdi/ippcw/CdoBuffer.h"
#include "kdi/ippcw/host/CoreAccess.h"
#include "platform/ippcw/core_outputs.h"

namespace hardip_eng {

/// Each operation may be called from several threads: there is one lock, under which nothing of other libraries but the
/// engine's own arithmetic runs. Names of parameters may be those of the engine, those that users have, and either
/// behind `CONFIG.`.
class ConfiguredCore {
 public:
  /// `part` may be null: the core then knows no device. Throws kdi::cores::FactError.
  ConfiguredCore(std::shared_ptr<kdi::cores::Core const> core, kdi::device::Part const* part,
                 std::string instance_name);
  /// One of the sub_cores() of `outer`, with which it has one state and one lock.
  ConfiguredCore(ConfiguredCore const& outer, kdi::cores::SubCore const& sub_core, std::string instance_name);
  ~ConfiguredCore();

  kdi::cores::Core const& core() const { return *core_; }
  /// Those of its sub-cores that the part has.
  std::vector<kdi::cores::SubCore> sub_cores() const;

  std::string const& instance_name() const { return instance_name_; }
  kdi::cores::Core const& description() const { return *core_; }
  /// Null without one.
  kdi::device::Part const* part() const { return part_; }

  /// Replaces everything that was given by `params`. What follows from them is left to the next change.
  void start(ParamMap const& params);
  /// HardIPInterface::getRanges. What was given before and is not in `params` stays.
  void apply(ParamMap const& params, RawResult& result, ParamMap& messages, int strength);
  /// The same from a preset (or board, by `from`), and behind it what else is given. A name that the core does not have
  /// is told at the parameter `preset` or `board`, and nothing is applied.
  void apply_named(kdi::cores::Origin from, std::string const& name, ParamMap const& params, RawResult& result,
                   ParamMap& messages);
  /// A user's changes in their order; appends what moved.
  void change(StrPairs const& pairs, StrVec& modified, ParamMap& messages);
  /// All parameters with their rows.
  void list(RawResult& result) const;
  /// What `list` tells of a parameter without its range, in the order of the names.
  struct Row {
    std::string name, value;
    bool is_enabled;
  };
  std::vector<Row> rows() const;
  /// The values alone, over what `values` has.
  void list_values(ParamMap& values) const;
  /// Whether no value is given.
  bool is_default() const;

  /// Empty or false for unknown names, here and below.
  std::string value(std::string const& name) const;
  std::string backup(std::string const& name) const;
  std::string type(std::string const& name) const;
  void range(std::string const& name, StrVec& range) const;
  bool is_enabled(std::string const& name) const;

  /// Each key under the engine's name; an unknown one keeps its own.
  void translate(ParamMap const& in, ParamMap& out) const;
  /// Replaces the value of each record by the present one.
  void replace_by_own(RawResult& records) const;
  /// What a user may set.
  void user_parameters(std::list<std::string>& names) const;
  /// Leaves `text` as it is for an unknown word.
  void device_info(std::string const& word, std::string& text) const;

  /// The measurements of the system monitor that are on: their parameters with their values, appended.
  void measurements(StrPairs& pairs) const;
  /// The dictionaries of the system monitor that are not empty, by parameter; of a sub-core if `sub_core` names one
  /// (names of sub-cores may begin with `tmp_` and lack the number 0), else of the core itself.
  void measurement_dictionaries(ParamMap& dictionaries, std::string const& sub_core) const;
  /// What is known of the monitor's supplies: `SUPPLY_NAME` and `SUPPLY_VOLTS` by number, `SUPPLY_NUM` by name,
  /// `SUPPLIES` (names), `SUPPLY_COUNT`, `SATELLITES` (how many a region has; of the region of a number, their
  /// numbers), `MEASUREMENTS` (numbers of the supplies measured). Empty for what is not known.
  std::string monitor(std::string const& what, std::string const& which) const;
  /// The number of the first supply, of the region that the core is of; -1 without a monitor.
  int first_supply() const;
  /// The text of the definition BOOT_MODE_OF_<peripheral>, of `SD0` or PMC_SD0_PERIPHERAL; empty if the core has none.
  std::string boot_mode(std::string peripheral) const;
  /// The values of all definitions whose names begin so, by what stands behind in their names.
  ParamMap definitions_behind(std::string_view begin) const;
  /// Takes over into `params` what this core, the master's, has for parameters of these names, but the measurements,
  /// which each SLR has of its own; `master` gets the same.
  void hand_to_slave(ParamMap& params, ParamMap& master) const;

  /// The file that the system monitor's data go to; may be empty, as it is until it is set.
  void set_sysmon_data_file(std::string name);
  std::string sysmon_data_file() const;

  int slr_count() const;

  /// Goes up with whatever may change values: what was made of them is what it was while this is the same.
  std::uint64_t changes() const;

  /// Hands over what is there, for questions.
  void look(std::function<void(std::shared_ptr<kdi::cores::Core const> const&, kdi::cores::Instance const&)> const&
                look) const;

  // What the core leaves behind, after it took `params` as a user's values. Faults are told, in `errors` where there
  // are some.

  /// The text `name` (POWER_DATA, IOPAD_DATA, XDC_DATA, SYSMON_DATA, SYSMON_NPI), of a wizard with sub-cores all of
  /// theirs; left as it is for other names.
  void export_text(ParamMap const& params, std::string const& name, std::string& text, StrVec& errors);
  /// Its files, below `path`, each whole or not at all.
  void write_files(ParamMap const& params, std::string const& path);
  /// The same under the name `stem`, and what the sub-cores of a wizard leave together.
  void write_joint_files(std::string const& path, std::string const& stem);
  /// Adds to those of its files that write_files wrote last which stage of the image loads them, by their paths:
  /// `tandemStage`, from the definitions `STAGE_OF_<file>` that are not empty.
  void add_stages(AttrMap& file_attributes) const;
  void emit(CdoBuffer& buffer);
  void monitor_registers(StrPairs& registers);

  /// Hands over the whole of it.
  void use(std::function<void(ConfiguredAccess const&)> const& use);

 private:
  template <class Answer, class Question>
  Answer of(std::string const& name, Question question) const;
  void list_locked(RawResult& result) const;
  std::vector<OutputCore> output_cores(std::string const& instance_name);
  std::vector<OutputFile> files_for(ParamMap const& params, std::string const& stem, bool joint);
  void write(std::string const& path, std::function<std::vector<OutputFile>()> const& files) const;
  std::string measured_supplies() const;
  int supplies_before() const;
  std::vector<std::pair<kdi::cores::Configuration::Place, std::string>> known(StrPairs const& pairs,
                                                                              ParamMap& messages);
  void report(ParamMap& messages);

  // A core that nothing is outside of, with its sub-cores.
  struct Whole;

  const std::shared_ptr<kdi::cores::Core const> core_;
  kdi::device::Part const* const part_;
  const std::string instance_name_;
  const int region_ = 0;  // that it is of, unless its own parameter says
  const kdi::cores::Facts facts_;
  const std::shared_ptr<Whole> whole_;
  std::mutex& mutex_;                         // of the whole
  kdi::cores::Configuration& configuration_;  // the whole, or a part of it
  std::string sysmon_data_file_;
  std::vector<std::string> written_;  // paths
};

}  // namespace hardip_eng
