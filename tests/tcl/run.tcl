# Runs one tcltest file of this folder: test_tclsh run.tcl FILE. Exits with 1 if a test failed or none ran.
package require tcltest 2.5
namespace import ::tcltest::*

set libraryDir $env(IPTASKS_LIB_DIR)
set sourceDir $env(IPTASKS_SOURCE_DIR)
configure -testdir [file dirname [file normalize [info script]]] -tmpdir [file normalize [pwd]]
source [file join [configure -testdir] [lindex $argv 0]]

set failed [expr {$::tcltest::numTests(Failed) > 0 || $::tcltest::numTests(Total) == 0}]
cleanupTests
exit $failed
