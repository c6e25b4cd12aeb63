#include "host/kdish/characters.h"

#include <langinfo.h>
#include <tcl.h>

#include <clocale>
#include <cstring>

namespace kdish {

void agree_on_characters() {
  std::setlocale(LC_CTYPE, "");
  if (std::strcmp(nl_langinfo(CODESET), "ANSI_X3.4-1968") != 0) return;  // ASCII, which is part of UTF-8
  std::setlocale(LC_CTYPE, "C.UTF-8");  // for the line that is edited; without it that is in bytes
  Tcl_SetSystemEncoding(nullptr, "utf-8");
}

}  // namespace kdish
