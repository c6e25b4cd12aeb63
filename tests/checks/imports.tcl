# What a library is linked from shows what its sources hide in what they include: imports.tcl LIBRARY_DIR lists the functions
# that follow the process's locale and are imported by a library of the project.
source [file join [file dirname [info script]] locale_functions.tcl]

set c [format {^(?:%s|__ctype_(?:b|tolower|toupper)_loc|__isoc(?:23|99)_.*)$} [join $localeFunctions |]]
# locales, their facets, and streams, which have one
set cpp {^_Z(?:N|NK|TV|TI|GV)?(?:S[tT])?(?:6locale|\d*ctype|\d*(?:num|money|time)_(?:get|put)|\d*numpunct|\d*(?:basic_)?[io]?o?(?:f|string)?stream|8ios_base|9basic_ios)|^_ZNK?S[iods]\d|^_ZSt(?:9use_facet|16__ostream_insert|3cin|4cout|4cerr)}

# What is meant, and why.
set meant {
  libkdi_common.so {
    localeconv strtod strtoll strtoull  {the JSON parser reads numbers so; their digits are read again, without the locale}
    vsnprintf snprintf                  {formats of callers, printed while the thread's locale has a point}
  }
  libkdi_rule_engine.so {
    _ZNSt8ios_base4InitC1Ev _ZNSt8ios_base4InitD1Ev  {the header of integers of any size starts the streams, which nothing uses}
  }
}

set libraries [lsort [glob -directory [lindex $argv 0] libkdi_*.so]]
set faults {}
foreach library $libraries {
  set name [file tail $library]
  set allowed [expr {[dict exists $meant $name] ? [dict get $meant $name] : {}}]
  foreach line [split [exec nm -D --undefined-only $library] \n] {
    set symbol [lindex [split [lindex $line end] @] 0]
    if {$symbol ni $allowed && ([regexp $c $symbol] || [regexp $cpp $symbol])} {
      lappend faults "$name imports [lindex [exec c++filt $symbol] 0], which follows the locale"
    }
  }
}
puts [join $faults \n]
puts "[llength $libraries] libraries, [llength $faults] faults"
exit [expr {[llength $faults] > 0 || [llength $libraries] == 0}]
