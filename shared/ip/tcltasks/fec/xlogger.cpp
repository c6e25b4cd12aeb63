#include "tcltasks/fec/xlogger.h"

#include <utility>

namespace fec {

XLogger::XLogger(MessageCallback callback, void* context, std::string prefix)
    : callback_(callback), context_(context), prefix_(std::move(prefix)) {}

XLogger::~XLogger() = default;

void XLogger::error(std::string const& text) { send(1, " ERROR: ", text); }

void XLogger::warning(std::string const& text) { send(0, " WARNING: ", text); }

void XLogger::note(std::string const& text) { send(0, " NOTE: ", text); }

bool XLogger::traces() const { return false; }

void XLogger::signal(char const* /*name*/, unsigned long long /*cycle*/, unsigned long long /*value*/) {}

void XLogger::note(unsigned long long cycle, std::string const& text) { note(std::to_string(cycle) + text); }

void XLogger::send(int severity, char const* kind, std::string const& text) {
  if (callback_ != nullptr) callback_(context_, severity, (prefix_ + kind + text).c_str());
}

}  // namespace fec
