# What can be made of an input clock: the best setting and its rivals, or why there is none and what would help.
#
#   tclsh clock_advice.tcl ?LIB_DIR? PART INPUT OUTPUTS ?NAME VALUE ...?
#
# INPUT is a frequency in MHz, OUTPUTS a list of them. The further words are those of clocktools::setting, such as
# `tolerance 10` or `primitive PLL`.
source [file join [file dirname [file normalize [info script]]] libraries.tcl]
set libraries [libraries::folder]
if {[llength $argv] < 3 || [llength $argv] % 2 == 0} {
  puts stderr "usage: tclsh clock_advice.tcl ?LIB_DIR? PART INPUT OUTPUTS ?NAME VALUE ...?"
  exit 2
}
set words [lassign $argv part input outputs]
load [file join $libraries libkdi_clocktools.so]
set question [list part $part input $input outputs $outputs {*}$words]

proc show_setting setting {
  dict with setting {
    puts [format "  %s: M %s, D %s, VCO %s MHz" $primitive $m $d $vco]
    foreach output $outputs {
      puts [format "  %12s MHz for %12s, %10s ppm, divider %s" [dict get $output frequency] \
        [dict get $output requested] [dict get $output error_ppm] [dict get $output divide]]
    }
  }
}

if {[catch { clocktools::setting {*}$question } answer]} {
  puts stderr $answer
  exit 1
}
if {[dict exists $answer setting]} {
  puts "The best setting:"
  show_setting [dict get $answer setting]
} else {
  puts "There is no setting. What would have to give way together:"
  foreach limit [dict get $answer limits] {
    puts -nonewline "  [dict get $limit limit]"
    if {[dict exists $limit unit]} {
      puts -nonewline [format ": %s to %s would have to be %s to %s %s" {*}[dict get $limit now] \
        {*}[dict get $limit needed] [dict get $limit unit]]
    }
    puts ""
  }
  if {[dict exists $answer nearest]} {
    puts "The nearest without tolerances, off by [dict get $answer nearest_ppm] ppm:"
    show_setting [dict get $answer nearest]
  }
  if {[dict get $answer exact_inputs] ne ""} { puts "Exact from: [join [dict get $answer exact_inputs] {, }] MHz" }
}

# Of all settings that no other one beats, those of least jitter and of least power for each bound on the error.
proc figures rival {
  set setting [dict get $rival setting]
  list [dict get $rival error_ppm] [tcl::mathfunc::max {*}[lmap output [dict get $setting outputs] {
    dict get $output jitter
  }]] [expr {[dict exists $setting power] ? [dict get $setting power] : 0}]
}
set rivals [lmap rival [clocktools::trade_offs {*}$question] { list {*}[figures $rival] $rival }]
if {[llength $rivals] > 1} {
  puts "[llength $rivals] settings are beaten by no other one in error, jitter and power. Among them, for errors of at most"
  foreach bound [concat [lindex $rivals 0 0] {1 10 100 1000}] {
    if {$bound < [lindex $rivals 0 0]} continue
    set within [lmap rival $rivals { expr {[lindex $rival 0] <= $bound ? $rival : [continue]} }]
    foreach {figure at} {jitter 1 power 2} {
      lassign [lindex [lsort -real -index $at $within] 0] error jitter power rival
      set setting [dict get $rival setting]
      puts [format "%10s ppm, least %s: %s ppm, %s ps, %.1f mW with M %s, D %s, VCO %s MHz" $bound $figure $error \
        $jitter [expr {1000 * $power}] [dict get $setting m] [dict get $setting d] [dict get $setting vco]]
    }
  }
}
