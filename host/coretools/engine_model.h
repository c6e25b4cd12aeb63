// What stands in the place of a parameter model where the package has none for a core: the engine alone.
#pragma once

#include <memory>
#include <string>

#include "kdi/ip/HACGCCustomDRCModel.h"

namespace hardip_eng {
class HardIPInterface;
}

namespace coretools {

/// Hands changes to the engine's instance of its context, which it makes if there is none, and sorts what the instance
/// says: errors are kept, all else goes to the message manager. It has none of the operations of the package's models.
class EngineModel final : public HACGCCustomDRCModel {
 public:
  /// Null unless the identifier is that of a core of which no version has a model, and which has a description. A
  /// version that has none beside others that do is left to the controller to refuse.
  static std::unique_ptr<HACGCCustomDRCModel> for_core(std::string const& identifier);
  /// Those that it makes one for, by name and version.
  static StrVec identifiers();

  bool init_params(ParamMap& params, OutMap& told, ParamMap& context, StrVec& errors, int strength) override;
  /// Throws std::runtime_error if there is no instance and none can be made.
  bool updateAll(ParamMap& params, ParamMap& user, OutMap& told, ParamMap& context) override;
  ParamMap& getParametersWithErrors() override { return errors_; }

 private:
  void apply(hardip_eng::HardIPInterface& core, ParamMap const& params, OutMap& told, int strength);

  ParamMap errors_;
};

}  // namespace coretools
