// Paths, directories and data roots.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <memory>

#include "kdi/common/HUTEnv.h"
#include "kdi/common/HUTFile.h"
#include "kdi/common/KdiDataDir.h"
#include "tests/support/places.h"
#include "tests/support/scratch.h"

namespace {

using Texts = std::vector<std::string>;

std::string parent(std::string const& path) { return HUTFile(path).getParent(); }

std::string full_path(std::string const& path) {
  std::string full = "untouched";
  const bool known = HUTFile(path).getFullPath(full);
  EXPECT_EQ(known, full != "untouched");
  return full;
}

TEST(Paths, HaveAParent) {
  EXPECT_EQ(parent("a/b/c"), "a/b");
  EXPECT_EQ(parent("a/b/c/"), "a/b");
  EXPECT_EQ(parent("a//b"), "a");
  EXPECT_EQ(parent("/a/b"), "/a");
  EXPECT_EQ(parent("/a"), "/");
  EXPECT_EQ(parent("//a"), "/");
  EXPECT_EQ(parent("/"), "/");
  EXPECT_EQ(parent("a"), ".");
  EXPECT_EQ(parent("a/"), ".");
  EXPECT_EQ(parent(""), ".");
  EXPECT_EQ(HUTFile::getDirSeparator(), "/");
}

TEST(Paths, BecomeAbsoluteAndNormal) {
  const std::string here = std::filesystem::current_path().string();
  EXPECT_EQ(full_path("a"), here + "/a");
  EXPECT_EQ(full_path("a/./b/../c//d/"), here + "/a/c/d");
  EXPECT_EQ(full_path("/a/../.."), "/");
  EXPECT_EQ(full_path("/"), "/");
  EXPECT_EQ(full_path("."), here);
  EXPECT_EQ(full_path(""), "untouched");
}

TEST(Paths, AreNotMadeAbsoluteInADirectoryThatIsGone) {
  const std::string here = std::filesystem::current_path().string();
  {
    const Scratch scratch;
    std::filesystem::current_path(scratch.folder());
  }
  EXPECT_EQ(full_path("a"), "untouched");
  EXPECT_EQ(full_path("/a"), "/a");
  std::filesystem::current_path(here);
}

TEST(Paths, TellWhatLiesBehindThem) {
  const Unprivileged user;
  const Scratch scratch;
  const std::string file = scratch.file("a", "");
  std::filesystem::create_symlink("nowhere", scratch.path("dangling"));
  EXPECT_TRUE(HUTFile(file).exists());
  EXPECT_FALSE(HUTFile(file).isDir());
  EXPECT_TRUE(HUTFile(scratch.folder()).exists());
  EXPECT_TRUE(HUTFile(scratch.folder()).isDir());
  for (std::string const& missing : {scratch.path("b"), scratch.path("dangling"), file + "/c", std::string()}) {
    EXPECT_FALSE(HUTFile(missing).exists()) << missing;
    EXPECT_FALSE(HUTFile(missing).isDir()) << missing;
  }
  EXPECT_FALSE(HUTFile(std::string(100000, 'x')).exists());
  ::chmod(scratch.folder().c_str(), 0300);
  EXPECT_FALSE(HUTFile(scratch.folder()).isDir());
  ::chmod(scratch.folder().c_str(), 0700);
}

TEST(Directories, AreListedInByteOrder) {
  const Scratch scratch;
  for (char const* name : {"b", "a", "B", ".hidden", "\xC3\xA4", "10", "9"}) scratch.file(name, "");
  std::filesystem::create_directory(scratch.path("sub"));
  for (std::string const& directory : {scratch.folder(), scratch.folder() + "/"}) {
    Texts names;
    std::string last;
    const std::unique_ptr<HUTFileIter> at(HUTFile(directory).createFileIter());
    for (; !at->atEnd(); at->next()) {
      ASSERT_TRUE(at->current().exists());
      ASSERT_TRUE(at->current().getFullPath(last));
      EXPECT_EQ(at->current().getParent(), scratch.folder());
      EXPECT_EQ(at->current().isDir(), last == scratch.path("sub"));
      names.push_back(last.substr(last.rfind('/') + 1));
    }
    EXPECT_EQ(names, (Texts{".hidden", "10", "9", "B", "a", "b", "sub", "\xC3\xA4"}));
    at->next();
    EXPECT_TRUE(at->atEnd());
    EXPECT_FALSE(at->current().exists());
  }
}

TEST(Directories, ThatAreNoneHaveNoEntries) {
  const Scratch scratch;
  for (std::string const& path : {scratch.file("a", ""), scratch.path("b"), std::string()})
    EXPECT_TRUE(std::unique_ptr<HUTFileIter>(HUTFile(path).createFileIter())->atEnd()) << path;
}

TEST(Directories, ThatCannotBeListedAreReported) {
  const Unprivileged user;
  const Scratch scratch;
  scratch.file("a", "");
  ::chmod(scratch.folder().c_str(), 0300);
  testing::internal::CaptureStderr();
  EXPECT_TRUE(std::unique_ptr<HUTFileIter>(HUTFile(scratch.folder()).createFileIter())->atEnd());
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "WARNING: [files] " + scratch.folder() + ": cannot be listed: Permission denied\n");
  ::chmod(scratch.folder().c_str(), 0700);
}

TEST(Directories, AreMadeWithThoseAboveThem) {
  const Unprivileged user;
  const Scratch scratch;
  EXPECT_TRUE(HUTFile::mkDirRecursive(scratch.path("a/b/c")));
  EXPECT_TRUE(std::filesystem::is_directory(scratch.path("a/b/c")));
  EXPECT_TRUE(HUTFile::mkDirRecursive(scratch.path("a/b/c")));
  EXPECT_TRUE(HUTFile::mkDirRecursive(scratch.path("d/e/")));
  EXPECT_FALSE(HUTFile::mkDirRecursive(scratch.file("f", "") + "/g"));
  EXPECT_FALSE(HUTFile::mkDirRecursive(scratch.path("f")));
  EXPECT_FALSE(HUTFile::mkDirRecursive(""));
  ::chmod(scratch.path("a").c_str(), 0500);
  EXPECT_FALSE(HUTFile::mkDirRecursive(scratch.path("a/x")));
  ::chmod(scratch.path("a").c_str(), 0700);
}

TEST(DataRoots, AreTheFirstThatHaveTheFamily) {
  const Scratch scratch;
  scratch.file("one/red/x", "");
  scratch.file("two/red/x", "");
  scratch.file("two/blue/x", "");
  scratch.file("two/file", "");
  const Environment roots("KDI_DATA_DIR",
                          scratch.path("none") + "::" + scratch.path("one/") + ":" + scratch.path("two"));
  EXPECT_EQ(HUTEnv::getKDIDataDir("red"), scratch.path("one"));
  EXPECT_EQ(HUTEnv::getKDIDataDir("/red"), scratch.path("one"));
  EXPECT_EQ(HUTEnv::getKDIDataDir("blue"), scratch.path("two"));
  EXPECT_EQ(HUTEnv::getKDIDataDir(""), scratch.path("one"));
  EXPECT_EQ(HUTEnv::getKDIDataDir("file"), "");
  EXPECT_EQ(HUTEnv::getKDIDataDir("green"), "");
}

TEST(DataRoots, EndWithTheProjectsOwnData) {
  EXPECT_TRUE(std::filesystem::equivalent(HUTEnv::getKDIDataDir("messages"), places::data("")));
  const Environment roots("KDI_DATA_DIR", "/nonexistent");
  EXPECT_TRUE(std::filesystem::equivalent(HUTEnv::getKDIDataDir("messages"), places::data("")));
}

class Elsewhere {
 public:
  explicit Elsewhere(std::string const& folder) { std::filesystem::current_path(folder); }
  ~Elsewhere() { std::filesystem::current_path(before_); }

 private:
  std::filesystem::path before_ = std::filesystem::current_path();
};

TEST(DataRoots, StayWhereARelativeNameWasFirstSeen) {
  const Scratch scratch;
  for (char const* const root : {"here/own", "there/own", "there/other"})
    scratch.file(std::string(root) + "/red/x", "");
  const Environment roots("KDI_DATA_DIR", "own");
  const Elsewhere here(scratch.path("here"));
  EXPECT_EQ(HUTEnv::getKDIDataDir("red"), scratch.path("here/own"));
  const Elsewhere there(scratch.path("there"));
  EXPECT_EQ(HUTEnv::getKDIDataDir("red"), scratch.path("here/own"));
  {
    const Environment other("KDI_DATA_DIR", "./other/:none");
    EXPECT_EQ(HUTEnv::getKDIDataDir("red"), scratch.path("there/other"));
    EXPECT_EQ(kdi::data_directories("red"), Texts{scratch.path("there/other/red")});
  }
  const Environment again("KDI_DATA_DIR", "own");
  EXPECT_EQ(HUTEnv::getKDIDataDir("red"), scratch.path("there/own"));
}

TEST(DataRoots, AreNowhereIfTheirFolderIsGone) {
  const Scratch scratch;
  scratch.file("own/red/x", "");
  std::filesystem::create_directory(scratch.path("gone"));
  const Elsewhere gone(scratch.path("gone"));
  std::filesystem::remove(scratch.path("gone"));
  const Environment roots("KDI_DATA_DIR", "../own:" + scratch.path("own"));
  EXPECT_EQ(HUTEnv::getKDIDataDir("red"), scratch.path("own"));
  const Environment relative("KDI_DATA_DIR", "../own");
  EXPECT_EQ(HUTEnv::getKDIDataDir("red"), "");
}

}  // namespace
