// Directories are removed with what is in them, whatever else goes on: faults of the system, and other processes that
// move and exchange what is being removed. The calls of the system that it takes stand in this program, before the
// library's.
#include "platform/place/remove_directory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>

#include "kdi/place/kelvane_io_v1.h"
#include "tests/support/scratch.h"

namespace {

// Called before each look at an entry, and each removal of one; what they return is the call's error, 0 for none.
std::function<int(std::string const&)> on_look, on_removal;
std::function<void(std::string const&)> after_look;
// What the next look tells of the file system that an entry is on.
bool elsewhere = false;
bool has_no_links = false;

int failed(int number) {
  errno = number;
  return -1;
}

}  // namespace

extern "C" int fstatat(int within, char const* name, struct stat* status, int flags) noexcept {
  if (on_look)
    if (const int number = on_look(name)) return failed(number);
  const long result = syscall(SYS_newfstatat, within, name, status, flags);
  if (elsewhere && std::strcmp(name, "mounted") == 0) status->st_dev += 1;
  if (after_look) after_look(name);
  return static_cast<int>(result);
}
extern "C" int unlinkat(int within, char const* name, int flags) noexcept {
  if (on_removal)
    if (const int number = on_removal(name)) return failed(number);
  return static_cast<int>(syscall(SYS_unlinkat, within, name, flags));
}
extern "C" ssize_t readlink(char const* path, char* to, size_t size) noexcept {
  return has_no_links ? failed(ENOENT) : syscall(SYS_readlink, path, to, size);
}

namespace {

namespace fs = std::filesystem;
constexpr char kMarker[] = ".made";

class RemoveDirectory : public testing::Test {
 protected:
  RemoveDirectory() {
    for (char const* name : {"d/a", "d/below/b", "d/below/deeper/c"}) folder_.file(name, "");
    root_ = kdi::place::real_directory(folder_.folder());
  }
  ~RemoveDirectory() override {
    on_look = on_removal = nullptr;
    after_look = nullptr;
    elsewhere = has_no_links = false;
  }

  // What is said of a removal: "removed", "nothing", or why not.
  std::string remove(std::string const& path) {
    try {
      return kdi::place::remove_directory(path, {root_}, kMarker) ? "removed" : "nothing";
    } catch (std::string const& why) {
      return why;
    }
  }
  std::string refused(std::string const& path, std::string const& why) {
    return "directory \"" + path + "\" is not removed: " + why;
  }
  std::string not_possible(std::string const& path, int number) {
    return "directory \"" + path + "\" cannot be removed: " + std::strerror(number);
  }

  Scratch folder_;
  std::string root_;
  std::string d_ = folder_.path("d");
};

TEST_F(RemoveDirectory, WithAllThatIsInIt) {
  EXPECT_EQ(remove(d_), "removed");
  EXPECT_EQ(remove(d_), "nothing");
  EXPECT_EQ(folder_.names(), std::vector<std::string>{});
}

TEST_F(RemoveDirectory, OfOthersOnlyWithTheMarker) {
  const std::string why = refused(d_, "it is below none of the interface's directories, and has no file .made");
  root_ += "/e";
  EXPECT_EQ(remove(d_), why);
  root_ = folder_.path("d");  // itself is not below itself
  EXPECT_EQ(remove(d_), why);
  folder_.file("d/.made", "");
  EXPECT_EQ(remove(d_), "removed");
}

TEST_F(RemoveDirectory, NotWhatHasNoNameOfItsOwn) {
  root_ = "/";
  EXPECT_EQ(remove("/"), refused("/", "it has no name of its own"));
  EXPECT_EQ(remove(d_ + "/."), refused(d_ + "/.", "it has no name of its own"));
  EXPECT_EQ(remove(d_ + "/below/.."), refused(d_ + "/below/..", "it has no name of its own"));
  EXPECT_EQ(remove(""), refused("", "it has no name of its own"));
  EXPECT_EQ(remove("../d"), refused("../d", "it is relative, with .. in it"));
  EXPECT_EQ(remove("a/../b"), refused("a/../b", "it is relative, with .. in it"));
  EXPECT_EQ(remove(std::string("/a\0b", 4)).find("no path has a zero in it") != std::string::npos, true);
  EXPECT_TRUE(fs::exists(d_ + "/below/deeper/c"));
}

TEST_F(RemoveDirectory, NotWhereAFileSystemBegins) {
  root_ = "/";
  EXPECT_EQ(remove("/proc"), refused("/proc", "it is a root of a file system"));
  folder_.file("d/mounted/kept", "");
  elsewhere = true;
  EXPECT_EQ(remove(d_), refused(d_ + "/mounted", "it is another file system"));
  EXPECT_TRUE(fs::exists(d_ + "/mounted/kept"));
}

TEST_F(RemoveDirectory, NotWhereNobodyCanTellWhereItIs) {
  has_no_links = true;
  EXPECT_EQ(remove(d_), refused(d_, "where it is cannot be found out"));
}

TEST_F(RemoveDirectory, TellsWhatTheSystemRefuses) {
  on_removal = [](std::string const& name) { return name == "c" ? EACCES : 0; };
  EXPECT_EQ(remove(d_), not_possible(d_ + "/below/deeper/c", EACCES));
  EXPECT_TRUE(fs::exists(d_ + "/below/deeper/c"));
  on_removal = [](std::string const& name) { return name == "deeper" ? EBUSY : 0; };
  EXPECT_EQ(remove(d_), not_possible(d_ + "/below/deeper", EBUSY));
  on_removal = [](std::string const& name) { return name == "d" ? EROFS : 0; };
  EXPECT_EQ(remove(d_), not_possible(d_, EROFS));
  on_removal = nullptr;
  on_look = [](std::string const& name) { return name == "d" ? EIO : 0; };
  EXPECT_EQ(remove(d_), not_possible(d_, EIO));
  on_look = nullptr;
  EXPECT_EQ(remove(d_), "removed");
}

// What is exchanged between the look at it and its opening is neither followed nor emptied.
TEST_F(RemoveDirectory, LeavesWhatIsExchangedMeanwhile) {
  folder_.file("outside/kept", "");
  after_look = [this](std::string const& name) {
    if (name != "below") return;
    after_look = nullptr;
    fs::rename(d_ + "/below", folder_.path("away"));
    fs::create_directory_symlink(folder_.path("outside"), d_ + "/below");
  };
  EXPECT_EQ(remove(d_), not_possible(d_ + "/below", ENOTDIR));
  EXPECT_TRUE(fs::exists(folder_.path("outside/kept")));
  EXPECT_TRUE(fs::exists(folder_.path("away/deeper/c")));
  fs::remove(d_ + "/below");
  fs::rename(folder_.path("away"), d_ + "/below");
  after_look = [this](std::string const& name) {
    if (name != "below") return;
    after_look = nullptr;
    fs::rename(d_ + "/below", folder_.path("away"));
    fs::rename(folder_.path("outside"), d_ + "/below");
  };
  EXPECT_EQ(remove(d_), refused(d_ + "/below", "it was exchanged meanwhile"));
  EXPECT_TRUE(fs::exists(d_ + "/below/kept"));
  EXPECT_TRUE(fs::exists(folder_.path("away/deeper/c")));
}

TEST_F(RemoveDirectory, StopsWhereTheWayBackLeadsElsewhere) {
  folder_.file("outside/kept", "");
  on_removal = [this](std::string const& name) {
    if (name == "c") fs::rename(d_ + "/below/deeper", folder_.path("outside/deeper"));
    return 0;
  };
  EXPECT_EQ(remove(d_), refused(d_ + "/below/deeper", "it was moved meanwhile"));
  EXPECT_TRUE(fs::exists(folder_.path("outside/kept")));
}

TEST(InterfaceDirectories, AreBounded) {
  const Scratch folder;
  kelvane_io::kelvane_io_v1::HIPKelvaneIPMgr::loadMigPkgData(
      {{"-instance_name", "i"}, {"-part", "brvn6112-c2209-2LHP-e-S"}});
  auto* const interface = kelvane_io::kelvane_io_v1::HIPKelvaneIPMgr::getIPInstance("i");
  std::string said;
  for (int i = 0; i <= 64; ++i) {
    fs::create_directory(folder.path(std::to_string(i)));
    try {
      interface->hard_DDR4_generateMemFile({{"SW_DIR_PATH", folder.path(std::to_string(i))}});
    } catch (std::string const& text) {
      said = text;
    }
  }
  EXPECT_EQ(said, "an interface has at most 64 directories");
  kelvane_io::kelvane_io_v1::HIPKelvaneIPMgr::releasePkgData({});
}

}  // namespace
