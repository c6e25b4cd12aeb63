# Where the libraries are, for the scripts of this folder: beside it in an installation, or where the project is built.
namespace eval libraries {
  variable here [file dirname [file normalize [info script]]]

  proc has_them {folder} { file exists [file join $folder libkdi_iptasks.so] }

  # The folder of the libraries. A first word of the command line that names one is taken off, and counts.
  proc folder {} {
    variable here
    global argv
    if {[llength $argv] > 0 && [has_them [lindex $argv 0]]} {
      set argv [lassign $argv folder]
      return $folder
    }
    foreach pattern {../../../lib/iptasks ../../../lib/*/iptasks ../build/release/lib} {
      foreach folder [glob -nocomplain -type d [file join $here $pattern]] {
        if {[has_them $folder]} { return [file normalize $folder] }
      }
    }
    puts stderr "the libraries are not beside $here: name their folder in the first word"
    exit 1
  }

  # Runs a script that may fail for what it was given: the reason is told in place of a trace, and ends the program.
  proc told {script} {
    if {[catch { uplevel 1 $script } reason]} {
      puts stderr [string trim $reason]
      exit 1
    }
    return $reason
  }
}
