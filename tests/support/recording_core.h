// Hard-IP cores that record what they are asked and answer what a test tells them to.
//
// The manager is the platform's own, which makes these cores for the names below. HICInst has its functions here, in
// the test's program, where the package finds them before those of the platform's library.
#pragma once

#include <functional>
#include <list>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "kdi/common/KdiTypes.h"

namespace recording_core {

// Names of cores (`ps_core_name`):
//   top, wizard     a pspmc_top; a cips_top
//   plain           one with all optional operations
//   heir            one that has them from `plain`
//   bare            one with none
//   refused         none can be made
//   loose           one with a HICInst that is no HICHipInstInterface
// and all of these are a HICHipInstInterface with a HICInst: hic, pmcps, ps_wizard, psx_wizard, psxl

/// Every call, in order, such as "getRanges {A=1} 5". Operations of a HICInst have its name before them: "u1.setParam".
/// For any thread.
std::vector<std::string> calls();
void forget_calls();
/// Adds one.
void add_call(std::string const& call);

struct Answers {
  ParamMap values, backups, types;
  std::map<std::string, StrVec> ranges;
  std::set<std::string> enabled;
  ParamMap names;  ///< by which the engine knows parameters
  RawResult result, outputs;
  ParamMap messages;
  StrVec modified;
  RawResult own_records;  ///< of the parameters that a user changed
  bool is_default = false;
  std::string text;
  StrVec errors;
  std::list<std::string> user_params;
  int number = 0;
  StrPairs measurements;
  std::map<std::string, ParamMap> dict_measurements;  ///< by "<HICInst>/<sub-core>"
  ParamMap sub_cores;                                 ///< name of a HICInst to that of the sub-core
  std::function<void()> on_change;                    ///< runs within guiSetParamOf and guiSetParam
  std::function<void()> on_making;                    ///< runs while a core is made
  bool is_silent = false;                             ///< no core is made, and nothing is said of it
  std::function<void()> on_ranges;                    ///< runs within getRanges
  std::function<void(std::string const&)> on_call;    ///< hears of each call, once it is recorded; may throw
  ParamMap exported;                                  ///< data by name
  bool keeps_output = false;
  bool has_dies = false;  ///< of a device of several
  int dies = 1;
  AttrMap file_attributes;
  StrPairs monitor_registers;
  ParamMap masters_values;  ///< that updateSLRParamsFromMasterSubcore hands out
};
extern Answers answers;

/// Ends all cores, and forgets calls and answers.
void reset();

/// Rows of a parameter.
std::vector<StrVec> rows(std::string const& value, StrVec const& range, std::string const& state,
                         std::string const& widget);

/// What the last cips_top was told.
ParamMap gui_context_params();

}  // namespace recording_core
