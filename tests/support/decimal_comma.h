// A locale in which numbers are written 1.234,5 - for what C++ streams and for what the C library writes and reads.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <locale>
#include <string>

#include "tests/support/foreign_locale.h"

class DecimalComma {
 public:
  DecimalComma() : streams_before_(std::locale::global(std::locale(std::locale::classic(), new CommaNumbers))) {
    if (std::strtod("1,5", nullptr) != 1.5) ADD_FAILURE() << "the locale de_DE has no decimal comma";
  }
  DecimalComma(DecimalComma const&) = delete;
  DecimalComma& operator=(DecimalComma const&) = delete;
  ~DecimalComma() { std::locale::global(streams_before_); }

 private:
  struct CommaNumbers : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };

  std::locale streams_before_;
  ForeignLocale german_{"de_DE", "UTF-8"};  // last: making a global C++ locale may set the C library's
};
