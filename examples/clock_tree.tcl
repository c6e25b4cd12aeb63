# Clocks from one input: the settings as a table and the clock tree as a picture.
#
#   tclsh clock_tree.tcl ?LIB_DIR? OUT.svg ?PART? ?INPUT_MHZ OUTPUT_MHZ ...?
#
# asks for as few clock primitives as can make the outputs, by default five from 100 MHz on the part below.
namespace eval clocks {
  variable part brvn3716-die-2LHP-e-S-es1
  variable inputWidth 130 primitiveWidth 200 outputWidth 300 rowHeight 48 gap 26 left 24

  # The dictionary of the command, or an error with the engine's words.
  proc instances {input outputs} {
    variable part
    set result [Ip_Clocking_Get_ClkInst -part $part -output_freq $outputs -input_freq $input]
    # in place of a dictionary the command may return the reason why there is none
    if {[catch { dict get $result instances }]} { error $result }
    return $result
  }

  proc table {result} {
    set lines [list [format "%-10s %10s %5s %10s  %-6s %10s %10s %8s %9s" primitive M D "VCO MHz" divide "MHz" "asked" "ppm" "jitter ps"]]
    foreach instance [dict get $result instances] {
      set head [format "%-10s %10s %5s %10.3f" [dict get $instance primitive] [dict get $instance m] \
        [dict get $instance d] [dict get $instance vco]]
      foreach output [dict get $instance outputs] {
        dict with output {
          lappend lines [format "%s  %-6s %10s %10s %8s %9s" $head $divide $frequency $requested $error_ppm $jitter]
        }
        set head [string repeat { } 38]
      }
    }
    lappend lines [count $result]
    join $lines \n
  }

  # How many primitives it takes, of how many.
  proc count {result} {
    dict with result {
      if {$count <= $available} { return "$count of $available primitives; at least $at_least needed" }
      return "$count primitives, and the part has $available; at least $at_least needed"
    }
  }

  proc text {x y anchor words {size 13}} {
    format {<text x="%g" y="%g" text-anchor="%s" font-size="%g">%s</text>} $x $y $anchor $size [plot::escape $words]
  }
  proc box {x y width height colour} {
    format {<rect x="%g" y="%g" width="%g" height="%g" rx="4" fill="%s" stroke="#444"/>} $x $y $width $height $colour
  }
  proc wire {x0 y0 x1 y1} {
    set middle [expr {($x0 + $x1) / 2.0}]
    format {<path d="M%g %g H%g V%g H%g" fill="none" stroke="#666" stroke-width="1.4"/>} $x0 $y0 $middle $y1 $x1
  }

  # What an output is, and what it was to be, in two lines; and whether it is that.
  proc told output {
    dict with output {
      set is_exact [expr {$error_ppm == 0}]
      list "$index: $frequency MHz" \
        "wanted $requested, [expr {$is_exact ? "exact" : "$error_ppm ppm off"}]; jitter [format %.1f $jitter] ps" $is_exact
    }
  }

  # The input on the left, primitives in the middle, each output of theirs on the right.
  proc svg {result input} {
    variable part; variable inputWidth; variable primitiveWidth; variable outputWidth; variable rowHeight; variable gap
    variable left
    set primitiveX [expr {$left + $inputWidth + 60}]
    set outputX [expr {$primitiveX + $primitiveWidth + 90}]
    set width [expr {$outputX + $outputWidth + $left}]
    set heading [list [text $left 28 start "Clocks from $input MHz on $part" 16] \
      [text $left 46 start "[count $result]. Blue is exact, yellow is not."]]
    set shapes {}
    set middles {}
    set y 66
    foreach instance [dict get $result instances] {
      set outputs [dict get $instance outputs]
      set height [expr {max([llength $outputs] * $rowHeight, 44)}]
      set middle [expr {$y + $height / 2.0}]
      lappend middles $middle
      lappend shapes [box $primitiveX $y $primitiveWidth $height #d6e6c3] \
        [text [expr {$primitiveX + $primitiveWidth / 2}] [expr {$middle - 4}] middle \
          "[dict get $instance primitive]: M [dict get $instance m], D [dict get $instance d]"] \
        [text [expr {$primitiveX + $primitiveWidth / 2}] [expr {$middle + 14}] middle "VCO [dict get $instance vco] MHz" 12]
      set row 0
      foreach output $outputs {
        lassign [told $output] first second is_exact
        set line [expr {$y + ($row + 0.5) * $height / [llength $outputs]}]
        lappend shapes [wire [expr {$primitiveX + $primitiveWidth}] $line $outputX $line] \
          [text [expr {$primitiveX + $primitiveWidth + 45}] [expr {$line - 5}] middle "/ [dict get $output divide]" 12] \
          [box $outputX [expr {$line - 20}] $outputWidth 40 [expr {$is_exact ? "#c9dff2" : "#f5e3a8"}]] \
          [text [expr {$outputX + 10}] [expr {$line - 4}] start $first] \
          [text [expr {$outputX + 10}] [expr {$line + 13}] start $second 12]
        incr row
      }
      set y [expr {$y + $height + $gap}]
    }
    set inputY [expr {([lindex $middles 0] + [lindex $middles end]) / 2.0}]
    foreach middle $middles { lappend shapes [wire [expr {$left + $inputWidth}] $inputY $primitiveX $middle] }
    lappend shapes [box $left [expr {$inputY - 18}] $inputWidth 36 #eee] \
      [text [expr {$left + $inputWidth / 2}] [expr {$inputY + 5}] middle "input: $input MHz"]
    set notes {}
    foreach line [plot::lines "Limits are those of the part's speed grade, at all its temperatures. Jitter is peak to peak, of an\
        input without any: a model, not measured." 12 [expr {$width - 2 * $left}]] {
      lappend notes [text $left $y start $line 12]
      incr y 16
    }
    return "[plot::opening $width [expr {$y + 4}] 14][join [concat $heading $shapes $notes] \n]
</svg>\n"
  }
}

source [file join [file dirname [file normalize [info script]]] libraries.tcl]
set libraries [libraries::folder]
set words [lassign $argv picture]
if {$words ne "" && ![string is double -strict [lindex $words 0]]} { set words [lassign $words clocks::part] }
if {$picture eq "" || [llength $words] == 1} {
  puts stderr "usage: tclsh clock_tree.tcl ?LIB_DIR? OUT.svg ?PART? ?INPUT_MHZ OUTPUT_MHZ ...?"
  exit 2
}
set outputs [lassign $words input]
if {$words eq ""} {
  set input 100
  set outputs {200 125 74.25 50 33.333}
}
source [file join [file dirname [file normalize [info script]]] plot.tcl]
load [file join $libraries libkdi_iptasks.so]
try {
  set result [clocks::instances $input $outputs]
} on error text {
  puts stderr [string trim $text]
  exit 1
}
plot::write $picture [clocks::svg $result $input]
puts [clocks::table $result]
puts "picture: $picture"
