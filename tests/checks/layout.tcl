# C and C++ sources are laid out as .clang-format says: layout.tcl SOURCE_DIR CLANG_FORMAT lists the lines that are not.
# Which version lays them out is part of the rule, since versions differ; `make format` uses the same one.
source [file join [file dirname [info script]] cpp.tcl]
lassign $argv root formatter
set root [file normalize $root]
set version 14

if {[catch {exec $formatter --version} told] || ![string match "*version $version.*" $told]} {
  puts "no clang-format $version: $formatter\n0 files, 1 faults"
  exit 1
}
set files {}
foreach folder {platform shared host tools tests bench examples} {
  if {[file isdirectory [file join $root $folder]]} {
    lappend files {*}[files_below [file join $root $folder] *.cpp *.h *.c]
  }
}
set is_faulty [catch {exec $formatter --dry-run -Werror -style=file {*}$files 2>@1} told]
set faults [lmap line [regexp -all -inline -line {^.*: error: .*$} $told] {
  regsub { \[-Wclang-format-violations\]$} [string map [list $root/ {}] $line] {}
}]
if {$is_faulty && $faults eq {}} { set faults [list "$formatter: $told"] }
puts [join $faults \n]
puts "[llength $files] files, [llength $faults] faults"
exit [expr {[llength $faults] > 0 || $files eq {}}]
