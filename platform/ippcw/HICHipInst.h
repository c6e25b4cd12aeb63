// The manager's face of a core of the larger processing systems.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "kdi/ippcw/HICHipInstInterface.h"
#include "kdi/ippcw/HICInst.h"
#include "kdi/ippcw/HardIPInstance.h"
#include "platform/ippcw/layers.h"

/// A HICInst has the same core under configuration, and may outlive this.
class HICHipInst final
    : public hardip_eng::HardIPInstance<HICHipInst, hardip_eng::WithParameters<HICHipInstInterface>> {
 public:
  explicit HICHipInst(hardip_eng::Configured core, std::string sub_core_name = "");

  std::shared_ptr<HICInst> getHICInst() override { return inst_; }
  void setSubCoreName(std::string name) override;

 private:
  const std::shared_ptr<HICInst> inst_;
};

/// The cell of a block design that a sub-core is: what is asked of it goes to the sub-core's own instance.
class HICCell final
    : public hardip_eng::HardIPInstance<HICCell, hardip_eng::WithParameters<hardip_eng::HardIPInterface>> {
 public:
  HICCell(hardip_eng::Configured core, std::shared_ptr<HICInst> inst)
      : HardIPInstance(std::move(core)), inst_(std::move(inst)) {}

  std::shared_ptr<HICInst> getHICInst() override { return inst_; }

 private:
  const std::shared_ptr<HICInst> inst_;
};
