// What tests of the parameter models share: recording cores, debug channels that are on, parameters that are set back.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "kdi/common/host/GuiEventHost.h"
#include "kdi/common/host/MessageHost.h"
#include "kdi/common/host/ParamHost.h"
#include "kdi/ip/HACGCCustomDRCModel.h"
#include "kdi/ip/HPSPMCEvents.h"
#include "tests/support/recording_core.h"

using Texts = std::vector<std::string>;
using recording_core::answers;
using recording_core::calls;

/// A tool parameter that is true while it lives.
class True {
 public:
  explicit True(std::string name) : name_(std::move(name)) { param_host::set(name_, "true"); }
  True(True const&) = delete;
  True& operator=(True const&) = delete;
  ~True() { param_host::unset(name_); }

 private:
  std::string name_;
};

class ModelTest : public testing::Test {
 protected:
  ModelTest() {
    recording_core::reset();
    for (char const* const channel :
         {"PSPMC.DBG", "PCW.DBG", "PSXL.DBG", "PSXL.OUT.DBG", "PSXL.INTERNAL.DBG", "PS_WIZARD.EVENTS.DBG"})
      message_host::set_channel(channel, 5);
    update_ = gui_event_host::subscribe<HPSPMCUpdateGuiEvent>([this](HPSPMCUpdateGuiEvent const& event) {
      updates.push_back(*event.parameters);
      if (on_update) on_update();
    });
    changed_ = gui_event_host::subscribe<HPSPMCParameterChanged>([this](HPSPMCParameterChanged const& event) {
      changes.push_back(*event.parameters);
      flows.push_back(event.flow);
      changed_models.push_back(event.model);
      if (on_changed) on_changed();
    });
  }
  ~ModelTest() override {
    gui_event_host::unsubscribe(update_);
    gui_event_host::unsubscribe(changed_);
    recording_core::reset();
  }

  /// What was said on a channel since the last look: "2 text" with the level; other kinds of messages have theirs.
  Texts told(std::string const& channel) {
    Texts lines;
    for (ComMsgMgrInstance const& message : capture_.messages()) {
      if (message.scope != channel) continue;
      const unsigned kind = message.mask - ComMsgMgr::MSG_DEBUG0;
      if (kind == static_cast<unsigned>(message.level))
        lines.push_back(std::to_string(message.level) + " " + message.text);
      else
        lines.push_back(message_host::line_of(message));
    }
    return lines;
  }
  /// What was said beside all channels.
  Texts said() {
    Texts lines;
    for (ComMsgMgrInstance const& message : capture_.messages())
      if (message.scope.empty()) lines.push_back(message_host::line_of(message));
    return lines;
  }
  void forget() {
    capture_.clear();
    recording_core::forget_calls();
    updates.clear();
  }

  std::vector<Texts> updates;
  std::vector<ParamMap> changes;
  std::vector<int> flows;
  std::vector<HACGCCustomDRCModel*> changed_models;
  std::function<void()> on_update, on_changed;

 private:
  message_host::Capture capture_;
  int update_ = 0, changed_ = 0;
};

/// A model of a factory, as a controller has it.
template <class Model>
class Made {
 public:
  using Function = void (*)(std::string, HACGCCustomDRCModel**);
  Made(Function factory, Function deleter) : deleter_(deleter) { factory("an identifier", &model_); }
  Made(Made const&) = delete;
  Made& operator=(Made const&) = delete;
  ~Made() { deleter_("another", &model_); }

  Model* operator->() const { return static_cast<Model*>(model_); }
  HACGCCustomDRCModel& base() const { return *model_; }

 private:
  HACGCCustomDRCModel* model_ = nullptr;
  Function deleter_;
};

inline std::string shown(HACGCCustomDRCModel::OutMap const& outputs) {
  std::string all;
  for (auto const& [parameter, properties] : outputs) {
    all += parameter + ":";
    for (auto const& [property, value] : properties) all += " " + std::to_string(property) + "=" + value;
    all += "; ";
  }
  return all;
}
