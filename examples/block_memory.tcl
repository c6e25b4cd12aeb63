# A block memory: its figures, and a drawing of its tiling.
#
#   tclsh block_memory.tcl ?LIB_DIR? OUT.svg name value ?name value ...?
#
# for example
#
#   tclsh block_memory.tcl memory.svg type single_port_ram width_a 40 depth_a 3000 primitives 18
#
# The names and values are those of the block memory commands. VERSION below picks the set of commands.
source [file join [file dirname [file normalize [info script]]] plot.tcl]

namespace eval bmg {
  variable version v8_4
  # Up to so many primitives are drawn one by one; a larger grid is drawn as a whole.
  variable mostTiles 2000
  # By size, and the wider the shape the fuller.
  variable colours {9 #f2bf4e 18 #6fb193 36 #6a90cc}
  variable shades {1 0.25 2 0.35 4 0.45 9 0.6 18 0.75 36 0.9 72 1}

  # The five figures of the memory that `words` describe, as a dictionary.
  proc figures {words} {
    variable version
    foreach name {num_prims_9 num_prims_18 num_prims_36 mux_size power_report} {
      set value [Ip_blk_mem_gen_${version}_placement_algo_$name {*}$words]
      if {$value < 0} { error "the memory cannot be tiled: code $value" }
      dict set figures $name $value
    }
    return $figures
  }

  proc escape {text} { string map {& &amp; < &lt; > &gt; \" &quot;} $text }

  # How a shape (4096x4) of some kilobits is filled.
  proc fill {kilobits shape} {
    variable colours
    variable shades
    set width [lindex [split $shape x] 1]
    return [format {fill="%s" fill-opacity="%s"} \
      [expr {[dict exists $colours $kilobits] ? [dict get $colours $kilobits] : "#cccccc"}] \
      [expr {[dict exists $shades $width] ? [dict get $shades $width] : 1}]]
  }

  proc rect {x y width height fill text} {
    format {<rect x="%.2f" y="%.2f" width="%.2f" height="%.2f" %s stroke="#444" stroke-width="0.6"><title>%s</title></rect>} \
      $x $y $width $height $fill [escape $text]
  }

  # The name of a shape on its rectangle, where there is room for it.
  proc label {x y width height text} {
    if {$height < 20 || $width < 8 * [string length $text] + 8} return
    format {<text x="%.2f" y="%.2f" text-anchor="middle" pointer-events="none">%s</text>} \
      [expr {$x + $width / 2}] [expr {$y + $height / 2 + 5}] [escape $text]
  }

  # A text in lines of about a hundred characters.
  proc broken {text} {
    set lines {{}}
    foreach word $text {
      if {[string length "[lindex $lines end] $word"] > 100} { lappend lines {} }
      lset lines end [string trimleft "[lindex $lines end] $word"]
    }
    return $lines
  }

  # A drawing of `tiling` (bmgtools::tiling): bits from left to right, rows from top to bottom; `notes` stand at its foot.
  proc svg {tiling title notes} {
    variable mostTiles
    set left 70
    set top 60
    set across [expr {820.0 / [dict get $tiling width]}]
    set down [expr {520.0 / [dict get $tiling depth]}]
    set shapes {}
    set legend {}
    foreach run [dict get $tiling runs] {
      dict with run {
        set fill [fill $kilobits $shape]
        set depth [lindex [split $shape x] 0]
        set lastBit [expr {$first_bit + $bits}]
        set lastRow [expr {$first_row + $rows}]
        set name "${shape}, $kilobits kilobits"
        dict incr legend $name [expr {$columns * $stack}]
        set stepBits $column_bits
        set stepRows $depth
        set label $shape
        if {$columns * $stack > $mostTiles} {
          set stepBits $bits
          set stepRows $rows
          set label "$columns x $stack of $shape"
          set name "$columns x $stack of $name"
        }
        for {set bit $first_bit} {$bit < $lastBit} {incr bit $stepBits} {
          set endBit [expr {min($bit + $stepBits, $lastBit)}]
          for {set row $first_row} {$row < $lastRow} {incr row $stepRows} {
            set endRow [expr {min($row + $stepRows, $lastRow)}]
            set place [list [expr {$left + $bit * $across}] [expr {$top + $row * $down}] \
              [expr {($endBit - $bit) * $across}] [expr {($endRow - $row) * $down}]]
            lappend shapes [rect {*}$place $fill \
              "$name: bits $bit to [expr {$endBit - 1}], rows $row to [expr {$endRow - 1}]"]
            if {[set text [label {*}$place $label]] ne ""} { lappend shapes $text }
          }
        }
      }
    }
    set lines {}
    dict for {name count} $legend {
      set size [lindex [split [lindex [split $name ,] 1]] 1]
      set y [expr {$top + 560 + 22 * [llength $lines]}]
      lappend lines "[rect $left $y 14 14 [fill $size [lindex [split $name ,] 0]] $name]<text x=\"[expr {$left + 22}]\" y=\"[expr {$y + 12}]\">$count of $name</text>"
    }
    set y [expr {$top + 575 + 22 * [llength $lines]}]
    foreach note $notes {
      foreach line [broken $note] {
        lappend lines "<text x=\"$left\" y=\"[incr y 18]\" fill=\"#4a5568\">[escape $line]</text>"
      }
    }
    set height [expr {$y + 14}]
    set bits [dict get $tiling width]
    set rows [dict get $tiling depth]
    join [list \
      [string trimright [plot::opening 920 $height 14]] \
      "<text x=\"$left\" y=\"28\" font-size=\"17\">[escape $title]</text>" \
      "<text x=\"$left\" y=\"50\">bit 0</text><text x=\"890\" y=\"50\" text-anchor=\"end\">bit [expr {$bits - 1}]</text>" \
      "<text x=\"[expr {$left - 8}]\" y=\"[expr {$top + 12}]\" text-anchor=\"end\">row 0</text>" \
      "<text x=\"[expr {$left - 8}]\" y=\"[expr {$top + 520}]\" text-anchor=\"end\">[expr {$rows - 1}]</text>" \
      {*}$shapes {*}$lines </svg>] \n
  }
}

if {[info exists argv0] && [file normalize [info script]] eq [file normalize $argv0]} {
  source [file join [file dirname [file normalize [info script]]] libraries.tcl]
  set libraries [libraries::folder]
  if {[llength $argv] < 3} {
    puts stderr "usage: tclsh block_memory.tcl ?LIB_DIR? OUT.svg name value ?name value ...?"
    exit 2
  }
  set words [lassign $argv output]
  load [file join $libraries libkdi_iptasks.so]
  load [file join $libraries libkdi_bmgtools.so]
  try {
    set figures [bmg::figures $words]
    set file [open $output w]
  } on error text {
    puts stderr $text
    exit 1
  }
  dict for {name value} $figures { puts [format "%-14s %d" $name $value] }
  puts $file [bmg::svg [bmgtools::tiling $bmg::version {*}$words] \
    "Block memory: [tcl::mathop::+ {*}[lrange [dict values $figures] 0 2]] primitives, multiplexer of [dict get $figures mux_size] inputs, [dict get $figures power_report] mW" \
    [list "of $words" "Power is a model's, at the clock of all ports (100 MHz unless given): not measured."]]
  close $file
  puts "drawing: $output"
}
