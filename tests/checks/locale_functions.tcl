# The functions of the C library that follow the process's locale: those that a source may not call, nor a library import.
set localeFunctions {
  to(?:upper|lower) tow(?:upper|lower|ctrans) isw?(?:alnum|alpha|blank|cntrl|digit|graph|lower|print|punct|space|upper|xdigit)
  isascii toascii iswctype wctype
  strto(?:d|f|ld|l|ll|ul|ull|imax|umax) ato(?:f|i|l|ll) sto(?:d|f|ld|i|l|ll|ul|ull) wcsto(?:d|f|ld|l|ll|ul|ull)
  str(?:n|)casecmp strcoll strxfrm strcasestr wcscoll wcsxfrm strfmon strftime strptime
  (?:f|s|v|vf|vs|)scanf (?:vs|s|vsn|sn|vas|as)printf
  setlocale localeconv nl_langinfo mblen mbs?r?towcs? wcs?r?tombs? btowc wctob rpmatch fnmatch regcomp
}
