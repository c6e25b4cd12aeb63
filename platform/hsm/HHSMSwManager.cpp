#include "kdi/hsm/HHSMSwManager.h"

#include <stdlib.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <filesystem>
#include <new>
#include <stdexcept>
#include <system_error>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/HPAParamMgr.h"
#include "kdi/common/HUTFile.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"
#include "platform/hsm/application.h"
#include "platform/hsm/compiler.h"

namespace {

namespace fs = std::filesystem;
using kdi::hsm::Application;
using kdi::text::shown;

constexpr char const* kCompiler = "software.compiler";
constexpr int kMostSeconds = 120;  // for a program of a few hundred lines
constexpr std::string_view kElf =
    "\x7F"
    "ELF";

void tell(std::string const& text) {
  ComMsgMgr::sendMsg::eval(1, __FILE__, __LINE__, "software", ComMsgMgr::MSG_ERROR, "%s", text.c_str());
}

// A folder of its own, gone when it is done with.
class WorkFolder {
 public:
  explicit WorkFolder(std::string const& beside) : path_(beside + "/.software-XXXXXX") {
    if (::mkdtemp(path_.data()) == nullptr)
      throw std::runtime_error(beside + ": nothing can be built there: " + kdi::text::system_reason(errno));
  }
  WorkFolder(WorkFolder const&) = delete;
  WorkFolder& operator=(WorkFolder const&) = delete;
  ~WorkFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  std::string file(char const* name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

// The folder that a program goes to: one that was not there is gone again unless it is kept.
class TargetFolder {
 public:
  explicit TargetFolder(std::string path) : path_(std::move(path)) {
    std::error_code failed;
    is_new_ = fs::create_directory(path_, failed);
    if (failed) throw std::runtime_error(path_ + ": cannot be made: " + kdi::text::system_reason(failed.value()));
  }
  TargetFolder(TargetFolder const&) = delete;
  TargetFolder& operator=(TargetFolder const&) = delete;
  ~TargetFolder() {
    std::error_code ignored;
    if (!is_new_ || is_kept_) return;
    for (std::string const& file : files_) fs::remove(file, ignored);
    fs::remove(path_, ignored);
  }
  void write(std::string const& name, std::string_view bytes) {
    files_.push_back(path_ + "/" + name);
    kdi::write_file(files_.back(), bytes);
  }
  void keep() { is_kept_ = true; }

 private:
  std::string path_;
  StrVec files_;
  bool is_new_ = false;
  bool is_kept_ = false;
};

StrVec const& flags_for(Application const& application, std::string const& compiler) {
  const std::string program = fs::path(compiler).filename().string();
  for (kdi::hsm::CompilerKind const& kind : application.compilers)
    if (program.find(kind.names) != std::string::npos) return kind.flags;
  StrVec names;
  for (kdi::hsm::CompilerKind const& kind : application.compilers) names.push_back(kind.names);
  throw std::runtime_error(
      "the parameter " + std::string(kCompiler) + " names " + shown(compiler) +
      ", which is none of the compilers that the sources are for: " + kdi::text::joined(names, ", "));
}

StrVec command_line(Application const& application, std::string const& compiler, std::string const& program) {
  StrVec words{compiler};
  for (StrVec const* const flags : {&flags_for(application, compiler), &application.flags})
    words.insert(words.end(), flags->begin(), flags->end());
  words.push_back("-T" + application.folder + "/" + application.linker_script);
  for (std::string const& source : application.sources) words.push_back(application.folder + "/" + source);
  words.insert(words.end(), {"-o", program});
  return words;
}

std::string built(Application const& application, WorkFolder const& work) {
  const std::string compiler = HPAParamMgr::getParamMgr().getValueAsString(kCompiler), program = work.file("program");
  if (compiler.empty()) throw std::runtime_error("the parameter " + std::string(kCompiler) + " names no compiler");
  kdi::hsm::Run run;
  try {
    run = kdi::hsm::run(command_line(application, compiler, program), work.file("log"), kMostSeconds);
  } catch (kdi::hsm::NoProgram const& error) {
    throw std::runtime_error("the compiler " + shown(compiler) + " cannot be started: " + error.what() +
                             "; install clang and lld, or gcc-arm-none-eabi and name arm-none-eabi-gcc in the "
                             "parameter " +
                             kCompiler);
  }
  std::string bytes = run.is_well && kdi::is_file(program) ? kdi::read_file(program) : std::string();
  if (!bytes.starts_with(kElf))
    throw std::runtime_error("the compiler " + shown(compiler) +
                             " made no program: " + (run.told.empty() ? std::string("it told nothing") : run.told));
  return bytes;
}

// Throws whatever is wrong.
void make_application(std::string const& processor, std::string path, std::string const& name, bool build) {
  if (path.empty() || !HUTFile(path).getFullPath(path)) throw std::runtime_error("no folder to build in");
  const Application application = kdi::hsm::read_application(name);
  auto const& processors = application.processors;
  if (std::find(processors.begin(), processors.end(), processor) == processors.end())
    throw std::runtime_error(shown(name) + " is not for the processor " + shown(processor) + " but for " +
                             kdi::text::joined(processors, ", "));
  const std::string target = path + "/" + name;
  if (build) {
    const std::string program = built(application, WorkFolder(path));
    TargetFolder folder(target);
    folder.write("executable.elf", program);
    folder.keep();
    return;
  }
  TargetFolder folder(target);
  StrVec files = application.sources;
  files.insert(files.end(), application.headers.begin(), application.headers.end());
  files.push_back(application.linker_script);
  for (std::string const& file : files) folder.write(file, kdi::read_file(application.folder + "/" + file));
  folder.keep();
}

}  // namespace

HHSMSwManager* HHSMSwManager::getHsmSwManager() {
  static auto& manager = *new HHSMSwManager;
  try {
    return kdi::hsm::software_folders().empty() ? nullptr : &manager;
  } catch (kdi::FileError const& error) {
    tell(error.what());
    return nullptr;
  }
}

bool HHSMSwManager::generateAppForPMC(hsi::hsi_ps_interface*, std::string part, std::string processor,
                                      std::string instance, std::string path, std::string application,
                                      std::string ipName, bool build) {
  try {
    make_application(processor, path, application, build);
    return true;
  } catch (std::bad_alloc const&) {
    throw;
  } catch (std::exception const& error) {
    tell(application + " of " + ipName + " " + shown(instance) + " on " + shown(part) + ": " + error.what());
    return false;
  }
}
