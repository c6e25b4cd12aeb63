// A folder of a test's own: tests run side by side, each in a process of its own.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

class Scratch {
 public:
  Scratch()
      : folder_((std::filesystem::path(testing::TempDir()) /
                 ("iptasks_" + std::to_string(::getpid()) + "_" + std::to_string(next())))
                    .lexically_normal()
                    .string()) {
    std::filesystem::create_directories(folder_);
  }
  Scratch(Scratch const&) = delete;
  Scratch& operator=(Scratch const&) = delete;
  ~Scratch() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  std::string path(std::string const& name) const { return folder_ + "/" + name; }
  std::string const& folder() const { return folder_; }

  /// Writes a file and returns its path.
  std::string file(std::string const& name, std::string const& bytes) const {
    std::filesystem::create_directories(std::filesystem::path(path(name)).parent_path());
    std::ofstream(path(name), std::ios::binary) << bytes;
    return path(name);
  }
  std::string content(std::string const& name) const {
    std::ifstream file(path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (auto const& entry : std::filesystem::directory_iterator(folder_)) found.push_back(entry.path().filename());
    std::sort(found.begin(), found.end());
    return found;
  }

 private:
  static int next() {
    static int count = 0;
    return count++;
  }
  std::string folder_;
};

/// A process without the superuser's rights while it lives; made before the Scratch that it works in.
class Unprivileged {
 public:
  Unprivileged() : before_(::geteuid()) {
    constexpr uid_t kNobody = 65534;
    if (before_ == 0 && ::seteuid(kNobody) != 0) ADD_FAILURE() << "the superuser's rights cannot be laid down";
  }
  Unprivileged(Unprivileged const&) = delete;
  Unprivileged& operator=(Unprivileged const&) = delete;
  ~Unprivileged() {
    if (::seteuid(before_) != 0) ADD_FAILURE() << "the process's rights cannot be taken back";
  }

 private:
  uid_t before_;
};

/// Sets an environment variable while it lives.
class Environment {
 public:
  Environment(char const* name, std::string const& value) : name_(name) { ::setenv(name, value.c_str(), 1); }
  Environment(Environment const&) = delete;
  Environment& operator=(Environment const&) = delete;
  ~Environment() { ::unsetenv(name_); }

 private:
  char const* name_;
};
