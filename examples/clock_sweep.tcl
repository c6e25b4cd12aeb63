# How near a set of clocks can be made, over a range of input frequencies: a table of the best inputs, and a picture.
#
#   tclsh clock_sweep.tcl ?LIB_DIR? OUT.svg ?PART? ?OUTPUTS LOW HIGH STEP?
#
# OUTPUTS is a list of frequencies in MHz; by default 122.88 and 61.44 MHz from 20 to 60 MHz in steps of 0.25 MHz, on the part
# below. The picture shows the worst error of an output, in parts per million, on a logarithmic scale: a point for each
# input, with each kind of primitive. The lowest line of its grid is for what is exact, or nearly so.
namespace eval sweep {
  variable part brvn3716-die-2LHP-e-S-es1
  variable exact 0.001  ;# ppm; the picture's floor, and what is shown for no error at all

  # The worst error in ppm that the primitive (0: MMCM, 1: PLL) leaves, or "" where it has no setting.
  proc worst {primitive input outputs} {
    variable part
    if {[catch {
      Ip_Clocking_Calc_M_D -part $part -output_freq $outputs -req_phase [lrepeat [llength $outputs] 0] \
        -req_dc [lrepeat [llength $outputs] 50] -prim_freq $input -secondary_freq 0 -primtive $primitive
    } solution]} { return "" }
    tcl::mathfunc::max {*}[lmap output [dict get $solution outputs] { dict get $output error_ppm }]
  }

  # input error input error ... of the inputs that have a setting
  proc curve {primitive outputs low high step} {
    set points {}
    for {set i 0} {$low + $i * $step <= $high * (1 + 1e-12)} {incr i} {
      set input [format %.10g [expr {$low + $i * $step}]]
      set error [worst $primitive $input $outputs]
      if {$error ne ""} { lappend points $input $error }
    }
    return $points
  }

  proc logarithm {points} {
    variable exact
    set scaled {}
    foreach {x y} $points { lappend scaled $x [expr {log10(max($y, $exact))}] }
    return $scaled
  }
}

source [file join [file dirname [file normalize [info script]]] libraries.tcl]
set libraries [libraries::folder]
set words [lassign $argv picture]
if {$words ne "" && ([llength [lindex $words 0]] != 1 || ![string is double -strict [lindex $words 0 0]]) && [llength $words] in {1 5}} {
  set words [lassign $words sweep::part]
}
if {$picture eq "" || [llength $words] ni {0 4}} {
  puts stderr "usage: tclsh clock_sweep.tcl ?LIB_DIR? OUT.svg ?PART? ?OUTPUTS LOW HIGH STEP?"
  exit 2
}
lassign [expr {$words eq "" ? {{122.88 61.44} 20 60 0.25} : $words}] outputs low high step
foreach number [list $low $high $step] {
  if {![string is double -strict $number] || !($number > 0) || !($number < 1e6)} {
    puts stderr "no frequency in MHz: $number"
    exit 1
  }
}
if {$low >= $high || ($high - $low) / $step > 10000} {
  puts stderr "LOW is below HIGH, in at most 10000 steps"
  exit 1
}
source [file join [file dirname [file normalize [info script]]] plot.tcl]
load [file join $libraries libkdi_iptasks.so]
set curves {}
set about {}
foreach {name primitive colour kind} {MMCM 0 #1b6ca8 points PLL 1 #c05621 crosses} {
  set points [sweep::curve $primitive $outputs $low $high $step]
  if {$points eq ""} { puts "$name: no setting for any input"; lappend about "$name: no setting for any input"; continue }
  set best {}
  foreach {input error} $points { lappend best [list $error $input] }
  set exact [llength [lsearch -all -exact -real -index 0 $best 0]]
  lappend about "$name: [llength $best] inputs have a setting, $exact of them an exact one"
  set best [lrange [lsort -real -index 0 $best] 0 4]
  puts "$name: [join [lmap one $best { format "%s MHz (%s ppm)" [lindex $one 1] [lindex $one 0] }] {, }]"
  lappend curves [list $name $colour [sweep::logarithm $points] $kind]
}
if {$curves eq ""} { exit 1 }
set top 1
foreach curve $curves {
  foreach {input y} [lindex $curve 2] { set top [expr {max($top, int(ceil($y)))}] }
}
plot::write $picture [plot::svg "Worst error of [join $outputs { and }] MHz on $sweep::part" "input frequency, MHz" \
  "error, ppm" [list $low $high [plot::step [expr {$high - $low}]]] [list -3 $top 1 log] $curves -about $about \
  -lowest "exact" -note "One point for each input in steps of $step MHz; an input without a point has no setting. On the\
    lowest line stands what is exact, or off by less than $sweep::exact ppm. Limits are those of the part's speed grade."]
puts "picture: $picture"
