# Clocks from one input: the settings as a table and the clock tree as a picture.
#
#   tclsh clock_tree.tcl ?LIB_DIR? OUT.svg ?INPUT_MHZ OUTPUT_MHZ ...?
#
# asks for as few clock primitives as can make the outputs, by default five from 100 MHz. The part is below.
namespace eval clocks {
  variable part brvn3716-die-2LHP-e-S-es1
  variable boxWidth 230 rowHeight 30 gap 26 left 30 top 60

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
    lappend lines "[dict get $result count] of [dict get $result available] primitives; at least [dict get $result at_least] needed"
    join $lines \n
  }

  proc text {x y anchor words {size 12}} {
    format {<text x="%g" y="%g" text-anchor="%s" font-size="%g">%s</text>} $x $y $anchor $size \
      [string map {& &amp; < &lt; > &gt;} $words]
  }
  proc box {x y width height colour} {
    format {<rect x="%g" y="%g" width="%g" height="%g" rx="4" fill="%s" stroke="#444"/>} $x $y $width $height $colour
  }
  proc wire {x0 y0 x1 y1} {
    set middle [expr {($x0 + $x1) / 2.0}]
    format {<path d="M%g %g H%g V%g H%g" fill="none" stroke="#666" stroke-width="1.4"/>} $x0 $y0 $middle $y1 $x1
  }

  # The input on the left, primitives in the middle, each output of theirs on the right.
  proc svg {result input} {
    variable boxWidth; variable rowHeight; variable gap; variable left; variable top
    set primitiveX [expr {$left + $boxWidth + 90}]
    set outputX [expr {$primitiveX + $boxWidth + 90}]
    set shapes {}
    set middles {}
    set y $top
    foreach instance [dict get $result instances] {
      set outputs [dict get $instance outputs]
      set height [expr {max([llength $outputs], 2) * $rowHeight}]
      set middle [expr {$y + $height / 2.0}]
      lappend middles $middle
      lappend shapes [box $primitiveX $y $boxWidth $height #d6e6c3] \
        [text [expr {$primitiveX + $boxWidth / 2}] [expr {$middle - 4}] middle \
          "[dict get $instance primitive]: M [dict get $instance m], D [dict get $instance d]"] \
        [text [expr {$primitiveX + $boxWidth / 2}] [expr {$middle + 12}] middle "VCO [dict get $instance vco] MHz" 11]
      set row 0
      foreach output $outputs {
        set line [expr {$y + ($row + 0.5) * $height / [llength $outputs]}]
        lappend shapes [wire [expr {$primitiveX + $boxWidth}] $line $outputX $line] \
          [text [expr {$primitiveX + $boxWidth + 45}] [expr {$line - 4}] middle "/ [dict get $output divide]" 11] \
          [box $outputX [expr {$line - 11}] $boxWidth 22 [expr {[dict get $output error_ppm] == 0 ? "#c9dff2" : "#f5d9b8"}]] \
          [text [expr {$outputX + $boxWidth / 2}] [expr {$line + 4}] middle \
            "[dict get $output index]: [dict get $output frequency] MHz[expr {[dict get $output error_ppm] == 0 ? "" : " ([dict get $output error_ppm] ppm)"}]"]
        incr row
      }
      set y [expr {$y + $height + $gap}]
    }
    set inputY [expr {([lindex $middles 0] + [lindex $middles end]) / 2.0}]
    foreach middle $middles { lappend shapes [wire [expr {$left + $boxWidth}] $inputY $primitiveX $middle] }
    lappend shapes [box $left [expr {$inputY - 18}] $boxWidth 36 #eee] \
      [text [expr {$left + $boxWidth / 2}] [expr {$inputY + 4}] middle "input: $input MHz"]
    set width [expr {$outputX + $boxWidth + $left}]
    return "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 $width $y\" font-family=\"sans-serif\">
<rect width=\"$width\" height=\"$y\" fill=\"white\"/>
[text $left 28 start "Clocks from $input MHz" 15]
[join $shapes \n]
</svg>\n"
  }
}

source [file join [file dirname [file normalize [info script]]] libraries.tcl]
set libraries [libraries::folder]
if {[llength $argv] < 1 || [llength $argv] == 2} {
  puts stderr "usage: tclsh clock_tree.tcl ?LIB_DIR? OUT.svg ?INPUT_MHZ OUTPUT_MHZ ...?"
  exit 2
}
set outputs [lassign $argv picture input]
if {$outputs eq ""} {
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
