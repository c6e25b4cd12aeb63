// The instances of the earlier processing systems, which the package has itself, by the names that scripts give them.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "kdi/common/KdiTypes.h"
#include "kdi/ippcw/PSU_Interface.h"

namespace zorvan_init::zorvan_kdi_tcltasks {

/// Instances by `instance_name` of their context. Each knows the core (`ps_core_name`) that it was made for, and is
/// found by contexts of that core alone. A context without a name, or whose name is another core's, leaves a text in
/// `errors`, and finds, makes and ends nothing.
///
/// For any thread: whoever has an instance keeps it until it is done, whatever another thread ends meanwhile. No lock
/// is held while the engine makes or destroys one.
class PS_TCL_Instance_Manager {
 public:
  using Instance = std::shared_ptr<processing_system::PSU_Interface>;

  /// The one of this process, which is made if there is none.
  static std::shared_ptr<PS_TCL_Instance_Manager> get();
  /// Destroys it, once nobody is at work with it; no effect if there is none.
  static void end();

  PS_TCL_Instance_Manager() = default;
  PS_TCL_Instance_Manager(PS_TCL_Instance_Manager const&) = delete;
  PS_TCL_Instance_Manager& operator=(PS_TCL_Instance_Manager const&) = delete;
  /// Destroys the instances in the order of their names.
  ~PS_TCL_Instance_Manager();

  /// Null if there is none.
  Instance findInstance(ParamMap const& context, StrVec& errors) const;
  /// Makes the instance if there is none. Null only if that fails, which `errors` then tells.
  Instance getInstance(ParamMap const& context, StrVec& errors);
  /// Makes an instance. Where another thread was faster with one of that name, its instance is the answer.
  Instance createPSInstance(ParamMap const& context, StrVec& errors);
  /// A name without an instance has no effect.
  void terminatePSInstance(ParamMap const& context, StrVec& errors);

 private:
  struct Entry {
    std::string core;
    Instance instance;
  };
  Instance find_locked(std::string const& name, ParamMap const& context, StrVec& errors) const;
  bool has_room(std::string const& name, StrVec& errors) const;

  mutable std::mutex mutex_;
  std::map<std::string, Entry> instances_;
};

}  // namespace zorvan_init::zorvan_kdi_tcltasks
