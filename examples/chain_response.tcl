# Files and picture of an up- or down-converter chain: tclsh chain_response.tcl ?LIB_DIR? OUT_DIR ?CONFIGURATION?
# Writes the configuration's .cfg, .rsrc and .coe files and <configuration>.svg: the response of each stage at the rate
# where it runs, and that of all stages one after the other, for a carrier in the middle of the band; below that the edges of
# its pass- and stop-band, with the limits by which the chain is designed.
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
libraries::told { file mkdir $folder }

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

# What the chain is designed for (data/ducddc/rules.json): by the channel's width the edges of its bands in MHz, and the
# largest errors of the channel filter, over whose pass-band those of the rate changes add up, and of a rate change's images.
set edges {1 {0.54 1.4} 2 {0.9 2} 3 {1.35 3} 4 {1.8 4} 5 {2.25 5} 6 {2.7 6} 8 {3.6 8} 10 {4.5 10} 15 {6.75 15} 20 {9 20}}
set stop_per_width 0.5412
set channel_error 2.23872e-4
set change_error 2.81838e-4
regexp {_chbw(\d+)_C(\d+)_} $name -> width carriers
lassign [dict get $edges $width] pass channel
set stop [expr {$stop_per_width * $channel}]
set share [expr {1 / sqrt($carriers)}]
set pass_limit [expr {$share * ($channel_error + ([llength $stages] - 1) * $change_error)}]
set stop_limit [expr {$share * $channel_error}]

# The gain of all stages at a frequency in MHz.
proc chain_gain {stages frequency} {
  set gain 1.0
  foreach stage $stages {
    lassign $stage rate taps
    set gain [expr {$gain * abs([amplitude $taps [expr {$frequency / $rate}]])}]
  }
  return $gain
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

# The channel's own band, from its middle to where the channel filter's rate repeats it, finer than above.
set base [expr {[lindex $stages end 0] / 2}]
set finer 600
set near {}
set worst_pass 0
set worst_stop 0
for {set i 0} {$i <= $finer} {incr i} {
  set frequency [expr {$base * $i / $finer}]
  set gain [chain_gain $stages $frequency]
  lappend near $frequency [plot::decibels $gain $floor]
  if {$frequency >= $stop} { set worst_stop [expr {max($worst_stop, $gain)}] }
}
set pass_curve {}
for {set i 0} {$i <= $finer} {incr i} {
  set frequency [expr {$pass * $i / $finer}]
  set gain [chain_gain $stages $frequency]
  set worst_pass [expr {max($worst_pass, abs($gain - 1))}]
  lappend pass_curve $frequency [plot::decibels $gain $floor]
}
proc in_decibels error { expr {20 * log10(1 + $error)} }
set pass_decibels [in_decibels $pass_limit]
set stop_decibels [expr {20 * log10($stop_limit)}]
set wanted [list \
  [format "pass-band to %g MHz: wanted within %.4f dB, reached %.4f dB" $pass $pass_decibels [in_decibels $worst_pass]] \
  [format "stop-band from %.5g to %.5g MHz: wanted %.1f dB, reached %.1f dB" $stop $base $stop_decibels \
    [plot::decibels $worst_stop -400]]]
set marks [list [list $pass "pass $pass"] [list $stop [format "stop %.4g" $stop]]]
set note "Computed from the quantised coefficients of the catalogue; no figure is measured. Wanted is what the filters are\
  designed for before their coefficients are rounded: reached may miss it by as much as rounding takes."
set picture [file join $folder $name.svg]
set half [expr {1.6 * $pass_decibels}]
set fine [plot::step [expr {2 * $half}] 8]
set half [expr {ceil($half / $fine) * $fine}]
plot::write $picture [plot::stack [list \
  [plot::svg "[expr {[string match duc_* $name] ? "Up" : "Down"}]-converter $name" "frequency at the radio side, MHz" "gain, dB" [list 0 [expr {$top / 2}] [plot::step [expr {$top / 2}]]] \
    [list $floor 10 10] $curves -about $wanted -marks $marks -limits [list [list $stop $base $stop_decibels]]] \
  [plot::svg "All stages, in the channel's band" "frequency from the carrier, MHz" "gain, dB" \
    [list 0 $base [plot::step $base]] [list $floor 10 10] [list [list "all stages" #111111 $near]] -marks $marks \
    -limits [list [list $stop $base $stop_decibels]]] \
  [plot::svg "All stages, in the pass-band" "frequency from the carrier, MHz" "gain, dB" \
    [list 0 $pass [plot::step $pass]] [list [expr {-$half}] $half $fine] [list [list "all stages" #111111 $pass_curve]] \
    -limits [list [list 0 $pass $pass_decibels] [list 0 $pass [expr {-$pass_decibels}]]] -note $note]]]
puts [string trimright $report]
puts [join $wanted \n]
puts "files and picture: $picture"
