// The engine's own classes of instances, and which of them a context asks for.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "kdi/common/KdiTypes.h"
#include "kdi/ippcw/HardIP.h"
#include "platform/ippcw/layers.h"

namespace hardip_eng {

/// The core that a context names, under configuration; make_instance says the rest.
Configured configured_core(ParamMap const& context, StrVec& errors);

/// An instance of the core that `context` names (`ps_core_name`, `ps_core_ver`, `part`, `instance_name`); without a
/// version, of the newest that the part has. Null, with a text in `errors`, if there is none. May throw what the
/// readers of descriptions throw.
std::shared_ptr<HardIPInterface> make_instance(ParamMap const& context, StrVec& errors);

/// An instance of a sub-core, and the context by which it is found.
struct SubInstance {
  ParamMap context;
  std::shared_ptr<HardIPInterface> instance;
};

/// Of a wizard of the larger processing systems those of its sub-cores, which are what the wizard's texts hold: of each
/// two, `<instance>_<sub-core>`, and the cell of its block design, `bd_<instance>_<sub-core>_0`. None of any other
/// core.
std::vector<SubInstance> sub_instances(HardIPInterface& instance, ParamMap const& context);

/// The text of `key` in a context; empty if it has none.
std::string context_value(ParamMap const& context, char const* key);

}  // namespace hardip_eng
