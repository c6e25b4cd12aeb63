// A core of the earlier processing systems: its operations over the core under configuration.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "kdi/ippcw/PSU_Interface.h"
#include "platform/ippcw/layers.h"

namespace hardip_eng {

/// Every operation applies what it is given in full strength first, and leaves it applied.
class EarlierCore final : public processing_system::PSU_Interface {
 public:
  explicit EarlierCore(Configured core) : core_(std::move(core)) {}

  bool isDefaultInstance() const override { return core_->is_default(); }
  void getHdlParams(ParamMap const& values, std::set<std::string> const& names, std::vector<StrVec>& rows,
                    StrVec& errors) override;
  void getRanges(ParamMap const& params, RawResult& result, ParamMap& messages, int strength) override {
    core_->apply(params, result, messages, strength);
  }
  void importPreset(ParamMap const& params, RawResult& result, ParamMap& messages) override;
  void applyBoard(ParamMap const& params, RawResult& result, ParamMap& messages) override;
  void generateXdc(ParamMap const& params, std::string& text, StrVec& errors) override;
  void generatePowerData(ParamMap const& params, std::string& text, StrVec& errors) override;
  void generateIOPadData(ParamMap const& params, std::string& text, StrVec& errors) override;
  void generateJitterConstraints(ParamMap const& params, std::string& text, StrVec& errors) override;
  std::string generateBootLoaderFiles(ParamMap const& params, bool all, ParamMap& files, StrVec& errors) override;

 private:
  bool take(ParamMap const& params, StrVec& errors);
  template <class Write>
  void write(ParamMap const& params, std::string& text, StrVec& errors, Write writer);

  const Configured core_;
};

}  // namespace hardip_eng
