#include "kdi/common/ComMsgMgr.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <map>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/common/host/MessageHost.h"
#include "platform/common/callees.h"
#include "platform/common/data_directory.h"
#include "platform/common/message_arguments.h"
#include "platform/common/message_catalogue.h"
#include "platform/common/parameters.h"

namespace {

using message_host::Sink;

// What a message tells of may come from a file, and standard error may be a terminal.
void complain(std::string const& line) { std::fprintf(stderr, "%s\n", kdi::text::printable(line).c_str()); }

// --------------------------------------------------------------------------------------------------- manager

// State of the process. Never destroyed: messages may come while the process ends.
struct Manager {
  kdi::Callees<Sink> sinks;

  std::mutex mutex;  // of what follows
  std::map<std::string, int> channels;
  kdi::MessageCatalogue catalogue;

  // What the parameters say of channels, as far as it was asked for, and the state of the parameters that holds it.
  std::map<std::string, int> levels;
  std::uint64_t levels_state = 0;

  Manager() {
    read_channels();
    try {
      const std::string path = kdi::find_data_file("messages/catalogue.json");
      if (!path.empty()) catalogue = kdi::read_message_catalogue(path);
    } catch (std::bad_alloc const&) {
      throw;  // the next message makes the manager anew
    } catch (std::exception const& error) {
      complain(std::string("WARNING: [messages] ") + error.what());
    }
  }

 private:
  void read_channels() {
    char const* const given = std::getenv("KDI_MSG_CHANNELS");
    if (given == nullptr) return;
    for (const std::string_view entry : kdi::text::words(given, ","))
      if (!read_channel(entry))
        complain("WARNING: [messages] KDI_MSG_CHANNELS: " + kdi::text::quoted(entry) + " is no channel=level");
  }

  bool read_channel(std::string_view entry) {
    const std::size_t equals = entry.find('=');
    if (equals == 0 || equals == std::string_view::npos) return false;
    const auto level = kdi::number::whole<int>(entry.substr(equals + 1));
    if (level) channels[std::string(entry.substr(0, equals))] = *level;
    return level.has_value();
  }
};

Manager& the_manager() {
  static Manager& instance = *new Manager;
  return instance;
}

bool is_debug(ComMsgMgr::MsgMask mask) { return (mask & 0xFF000000U) == ComMsgMgr::MSG_DEBUG0; }

constexpr int kOff = -1;

// The level that the channel's tool parameter gives it.
int level_by_parameter(std::string const& channel) {
  const std::optional<std::int64_t> given = kdi::integer_parameter("debug." + channel);
  if (!given || *given < 0) return kOff;
  return static_cast<int>(std::min<std::int64_t>(*given, std::numeric_limits<int>::max()));
}

bool passes(std::string const& channel, int level) {
  Manager& m = the_manager();
  const std::uint64_t state = kdi::parameters_state();
  {
    const std::lock_guard lock(m.mutex);
    if (const auto set = m.channels.find(channel); set != m.channels.end()) return level <= set->second;
    if (m.levels_state != state) m.levels.clear();
    m.levels_state = state;
    if (const auto known = m.levels.find(channel); known != m.levels.end()) return level <= known->second;
  }
  // Not under the lock: the first question reads the parameters' files, and what is wrong with them is a message.
  const int allowed = channel.empty() ? kOff : level_by_parameter(channel);
  const std::lock_guard lock(m.mutex);
  if (m.levels_state == state) m.levels.insert_or_assign(channel, allowed);
  return level <= allowed;
}

void deliver(ComMsgMgrInstance const& message) {
  const bool is_heard = the_manager().sinks.each([&message](Sink const& sink) {
    try {
      sink(message);
    } catch (...) {
      // a sink has nobody to report its own failure to; the next one still gets the message
    }
  });
  if (!is_heard) complain(message_host::line_of(message));
}

// -------------------------------------------------------------------------------------------------- formatting

std::string fill_places(std::string const& text, std::vector<std::string> const& values) {
  std::string filled;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 1 < text.size() && text[i + 1] >= '1' && text[i + 1] <= '9') {
      const auto place = static_cast<std::size_t>(text[++i] - '1');
      if (place < values.size()) filled += values[place];
    } else {
      filled += text[i];
    }
  }
  return filled;
}

// A reference at the head of a format, "@80-2@".
struct Reference {
  int group = 0;
  int number = 0;
  std::size_t length = 0;  // of its text
};

std::optional<Reference> reference_of(std::string_view format) {
  Reference found;
  std::string_view rest = format;
  const auto take_sign = [&](char sign) {
    const bool is_there = rest.starts_with(sign);
    if (is_there) rest.remove_prefix(1);
    return is_there;
  };
  const auto take_number = [&](int& number) {
    number = kdi::number::take<int>(rest).value_or(-1);
    return number >= 0;
  };
  if (!take_sign('@') || !take_number(found.group) || !take_sign('-') || !take_number(found.number) || !take_sign('@'))
    return std::nullopt;
  found.length = format.size() - rest.size();
  return found;
}

void set_text(ComMsgMgrInstance& message, char const* format, va_list list) {
  const std::optional<Reference> found = reference_of(format);
  if (!found) {
    message.text = kdi::number::vprinted(format, list);
    return;
  }
  message.id = std::to_string(found->group) + "-" + std::to_string(found->number);
  const std::vector<std::string> values = kdi::format_each(format + found->length, list);

  Manager& m = the_manager();
  const std::lock_guard lock(m.mutex);
  const auto entry = m.catalogue.find({found->group, found->number});
  if (entry != m.catalogue.end()) {
    message.text = fill_places(entry->second, values);
    return;
  }
  message.text.assign(format, found->length);
  for (std::string const& value : values) message.text += " " + value;
}

struct Sender {
  int level;
  char const* file;
  int line;
  std::string const& category;
  ComMsgMgr::MsgMask mask;
};

ComMsgMgrInstance make(Sender const& from, std::string const& scope, char const* format, va_list list) {
  const kdi::number::PointNumbers same_under_every_locale;
  ComMsgMgrInstance message;
  message.level = from.level;
  message.file = from.file != nullptr ? from.file : "";
  message.line = from.line;
  message.category = from.category;
  message.scope = scope;
  message.mask = from.mask;
  set_text(message, format, list);
  return message;
}

}  // namespace

// ------------------------------------------------------------------------------------------------ the package's side

void ComMsgMgr::sendMsg::eval(int level, char const* file, int line, std::string const& category, MsgMask mask,
                              char const* format, ...) {
  if (is_debug(mask)) return;
  va_list list;
  va_start(list, format);
  deliver(make({level, file, line, category, mask}, {}, format, list));
  va_end(list);
}

void ComMsgMgr::sendScopedMsg::eval(int level, char const* file, int line, std::string const& category,
                                    std::string const& scope, MsgMask mask, char const* format, ...) {
  if (is_debug(mask) && !passes(scope, level)) return;
  va_list list;
  va_start(list, format);
  deliver(make({level, file, line, category, mask}, scope, format, list));
  va_end(list);
}

bool ComMsgMgr::isShown(std::string const& scope, int level) { return passes(scope, level); }

void ComMsgMgr::sendMessage(ComMsgMgrInstance const& message) {
  if (!is_debug(message.mask) || passes(message.scope, message.level)) deliver(message);
}

void ComMsgMgr::sendMsgById(std::string const& category, int id, MsgMask mask, std::string const& text) {
  if (is_debug(mask)) return;
  ComMsgMgrInstance message;
  message.category = category;
  message.mask = mask;
  message.id = std::to_string(id);
  message.text = text;
  deliver(message);
}

std::unique_ptr<ComMsgMgrInstance> ComMsgMgrInstance::createInstance::eval(int level, char const* file, int line,
                                                                           std::string const& category,
                                                                           ComMsgMgr::MsgMask mask, char const* format,
                                                                           ...) {
  va_list list;
  va_start(list, format);
  auto message = std::make_unique<ComMsgMgrInstance>(make({level, file, line, category, mask}, {}, format, list));
  va_end(list);
  return message;
}

// --------------------------------------------------------------------------------------------------- the host's side

namespace message_host {

int add_sink(Sink sink) { return the_manager().sinks.add(std::move(sink)); }
void remove_sink(int number) { the_manager().sinks.remove(number); }

Sink file_sink(std::string const& path) {
  return [file = std::make_shared<kdi::LineFile>(path)](ComMsgMgrInstance const& message) {
    const std::string line = line_of(message);
    try {
      file->add(line);
    } catch (kdi::FileError const& error) {
      // a full disk loses the file its line, not the person the message
      complain(line + " (" + error.what() + ")");
    }
  };
}

std::string line_of(ComMsgMgrInstance const& message) {
  char const* const kind = (message.mask & ComMsgMgr::MSG_ERROR) != 0              ? "ERROR"
                           : (message.mask & ComMsgMgr::MSG_CRITICAL_WARNING) != 0 ? "CRITICAL WARNING"
                           : (message.mask & ComMsgMgr::MSG_WARNING) != 0          ? "WARNING"
                           : (message.mask & ComMsgMgr::MSG_INFO) != 0             ? "INFO"
                                                                                   : "DEBUG";
  const std::size_t end = message.text.find_last_not_of('\n') + 1;
  return std::string(kind) + ": [" + message.category + (message.id.empty() ? "" : " " + message.id) + "] " +
         message.text.substr(0, end);
}

Capture::Capture()
    : number_(add_sink([this](ComMsgMgrInstance const& message) {
        const std::lock_guard lock(mutex_);
        messages_.push_back(message);
      })) {}

Capture::~Capture() { remove_sink(number_); }

std::vector<ComMsgMgrInstance> Capture::messages() const {
  const std::lock_guard lock(mutex_);
  return messages_;
}

std::vector<std::string> Capture::lines() const {
  std::vector<std::string> lines;
  for (ComMsgMgrInstance const& message : messages()) lines.push_back(line_of(message));
  return lines;
}

void Capture::clear() {
  const std::lock_guard lock(mutex_);
  messages_.clear();
}

void set_channel(std::string const& channel, int level) {
  Manager& m = the_manager();
  const std::lock_guard lock(m.mutex);
  m.channels[channel] = level;
}

void load_catalogue(std::string const& path) {
  kdi::MessageCatalogue catalogue = kdi::read_message_catalogue(path);
  Manager& m = the_manager();
  const std::lock_guard lock(m.mutex);
  m.catalogue = std::move(catalogue);
}

}  // namespace message_host
