# Changes the product in one place at a time and sees whether a test notices.
#
#   tclsh tests/mutation/run.tcl ?-count 100? ?-seed 1? ?-areas {fec tiler solver frame}? ?-operators LIST?
#                                ?-files GLOB? ?-all? ?-list? ?-build FOLDER? ?-jobs 2?
#
# A mutant is the sources with one operator, constant, condition, argument order or statement changed. As many as can be are
# woven into one build, in a folder of its own, and picked by the environment when a test starts; each of the others is
# built by itself. The tests of a mutant's area run, those of its file and then those that take least first, until one
# fails; a test that hangs, or asks for more memory than any test needs, has noticed as well. A draw that does not
# compile, or gives the very code that was there, is drawn again, and so is one that equivalent.txt names: what it
# changes cannot be seen, and it says why. The same seed on the same sources draws the same mutants.
#
# -all goes through every place of the chosen operators and files instead of drawing; -list only names them.
# The run fails if fewer than 95 of 100 mutants are noticed.

set root [file normalize [file join [file dirname [info script]] .. ..]]
source [file join $root tests mutation places.tcl]
source [file join $root tests mutation weave.tcl]
source [file join $root tests mutation build.tcl]
source [file join $root tests mutation judge.tcl]

# Where mutants are made (in the first four unless others are chosen), the label of the tests that have to notice them, and,
# where headers are in most of the product, the objects into which those are compiled at first: into all if that is not noticed.
set areas {
  fec    {label fec      files shared/ip/tcltasks/fec/*}
  tiler  {label bmg      files platform/bmg/*}
  solver {label clocking files platform/ip/clocking/*}
  frame  {label frame
          files {shared/ip/tcltasks/frame/* platform/tcl/* platform/include/kdi/tcl/*}
          near {{shared/ip/tcltasks/{frame,bmg,clkwiz,power}/CMakeFiles/*.dir/*.o} platform/tcl/CMakeFiles/*.dir/*.o
                {tests/CMakeFiles/{engine_rows,tcl_command,tcl_values,rows,marshalling}_test.dir/unit/*.o}}}
  planning     {label planning files platform/planning/*}
  cores        {label cores    files platform/cores/*/*}
  transceivers {label gtwiz    files platform/rule_engine/*}
  controllers  {label memory   files platform/coregen/*}
  places       {label io       files platform/place/*}
  outputs      {label hardip   files {platform/hdf/* platform/hsm/* platform/ippcw/*}}
  power        {label power    files platform/ip/power/*}
}
set bar 95

array set option [list -count 100 -seed 1 -areas [lrange [dict keys $areas] 0 3] -operators [mutation::operators] -files * -all 0 \
  -list 0 -build [file join $root build mutants] -jobs 2]
for {set i 0} {$i < [llength $argv]} {incr i} {
  set name [lindex $argv $i]
  if {![info exists option($name)]} { error "no option is called $name; there are [lsort [array names option]]" }
  set option($name) [expr {$name in {-all -list} ? 1 : [lindex $argv [incr i]]}]
}

proc log {text} { puts $text; flush stdout }

# What equivalent.txt names: file, line and changed line to the reason.
proc read_equivalents {path} {
  set channel [open $path]
  set reasons [dict create]
  foreach entry [split [string map {\n\n \x01} [string trim [read $channel]]] \x01] {
    set lines [split [string trim $entry] \n]
    if {[string index [lindex $lines 0] 0] eq "#"} continue
    lassign $lines file old new
    dict set reasons [list $file [string trim [string range $old 2 end]] [string trim [string range $new 2 end]]] \
      [join [lrange $lines 3 end] " "]
  }
  close $channel
  return $reasons
}

# A mutant is a place (see places.tcl) with its file and area, completed once it is looked at.
proc places_of_area {area} {
  global areas option root
  set found {}
  foreach path [lsort [glob -directory $root {*}[dict get $areas $area files]]] {
    set file [string range $path [string length $root]+1 end]
    if {[file extension $file] ni {.cpp .h} || ![string match $option(-files) $file]} continue
    foreach place [mutation::places [mutation::read_file $path]] {
      if {[dict get $place operator] in $option(-operators)} { lappend found [dict merge $place [list file $file area $area]] }
    }
  }
  return $found
}

proc completed {mutant} {
  global root
  return [mutation::complete [mutation::read_file [file join $root [dict get $mutant file]]] $mutant]
}

# Counts a mutant in the table: for each file and operator, those noticed and all.
proc count {file operator is_noticed} {
  global table
  set counts [expr {[dict exists $table $file $operator] ? [dict get $table $file $operator] : {0 0}}]
  dict set table $file $operator [list [expr {[lindex $counts 0] + $is_noticed}] [expr {[lindex $counts 1] + 1}]]
}

proc identity {mutant} { list [dict get $mutant file] [string trim [dict get $mutant old]] [string trim [dict get $mutant new]] }
proc where {mutant} { format "%s:%d %s" [dict get $mutant file] [dict get $mutant line] [dict get $mutant operator] }
proc diff {mutant} { return "  - [string trim [dict get $mutant old]]\n  + [string trim [dict get $mutant new]]" }

# The next mutant that is neither tried nor listed, or nothing: each area in turn, then any operator that it has left,
# then any place of that operator.
proc draw {} {
  global left turn
  while {[dict size $left] > 0} {
    set area [lindex [dict keys $left] [expr {$turn % [dict size $left]}]]
    incr turn
    set operators [dict keys [dict get $left $area]]
    if {$operators eq {}} { dict unset left $area; continue }
    set operator [lindex $operators [expr {int(rand() * [llength $operators])}]]
    set places [dict get $left $area $operator]
    set at [expr {int(rand() * [llength $places])}]
    set mutant [lindex $places $at]
    if {[llength $places] == 1} { dict unset left $area $operator } else { dict set left $area $operator [lreplace $places $at $at] }
    return [completed $mutant]
  }
}

set equivalents [read_equivalents [file join $root tests mutation equivalent.txt]]
set left [dict create]
set order {}
foreach area $option(-areas) {
  foreach mutant [places_of_area $area] {
    dict lappend order_of_area $area $mutant
    lappend order $mutant
    set of_area [expr {[dict exists $left $area] ? [dict get $left $area] : {}}]
    dict lappend of_area [dict get $mutant operator] $mutant
    dict set left $area $of_area
  }
}
if {$option(-list)} {
  foreach mutant [lmap place $order { completed $place }] { log "[where $mutant]\n[diff $mutant]" }
  log "[llength $order] places"
  exit 0
}
expr {srand($option(-seed))}
set turn 0

# The next mutants by number, at most `count` of them, counting those that equivalent.txt names.
proc next {count} {
  global option order equivalents redrawn number
  set found [dict create]
  while {[dict size $found] < $count} {
    if {$option(-all)} {
      set order [lassign $order mutant]
      if {$mutant ne {}} { set mutant [completed $mutant] }
    } else { set mutant [draw] }
    if {$mutant eq {}} break
    if {[dict exists $equivalents [identity $mutant]]} { dict incr redrawn equivalent; continue }
    dict set found [incr number] $mutant
  }
  return $found
}

proc label_of {mutant} { global areas; dict get $areas [dict get $mutant area] label }

proc report {number mutant verdict started} {
  global tried redrawn survivors
  if {[lindex $verdict 0] in {refused same}} { dict incr redrawn [lindex $verdict 0]; return }
  incr tried
  set is_killed [expr {[lindex $verdict 0] eq "killed"}]
  foreach file [list [dict get $mutant file] "all files"] { count $file [dict get $mutant operator] $is_killed }
  log [format "%4d %s %s  %.1f s" $number [where $mutant] $verdict [expr {([clock milliseconds] - $started) / 1000.0}]]
  log [diff $mutant]
  if {!$is_killed} { lappend survivors $mutant }
}

# Judges mutants that are woven into the build that stands. Returns the numbers of the survivors.
proc judge_woven {mutants} {
  global option
  set by_label [dict create]
  dict for {number mutant} $mutants { dict lappend by_label [label_of $mutant] $number }
  set ::survived {}
  # One at a time for a label: its tests write files.
  judge::at_once [dict keys $by_label] $option(-jobs) [list apply {{by_label mutants label} {
    foreach number [dict get $by_label $label] {
      set started [clock milliseconds]
      set mutant [dict get $mutants $number]
      set verdict [judge::verdict $mutant $number $label]
      if {$verdict eq "survived"} { lappend ::survived $number } else { report $number $mutant $verdict $started }
    }
  }} $by_label $mutants]
  return [lsort -integer $::survived]
}

# Judges a mutant that has a build to itself.
proc judge_alone {number mutant} {
  set started [clock milliseconds]
  set label [label_of $mutant]
  # What a header is in is compiled only if what some of it finds is not enough.
  set near [expr {[has_near $mutant] ? [list [near_of [list $mutant]] {}] : [list {}]}]
  foreach patterns $near {
    build::near $patterns
    if {![build::alone $mutant tests_$label]} { set ::verdict refused; break }
    judge::build_stands
    judge::at_once [list $mutant] 1 [list apply {{label mutant} { set ::verdict [judge::verdict $mutant 0 $label] }} $label]
    if {$::verdict ne "survived"} break
  }
  if {$::verdict eq "survived" && [build::is_same $mutant]} { set ::verdict same }
  build::restore
  report $number $mutant $::verdict $started
}

proc near_of {mutants} {
  global areas
  set near [dict create]
  foreach mutant $mutants {
    if {[has_near $mutant]} { dict set near [dict get $mutant file] [dict get $areas [dict get $mutant area] near] }
  }
  return $near
}
proc has_near {mutant} {
  global areas
  expr {[file extension [dict get $mutant file]] eq ".h" && [dict exists $areas [dict get $mutant area] near]}
}

# Tries the mutants. Returns those that were in the way of others.
proc try {mutants} {
  global labels
  set targets [lmap label $labels { string cat tests_ $label }]
  build::near [near_of [dict values $mutants]]
  lassign [build::weave $mutants $targets] alone later
  set woven [dict remove $mutants {*}$alone {*}$later]
  log "[dict size $woven] of [dict size $mutants] are woven in, [llength $alone] are built alone"
  judge::build_stands
  set survived [judge_woven $woven]
  set everywhere [dict create]
  foreach number $survived {
    set mutant [dict get $mutants $number]
    if {[has_near $mutant]} { dict set everywhere $number $mutant; continue }
    report $number $mutant [expr {[build::is_same $mutant] ? "same" : "survived"}] [clock milliseconds]
  }
  build::near {}
  if {$everywhere ne {}} {
    log "[dict size $everywhere] are compiled into all that has their headers"
    lassign [build::weave $everywhere $targets] refused
    lappend alone {*}$refused
    judge::build_stands
    foreach number [judge_woven [dict remove $everywhere {*}$refused]] {
      report $number [dict get $mutants $number] survived [clock milliseconds]
    }
  }
  foreach number [lsort -integer $alone] { judge_alone $number [dict get $mutants $number] }
  return [dict filter $mutants script {number mutant} { expr {$number in $later} }]
}

set labels [lmap area $option(-areas) { dict get $areas $area label }]
log "seed $option(-seed)"
set tried 0
set number 0
set redrawn [dict create refused 0 same 0 equivalent 0]
set table [dict create]
set survivors {}
build::prepare $root $option(-build) $option(-jobs)
build::make {*}[lmap label $labels { string cat tests_ $label }]
judge::prepare $labels $option(-jobs)
set later [dict create]
while 1 {
  set room [expr {$option(-all) ? 400 : $option(-count) - $tried}]
  set mutants [dict merge $later [next [expr {$room - [dict size $later]}]]]
  if {$mutants eq {}} break
  set later [try $mutants]
}
build::restore

log "\nnoticed, of all mutants, by file and operator"
dict for {file operators} [lsort -stride 2 $table] {
  log [format "%-48s %s" $file [join [lmap {operator counts} [lsort -stride 2 $operators] {
    string cat $operator " " [join $counts /]
  }] ", "]]
}
log "\n[llength $survivors] survivors of $tried (seed $option(-seed)); drawn again: [dict get $redrawn refused] that do\
 not compile, [dict get $redrawn same] that give the same code, [dict get $redrawn equivalent] known to be equivalent"
foreach mutant $survivors { log "[where $mutant]\n[diff $mutant]" }
exit [expr {100 * ($tried - [llength $survivors]) < $bar * $tried}]
