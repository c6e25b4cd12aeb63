#include "platform/hsm/application.h"

#include <algorithm>

#include "kdi/common/KdiDataDir.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiText.h"

namespace kdi::hsm {
namespace {

constexpr std::size_t kMostWords = 200;  // of one list

// A name without folders, so that an application is what its own folder has.
std::string file_name(JsonValue value) {
  std::string name(value.text());
  if (name.empty() || name.front() == '.' || name.front() == '-' || name.find('/') != std::string::npos)
    value.refuse("the name of a file in the folder");
  return name;
}

template <class Read>
StrVec list(JsonValue values, Read read) {
  if (values.items().empty() || values.items().size() > kMostWords)
    values.refuse("1 to " + std::to_string(kMostWords) + " texts");
  StrVec all;
  for (const JsonValue value : values.items()) all.push_back(read(value));
  return all;
}

std::string word(JsonValue value) {
  if (value.text().empty()) value.refuse("a word");
  return std::string(value.text());
}

bool is_folder_name(std::string const& name) {
  return !name.empty() && name.front() != '.' && name.find('/') == std::string::npos;
}

}  // namespace

StrVec software_folders() { return data_directories("software"); }

Application read_application(std::string const& name) {
  if (!is_folder_name(name)) throw FileError(text::shown(name) + " is no application");
  for (std::string const& root : software_folders()) {
    Application application;
    application.folder = root + "/" + name;
    const std::string path = application.folder + "/application.json";
    if (!is_file(path)) continue;
    const JsonFile file(path);
    const JsonValue top = file.root();
    top.allow_only({"format", "processors", "sources", "headers", "linker_script", "compilers", "flags"});
    top.member("format").integer(1, 1);
    application.processors = list(top.member("processors"), word);
    application.sources = list(top.member("sources"), file_name);
    application.headers = list(top.member("headers"), file_name);
    application.linker_script = file_name(top.member("linker_script"));
    application.flags = list(top.member("flags"), word);
    for (const JsonValue kind : top.member("compilers").items()) {
      kind.allow_only({"names", "flags"});
      application.compilers.push_back({word(kind.member("names")), list(kind.member("flags"), word)});
    }
    return application;
  }
  throw FileError("no data root has the application " + text::shown(name));
}

}  // namespace kdi::hsm
