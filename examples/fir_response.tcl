# The frequency response of a FIR filter as a picture: tclsh fir_response.tcl ?LIB_DIR? COEFFICIENTS OUT.svg
# COEFFICIENTS is a .coe file (Radix = 10; CoefData = ...) or plain numbers, separated by blanks, commas or lines.
source [file join [file dirname [file normalize [info script]]] libraries.tcl]
set libraries [libraries::folder]
if {[llength $argv] != 2} {
  puts stderr "usage: tclsh fir_response.tcl ?LIB_DIR? COEFFICIENTS OUT.svg"
  exit 2
}
lassign $argv input output
source [file join [file dirname [file normalize [info script]]] plot.tcl]
load [file join $libraries libkdi_iptasks.so]

set file [open $input]
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
set points {}
foreach pair $response { lappend points [lindex $pair 0] [plot::decibels [lindex $pair 1] -140] }
plot::write $output [plot::svg "[file tail $input]: [llength $taps] taps" "frequency, cycles per sample" "gain, dB" \
  {0 0.5 0.05} {-140 20 20} [list [list response #1b6ca8 $points]]]
puts "picture: $output"
