# Changes the product in one place at a time and sees whether a test notices.
#
#   tclsh tests/mutation/run.tcl ?-count 100? ?-seed 1? ?-areas {fec tiler solver frame}? ?-operators LIST?
#                                ?-files GLOB? ?-all? ?-list? ?-build FOLDER? ?-jobs 2?
#
# A mutant is a copy of the sources with one operator, constant, condition, argument order or statement changed. It is
# built incrementally in a folder of its own, and the tests of its area run, those that take least first, until one
# fails; a test that hangs, or asks for more memory than any test needs, has noticed as well. A draw that does not
# compile, or gives the very code that was there, is drawn again, and so is one that equivalent.txt names: what it
# changes cannot be seen, and it says why. The same seed on the same sources draws the same mutants.
#
# -all goes through every place of the chosen operators and files instead of drawing; -list only names them.
# The run fails if fewer than 95 of 100 mutants are noticed.

set root [file normalize [file join [file dirname [info script]] .. ..]]
source [file join $root tests mutation places.tcl]
source [file join $root tests mutation build.tcl]

# Where mutants are made (in the first four unless others are chosen), the library that they are in, and the label of the
# tests that have to notice them.
set areas {
  fec    {product kdi_iptasks label fec      files shared/ip/tcltasks/fec/*}
  tiler  {product kdi_bmg     label bmg      files platform/bmg/*}
  solver {product kdi_ip      label clocking files platform/ip/clocking/*}
  frame  {product kdi_iptasks label frame
          files {shared/ip/tcltasks/frame/* platform/tcl/* platform/include/kdi/tcl/*}}
  planning     {product kdi_planning    label planning files platform/planning/*}
  cores        {product kdi_cores       label cores    files platform/cores/*/*}
  transceivers {product kdi_rule_engine label gtwiz    files platform/rule_engine/*}
  controllers  {product kdi_coregen     label memory   files platform/coregen/*}
  places       {product kdi_place       label io       files platform/place/*}
  outputs      {product kdi_iptasks     label hardip   files {platform/hdf/* platform/hsm/* platform/ippcw/*}}
  power        {product kdi_ip          label power    files platform/ip/power/*}
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

build::prepare $root $option(-build) $option(-jobs) [lmap area $option(-areas) { dict get $areas $area label }]
log "seed $option(-seed)"
set tried 0
set redrawn [dict create refused 0 same 0 equivalent 0]
set table [dict create]
set survivors {}
while {$option(-all) || $tried < $option(-count)} {
  if {$option(-all)} {
    set order [lassign $order mutant]
    if {$mutant ne {}} { set mutant [completed $mutant] }
  } else { set mutant [draw] }
  if {$mutant eq {}} break
  if {[dict exists $equivalents [identity $mutant]]} { dict incr redrawn equivalent; continue }
  set started [clock milliseconds]
  set verdict [build::try $mutant [dict get $areas [dict get $mutant area]]]
  if {[lindex $verdict 0] in {refused same}} { dict incr redrawn [lindex $verdict 0]; continue }
  incr tried
  set is_killed [expr {[lindex $verdict 0] eq "killed"}]
  foreach file [list [dict get $mutant file] "all files"] { count $file [dict get $mutant operator] $is_killed }
  log [format "%4d %s %s  %.1f s" $tried [where $mutant] $verdict [expr {([clock milliseconds] - $started) / 1000.0}]]
  if {!$is_killed} { lappend survivors $mutant; log [diff $mutant] }
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
