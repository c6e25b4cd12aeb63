#include "common/ComMsgMgr.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "common/host/MessageHost.h"
#include "data_directory.h"
#include "message_catalogue.h"

namespace {

using message_host::Sink;

// --------------------------------------------------------------------------------------------------- manager

struct sink_entry {
  int number;
  std::shared_ptr<Sink> sink;
};

// State of the process. Never destroyed: messages may come while the process ends.
struct manager {
  std::mutex mutex;
  std::recursive_mutex delivery;  // one message at a time; a sink may send one itself
  std::vector<sink_entry> sinks;
  int next_number = 1;
  std::map<std::string, int> channels;
  kdi::message_catalogue catalogue;

  manager() {
    read_channels();
    const std::string path = kdi::find_data_file("messages/catalogue.json");
    if (path.empty()) return;
    try {
      catalogue = kdi::read_message_catalogue(path);
    } catch (std::exception const& error) {
      std::fprintf(stderr, "WARNING: [messages] %s\n", error.what());
    }
  }

 private:
  void read_channels() {
    char const* const given = std::getenv("KDI_MSG_CHANNELS");
    if (given == nullptr) return;
    std::istringstream list(given);
    for (std::string entry; std::getline(list, entry, ',');) {
      const std::size_t equals = entry.find('=');
      if (equals == std::string::npos) continue;
      channels[entry.substr(0, equals)] = std::atoi(entry.c_str() + equals + 1);
    }
  }
};

manager& the_manager() {
  static manager& instance = *new manager;
  return instance;
}

bool is_debug(ComMsgMgr::MsgMask mask) { return (mask & 0xFF000000U) == ComMsgMgr::MSG_DEBUG0; }

bool passes(std::string const& channel, int level) {
  manager& m = the_manager();
  const std::lock_guard lock(m.mutex);
  const auto found = m.channels.find(channel);
  return found != m.channels.end() && level <= found->second;
}

void deliver(ComMsgMgrInstance const& message) {
  manager& m = the_manager();
  const std::lock_guard delivering(m.delivery);
  std::vector<sink_entry> sinks;
  {
    const std::lock_guard lock(m.mutex);
    sinks = m.sinks;
  }
  if (sinks.empty()) {
    std::fprintf(stderr, "%s\n", message_host::line_of(message).c_str());
    return;
  }
  for (sink_entry const& entry : sinks) {
    try {
      (*entry.sink)(message);
    } catch (...) {
      // a sink has nobody to report its own failure to; the next one still gets the message
    }
  }
}

// -------------------------------------------------------------------------------------------------- formatting

// The copy of an argument list, so that it can be passed by reference and advanced piece by piece.
struct arguments {
  va_list list;
};

[[gnu::format(printf, 1, 0)]] std::string print(char const* format, va_list list) {
  va_list measured;
  va_copy(measured, list);
  const int size = std::vsnprintf(nullptr, 0, format, measured);
  va_end(measured);
  if (size < 0) return format;
  std::string text(static_cast<std::size_t>(size) + 1, '\0');
  std::vsnprintf(text.data(), text.size(), format, list);
  text.pop_back();
  return text;
}

template <class Value>
std::string print_value(std::string const& conversion, Value value) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
  const int size = std::snprintf(nullptr, 0, conversion.c_str(), value);
  if (size < 0) return {};
  std::string text(static_cast<std::size_t>(size) + 1, '\0');
  std::snprintf(text.data(), text.size(), conversion.c_str(), value);
#pragma GCC diagnostic pop
  text.pop_back();
  return text;
}

// Formats one conversion and takes its argument.
std::string print_next(std::string const& conversion, arguments& args) {
  const char type = conversion.back();
  const auto longs = static_cast<int>(
      conversion.find("ll") != std::string::npos ? 2 : conversion.find_first_of("lzjt") != std::string::npos);
  switch (type) {
    case 'd':
    case 'i':
      if (longs == 2) return print_value(conversion, va_arg(args.list, long long));
      return longs == 1 ? print_value(conversion, va_arg(args.list, long))
                        : print_value(conversion, va_arg(args.list, int));
    case 'u':
    case 'x':
    case 'X':
    case 'o':
      if (longs == 2) return print_value(conversion, va_arg(args.list, unsigned long long));
      return longs == 1 ? print_value(conversion, va_arg(args.list, unsigned long))
                        : print_value(conversion, va_arg(args.list, unsigned));
    case 'c':
      return print_value(conversion, va_arg(args.list, int));
    case 'p':
      return print_value(conversion, va_arg(args.list, void*));
    case 's': {
      char const* const text = va_arg(args.list, char const*);
      return print_value(conversion, text != nullptr ? text : "(null)");
    }
    default:
      return print_value(conversion, va_arg(args.list, double));
  }
}

// The conversions of `format`, each formatted by itself.
std::vector<std::string> print_each(char const* format, arguments& args) {
  std::vector<std::string> values;
  for (char const* at = format; *at != '\0'; ++at) {
    if (*at != '%') continue;
    if (at[1] == '%') {
      ++at;
      continue;
    }
    std::string conversion;
    while (*at != '\0' && std::string("diuxXocpsfFeEgGaA").find(*at) == std::string::npos) conversion += *at++;
    if (*at == '\0') break;
    conversion += *at;
    values.push_back(print_next(conversion, args));
  }
  return values;
}

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
struct reference {
  int group = 0;
  int number = 0;
  int length = 0;  // of its text; 0: there is none
};

reference reference_of(char const* format) {
  reference found;
  if (std::sscanf(format, "@%d-%d@%n", &found.group, &found.number, &found.length) < 2) found.length = 0;
  return found;
}

void set_text(ComMsgMgrInstance& message, char const* format, va_list list) {
  const reference found = reference_of(format);
  if (found.length == 0) {
    message.text = print(format, list);
    return;
  }
  message.id = std::to_string(found.group) + "-" + std::to_string(found.number);
  arguments args;
  va_copy(args.list, list);
  const std::vector<std::string> values = print_each(format + found.length, args);
  va_end(args.list);

  manager& m = the_manager();
  const std::lock_guard lock(m.mutex);
  const auto entry = m.catalogue.find({found.group, found.number});
  if (entry != m.catalogue.end()) {
    message.text = fill_places(entry->second, values);
    return;
  }
  message.text.assign(format, static_cast<std::size_t>(found.length));
  for (std::string const& value : values) message.text += " " + value;
}

struct sender {
  int level;
  char const* file;
  int line;
  std::string const& category;
  ComMsgMgr::MsgMask mask;
};

ComMsgMgrInstance make(sender const& from, std::string const& scope, char const* format, va_list list) {
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

void ComMsgMgr::sendMessage(ComMsgMgrInstance const& message) { deliver(message); }

void ComMsgMgr::sendMsgById(std::string const& category, int id, MsgMask mask, std::string const& text) {
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

int add_sink(Sink sink) {
  manager& m = the_manager();
  const std::lock_guard lock(m.mutex);
  m.sinks.push_back({m.next_number, std::make_shared<Sink>(std::move(sink))});
  return m.next_number++;
}

void remove_sink(int number) {
  manager& m = the_manager();
  const std::lock_guard lock(m.mutex);
  std::erase_if(m.sinks, [number](sink_entry const& entry) { return entry.number == number; });
}

Sink file_sink(std::string const& path) {
  auto file = std::make_shared<std::ofstream>(path, std::ios::app);
  if (!*file) throw std::runtime_error(path + ": cannot be opened for messages");
  return [file](ComMsgMgrInstance const& message) { *file << line_of(message) << std::endl; };
}

std::string line_of(ComMsgMgrInstance const& message) {
  char const* const kind = (message.mask & ComMsgMgr::MSG_ERROR) != 0              ? "ERROR"
                           : (message.mask & ComMsgMgr::MSG_CRITICAL_WARNING) != 0 ? "CRITICAL WARNING"
                           : (message.mask & ComMsgMgr::MSG_WARNING) != 0          ? "WARNING"
                           : (message.mask & ComMsgMgr::MSG_INFO) != 0             ? "INFO"
                                                                                   : "DEBUG";
  return std::string(kind) + ": [" + message.category + (message.id.empty() ? "" : " " + message.id) + "] " +
         message.text;
}

void set_channel(std::string const& channel, int level) {
  manager& m = the_manager();
  const std::lock_guard lock(m.mutex);
  m.channels[channel] = level;
}

void load_catalogue(std::string const& path) {
  kdi::message_catalogue catalogue = kdi::read_message_catalogue(path);
  manager& m = the_manager();
  const std::lock_guard lock(m.mutex);
  m.catalogue = std::move(catalogue);
}

}  // namespace message_host
