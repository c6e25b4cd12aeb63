// Messages of the compiler, gated by what the caller wants to hear.
#pragma once

#include <string>

#include "tcltasks/fec/records.h"

namespace fec {

/// Joins texts and numbers (decimal) into one message.
template <class... Pieces>
std::string message(Pieces const&... pieces) {
  std::string text;
  const auto add = [&text](auto const& piece) {
    if constexpr (std::is_arithmetic_v<std::remove_cvref_t<decltype(piece)>>)
      text += std::to_string(piece);
    else
      text += piece;
  };
  (add(pieces), ...);
  return text;
}

/// Errors always go out; warnings and notes unless `quiet`; those of the encoder check unless `skip_encoder` as well.
/// With a null callback nothing goes out, but errors still count.
class Reporter {
 public:
  Reporter(MessageCallback callback, void* context, bool quiet, bool skip_encoder)
      : callback_(callback), context_(context), quiet_(quiet), skip_encoder_(skip_encoder) {}

  template <class... Pieces>
  void error(Pieces const&... pieces) {
    ++errors_;
    send(1, pieces...);
  }

  template <class... Pieces>
  void warning(Pieces const&... pieces) const {
    if (!quiet_) send(0, pieces...);
  }

  template <class... Pieces>
  void encoder_warning(Pieces const&... pieces) const {
    if (!skip_encoder_) warning(pieces...);
  }

  /// A warning that even a quiet caller gets.
  template <class... Pieces>
  void warning_always(Pieces const&... pieces) const {
    send(0, pieces...);
  }

  bool has_errors() const { return errors_ != 0; }

 private:
  template <class... Pieces>
  void send(int severity, Pieces const&... pieces) const {
    if (callback_ != nullptr) callback_(context_, severity, message(pieces...).c_str());
  }

  MessageCallback callback_;
  void* context_;
  bool quiet_;
  bool skip_encoder_;
  std::size_t errors_ = 0;
};

}  // namespace fec
