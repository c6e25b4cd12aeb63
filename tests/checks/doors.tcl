# What a platform library exports is what its headers mark as doors: doors.tcl SOURCE_DIR LIBRARY_DIR [LIBRARY ...] lists
# what is exported and no door, what is a door and not exported, and what is neither a function nor the type of a class.
# The names are compared with the library's doors.txt as well, by which a review sees what it takes on or gives up, and from
# which the stubs of the package are made; UPDATE_GOLDEN=1 writes them anew.
source [file join [file dirname [info script]] cpp.tcl]
set root [file normalize [lindex $argv 0]]
set built [lindex $argv 1]

# The doors that a header marks: a flat list of kind (type or function), qualified name and line.
proc doors {source} {
  set code [cpp_code $source]
  set scopes {}  ;# names of what is open: a namespace's, a class's, or nothing
  set doors {}
  set begin 0
  foreach at [lmap found [regexp -all -inline -indices {[{};]|\mKDI_DOOR\M} $code] { lindex $found 0 }] {
    if {$at < $begin} continue
    set statement [string range $code $begin $at-1]
    switch -- [string index $code $at] {
      K {
        if {[regexp {^\s*#\s*define} [regsub {.*\n} $statement {}]]} continue
        regexp -start $at {KDI_DOOR([^;\{]*)} $code -> rest
        if {[regexp {\m(?:class|struct)\s*$} $statement]} {
          regexp {\w+} $rest name
          lappend doors type [qualified $scopes $name] [cpp_line $code $at]
        } elseif {[regexp {([\w]+|operator\s*[^\w\s]+)\s*\(} $rest -> name]} {
          set within [expr {[regexp {\mfriend\M} $statement] ? [lrange $scopes 0 end-1] : $scopes}]
          lappend doors function [qualified $within [string map {{ } {}} $name]] [cpp_line $code $at]
        }
        continue
      }
      \{ {
        set name {}
        regexp {\mnamespace\s+([\w:]+)\s*$} $statement -> name
        regexp {\m(?:class|struct)\s+(?:KDI_\w+\s+)?(\w+)\s*(?::[^\{]*)?$} $statement -> name
        lappend scopes $name
      }
      \} { set scopes [lrange $scopes 0 end-1] }
    }
    set begin [expr {$at + 1}]
  }
  return $doors
}
proc qualified {scopes name} { join [concat [lmap scope $scopes { if {$scope eq {}} continue; set scope }] [list $name]] :: }

set shorter {
  {std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >} std::string
  {std::basic_string_view<char, std::char_traits<char> >} std::string_view
}

# What a library exports: a flat list of nm's kind and the name in words.
proc exports {library} {
  set names {}
  foreach line [split [exec nm -D -C --defined-only $library] \n] {
    regexp {^\S+ (\S) (.*)$} $line -> kind name
    # What clang's sanitizers call by, and where its fuzzer counts, are nobody's doors.
    if {[regexp {^typeinfo (?:name )?for .*\)(?: const)?$|^__st(?:art|op)___sancov_} $name]} continue
    lappend names $kind [string map $::shorter $name]
  }
  return $names
}

# The function's or type's own name: without parameters, and without what tells apart the ABI of its texts.
proc own_name {words} {
  regsub {^(?:typeinfo(?: name)?|vtable) for } $words {} words
  regsub -all {\[abi:\w+\]} $words {} words
  regsub {(operator)\s*(\(\)|[^\w\s(]+)\(.*} $words {\1\2} words
  regsub {\(.*} $words {} words
  return $words
}

# The golden list of a library: what it exports in words, one name a line.
proc golden {library names} {
  set path $::root/platform/$library/doors.txt
  set now [join [lsort -unique $names] \n]\n
  if {[info exists ::env(UPDATE_GOLDEN)]} {
    set file [open $path w]
    puts -nonewline $file $now
    close $file
    return {}
  }
  set before [expr {[file exists $path] ? [split [read_text $path] \n] : {}}]
  set now [split $now \n]
  concat \
    [lmap name $now { if {$name in $before} continue; set _ "libkdi_$library.so exports $name, which is new to platform/$library/doors.txt" }] \
    [lmap name $before { if {$name in $now} continue; set _ "libkdi_$library.so no longer exports $name, see platform/$library/doors.txt" }]
}

set libraries {}
foreach folder [lsort [glob -types d -tails -directory $root/platform/include/kdi *]] {
  foreach path [files_below $root/platform/include/kdi/$folder *.h] {
    foreach {kind name line} [doors [read_text $path]] {
      set where($folder,$name) "[string range $path [string length $root/] end]:$line"
      lappend declared($folder,$kind) $name
      if {$kind eq "type"} { lappend types $name }
    }
  }
  if {[file exists $built/libkdi_$folder.so]} { lappend libraries $folder }
}
set faults {}
foreach library $libraries {
  foreach kind {type function} {
    set mine($kind) [expr {[info exists declared($library,$kind)] ? $declared($library,$kind) : {}}]
  }
  set functions {}
  set listed {}
  foreach {kind words} [exports $built/libkdi_$library.so] {
    set name [own_name $words]
    switch -regexp -- $kind {
      T {
        lappend functions $name
        lappend listed $words
        set is_member [llength [lmap type $mine(type) { if {![string match ${type}::* $name]} continue; set type }]]
        if {$name ni $mine(function) && !$is_member && ![regexp {^Kdi_\w+_Init$} $name]} {
          lappend faults "libkdi_$library.so exports $words, which is no door of kdi/$library"
        }
      }
      V { if {$name ni $types} { lappend faults "libkdi_$library.so exports $words, whose class is no door" } }
      default { lappend faults "libkdi_$library.so exports $words ($kind): a door is a function, or the type of a class" }
    }
  }
  foreach name $mine(function) {
    if {$name ni $functions} { lappend faults "$where($library,$name): $name is a door, and libkdi_$library.so does not export it" }
  }
  lappend faults {*}[golden $library $listed]
}
puts [join $faults \n]
puts "$libraries: [llength $faults] faults"
exit [expr {[llength $faults] > 0 || [llength $libraries] == 0}]
