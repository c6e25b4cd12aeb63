// A locale of another country, for what the C library does by it.
#pragma once

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <string>

#include "tests/support/scratch.h"

class ForeignLocale {
 public:
  /// The process's locale while it lives: a language and the charset of its letters, like tr_TR and ISO-8859-9.
  ForeignLocale(std::string const& language, std::string const& charset) {
    // Debian has the locale's source, not always the locale: it is compiled into a folder of this test.
    const std::string name = language + "." + charset;
    const std::string compile =
        "localedef -i " + language + " -f " + charset + " --no-archive '" + folder_.path(name) + "' 2>/dev/null";
    const int status = std::system(compile.c_str());
    ::setenv("LOCPATH", folder_.folder().c_str(), 1);
    // localedef tells of mere warnings by its status, so what counts is whether the locale can be set
    if (status < 0 || std::setlocale(LC_ALL, name.c_str()) == nullptr)
      ADD_FAILURE() << "no locale " << name << ": the package `locales` is missing";
    // the C library loses a few bytes whenever it makes a locale while this is set
    ::unsetenv("LOCPATH");
  }
  ForeignLocale(ForeignLocale const&) = delete;
  ForeignLocale& operator=(ForeignLocale const&) = delete;
  ~ForeignLocale() { std::setlocale(LC_ALL, "C"); }

  /// For the LOCPATH of a process that is to run in this locale.
  std::string path() const { return folder_.folder(); }

 private:
  Scratch folder_;
};
