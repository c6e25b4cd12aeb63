# Builds mutants in a folder of their own and runs the tests that have to notice them.
#
# The folder holds a copy of the sources (source) and their build (build). Test programs are linked against the shared
# libraries and not made anew with them, so a mutant costs one object and the libraries that it is in. Objects are
# compiled lightly, and with the standard library's own checks, which stand for the sanitizers that the suite runs under
# elsewhere: an index out of bounds ends a test.

namespace eval build {
  variable flags "-O1 -w -D_GLIBCXX_ASSERTIONS"
  variable memory_kb 6000000
  variable patience_s 10  ;# that a test has beside ten times what it took before

  variable folder   ;# of the copy and the build
  variable jobs
  variable tests    ;# for each label, the tests from the shortest to the longest
  variable changed {}
  variable is_inside_tests 0  ;# whether test programs may hold a part of the last mutant, being linked with its object

  proc prepare {root where number_of_jobs labels} {
    variable folder [file normalize $where]
    variable jobs $number_of_jobs
    variable flags
    variable tests
    copy_sources $root
    set configure [list cmake -S $folder/source -B $folder/build -G Ninja -DCMAKE_BUILD_TYPE=Debug \
      "-DCMAKE_CXX_FLAGS_DEBUG=$flags" -DIPTASKS_BENCH=OFF -DCMAKE_LINK_DEPENDS_NO_SHARED=ON]
    if {[auto_execok ccache] ne {}} { lappend configure -DCMAKE_CXX_COMPILER_LAUNCHER=ccache }
    log "building what has to notice"
    exec {*}$configure 2>@1
    exec ninja -C $folder/build -j $jobs {*}[lmap label $labels { string cat tests_ $label }] 2>@1
    set known [known_times]
    foreach label $labels {
      set timed {}
      foreach test [tests_of $label] {
        set name [dict get $test name]
        if {![dict exists $known $name]} { dict set known $name [time_of $test] }
        set seconds [dict get $known $name]
        lappend timed [list $seconds [dict replace $test limit [expr {int($::build::patience_s + 10 * $seconds)}]]]
      }
      set timed [lsort -real -index 0 $timed]
      dict set tests $label [lmap one $timed { lindex $one 1 }]
      log [format "%s: %d tests, %.0f s" $label [llength $timed] [::tcl::mathop::+ {*}[lmap one $timed { lindex $one 0 }]]]
    }
    keep_times $known
    remember_objects
  }

  proc time_of {test} {
    set started [clock milliseconds]
    set end [run $test 600]
    if {$end ne "passed"} { error "[dict get $test name] $end on the sources as they are" }
    return [expr {([clock milliseconds] - $started) / 1000.0}]
  }

  # What each test took, as long as nothing was compiled anew.
  proc known_times {} {
    variable folder
    if {![file exists $folder/times]} return
    lassign [content $folder/times] of times
    return [expr {$of eq [sum_of $folder/build] ? $times : {}}]
  }
  proc keep_times {times} { variable folder; write $folder/times [list [sum_of $folder/build] $times] }

  # One sum over all objects below the folders.
  proc sum_of {args} {
    return [lindex [exec find {*}$args -name *.o -print0 | sort -z | xargs -0 md5sum | md5sum] 0]
  }

  # Only what differs is written, so that only that is built again.
  proc copy_sources {root} {
    variable folder
    set known [dict create]
    foreach file [split [exec git -C $root ls-files --cached --others --exclude-standard] \n] {
      set from [file join $root $file]
      if {![file exists $from] || [file isdirectory $from]} continue
      set to [file join $folder source $file]
      dict set known $to 1
      if {[file exists $to] && [content $from] eq [content $to]} continue
      file mkdir [file dirname $to]
      file copy -force $from $to
      file mtime $to [clock seconds]
    }
    foreach file [all_files [file join $folder source]] { if {![dict exists $known $file]} { file delete $file } }
  }
  proc all_files {where} {
    set files [glob -nocomplain -directory $where -types f * .*]
    foreach below [glob -nocomplain -directory $where -types d *] { lappend files {*}[all_files $below] }
    return $files
  }
  proc content {path} {
    set channel [open $path rb]
    set bytes [read $channel]
    close $channel
    return $bytes
  }
  proc write {path bytes} {
    set channel [open $path wb]
    puts -nonewline $channel $bytes
    close $channel
  }

  # -------------------------------------------------------------------------------------------------------- tests

  # Dictionaries of name, command, folder and environment, as ctest knows them. Tests that look at the whole program,
  # not at one area, are left out, and those whose verdict is not how their program ends.
  proc tests_of {label} {
    variable folder
    set answer [json [exec ctest --test-dir $folder/build --show-only=json-v1 -L "^$label\$" -LE "^(tools|examples|host|shell)\$"]]
    set tests {}
    foreach test [dict get $answer tests] {
      set one [dict create name [dict get $test name] command [dict get $test command] folder $folder/build environment {} \
        limit 600]
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

  # passed, or how else it ended.
  proc run {test seconds} {
    variable memory_kb
    cd [dict get $test folder]
    set script "ulimit -v $memory_kb; ulimit -c 0; exec \"\$@\""
    if {[catch {
      exec timeout -k 1 $seconds sh -c $script sh env GTEST_FAIL_FAST=1 {*}[dict get $test environment] \
        {*}[dict get $test command] </dev/null >/dev/null 2>/dev/null
    } -> options]} {
      set code [dict get $options -errorcode]
      if {[lindex $code 0] eq "CHILDSTATUS" && [lindex $code 2] in {124 137}} { return "hung" }
      return "failed"
    }
    return "passed"
  }

  # ------------------------------------------------------------------------------------------------------ mutants

  # {refused}, {same}, {killed by TEST} or {survived}.
  proc try {mutant area} {
    variable folder
    variable changed
    variable is_inside_tests
    set label [dict get $area label]
    set is_header [expr {[file extension [dict get $mutant file]] eq ".h"}]
    restore
    if {$is_header && $is_inside_tests} { make tests_$label; set is_inside_tests 0 }
    set changed [file join $folder source [dict get $mutant file]]
    set sources [mutation::read_file $changed]
    # A place may be an insertion, in front of first.
    set before [string range $sources 0 [dict get $mutant first]-1]
    set behind [string range $sources [dict get $mutant last]+1 end]
    variable original [content $changed]
    write $changed [encoding convertto utf-8 $before[dict get $mutant text]$behind]
    # A header is in most tests as well. They are compiled anew only if what they find without that is not enough.
    if {$is_header} {
      if {[catch { make [dict get $area product] }]} { return refused }
      if {![objects_differ]} { return same }
      set verdict [judge $label]
      if {$verdict ne "survived"} { return $verdict }
    }
    set is_inside_tests 1
    if {[catch { make tests_$label }]} { return refused }
    if {![objects_differ]} { return same }
    return [judge $label]
  }

  proc judge {label} {
    variable tests
    foreach test [dict get $tests $label] {
      set end [run $test [dict get $test limit]]
      if {$end ne "passed"} {
        regsub {\s*#.*} [dict get $test name] "" name
        return "killed by $name[expr {$end eq "hung" ? ", which hung" : ""}]"
      }
    }
    return survived
  }

  proc make {target} {
    variable folder
    variable jobs
    exec ninja -C $folder/build -j $jobs $target 2>@1
  }

  proc restore {} {
    variable changed
    variable original
    if {$changed ne {}} { write $changed $original }
    set changed {}
  }

  # The product's objects.
  proc remember_objects {} { variable folder; variable sum [sum_of $folder/build/platform $folder/build/shared] }
  proc objects_differ {} {
    variable folder
    variable sum
    expr {[sum_of $folder/build/platform $folder/build/shared] ne $sum}
  }
}
