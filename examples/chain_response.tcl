# Files and picture of an up- or down-converter chain: tclsh chain_response.tcl ?LIB_DIR? OUT_DIR ?CONFIGURATION?
# Writes the configuration's .cfg, .rsrc and .coe files and <configuration>.svg: the response of each stage at the rate
# where it runs, and that of all stages one after the other, for a carrier in the middle of the band.
source [file join [file dirname [file normalize [info script]]] libraries.tcl]
set libraries [libraries::folder]
if {[llength $argv] ni {1 2}} {
  puts stderr "usage: tclsh chain_response.tcl ?LIB_DIR? OUT_DIR ?CONFIGURATION?"
  exit 2
}
lassign [concat $argv [lrange {{} ddc_chbw10_C4_pb40_if0_frf122_os2} [llength $argv] end]] folder name
source [file join [file dirname [file normalize [info script]]] plot.tcl]
load [file join $libraries libkdi_iptasks.so]
if {[catch { ducddcgen $name 0 } report]} {
  puts stderr [string trim $report]
  exit 1
}
file mkdir $folder

# A list of the report, bracket groups and all, as the values of all stages.
proc stage_values {report label} {
  if {![regexp -line "^$label *: (.*)\$" $report -> text]} { error "no $label in the report" }
  lmap value [split [string map {\[ , \] ,} $text] ,] { if {$value eq ""} continue; set value }
}
proc coefficients {text} {
  lmap number [split [string map {; ,} [string range $text [string first "=" $text 13]+1 end]] ,] {
    set number [string trim $number]
    if {$number eq ""} continue
    set number
  }
}
# Amplitude of a symmetric filter at a frequency in cycles per sample.
proc amplitude {taps frequency} {
  set centre [expr {[llength $taps] / 2}]
  set sum [lindex $taps $centre]
  for {set k 1} {$k <= $centre} {incr k} {
    set sum [expr {$sum + 2 * [lindex $taps $centre+$k] * cos(6.283185307179586 * $k * $frequency)}]
  }
  return $sum
}

set rates {30 30.72 46 46.08 61 61.44 76 76.8 92 92.16 122 122.88 153 153.6 184 184.32 245 245.76}
regexp {_frf(\d+)_} $name -> frf
set rate [dict get $rates $frf]
set steps [stage_values $report STEPS]
foreach {tail selector} {.cfg 0 .rsrc -1} { plot::write [file join $folder $name$tail] [ducddcgen $name $selector] }
set stages {}
for {set s 1} {$s <= [llength $steps]} {incr s} {
  set text [ducddcgen $name $s]
  plot::write [file join $folder ${name}_s$s.coe] $text
  lappend stages [list $rate [coefficients $text]]
  set rate [expr {$rate / double([lindex $steps $s-1])}]
}

set colours {#1b6ca8 #c05621 #2f855a #805ad5 #b83280 #718096 #975a16 #2c7a7b}
set top [lindex $stages 0 0]
set points 1200
set floor -120
set curves {}
set whole [lrepeat [expr {$points + 1}] 1.0]
set number 0
foreach stage $stages colour [lrange $colours 0 [llength $stages]-1] step $steps {
  lassign $stage stageRate taps
  set own {}
  for {set i 0} {$i <= $points} {incr i} {
    set frequency [expr {$top / 2 * $i / $points}]
    set gain [expr {abs([amplitude $taps [expr {$frequency / $stageRate}]])}]
    if {$frequency <= $stageRate / 2} { lappend own $frequency [plot::decibels $gain $floor] }
    lset whole $i [expr {[lindex $whole $i] * $gain}]
  }
  incr number
  lappend curves [list "$number: [llength $taps] taps[expr {$step > 1 ? ", rate / $step" : ""}]" $colour $own]
}
set all {}
for {set i 0} {$i <= $points} {incr i} {
  lappend all [expr {$top / 2 * $i / $points}] [plot::decibels [lindex $whole $i] $floor]
}
lappend curves [list "all stages" #111111 $all]
set picture [file join $folder $name.svg]
plot::write $picture [plot::svg $name "frequency at the radio side, MHz" "gain, dB" \
  [list 0 [expr {$top / 2}] [expr {$top > 100 ? 10 : 5}]] [list $floor 10 10] $curves]
puts [string trimright $report]
puts "files and picture: $picture"
