# Words and numbers are the same under every locale: letters.tcl SOURCE_DIR lists the places in shared/, platform/ and host/
# that use what follows the process's locale, in C or in C++, or says in its language what went wrong. kdi/common/KdiText.h and
# KdiNumber.h are what to use instead.
source [file join [file dirname [info script]] cpp.tcl]
source [file join [file dirname [info script]] locale_functions.tcl]
set root [file normalize [lindex $argv 0]]

# Places that mean the locale, or take it out of the way: a file and the names that it may use.
set meant {
  platform/common/KdiText.cpp    {dlerror {#include <clocale>}}
  platform/common/KdiNumber.cpp  {vsnprintf}
  host/kdish/line_editor.cpp     {mbstowcs}
  host/kdish/characters.cpp      {setlocale nl_langinfo {#include <clocale>}}
  platform/include/kdi/iostreams/ofstream.h  {ostream {#include <ostream>}}
  platform/iostreams/ofstream.cpp            {ostream}
}

set function [format {\m(?:std::)?(?:%s)\s*\(} [join $localeFunctions |]]
set type {\mstd::(?:locale|w?regex|w?[io]?stringstream|w?[io]?fstream|w?[io]?stream|w?(?:cin|cout|cerr|clog)|put_time|get_time)\M}
set reason {\m(?:std::)?(?:(?:str|p)error(?:_r|_l)?|dlerror|strsignal|psignal|psiginfo|(?:generic|system)_category|system_error|filesystem_error)\s*\(}
set header {#\s*include\s*<(?:locale|clocale|cctype|cwctype|regex|sstream|fstream|iostream|iomanip|istream|ostream|codecvt)>}
set print {\m(?:std::)?v?(?:f|s|sn|d|as|as_?n)?printf\s*\(}
set floating {%[-+ #0]*(?:\d+|\*)?(?:\.(?:\d+|\*)?)?[lLh]*[aAeEfFgG]|%[-+ #0]*'}

set files 0
set faults {}
foreach top {shared platform host} {
  foreach path [files_below $root/$top *.cpp *.h *.inc] {
    incr files
    set text [read_text $path]
    set code [cpp_code $text]
    set name [string range $path [string length $root/] end]
    set allowed [expr {[dict exists $meant $name] ? [dict get $meant $name] : {}}]
    foreach pattern [list $function $type $reason $header] {
      foreach found [regexp -all -inline -indices $pattern $code] {
        set words [string map {std:: {} ( {}} [string trim [string range $code {*}$found]]]
        if {[string trim $words] ni $allowed} {
          lappend faults "$name:[cpp_line $code [lindex $found 0]]: [string trim $words] follows the locale"
        }
      }
    }
    # Of the formats, those of numbers with a point or with groups.
    foreach found [regexp -all -inline -indices $print $code] {
      set first [lindex $found 0]
      set call [string range $text $first [string first \; $code $first]]
      if {[regexp $floating [string map {%% {}} $call]]} {
        lappend faults "$name:[cpp_line $code $first]: a printf of numbers with a point follows the locale"
      }
    }
  }
}
puts [join $faults \n]
puts "$files files, [llength $faults] faults"
exit [expr {[llength $faults] > 0 || $files == 0}]
