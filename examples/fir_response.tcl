# The frequency response of a FIR filter as a picture:
#
#   tclsh fir_response.tcl ?LIB_DIR? COEFFICIENTS OUT.svg ?PASS STOP?
#
# COEFFICIENTS is a .coe file (Radix = 10; CoefData = ...) or plain numbers, separated by blanks, commas or lines. PASS and
# STOP are the edges of the bands in cycles per sample: they are drawn, and what the filter reaches in both bands is told.
# Gains are relative to the largest one, which is told as well: coefficients may be integers of any size.
source [file join [file dirname [file normalize [info script]]] libraries.tcl]
set libraries [libraries::folder]
if {[llength $argv] ni {2 4}} {
  puts stderr "usage: tclsh fir_response.tcl ?LIB_DIR? COEFFICIENTS OUT.svg ?PASS STOP?"
  exit 2
}
lassign $argv input output pass stop
if {[llength $argv] == 4 && !([string is double -strict $pass] && [string is double -strict $stop] && 0 < $pass && $pass < $stop && $stop < 0.5)} {
  puts stderr "edges in cycles per sample: 0 < PASS < STOP < 0.5"
  exit 1
}
source [file join [file dirname [file normalize [info script]]] plot.tcl]
load [file join $libraries libkdi_iptasks.so]

libraries::told { set file [open $input] }
set text [read $file]
close $file
if {[regexp -nocase {radix\s*=\s*(\d+)} $text -> radix] && $radix != 10} {
  puts stderr "$input: radix $radix, only 10 is read"
  exit 1
}
regsub -nocase {^.*coefdata\s*=} $text {} text
set taps {}
foreach word [split [string map {; " " , " " \n " " \r " " \t " "} $text]] {
  if {$word eq ""} continue
  if {![string is double -strict $word]} {
    puts stderr "$input: \"$word\" is no number"
    exit 1
  }
  lappend taps $word
}
if {$taps eq ""} {
  puts stderr "$input: no coefficients"
  exit 1
}
# Zeros behind the taps make the points of the curve denser: at least 16 for each tap.
set size 1024
while {$size < 16 * [llength $taps]} { set size [expr {2 * $size}] }
set response [fir_compiler_fftalgorithm::get_frequency_response [concat $taps [lrepeat [expr {$size - [llength $taps]}] 0.0]]]
set largest 0
foreach pair $response {
  if {[lindex $pair 1] > $largest} { lassign $pair at largest }
}
if {$largest == 0} {
  puts stderr "$input: all coefficients are 0"
  exit 1
}
proc gain_at {taps frequency} {
  set real 0
  set imaginary 0
  set angle 0
  foreach tap $taps {
    set real [expr {$real + $tap * cos($angle)}]
    set imaginary [expr {$imaginary + $tap * sin($angle)}]
    set angle [expr {$angle + 6.283185307179586 * $frequency}]
  }
  expr {hypot($real, $imaginary)}
}

set points {}
set gains {}
foreach pair $response {
  lassign $pair frequency gain
  lappend points $frequency [plot::decibels [expr {$gain / $largest}] -400]
  lappend gains [lindex $points end]
}
# The picture reaches below most of the stop-band; a zero of the response goes down without an end.
set low [lindex [lsort -real $gains] [expr {[llength $gains] / 5}]]
set floor [expr {max(-300, min(-40, 20 * floor(($low - 20) / 20)))}]
set about [list [format "largest gain %.5g (%.2f dB) at %.4g cycles per sample; sum of the coefficients %.6g" $largest \
  [expr {20 * log10($largest)}] $at [tcl::mathop::+ {*}$taps]]]
set marks {}
if {$pass ne ""} {
  # the edges themselves, which lie between the points of the curve
  set edges [lmap frequency [list $pass $stop] { plot::decibels [expr {[gain_at $taps $frequency] / $largest}] -400 }]
  lassign $edges inside outside
  foreach {frequency gain} $points {
    if {$frequency <= $pass} { lappend inside $gain }
    if {$frequency >= $stop} { set outside [expr {max($outside, $gain)}] }
  }
  lappend about [format "pass-band to %g: gain within %.4g dB; stop-band from %g: at most %.2f dB" $pass \
    [expr {[tcl::mathfunc::max {*}$inside] - [tcl::mathfunc::min {*}$inside]}] $stop $outside]
  set marks [list [list $pass "pass $pass"] [list $stop "stop $stop"]]
}
set picture [plot::svg "[file tail $input]: [llength $taps] taps" "frequency, cycles per sample" \
  "gain relative to the largest, dB" {0 0.5 0.05} [list $floor 10 [plot::step [expr {-$floor}]]] \
  [list [list response #1b6ca8 $points]] -about $about -marks $marks \
  -note "Computed from the coefficients, at [llength $response] frequencies."]
libraries::told { plot::write $output $picture }
puts [join $about \n]
puts "picture: $output"
