# A memory interface from a part's name to its constraints: tables and a picture of where everything is.
#
#   tclsh memory_interface.tcl ?LIB_DIR? FOLDER ?PART TYPE ?option value ...??
#
# writes constraints, the table of pins and the picture into FOLDER, by default for 72 bits of DDR4 and for QDR II+ of 18
# bits on one part, and tells what has no room and what would do. Options are those of memtools::plan.
source [file join [file dirname [file normalize [info script]]] libraries.tcl]
load [file join [libraries::folder] libkdi_memtools.so]

namespace eval memory_interface {
  proc write {path text} {
    file mkdir [file dirname $path]
    set file [open $path w]
    fconfigure $file -encoding utf-8 -translation lf
    puts -nonewline $file $text
    close $file
  }

  # Writes all of one interface, or tells why there is none and what is near. Returns whether there is one.
  proc make {folder part type args} {
    set plan [memtools::plan $part $type {*}$args]
    if {![dict get $plan possible]} {
      puts [dict get $plan reason]
      foreach near [dict get [memtools::diagnose $part $type {*}$args] near] { puts "  it would do with [dict get $near text]" }
      return 0
    }
    set name [string tolower $type]
    write [file join $folder $name.xdc] [join [memtools::constraints $part $type {*}$args] \n]\n
    write [file join $folder $name.csv] [memtools::table $part $type {*}$args]
    write [file join $folder $name.svg] [memtools::picture $part $type {*}$args]
    set skew 0
    foreach one [memtools::lengths $part $type {*}$args] { set skew [expr {max($skew, abs([dict get $one skew_ps]))}] }
    puts [format "%s, %d bits at %d Mb/s: %d pins in %d banks, %d lanes; the package alone makes up to %.1f ps of skew" \
      [dict get $plan memory] [dict get $plan width] [dict get $plan rate_mbps] [llength [dict get $plan pins]] \
      [dict get $plan banks] [dict get $plan lanes] $skew]
    return 1
  }
}

if {[llength $argv] in {0 2}} {
  puts stderr "usage: tclsh memory_interface.tcl ?LIB_DIR? FOLDER ?PART TYPE ?option value ...??"
  exit 2
}
set words [lassign $argv folder]
if {[llength $words] > 0} {
  exit [expr {[libraries::told { memory_interface::make $folder {*}$words }] ? 0 : 1}]
} else {
  memory_interface::make $folder zrv9010-f900-2-e DDR4 -memory DDR4-2400R-8Gb-x8 -width 72
  memory_interface::make $folder zrv9010-f900-2-e QDRIIPLUS -memory QDRIIPLUS-1000-x18 -width 18
}
