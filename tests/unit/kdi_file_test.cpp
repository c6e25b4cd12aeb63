// Whole files: every fault is told, and no half file is left.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <thread>

#include "kdi/common/KdiFile.h"
#include "tests/support/scratch.h"

namespace {

using Texts = std::vector<std::string>;

template <class Action>
std::string fault_of(Action action) {
  try {
    action();
  } catch (kdi::FileError const& error) {
    return error.what();
  }
  return "no fault";
}

std::string read_fault(std::string const& path) {
  return fault_of([&] { kdi::read_file(path); });
}
std::string write_fault(std::string const& path, std::string const& bytes = "x") {
  return fault_of([&] { kdi::write_file(path, bytes); });
}

TEST(WholeFile, ReadsBackWhatWasWritten) {
  const Scratch scratch;
  for (const std::size_t size : {0, 1, 4095, 4096, 4097, 3000000}) {
    std::string bytes;
    for (std::size_t i = 0; i < size; ++i) bytes += static_cast<char>(i * 7 % 256);
    kdi::write_file(scratch.path("a"), bytes);
    EXPECT_EQ(kdi::read_file(scratch.path("a")), bytes) << size;
  }
  EXPECT_EQ(scratch.names(), Texts{"a"});
}

TEST(WholeFile, IsReadFromAPipeWhereThatIsMeant) {
  const Scratch scratch;
  const std::string pipe = scratch.path("pipe");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  const std::string bytes(200000, 'p');  // more than a pipe holds, so reads are short
  std::thread writer([&] { kdi::write_file(pipe, bytes); });
  EXPECT_EQ(kdi::read_input(pipe), bytes);
  writer.join();
  EXPECT_TRUE(std::filesystem::is_fifo(pipe));
}

TEST(WholeFile, CannotBeReadWhereThereIsNone) {
  const Scratch scratch;
  EXPECT_EQ(read_fault(scratch.path("no")), scratch.path("no") + ": cannot be opened: No such file or directory");
  EXPECT_EQ(read_fault(scratch.folder()), scratch.folder() + ": cannot be read: Is a directory");
  EXPECT_EQ(read_fault(""), ": cannot be opened: No such file or directory");
  EXPECT_EQ(fault_of([] { kdi::read_input("/dev/zero"); }), "/dev/zero: has more than 268435456 bytes");
  const std::string three = scratch.file("three", "123");
  EXPECT_EQ(kdi::read_file(three, 3), "123");
  EXPECT_EQ(fault_of([&] { kdi::read_file(three, 2); }), three + ": has more than 2 bytes");
}

// Nothing writes to the pipe: who waited for that would wait for ever.
TEST(WholeFile, IsNoPipeAndNoDevice) {
  const Scratch scratch;
  const std::string pipe = scratch.path("pipe");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  ::alarm(20);
  EXPECT_EQ(read_fault(pipe), pipe + ": cannot be read: it is no regular file");
  EXPECT_EQ(read_fault("/dev/zero"), "/dev/zero: cannot be read: it is no regular file");
  ::alarm(0);
}

TEST(WholeFile, CannotBeReadOrReplacedWithoutPermission) {
  const Unprivileged user;
  const Scratch scratch;
  const std::string path = scratch.file("a", "old");
  ::chmod(path.c_str(), 0000);
  EXPECT_EQ(read_fault(path), path + ": cannot be opened: Permission denied");
  ::chmod(path.c_str(), 0400);
  EXPECT_EQ(write_fault(path), path + ": cannot be written: Permission denied");
  EXPECT_EQ(scratch.content("a"), "old");
  ::chmod(scratch.folder().c_str(), 0500);
  EXPECT_EQ(write_fault(scratch.path("b")), scratch.path("b") + ": cannot be created: Permission denied");
  ::chmod(scratch.folder().c_str(), 0700);
}

TEST(WholeFile, CannotBeWrittenWhereThereIsNoPlace) {
  const Scratch scratch;
  EXPECT_EQ(write_fault(scratch.path("no/a")), scratch.path("no/a") + ": cannot be created: No such file or directory");
  EXPECT_EQ(write_fault(scratch.folder()), scratch.folder() + ": cannot be written: Is a directory");
  const std::string under_file = scratch.file("a", "") + "/b";
  EXPECT_EQ(write_fault(under_file), under_file + ": cannot be created: Not a directory");
  EXPECT_EQ(write_fault("/dev/full"), "/dev/full: cannot be written: No space left on device");
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
}

TEST(Directories, AreMadeWithThoseAboveThemOrToldInWordsOfNoLocale) {
  const Scratch scratch;
  kdi::make_directories(scratch.path("a/b/c"));
  kdi::make_directories(scratch.path("a/b/c"));
  EXPECT_TRUE(kdi::is_directory(scratch.path("a/b/c")));
  const std::string under_file = scratch.file("f", "") + "/b";
  EXPECT_EQ(fault_of([&] { kdi::make_directories(under_file); }),
            under_file + ": cannot be made a directory: Not a directory");
}

// Lets no file of this process grow behind `bytes` while it lives, which is what a full disk looks like to it.
class FullDisk {
 public:
  explicit FullDisk(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    ::getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit small{bytes, before_.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &small);
  }
  FullDisk(FullDisk const&) = delete;
  FullDisk& operator=(FullDisk const&) = delete;
  ~FullDisk() {
    ::setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, handler_);
  }

 private:
  rlimit before_{};
  void (*handler_)(int);
};

TEST(WholeFile, KeepsItsOldContentWhenTheDiskIsFull) {
  const Scratch scratch;
  const std::string path = scratch.file("a", "old");
  std::string fault;
  {
    const FullDisk full(1000);
    fault = write_fault(path, std::string(5000, 'n'));
  }
  EXPECT_EQ(fault, path + ": cannot be written: File too large");
  EXPECT_EQ(scratch.content("a"), "old");
  EXPECT_EQ(scratch.names(), Texts{"a"});
}

TEST(WholeFile, KeepsItsPermissionsAndItsPlaceBehindALink) {
  const Scratch scratch;
  const std::string path = scratch.file("sub/a", "old");
  ::chmod(path.c_str(), 0640);
  std::filesystem::create_symlink("sub/a", scratch.path("link"));
  kdi::write_file(scratch.path("link"), "new");
  EXPECT_TRUE(std::filesystem::is_symlink(scratch.path("link")));
  EXPECT_EQ(scratch.content("sub/a"), "new");
  struct stat present {};
  ASSERT_EQ(::stat(path.c_str(), &present), 0);
  EXPECT_EQ(present.st_mode & 07777U, 0640U);
}

TEST(WholeFile, ComesToBeBehindALinkThatLeadsNowhere) {
  const Scratch scratch;
  std::filesystem::create_directory(scratch.path("sub"));
  std::filesystem::create_symlink("sub/a", scratch.path("link"));
  std::filesystem::create_symlink("link", scratch.path("sub/../further"));
  kdi::write_file(scratch.path("further"), "new");
  EXPECT_TRUE(std::filesystem::is_symlink(scratch.path("link")));
  EXPECT_TRUE(std::filesystem::is_symlink(scratch.path("further")));
  EXPECT_EQ(scratch.content("sub/a"), "new");

  std::filesystem::create_symlink("circle", scratch.path("circle"));
  EXPECT_EQ(write_fault(scratch.path("circle")),
            scratch.path("circle") + ": cannot be looked up: Too many levels of symbolic links");
}

TEST(WholeFile, MayHaveTheLongestName) {
  const Scratch scratch;
  const std::string name(255, 'n');
  kdi::write_file(scratch.path(name), "x");
  EXPECT_EQ(scratch.names(), Texts{name});
  EXPECT_EQ(write_fault(scratch.path(name + "n")),
            scratch.path(name + "n") + ": cannot be created: File name too long");
  EXPECT_EQ(scratch.names(), Texts{name});
}

TEST(WholeFile, IsWrittenDirectlyWhereNoFileCanBeMade) {
  const Unprivileged user;
  const Scratch scratch;
  const std::string path = scratch.file("a", "old and long");
  ::chmod(scratch.folder().c_str(), 0500);
  EXPECT_EQ(write_fault(path, "new"), "no fault");
  EXPECT_EQ(scratch.content("a"), "new");
  {
    const FullDisk full(1000);
    EXPECT_EQ(write_fault(path, std::string(5000, 'n')), path + ": cannot be written: File too large");
  }
  EXPECT_EQ(scratch.content("a"), "");
  ::chmod(scratch.folder().c_str(), 0700);
  EXPECT_EQ(scratch.names(), Texts{"a"});
}

TEST(WholeFile, SaysWhetherItCouldBeOpened) {
  const Scratch scratch;
  EXPECT_THROW(kdi::read_file(scratch.path("no")), kdi::OpenError);
  for (std::string const& path : {scratch.path("no/a"), scratch.folder(), std::string()})
    EXPECT_THROW(kdi::write_file(path, "x"), kdi::OpenError) << path;
  try {
    kdi::write_file("/dev/full", "x");
    ADD_FAILURE() << "the device was written";
  } catch (kdi::OpenError const&) {
    ADD_FAILURE() << "the device was opened";
  } catch (kdi::FileError const&) {
  }
}

TEST(WholeFile, IsAsItWasUntilItIsKept) {
  const Scratch scratch;
  const std::string path = scratch.file("a", "old");
  {
    kdi::NewFile file(path);
    file.write("new");
    EXPECT_EQ(scratch.content("a"), "old");
    EXPECT_EQ(scratch.names().size(), 2U);
  }
  EXPECT_EQ(scratch.content("a"), "old");
  EXPECT_EQ(scratch.names(), Texts{"a"});
  kdi::NewFile file(path);
  file.write("ne");
  file.write("w");
  file.keep();
  EXPECT_EQ(scratch.content("a"), "new");
  EXPECT_EQ(scratch.names(), Texts{"a"});
}

TEST(OpenFile, GrowsByAllOrNothing) {
  const Scratch scratch;
  const std::string path = scratch.file("a", std::string(900, 'o'));
  const int file = kdi::open_file(path, O_WRONLY | O_APPEND);
  ASSERT_GE(file, 0);
  EXPECT_TRUE(kdi::append_whole(file, "more"));
  {
    const FullDisk full(1000);
    EXPECT_EQ(kdi::write_all(file, std::string(200, 'x')), 96U);
    EXPECT_FALSE(kdi::append_whole(file, "y"));
    EXPECT_EQ(errno, EFBIG);
    ASSERT_EQ(::ftruncate(file, 950), 0);
    EXPECT_FALSE(kdi::append_whole(file, std::string(200, 'z')));
  }
  EXPECT_EQ(scratch.content("a"), std::string(900, 'o') + "more" + std::string(46, 'x'));
  ::close(file);
}

TEST(WholeFile, IsNewWithThePermissionsOfTheProcess) {
  const Scratch scratch;
  const mode_t before = ::umask(027);
  kdi::write_file(scratch.path("a"), "x");
  ::umask(before);
  struct stat present {};
  ASSERT_EQ(::stat(scratch.path("a").c_str(), &present), 0);
  EXPECT_EQ(present.st_mode & 07777U, 0640U);
}

TEST(WholeFile, IsNeverSeenByHalves) {
  const Scratch scratch;
  const std::string path = scratch.file("a", std::string(50000, 'a'));
  std::vector<std::thread> writers;
  for (const char letter : {'b', 'c'})
    writers.emplace_back([&path, letter] {
      for (int i = 0; i < 100; ++i) kdi::write_file(path, std::string(50000, letter));
    });
  for (int i = 0; i < 300; ++i) {
    const std::string seen = kdi::read_file(path);
    ASSERT_EQ(seen, std::string(50000, seen.at(0)));
  }
  for (std::thread& writer : writers) writer.join();
  EXPECT_EQ(scratch.names(), Texts{"a"});
}

}  // namespace
