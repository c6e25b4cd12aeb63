# docs/adding-a-family.md tells every place that a new family, or engine, touches: family_page.tcl SOURCE_DIR holds it to
# that. Each place that the page names is there, as it stands or as that of one family at least; and no source and no
# build file of the package or the platform names a family but where the page says so. (Companions and tools are made
# for a family each.)
source [file join [file dirname [info script]] cpp.tcl]
set root [file normalize [lindex $argv 0]]
set faults {}
set page docs/adding-a-family.md

# ------------------------------------------------------------------------------------------- the places of the page
set places {}
foreach line [split [read_text $root/$page] \n] {
  if {![regexp {^\| (`.*?) \|} $line -> cell]} continue
  foreach {- place} [regexp -all -inline {`([^`]+)`} $cell] { lappend places $place }
}
proc names_of {folder} { lmap path [glob -nocomplain -types d -directory $::root/$folder *] { file tail $path } }
foreach place $places {
  set found 0
  foreach name [concat [names_of shared/ip/tcltasks] [names_of platform]] {
    if {[file exists $root/[regsub -all {<(?:family|library)>} $place $name]]} { set found 1 }
  }
  if {!$found} { lappend faults "$page: \"$place\" is the place of nothing that there is" }
}
if {[llength $places] < 10} { lappend faults "$page: only [llength $places] places are named" }

# --------------------------------------------------------------------------------------------------- who names a family
set allowed shared/ip/tcltasks/entry/families.h
set families {}
foreach path [glob -directory $root/shared/ip/tcltasks */CMakeLists.txt] {
  set family [file tail [file dirname $path]]
  if {$family ni {frame entry}} { lappend families $family }
}
proc is_allowed {file folder} {
  return [expr {$file eq $::allowed || [string match $folder/* $file]}]
}
set looked_at 0
foreach folder {cmake platform shared} {
  foreach path [files_below $root/$folder *.h *.cpp *.c *.inc *.cmake CMakeLists.txt] {
    set file [string range $path [string length $root]+1 end]
    incr looked_at
    set text [read_text $path]
    foreach family $families {
      set own shared/ip/tcltasks/$family
      if {[is_allowed $file $own]} continue
      foreach at [regexp -all -inline -indices "tcltasks/$family/|\\\$<TARGET_OBJECTS:$family>" $text] {
        lappend faults "$file:[cpp_line $text [lindex $at 0]]: names the family $family, which the page does not tell"
      }
    }
  }
}
# Which families come up is what families.h says, and each of them has a folder.
set entry [read_text $root/shared/ip/tcltasks/entry/families.h]
foreach {- family} [regexp -all -inline {#include "tcltasks/(\w+)/} $entry] {
  if {$family ni $families} { lappend faults "families.h: $family has no folder with a build file" }
}

puts [join $faults \n]
puts "[llength $places] places, [llength $families] families, $looked_at files, [llength $faults] faults"
exit [expr {[llength $faults] > 0 || $looked_at == 0}]
