# Builds mutants in a folder of their own: a copy of the sources, built there as what is installed is, so that a compiler
# cache has nearly all of it.
#
# Test programs are linked against the shared libraries and not made anew with them. Most mutants are woven into one build
# (weave.tcl); of the others each is built alone, and costs its objects and the libraries that they are in. The objects of
# mutants are compiled with the standard library's own checks, which stand for the sanitizers that the suite runs under
# elsewhere: an index out of bounds ends a test.

namespace eval build {
  variable folder   ;# of the copy; its build is below
  variable jobs
  variable near [dict create]
  variable changed [dict create]  ;# the files of the copy that are not as they were, and how they were

  proc prepare {root where number_of_jobs} {
    variable folder [file normalize $where]
    variable jobs $number_of_jobs
    copy_sources $root
    write $folder/build/mutant.h $weave::header
    cd $folder
    # Debug, since what is installed hides names that tests ask for.
    exec cmake --preset release -DCMAKE_BUILD_TYPE=Debug "-DCMAKE_CXX_FLAGS_DEBUG=-O2 -DNDEBUG" \
      "-DCMAKE_C_FLAGS_DEBUG=-O3 -DNDEBUG" -DCMAKE_LINK_DEPENDS_NO_SHARED=ON 2>@1
  }

  # Only what differs is written, so that only that is built again.
  proc copy_sources {root} {
    variable folder
    set known [dict create]
    foreach file [split [exec git -C $root ls-files --cached --others --exclude-standard] \n] {
      set from [file join $root $file]
      if {![file exists $from] || [file isdirectory $from]} continue
      set to [file join $folder $file]
      dict set known $to 1
      if {[file exists $to] && [content $from] eq [content $to]} continue
      file mkdir [file dirname $to]
      file copy -force $from $to
      file mtime $to [clock seconds]
    }
    file mkdir [file join $folder build]
    foreach file [all_files $folder build] { if {![dict exists $known $file]} { file delete $file } }
  }
  proc all_files {where {left_out {}}} {
    set files [glob -nocomplain -directory $where -types f * .*]
    foreach below [glob -nocomplain -directory $where -types d *] {
      if {[file tail $below] ni $left_out} { lappend files {*}[all_files $below] }
    }
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

  proc directory {} { variable folder; return [file join $folder build release] }

  # Throws what the build says.
  proc make {args} {
    variable jobs
    exec ninja -C [directory] -j $jobs -k 0 {*}$args 2>@1
  }

  # For headers, the objects (as patterns) that are enough of those that they are in; of others it is all of them.
  proc near {patterns_of_files} {
    variable folder
    variable near
    restore
    set near [dict create]
    dict for {file patterns} $patterns_of_files { dict set near [file join $folder $file] $patterns }
  }

  proc change {file text} {
    variable folder
    variable changed
    set path [file join $folder $file]
    if {![dict exists $changed $path]} { dict set changed $path [content $path] }
    put $path [encoding convertto utf-8 $text]
  }
  proc restore {} {
    variable changed
    dict for {path bytes} $changed { put $path $bytes }
    set changed [dict create]
  }
  # A header that keeps its time is compiled only into what is not there any more.
  proc put {path bytes} {
    variable near
    if {[content $path] eq $bytes} return
    set time [file mtime $path]
    write $path $bytes
    if {![dict exists $near $path]} return
    file mtime $path $time
    foreach pattern [dict get $near $path] { file delete {*}[glob -nocomplain -directory [directory] $pattern] }
  }
  proc original {file} {
    variable folder
    variable changed
    set path [file join $folder $file]
    return [encoding convertfrom utf-8 [expr {[dict exists $changed $path] ? [dict get $changed $path] : [content $path]}]]
  }

  # Builds the targets with as many of the mutants (number to mutant) as one build can hold. Returns the numbers of those
  # that have to be built alone, and of those that are in the way of another and come into a later build.
  proc weave {mutants targets} {
    variable folder
    restore
    set alone {}
    set later {}
    set files [dict create]
    dict for {number mutant} $mutants { dict set files [dict get $mutant file] $number $mutant }
    while 1 {
      set spans [dict create]
      dict for {file inside} $files {
        lassign [weave::woven [original $file] $inside $folder/build/mutant.h] text lines fixed overlapping
        dict set spans $file $lines
        lappend alone {*}$fixed
        lappend later {*}$overlapping
        foreach number [concat $fixed $overlapping] { dict unset files $file $number }
        change $file [expr {$lines eq {} ? [original $file] : $text}]
      }
      if {![catch { make {*}$targets } said]} break
      set refused [refused $spans $said]
      if {$refused eq {}} { error $said }
      lappend alone {*}$refused
      dict for {file inside} $files { dict set files $file [dict remove $inside {*}$refused] }
    }
    return [list $alone $later]
  }

  # The numbers of the mutants in whose lines (file to number to first and last) there are errors; if there are none, those
  # in the files that there are errors in.
  proc refused {spans said} {
    set exact {}
    set near {}
    foreach line [split $said \n] {
      if {![regexp {([^\s:]+\.(?:cpp|h)):(\d+):(?:\d+:)?\s+(?:error|required|in .constexpr. expansion|  )} $line -> path at]} continue
      dict for {file lines} $spans {
        if {![string match */$file $path]} continue
        dict for {number span} $lines {
          lappend near $number
          if {[lindex $span 0] <= $at && $at <= [lindex $span 1]} { lappend exact $number }
        }
      }
    }
    return [lsort -integer -unique [expr {$exact eq {} ? $near : $exact}]]
  }

  # A build with one mutant; whether it can be built.
  proc alone {mutant targets} {
    restore
    change [dict get $mutant file] [with $mutant]
    return [expr {![catch { make {*}$targets }]}]
  }
  # The text of its file. A place may be an insertion, in front of first.
  proc with {mutant} {
    set text [original [dict get $mutant file]]
    return [checked [string range $text 0 [dict get $mutant first]-1][dict get $mutant text][string range $text [dict get $mutant last]+1 end]]
  }
  proc checked {text} { variable folder; return "#include \"$folder/build/mutant.h\"\n#line 1\n$text" }

  # Whether the compiler makes the very code of it that it makes of the sources as they are. Said of a source alone: of a
  # header all that include it would have to be built.
  proc is_same {mutant} {
    set objects [objects_of [dict get $mutant file]]
    if {$objects eq {}} { return 0 }
    restore
    change [dict get $mutant file] [checked [original [dict get $mutant file]]]
    make {*}$objects
    set before [contents $objects]
    if {![alone $mutant $objects]} { return 0 }
    return [expr {[contents $objects] eq $before}]
  }
  proc objects_of {file} {
    set found [glob -nocomplain [file join [directory] [file dirname $file] CMakeFiles *.dir [file tail $file].o]]
    return [lmap path $found { string range $path [string length [directory]]+1 end }]
  }
  proc contents {objects} { return [lmap object $objects { content [file join [directory] $object] }] }
}
