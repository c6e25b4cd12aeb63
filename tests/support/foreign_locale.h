// A locale of another country, for what the C library does by it.
#pragma once

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <string>

#include "tests/support/places.h"

class ForeignLocale {
 public:
  /// The process's locale while it lives: a language and the charset of its letters, like tr_TR and ISO-8859-9. The
  /// build compiles the few that there are (places::locales).
  ForeignLocale(std::string const& language, std::string const& charset) {
    const std::string name = language + "." + charset;
    ::setenv("LOCPATH", places::locales().c_str(), 1);
    if (std::setlocale(LC_ALL, name.c_str()) == nullptr)
      ADD_FAILURE() << "no locale " << name << " in " << places::locales();
    // the C library loses a few bytes whenever it makes a locale while this is set
    ::unsetenv("LOCPATH");
  }
  ForeignLocale(ForeignLocale const&) = delete;
  ForeignLocale& operator=(ForeignLocale const&) = delete;
  ~ForeignLocale() { std::setlocale(LC_ALL, "C"); }
};
