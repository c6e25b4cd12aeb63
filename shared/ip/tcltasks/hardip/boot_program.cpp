#include "tcltasks/hardip/boot_program.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include "kdi/common/KdiText.h"
#include "kdi/hsm/HHSMSwManager.h"
#include "tcltasks/hardip/output_parts.h"

namespace hardip {
namespace {

constexpr char const* kProcessor = "psv_pmc_0";
constexpr char const* kIp = "tavrel_cips";
// A tree that is deeper is not what a program was built in.
constexpr int kDeepest = 100;

[[noreturn]] void fail(std::string const& path) {
  throw std::runtime_error(path + " cannot be removed: " + kdi::text::system_reason(errno));
}

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&&) = delete;
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }
  int number() const { return number_; }

 private:
  int number_;
};

// The directory `name` in an open directory; none, and errno, if it is something else.
Descriptor open_directory(int directory, char const* name) {
  return Descriptor(::openat(directory, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

std::vector<std::string> names_in(int directory, std::string const& path) {
  const int own = ::dup(directory);  // which the list takes over
  const std::unique_ptr<DIR, int (*)(DIR*)> list(own < 0 ? nullptr : ::fdopendir(own), ::closedir);
  if (list == nullptr) {
    const int reason = errno;
    if (own >= 0) ::close(own);
    errno = reason;
    fail(path);
  }
  std::vector<std::string> names;
  for (;;) {
    errno = 0;
    dirent const* const entry = ::readdir(list.get());
    if (entry == nullptr && errno != 0) fail(path);
    if (entry == nullptr) return names;
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
}

// By handles all the way: what is put in the place of a directory meanwhile leads nowhere else.
void remove_tree(int parent, std::string const& name, std::string const& path, int depth) {
  const Descriptor directory = open_directory(parent, name.c_str());
  if (directory.number() < 0 && errno == ENOENT) return;
  if (directory.number() < 0 || depth == kDeepest) {
    if (depth == kDeepest) errno = ELOOP;
    fail(path);
  }
  for (std::string const& entry : names_in(directory.number(), path)) {
    const std::string entry_path = path + "/" + entry;
    if (::unlinkat(directory.number(), entry.c_str(), 0) == 0 || errno == ENOENT) continue;
    struct stat about {};
    const int reason = errno;
    if (::fstatat(directory.number(), entry.c_str(), &about, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISDIR(about.st_mode)) {
      errno = reason;
      fail(entry_path);
    }
    remove_tree(directory.number(), entry, entry_path, depth + 1);
  }
  if (::unlinkat(parent, name.c_str(), AT_REMOVEDIR) != 0 && errno != ENOENT) fail(path);
}

}  // namespace

void remove_directory_in(std::string const& path, std::string const& name) {
  if (path.empty()) return;
  const Descriptor parent(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (parent.number() < 0) {
    if (errno == ENOENT || errno == ENOTDIR) return;
    fail(below(path, name));
  }
  struct stat about {};
  if (::fstatat(parent.number(), name.c_str(), &about, AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno == ENOENT) return;
    fail(below(path, name));
  }
  if (S_ISDIR(about.st_mode)) remove_tree(parent.number(), name, below(path, name), 0);
}

void build_boot_program(hardip_eng::HardIPInterface& instance, ParamMap const& context, std::string const& path) {
  const std::string core = value_of(context, kCoreName);
  const auto interface = std::make_unique<hsi::hsi_ps_interface>(&instance);
  HHSMSwManager* const manager = HHSMSwManager::getHsmSwManager();
  if (manager == nullptr) return;
  if (core == "pspmc" || core == "ps_pmc") remove_directory_in(path, kBootProgram);
  if (core == "ps_pmc")
    manager->generateAppForPMC(interface.get(), value_of(context, "part"), kProcessor, value_of(context, kInstanceName),
                               path, kBootProgram, kIp, true);
  interface->finish();
}

}  // namespace hardip
