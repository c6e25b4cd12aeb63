#include "host/kdish/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <utility>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"

namespace kdish {

bool write_all(int descriptor, std::string_view bytes) { return kdi::write_all(descriptor, bytes) == bytes.size(); }

std::size_t terminal_width(std::size_t otherwise) {
  winsize size{};
  const bool is_told = ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return is_told ? size.ws_col : otherwise;
}

bool wants_colour(int descriptor) {
  char const* const terminal = std::getenv("TERM");
  char const* const refused = std::getenv("NO_COLOR");
  return ::isatty(descriptor) != 0 && terminal != nullptr && *terminal != '\0' &&
         std::string_view(terminal) != "dumb" && (refused == nullptr || *refused == '\0');
}

ProgressLine::ProgressLine(int descriptor) : descriptor_(descriptor) {
  // Signals are the main thread's.
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  thread_ = std::thread([this] { run(); });
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

ProgressLine::~ProgressLine() {
  {
    const std::lock_guard lock(mutex_);
    erase();
    ends_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void ProgressLine::begin(std::string what) {
  const std::lock_guard lock(mutex_);
  what_ = std::move(what);
  if (command_ % 2 == 0) ++command_;
  changed_.notify_one();
}

void ProgressLine::end() {
  const std::lock_guard lock(mutex_);
  erase();
  if (command_ % 2 == 1) ++command_;
  changed_.notify_one();
}

void ProgressLine::report(std::string what) {
  const std::lock_guard lock(mutex_);
  what_ = std::move(what);
}

void ProgressLine::around(std::function<void()> const& write) {
  const std::lock_guard lock(mutex_);
  erase();
  write();
}

void ProgressLine::begin_line() {
  if (std::exchange(within_line_, false)) write_all(descriptor_, "\n");
}

void ProgressLine::run() {
  constexpr auto kPatience = std::chrono::seconds(1);
  constexpr auto kStep = std::chrono::milliseconds(250);
  std::unique_lock lock(mutex_);
  while (!ends_) {
    changed_.wait(lock, [this] { return ends_ || command_ % 2 == 1; });
    const auto begun = std::chrono::steady_clock::now();
    const unsigned long command = command_;
    const auto is_over = [this, command] { return ends_ || command_ != command; };
    for (auto pause = std::chrono::milliseconds(kPatience); !changed_.wait_for(lock, pause, is_over); pause = kStep)
      draw(std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - begun).count());
  }
}

void ProgressLine::draw(long seconds) {
  winsize size{};
  constexpr std::size_t kUsual = 80;
  const std::size_t columns =
      ::ioctl(descriptor_, TIOCGWINSZ, &size) == 0 && size.ws_col > 1 ? size.ws_col - 1U : kUsual;
  std::string line = "[" + std::to_string(seconds) + " s] " + what_.substr(0, what_.find_first_of("\r\n"));
  line = kdi::text::printable(line).substr(0, columns);
  write_all(descriptor_, "\r\033[K" + line);
  is_drawn_ = true;
}

void ProgressLine::erase() {
  if (is_drawn_) write_all(descriptor_, "\r\033[K");
  is_drawn_ = false;
}

namespace {

struct GuardedChannel {
  int descriptor;
  ProgressLine* progress;
  bool is_terminal;
};

int close_channel(ClientData data, Tcl_Interp* /*interp*/) {
  delete static_cast<GuardedChannel*>(data);
  return 0;
}

int no_input(ClientData /*data*/, char* /*bytes*/, int /*most*/, int* error) {
  *error = EINVAL;
  return -1;
}

int write_channel(ClientData data, char const* bytes, int count, int* error) {
  auto const& channel = *static_cast<GuardedChannel*>(data);
  bool is_written = false;
  channel.progress->around([&] {
    is_written = write_all(channel.descriptor, {bytes, static_cast<std::size_t>(count)});
  });
  if (is_written && channel.is_terminal && count > 0) channel.progress->has_written(bytes[count - 1]);
  if (is_written) return count;
  *error = errno;
  return -1;
}

void watch_nothing(ClientData /*data*/, int /*mask*/) {}

int channel_handle(ClientData data, int direction, ClientData* handle) {
  if (direction != TCL_WRITABLE) return TCL_ERROR;
  *handle = reinterpret_cast<ClientData>(static_cast<std::intptr_t>(static_cast<GuardedChannel*>(data)->descriptor));
  return TCL_OK;
}

const Tcl_ChannelType kChannelType = {
    "terminal",    TCL_CHANNEL_VERSION_5, close_channel, no_input, write_channel, nullptr, nullptr, nullptr,
    watch_nothing, channel_handle,        nullptr,       nullptr,  nullptr,       nullptr, nullptr, nullptr,
    nullptr};

}  // namespace

void guard_output_channels(Tcl_Interp* interp, ProgressLine& progress) {
  const auto replace = [&](char const* name, int which, int descriptor, char const* buffering) {
    const int kept = ::dup(descriptor);  // the old channel closes its own
    if (Tcl_Channel const old = Tcl_GetStdChannel(which)) {
      Tcl_Flush(old);
      Tcl_UnregisterChannel(interp, old);
    }
    Tcl_SetStdChannel(nullptr, which);
    ::dup2(kept, descriptor);
    ::close(kept);
    Tcl_Channel const channel = Tcl_CreateChannel(
        &kChannelType, name, new GuardedChannel{descriptor, &progress, ::isatty(descriptor) != 0}, TCL_WRITABLE);
    Tcl_SetChannelOption(nullptr, channel, "-translation", "lf");
    Tcl_SetChannelOption(nullptr, channel, "-buffering", buffering);
    Tcl_SetStdChannel(channel, which);
    Tcl_RegisterChannel(interp, channel);
  };
  replace("stdout", TCL_STDOUT, STDOUT_FILENO, "line");
  replace("stderr", TCL_STDERR, STDERR_FILENO, "none");
}

}  // namespace kdish
