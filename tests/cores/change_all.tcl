# Changes all shipped cores at random, each version in a process of its own, and sums up what was seen.
#
#   tclsh tests/cores/change_all.tcl ?-changes 100000? ?-build build/release? ?-results FOLDER? ?-jobs 1? ?-seconds 14400?
#
# Everything is done by real_cores_test, which is built already (docs/testing.md): each state is held against computing
# anew, in any order of a batch, and undone. The processes have the lowest priority that there is. What a version came
# to is kept in FOLDER (build/release/changes), by the number of changes and what the program and the data are, so that a
# run that was stopped goes on where it was; -seconds is for one version. Ends with a line a version, the total, and each
# sight that was never had; fails if one version did, or if there were fewer changes than asked for.

set root [file normalize [file join [file dirname [info script]] .. ..]]
array set option [list -changes 100000 -build [file join $root build release] -results "" -jobs 1 -seconds 14400]
foreach {name value} $argv {
  if {![info exists option($name)]} { error "no option is called $name; there are [lsort [array names option]]" }
  set option($name) $value
}
set program [file join $option(-build) bin real_cores_test]
if {$option(-results) eq ""} { set option(-results) [file join $option(-build) changes] }

# What a run depends on, in one word.
proc fingerprint {} {
  global root program
  set files [list [file normalize $program]]
  foreach folder {data/cores tests/cores} { lappend files {*}[split [exec find [file join $root $folder] -name *.json | sort] \n] }
  string range [exec sha256sum {*}$files | sha256sum] 0 15
}

proc tests {} {
  global program
  set all {}
  foreach line [split [exec $program --gtest_list_tests] \n] {
    if {[regexp {^(\S+)\.$} $line -> suite]} continue
    if {[regexp {^  (\S+)} $line -> name]} { lappend all $suite.$name }
  }
  return $all
}

proc content {path} {
  set file [open $path]
  try { read $file } finally { close $file }
}

proc is_done {path} { expr {[file exists $path] && [regexp {\[  (PASSED|FAILED)  \] } [content $path]]} }

set folder [file join $option(-results) $option(-changes)-[fingerprint]]
file mkdir $folder
proc result_of {test} { global folder; file join $folder [string map {/ _} $test].txt }

set idle [expr {[auto_execok chrt] ne "" ? "chrt -i 0" : "nice -n 19"}]
set list [open [file join $folder open.txt] w]
foreach test [tests] { if {![is_done [result_of $test]]} { puts $list "$test\n[result_of $test]" } }
close $list
puts "changes of all cores: results in $folder"
flush stdout
set begin [clock seconds]
catch {
  exec env IPTASKS_CORE_CHANGES=$option(-changes) xargs -a [file join $folder open.txt] -n 2 -P $option(-jobs) sh -c \
    "exec timeout $option(-seconds) $idle \"\$0\" --gtest_filter=\"\$1\" >\"\$2\" 2>&1" $program
}

set changes 0
set valid 0
set undone 0
set whole 0
set never {}
set failed {}
foreach test [tests] {
  set text [expr {[file exists [result_of $test]] ? [content [result_of $test]] : ""}]
  if {![regexp {\[  PASSED  \] 1 test} $text]} { lappend failed $test }
  foreach line [split $text \n] {
    if {[regexp {: (\d+) changes, (\d+) of them valid, (\d+) undone;} $line -> made good back]} {
      incr changes $made
      incr valid $good
      incr undone $back
      puts $line
    } elseif {[regexp {with sub-cores: (\d+) changes} $line -> made]} {
      incr whole $made
      puts $line
    } elseif {[regexp {^never seen: (.*)} $line -> sight]} {
      dict set never $sight 1
    }
  }
}
foreach sight [dict keys $never] { puts "never seen, and listed with the reason: $sight" }
foreach test $failed { puts "FAILED or not ended: $test, [result_of $test]" }
puts "$changes changes, $valid of them valid, $undone in another order and undone as well; $whole more of wizards with their sub-cores;\
 [dict size $never] sights never had; [llength $failed] of [llength [tests]] tests failed; [expr {[clock seconds] - $begin}] s"
exit [expr {$failed ne "" || $changes < $option(-changes)}]
