# Runs the tests that have to notice a mutant, several at a time.
#
# Everything here that runs a test is called in a coroutine, which waits in the event loop.

namespace eval judge {
  variable memory_kb 6000000
  variable patience_s 20  ;# that a test has beside ten times what it took before
  variable tests {}       ;# for each label, the tests from the shortest to the longest

  # Finds the tests of the labels. Those of which it is not known how long they take are run, and have to pass.
  proc prepare {labels jobs} {
    variable tests
    variable patience_s
    set ::judge::times [known_times]
    foreach label $labels { dict set found $label [tests_of $label] }
    at_once $labels $jobs [list apply {{found label} {
      foreach test [dict get $found $label] {
        set name [dict get $test name]
        if {[dict exists $judge::times $name]} continue
        set started [clock milliseconds]
        set end [judge::run $test 0 600]
        if {$end ne "passed"} { error "$name $end on the sources as they are" }
        dict set judge::times $name [expr {([clock milliseconds] - $started) / 1000.0}]
        build::write [judge::times_file] $judge::times
      }
    }} $found]
    foreach label $labels {
      set timed [lmap test [dict get $found $label] {
        set seconds [dict get $::judge::times [dict get $test name]]
        list $seconds [dict replace $test limit [expr {int($patience_s + 10 * $seconds)}]]
      }]
      set timed [lsort -real -index 0 $timed]
      dict set tests $label [lmap one $timed { lindex $one 1 }]
      log [format "%s: %d tests, %.0f s" $label [llength $timed] [::tcl::mathop::+ {*}[lmap one $timed { lindex $one 0 }]]]
    }
  }
  proc times_file {} { return [file join [build::directory] test_times] }
  proc known_times {} { expr {[file exists [times_file]] ? [build::content [times_file]] : {}} }

  # Dictionaries of name, command, folder and environment, as ctest knows them. Tests that look at the whole program,
  # not at one area, are left out, and those whose verdict is not how their program ends.
  proc tests_of {label} {
    set answer [json [exec ctest --test-dir [build::directory] --show-only=json-v1 -L "^$label\$" \
      -LE "^(tools|examples|shell)\$"]]
    set tests {}
    foreach test [dict get $answer tests] {
      regsub {\s*#.*} [dict get $test name] "" name
      set one [dict create name $name command [dict get $test command] folder [build::directory] environment {} limit 600]
      set is_status 1
      foreach property [dict get $test properties] {
        switch [dict get $property name] {
          PASS_REGULAR_EXPRESSION - WILL_FAIL { set is_status 0 }
          WORKING_DIRECTORY { dict set one folder [dict get $property value] }
          ENVIRONMENT { dict set one environment [dict get $property value] }
        }
      }
      if {$is_status} { lappend tests $one }
    }
    return $tests
  }

  # JSON as lists, dictionaries and texts.
  proc json {text} {
    set tokens [regexp -all -inline {"(?:\\.|[^"\\])*"|[][{}:,]|[^][{}:,"\s]+} $text]
    set at 0
    return [json_value $tokens at]
  }
  proc json_value {tokens place} {
    upvar $place at
    set token [lindex $tokens $at]
    incr at
    if {$token ni {[ \{}} {
      return [expr {[string index $token 0] eq "\"" ? [subst -nocommands -novariables [string range $token 1 end-1]] : $token}]
    }
    set value {}
    while {[lindex $tokens $at] ni {] \}}} {
      if {[lindex $tokens $at] in {: ,}} { incr at } else { lappend value [json_value $tokens at] }
    }
    incr at
    return $value
  }

  # Calls the command with each item, for as many at a time as there are jobs, and waits for all of them.
  proc at_once {items jobs command} {
    variable waiting $items
    variable running 0
    variable failure {}
    for {set i 0} {$i < $jobs && $i < [llength $items]} {incr i} {
      incr running
      coroutine worker$i apply {{command} {
        variable waiting
        variable running
        variable failure
        # Let all of them be made before the first one works.
        after 0 [info coroutine]
        yield
        while {$waiting ne {} && $failure eq {}} {
          set waiting [lassign $waiting item]
          if {[catch { {*}$command $item } said]} { set failure $said }
        }
        incr running -1
      } ::judge} $command
    }
    while {$running > 0} { vwait judge::running }
    if {$failure ne {}} { error $failure }
  }

  # A test with the mutant of a number: passed, or how else it ended.
  proc run {test number seconds} {
    variable memory_kb
    set script "cd \"\$1\" || exit 1; shift; ulimit -v $memory_kb; ulimit -c 0; exec \"\$@\""
    set pipe [open [list | timeout -k 1 $seconds sh -c $script sh [dict get $test folder] \
      env GTEST_FAIL_FAST=1 {*}[dict get $test environment] IPTASKS_MUTANT=$number {*}[dict get $test command] </dev/null 2>@1] rb]
    fconfigure $pipe -blocking 0
    fileevent $pipe readable [info coroutine]
    while {![eof $pipe]} { yield; read $pipe }
    fconfigure $pipe -blocking 1
    if {[catch { close $pipe } -> options]} {
      set code [dict get $options -errorcode]
      if {[lindex $code 0] eq "CHILDSTATUS" && [lindex $code 2] in {124 137}} { return "hung" }
      return "failed"
    }
    return "passed"
  }

  # To be said of each new build: what its tests say without a mutant is not known.
  proc build_stands {} { variable sound [dict create] }

  # A test whose failure is to mean something passes without a mutant. In a build that has one throughout it is 0, and
  # nothing can be asked.
  proc is_sound {test number} {
    variable sound
    set name [dict get $test name]
    if {$number == 0} { return 1 }
    if {![dict exists $sound $name]} { dict set sound $name [expr {[run $test 0 600] eq "passed"}] }
    return [dict get $sound $name]
  }

  # {killed by TEST} or {survived}. The tests that have the name of the mutant's file go first.
  proc verdict {mutant number label} {
    variable tests
    set name [file rootname [file tail [dict get $mutant file]]]
    set near {}
    set far {}
    foreach test [dict get $tests $label] {
      if {[string match *.${name}* [dict get $test name]]} { lappend near $test } else { lappend far $test }
    }
    foreach test [concat $near $far] {
      set end [run $test $number [dict get $test limit]]
      if {$end ne "passed" && ![is_sound $test $number]} { error "[dict get $test name] fails without a mutant" }
      if {$end ne "passed"} { return "killed by [dict get $test name][expr {$end eq "hung" ? ", which hung" : ""}]" }
    }
    return survived
  }
}
