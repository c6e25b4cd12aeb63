// The parameter model of the earlier wizards and of the blocks around them.
//
// It has no questions and changes of a user interface. What it has of its own: the engine's instance may be made on a
// thread, so that one that takes its time does not hold up the controller; and instances of these cores may lack any
// operation.
#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>

#include "tcltasks/psmodels/model_parts.h"

namespace boost {
class thread;
}

class HACGCPCWCustomDRCModel : public HACGCCustomDRCModel,
                               public psmodels::RangeModelParts<HACGCPCWCustomDRCModel, psmodels::PcwTraits> {
 public:
  using OutMap = HACGCCustomDRCModel::OutMap;

  /// Waits for the thread: what it makes must not outlive the model, nor the library.
  ~HACGCPCWCustomDRCModel() override;

  /// With "pcw.instantiateCPMParalelly" the instance is made on a thread, and nothing is told; until updateAll or
  /// get_ranges has returned the instance is the thread's. Throws boost::thread_resource_error if there is no thread.
  bool init_params(ParamMap& params, OutMap& outParams, ParamMap& context, StrVec& errors, int strength) override;
  /// `context` may gain an empty "ps_core_name".
  void createInstance(ParamMap& params, OutMap& outParams, ParamMap& context, StrVec& errors, int strength);
  /// The same on the thread. What the instance tells, errors included, is dropped.
  void createInstanceByThread(ParamMap& params, ParamMap& context, int strength);

  /// Tells as well that the configuration has been applied, which is how a block design learns of it.
  bool updateAll(ParamMap& params, ParamMap& userParams, OutMap& outParams, ParamMap& context) override;
  /// Applies `params`, and before, to an instance that is new or has been given none, `userParams`.
  void get_ranges(ParamMap& params, ParamMap& userParams, RawResult& raw, ParamMap& context, ParamMap& messages);

  ParamMap& getParametersWithErrors() override { return paramErrors; }

 private:
  friend psmodels::ModelParts<HACGCPCWCustomDRCModel, psmodels::PcwTraits>;
  friend psmodels::RangeModelParts<HACGCPCWCustomDRCModel, psmodels::PcwTraits>;

  ParamMap paramErrors;
  boost::shared_ptr<boost::thread> createThread;
};
