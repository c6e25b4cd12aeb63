// A locale in which numbers are written 1.234,5 - for what C++ streams and for what the C library writes and reads.
#pragma once

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <locale>
#include <string>

#include "tests/support/scratch.h"

class DecimalComma {
 public:
  DecimalComma() : streams_before_(std::locale::global(std::locale(std::locale::classic(), new CommaNumbers))) {
    // Debian has the locale's source, not always the locale: it is compiled into a folder of this test.
    const std::string compile =
        "localedef -i de_DE -f UTF-8 --no-archive '" + folder_.path("de_DE.UTF-8") + "' 2>/dev/null";
    const int status = std::system(compile.c_str());
    ::setenv("LOCPATH", folder_.folder().c_str(), 1);
    // localedef tells of mere warnings by its status, so what counts is whether the locale can be set
    if (status < 0 || std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr || std::strtod("1,5", nullptr) != 1.5)
      ADD_FAILURE() << "no locale with a decimal comma: the package `locales` is missing";
    // the C library loses a few bytes whenever it makes a locale while this is set
    ::unsetenv("LOCPATH");
  }
  DecimalComma(DecimalComma const&) = delete;
  DecimalComma& operator=(DecimalComma const&) = delete;
  ~DecimalComma() {
    std::setlocale(LC_ALL, "C");
    std::locale::global(streams_before_);
  }

  /// For the LOCPATH of a process that is to run in the locale de_DE.UTF-8.
  std::string path() const { return folder_.folder(); }

 private:
  struct CommaNumbers : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };

  Scratch folder_;
  std::locale streams_before_;
};
