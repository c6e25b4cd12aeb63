# Runs one tcltest file of this folder: test_tclsh run.tcl FILE. Exits with 1 if a test failed or none ran.
package require tcltest 2.5
namespace import ::tcltest::*

set libraryDir $env(IPTASKS_LIB_DIR)
set sourceDir $env(IPTASKS_SOURCE_DIR)
configure -testdir [file dirname [file normalize [info script]]] -tmpdir [file normalize [pwd]]
# A copy of a library under the two names that it has: the one that scripts load, and the one that other libraries need.
proc copyLibrary {name folder {content {}}} {
  set path [file join $::libraryDir lib$name.so]
  set needed [file readlink $path]
  file mkdir $folder
  file copy -force [expr {$content ne "" ? $content : [file join $::libraryDir $needed]}] [file join $folder $needed]
  if {![file exists [file join $folder lib$name.so]]} { file link -symbolic [file join $folder lib$name.so] $needed }
}
# The commands of the families that are built, or of one of them, in the order of registration.
proc contractCommands {{only *}} {
  set file [open [file join $::sourceDir tests contract commands.txt]]
  set commands {}
  foreach line [split [read $file] \n] {
    if {[string match {[a-zA-Z]*} $line]} { set isOf [expr {[string match $only $line] && ![string match *(to\ come) $line]}] }
    if {[string match "  *" $line] && $isOf && ![string match *(to\ come) $line]} { lappend commands [string trim $line] }
  }
  close $file
  return $commands
}

# How a text differs from the golden file: `equal`, or the first line that is another. UPDATE_GOLDEN=1 writes the file anew.
proc compareWithGolden {name text} {
  set path [file join $::sourceDir tests golden $name]
  if {[info exists ::env(UPDATE_GOLDEN)]} {
    set file [open $path w]
    fconfigure $file -encoding utf-8 -translation lf
    puts -nonewline $file $text
    close $file
    return equal
  }
  set file [open $path]
  fconfigure $file -encoding utf-8 -translation lf
  set expected [read $file]
  close $file
  foreach now [split $text \n] then [split $expected \n] {
    if {$now ne $then} { return "\"$now\" in place of \"$then\"" }
  }
  return equal
}

source [file join [configure -testdir] [lindex $argv 0]]

set failed [expr {$::tcltest::numTests(Failed) > 0 || $::tcltest::numTests(Total) == 0}]
cleanupTests
exit $failed
