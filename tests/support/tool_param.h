// A tool parameter that is set while this lives.
#pragma once

#include "kdi/common/host/ParamHost.h"

class With {
 public:
  explicit With(char const* name, char const* value = "true") : name_(name) { param_host::set(name, value); }
  With(With const&) = delete;
  With& operator=(With const&) = delete;
  ~With() { param_host::unset(name_); }

 private:
  char const* name_;
};
