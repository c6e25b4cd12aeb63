# Where the processor time of `make check` went, by step and by family: budget.tcl BUILD_DIR
#
# BUILD_DIR/times.txt has, for each step, a line `step NAME FOLDER START`, one for its configuration and one for its build,
# and one for each of its tests, whose name begins with its family. A build's time is shared out among families as its
# commands took it by the clock, which the logs of the builds tell; that of configuring is nobody's.

proc lines_of {path} {
  set channel [open $path]
  set lines [split [string trim [read $channel]] \n]
  close $channel
  return $lines
}

# Folders of the product and the families that their files count for.
set folders {
  platform/tcl platform  platform/common platform  platform/device device  platform/bmg bmg  platform/ippcw cores
  platform/cores cores   platform/ip/CMakeFiles/kdi_ip_objects.dir/power power  platform/ip clocking
  shared/ip/tcltasks/entry frame  shared/ip/tcltasks/frame frame  shared/ip/tcltasks/clkwiz clocking
  host shell  tools/ducddc dsp  tools fec  bench bench
}
proc family_of_output {output} {
  global folders family_of_program
  if {[regexp {^(?:tests|tests/fuzz)/CMakeFiles/([^/]+)\.dir/|^bin/([^/]+)$} $output -> test program]} {
    set name [expr {$test ne {} ? $test : $program}]
    regsub {_calls$} $name {} name
    return [expr {[info exists family_of_program($name)] ? $family_of_program($name) : "others"}]
  }
  foreach {folder family} $folders { if {[string match $folder/* $output]} { return $family } }
  if {[regexp {^shared/ip/tcltasks/([^/]+)/CMakeFiles} $output -> family]} { return $family }
  return others
}

# What the commands of a build took by the clock, by family, since its step began.
proc shares_of {folder start} {
  set shares [dict create]
  foreach line [lines_of [file join $folder .ninja_log]] {
    if {![string is integer -strict [lindex $line 0]]} continue
    lassign [split $line \t] first last written output
    if {$written / 1000000000 >= $start} { set taken($output) [expr {$last - $first}] }
  }
  foreach {output milliseconds} [array get taken] { dict incr shares [family_of_output $output] $milliseconds }
  return $shares
}

set build_dir [lindex $argv 0]
set steps {}
set tests {}
foreach line [lines_of [file join $build_dir times.txt]] {
  lassign [string map {, .} $line] name user system
  if {$name eq "step"} {
    set step $user
    lappend steps $step
    lassign $line - - folder($step) start($step)
    foreach kind {configure build test} { set of_step($step,$kind) 0 }
    continue
  }
  set seconds [expr {$user + $system}]
  if {$name in {configure build}} {
    set of_step($step,$name) [expr {$of_step($step,$name) + $seconds}]
    continue
  }
  lassign [split $name /] family test
  set of_step($step,test) [expr {$of_step($step,test) + $seconds}]
  dict lappend tests $family $seconds
  lappend longest [list $seconds "$step $test"]
  # fuzz.NAME is the program fuzz_NAME, unit.NAME and bench.NAME are NAME.
  set family_of_program([string map {unit. {} bench. {} fuzz. fuzz_} $test]) $family
}

puts "\nprocessor time, s      configure     build     tests     total"
set all 0
foreach step $steps {
  set total [expr {$of_step($step,configure) + $of_step($step,build) + $of_step($step,test)}]
  set all [expr {$all + $total}]
  puts [format "%-20s %11.0f %9.0f %9.0f %9.0f" $step $of_step($step,configure) $of_step($step,build) $of_step($step,test) $total]
}
puts [format "%-20s %41.0f" all $all]

set builds [dict create]
foreach step $steps {
  set shares [shares_of $folder($step) $start($step)]
  set sum [::tcl::mathop::+ {*}[dict values $shares] 0.0]
  dict for {family share} $shares {
    set seconds [expr {$of_step($step,build) * $share / $sum}]
    dict set builds $family [expr {$seconds + ([dict exists $builds $family] ? [dict get $builds $family] : 0)}]
  }
}
puts "\nof which                             build     tests     total"
foreach family [lsort -unique [concat [dict keys $builds] [dict keys $tests]]] {
  set building [expr {[dict exists $builds $family] ? [dict get $builds $family] : 0}]
  set testing [expr {[dict exists $tests $family] ? [::tcl::mathop::+ {*}[dict get $tests $family]] : 0}]
  puts [format "%-20s %21.0f %9.0f %9.0f" $family $building $testing [expr {$building + $testing}]]
}
puts "\nthe longest tests"
foreach one [lrange [lsort -real -decreasing -index 0 $longest] 0 9] { puts [format "%8.1f %s" {*}$one] }
puts ""
