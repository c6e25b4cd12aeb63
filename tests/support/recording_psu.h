// Cores of the earlier processing systems that record what they are asked and answer what a test tells them to.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "kdi/ippcw/PSU_Interface.h"
#include "kdi/ippcw/host/PSUFactories.h"

/// While it lives, the engine makes recording cores for `ps7` and `psu`. Calls and making are for any thread; what is
/// answered is set before.
class RecordingPsu {
 public:
  RecordingPsu() {
    for (char const* const core : {"ps7", "psu"})
      processing_system::set_psu_factory(core,
                                         [this](ParamMap const& context, StrVec& told) { return make(context, told); });
  }
  RecordingPsu(RecordingPsu const&) = delete;
  RecordingPsu& operator=(RecordingPsu const&) = delete;
  ~RecordingPsu() {
    for (char const* const core : {"ps7", "psu"}) processing_system::set_psu_factory(core, {});
  }

  // What the cores answer.
  bool is_default = false;
  RawResult result;
  ParamMap messages;
  std::vector<StrVec> rows;
  std::string text;
  StrVec errors;
  ParamMap files;
  bool is_refused = false, is_silent = false;
  std::function<void()> on_making;

  /// Every call, in order, such as "getRanges {A=1} 10", making and destroying ("-u1") among them; and none any more.
  std::vector<std::string> calls() {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> all;
    all.swap(calls_);
    return all;
  }
  int live() const { return live_; }

 private:
  class Core final : public processing_system::PSU_Interface {
   public:
    Core(RecordingPsu& recorder, std::string name) : all_(recorder), name_(std::move(name)) { ++all_.live_; }
    ~Core() override {
      --all_.live_;
      all_.record("-" + name_);
    }

    bool isDefaultInstance() const override {
      all_.record("isDefaultInstance");
      return all_.is_default;
    }
    void getHdlParams(ParamMap const& values, std::set<std::string> const& names, std::vector<StrVec>& told_rows,
                      StrVec& told_errors) override {
      std::string shown_names;
      for (std::string const& name : names) shown_names += "," + name;
      all_.record("getHdlParams " + shown(values) + " " + shown_names);
      told_rows = all_.rows;
      told_errors = all_.errors;
    }
    void getRanges(ParamMap const& params, RawResult& told_result, ParamMap& told_messages, int strength) override {
      all_.record("getRanges " + shown(params) + " " + std::to_string(strength));
      told_result = all_.result;
      told_messages = all_.messages;
    }
    void importPreset(ParamMap const& params, RawResult& told_result, ParamMap& told_messages) override {
      all_.record("importPreset " + shown(params));
      told_result = all_.result;
      told_messages = all_.messages;
    }
    void applyBoard(ParamMap const& params, RawResult& told_result, ParamMap& told_messages) override {
      all_.record("applyBoard " + shown(params));
      told_result = all_.result;
      told_messages = all_.messages;
    }
    void generateXdc(ParamMap const& params, std::string& told_text, StrVec& told_errors) override {
      generate("generateXdc", params, told_text, told_errors);
    }
    void generatePowerData(ParamMap const& params, std::string& told_text, StrVec& told_errors) override {
      generate("generatePowerData", params, told_text, told_errors);
    }
    void generateIOPadData(ParamMap const& params, std::string& told_text, StrVec& told_errors) override {
      generate("generateIOPadData", params, told_text, told_errors);
    }
    void generateJitterConstraints(ParamMap const& params, std::string& told_text, StrVec& told_errors) override {
      generate("generateJitterConstraints", params, told_text, told_errors);
    }
    std::string generateBootLoaderFiles(ParamMap const& params, bool all, ParamMap& told_files,
                                        StrVec& told_errors) override {
      all_.record("generateBootLoaderFiles " + shown(params) + (all ? " all" : " some"));
      told_files = all_.files;
      told_errors = all_.errors;
      return all_.text;
    }

   private:
    static std::string shown(ParamMap const& map) {
      std::string all;
      for (auto const& [name, value] : map) all += (all.empty() ? "" : " ") + name + "=" + value;
      return "{" + all + "}";
    }
    void generate(std::string const& operation, ParamMap const& params, std::string& told_text, StrVec& told_errors) {
      all_.record(operation + " " + shown(params));
      told_text = all_.text;
      told_errors = all_.errors;
    }

    RecordingPsu& all_;
    const std::string name_;
  };

  std::unique_ptr<processing_system::PSU_Interface> make(ParamMap const& context, StrVec& made_errors) {
    if (on_making) on_making();
    if (is_silent) throw std::runtime_error("it fell over");
    if (is_refused) {
      made_errors.push_back("no such thing");
      return nullptr;
    }
    const std::string name = context.at("instance_name");
    record("+" + name + " " + context.at("ps_core_name"));
    return std::make_unique<Core>(*this, name);
  }
  void record(std::string call) {
    const std::lock_guard lock(mutex_);
    calls_.push_back(std::move(call));
  }

  std::mutex mutex_;
  std::vector<std::string> calls_;
  std::atomic<int> live_{0};
};
