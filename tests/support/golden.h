// Texts against files under tests/golden. UPDATE_GOLDEN=1 in the environment writes the files anew; the difference is
// then read in review.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/support/places.h"

namespace test_support {

inline void expect_golden(std::string const& name, std::string const& text) {
  const std::string path = places::golden(name);
  if (std::getenv("UPDATE_GOLDEN") != nullptr) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << text;
    return;
  }
  std::ifstream file(path, std::ios::binary);
  ASSERT_TRUE(file) << path << " is missing; UPDATE_GOLDEN=1 writes it";
  EXPECT_EQ(text, std::string(std::istreambuf_iterator<char>(file), {})) << name;
}

}  // namespace test_support
