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

# Each line at once, for the rest may take a moment.
proc say line {
  puts $line
  flush stdout
}

proc show_setting setting {
  set jitter [dict get [lindex [dict get $setting outputs] 0] jitter]
  dict with setting {
    say [format "  %s: M %s, D %s, VCO %s MHz, jitter %s ps" $primitive $m $d $vco $jitter]
    foreach output $outputs {
      say [format "  %12s MHz for %12s, %10s ppm, divider %s" [dict get $output frequency] \
        [dict get $output requested] [dict get $output error_ppm] [dict get $output divide]]
    }
  }
}

proc in_words count {
  set words {no one two three four five six seven eight nine}
  expr {$count < [llength $words] ? [lindex $words $count] : $count}
}

# The fewest primitives, or nothing: each has one input, and makes its clocks in any order. Where the tolerance is too
# tight for clocks on primitives of their own, as near as those come.
proc fewest {} {
  if {[dict exists $::question second_input] || [dict exists $::question phy]} return
  set several [dict remove $::question order jitter_ps jitter_ui]
  if {![catch { clocktools::fewest {*}$several } fewest]} { return $fewest }
  if {![catch { clocktools::fewest {*}[dict remove $several tolerance] } fewest]} { return $fewest }
}

# What would do as it is, and is nearer than `ppm`: the same clocks in another order, or on more primitives.
proc show_ways {answer ppm} {
  if {[dict exists $answer order]} {
    say "In the order {[dict get $answer order]} one would do, off by [dict get $answer order_ppm] ppm."
  }
  set fewest [fewest]
  if {$fewest eq "" || [dict get $fewest count] < 2} return
  set worst 0.0
  set groups {}
  foreach instance [dict get $fewest instances] {
    set name [dict get $instance primitive]
    lappend groups [lmap output [dict get $instance outputs] {
      set worst [expr {max($worst, [dict get $output error_ppm])}]
      dict get $output requested
    }]
  }
  if {$worst >= $ppm} return
  say "[string totitle [in_words [dict get $fewest count]]] ${name}s would do, off by [format %.3f $worst] ppm at\
    most: $groups; the part has [dict get $fewest available]."
  # Fewer at the price of an error, as long as that is less than a single one's.
  set several [dict remove $::question order jitter_ps jitter_ui tolerance]
  for {set fewer [expr {[dict get $fewest count] - 1}]} {$fewer >= 2} {incr fewer -1} {
    if {[catch { dict get [clocktools::fewest {*}$several at_most $fewer] tolerance_ppm } least] || $least >= $ppm} return
    say "[string totitle [in_words $fewer]] would do within $least ppm."
  }
}

if {[catch { clocktools::setting {*}$question } answer]} {
  puts stderr $answer
  exit 1
}
if {[dict exists $answer setting]} {
  set setting [dict get $answer setting]
  set ppm [tcl::mathfunc::max {*}[lmap output [dict get $setting outputs] { dict get $output error_ppm }]]
  if {$ppm > 0} { show_ways $answer $ppm }
  say "The best setting:"
  show_setting $setting
} else {
  say "There is no setting."
  show_ways $answer Inf
  say "What would have to give way together:"
  foreach limit [dict get $answer limits] {
    set line "  [dict get $limit limit]"
    if {[dict exists $limit unit]} {
      append line [format ": %s to %s would have to be %s to %s %s" {*}[dict get $limit now] \
        {*}[dict get $limit needed] [dict get $limit unit]]
    }
    say $line
  }
  if {[dict exists $answer nearest]} {
    say "The nearest without tolerances, off by [dict get $answer nearest_ppm] ppm:"
    show_setting [dict get $answer nearest]
  }
  set inputs [dict get $answer exact_inputs]
  say [expr {$inputs eq "" ? "Exact from: none" : "Exact from: [join $inputs {, }] MHz"}]
}

# Of all settings that no other one beats, those of least jitter and of least power for each bound on the error.
proc figures rival {
  set setting [dict get $rival setting]
  list [dict get $rival error_ppm] [dict get [lindex [dict get $setting outputs] 0] jitter] \
    [expr {[dict exists $setting power] ? [dict get $setting power] : 0}]
}

# The lines of a bound, but for those that a smaller bound had already.
proc show_rivals rivals {
  set said {}
  foreach bound [concat [lindex $rivals 0 0] {1 10 100 1000}] {
    if {$bound < [lindex $rivals 0 0]} continue
    set within [lmap rival $rivals { expr {[lindex $rival 0] <= $bound ? $rival : [continue]} }]
    foreach {figure at} {jitter 1 power 2} {
      set best [lindex [lsort -real -index $at [lsort -real -index 0 $within]] 0]
      if {[list $figure $best] in $said} continue
      lappend said [list $figure $best]
      lassign $best error jitter power rival
      set setting [dict get $rival setting]
      say [format "%10s ppm, least %s: %s ppm, %s ps, %.1f mW with M %s, D %s, VCO %s MHz" $bound $figure $error \
        $jitter [expr {1000 * $power}] [dict get $setting m] [dict get $setting d] [dict get $setting vco]]
    }
  }
}

# Beyond this error nobody compares jitter; within it, the front has few settings that people can read.
set within [expr {[dict exists $answer setting] ? 1000 : 0}]
if {$within && ![dict exists $question tolerance]} { dict set question tolerance $within }
if {$within} {
  say "Looking at what can be traded for less jitter or power ..."
  set rivals [lmap rival [clocktools::trade_offs {*}$question] { list {*}[figures $rival] $rival }]
  if {[llength $rivals] > 1} {
    say "No other setting beats these in error, jitter and power; for errors of at most"
    show_rivals $rivals
  } else {
    say "None: no setting within [dict get $question tolerance] ppm has less of either."
  }
}
