# Transceiver lanes in quads: which oscillator to take, the settings of each lane, pins and clocks as constraints, and
# the first quad as a picture.
#
#   tclsh transceiver_quad.tcl ?LIB_DIR? KIND PART LANES OSCILLATORS ?FILE.svg?
#
# PART may be empty. LANES is a list of names, rates in Gb/s and modulations (`TX0 10.3125 NRZ TX1 25.78125 NRZ`),
# OSCILLATORS a list of what the board may have, in MHz. One oscillator for all lanes is looked for first; where none gives
# all rates exactly, each lane takes its best one.
#
#   tclsh transceiver_quad.tcl GTYP '' 'TX0 10.3125 NRZ TX1 25.78125 NRZ' '100 156.25' quad.svg
#   tclsh transceiver_quad.tcl GTM '' 'TX0 53.125 PAM4' 156.25 quad.svg
#   tclsh transceiver_quad.tcl GTME5 '' 'TX0 106.25 PAM4' 156.25 quad.svg
source [file join [file dirname [file normalize [info script]]] libraries.tcl]
set libraries [libraries::folder]
if {[llength $argv] ni {4 5} || [llength [lindex $argv 2]] % 3 != 0} {
  puts stderr "usage: tclsh transceiver_quad.tcl ?LIB_DIR? KIND PART LANES OSCILLATORS ?FILE.svg?"
  exit 2
}
lassign $argv kind part lanes oscillators file
load [file join $libraries libkdi_iptasks.so]
load [file join $libraries libkdi_gttools.so]
set about [list -kind $kind {*}[expr {$part eq "" ? {} : [list -part $part]}]]

# For each lane what each oscillator can do, and which in stock would.
set exact_for_all $oscillators
if {[catch {
  foreach {name rate modulation} $lanes {
    set answer [gttools::choose $rate $oscillators {*}$about -modulation $modulation]
    puts "$name, $rate Gb/s $modulation:"
    foreach choice [dict get $answer choices] {
      if {![dict get $choice exact]} {
        set mhz [dict get $choice mhz]
        set exact_for_all [lmap one $exact_for_all { expr {$one == $mhz ? [continue] : $one} }]
      }
      dict with choice {
        if {$best eq ""} { puts [format "  %8s MHz: %s" $mhz $reason]; continue }
        set fraction [expr {[dict get $best K] == 0 ? "" : " + a fraction"}]
        puts [format "  %8s MHz: %s by %s, M %s, N %s%s, D %s" $mhz \
          [expr {$exact ? "exact" : [format "off by %.3g ppm" $ppm]}] {*}[lmap key {pll M N} { dict get $best $key }] \
          $fraction [dict get $best D]]
        unset best
      }
    }
    set wanted($name) [dict get $answer best]
    puts "  in stock, exact: [join [lrange [dict get $answer stock] 0 4] {, }]"
  }

  # All lanes together.
  set settings {}
  set first [lindex $lanes 0]
  foreach {name rate modulation} $lanes {
    set reference $wanted($name)
    if {[llength $exact_for_all] > 0 && $wanted($first) ni $exact_for_all} { set reference [lindex $exact_for_all 0] }
    if {$wanted($first) in $exact_for_all} { set reference $wanted($first) }
    if {$reference eq ""} { error "$name: no oscillator will do" }
    dict set settings [string range $name 0 1] $name LR0_SETTINGS [list RATE $rate REFCLK $reference MODULATION $modulation]
  }
  set tx [expr {[dict exists $settings TX] ? [dict get $settings TX] : ""}]
  set rx [expr {[dict exists $settings RX] ? [dict get $settings RX] : ""}]
  set plan [gttools::lanes $tx $rx {*}$about]
} text]} {
  puts stderr $text
  exit 1
}
if {[dict get $plan quads] == 0} {
  puts stderr [dict get $plan reason]
  exit 1
}
puts "Quads: [dict get $plan quads]"
foreach about_lane [dict get $plan lanes] {
  dict with about_lane { puts "  $lane: quad $quad, channel $channel, $pll, VCO $vco_mhz MHz, clock out $output_mhz MHz" }
}
puts [join [dict get $plan constraints] \n]
if {$file ne ""} {
  set channel [open $file w]
  puts -nonewline $channel [gttools::picture $tx $rx {*}$about]
  close $channel
  puts "The first quad is drawn in $file"
}
