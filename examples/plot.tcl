# A small plotter: curves over a linear frequency axis, as SVG. Source it; it draws nothing by itself.
#
#   plot::svg TITLE XLABEL YLABEL XRANGE YRANGE CURVES ?OPTION VALUE ...?   -> the picture's text
#   plot::stack PICTURES                                                    -> pictures below each other as one
#   plot::opening WIDTH HEIGHT FONT_SIZE                                    -> how any picture begins
#
# A range is {low high step}, step being the distance of the grid lines (plot::step finds a round one). A fourth word `log`
# behind YRANGE says that y are logarithms to base ten: the grid then shows what they are of. CURVES is a list of
# {name colour points ?kind?}, points a list of x y x y ...; what is outside the y range is drawn at its edge. The kind is
# `line`, unless it is `points` or `crosses`: each by itself. Titles, texts and names are broken into lines that fit. Options:
#
#   -about TEXTS    what stands below the title
#   -marks MARKS    upright lines: a list of {x name}
#   -limits LIMITS  what a curve is to stay below or above: a list of {x0 x1 y}; drawn in red, and named "limit"
#   -lowest TEXT    what the lowest line of the grid is called
#   -note TEXT      stands at the foot: what the picture rests on
namespace eval plot {
  variable width 780 field 320 left 70 right 24 bottom 52
}

proc plot::escape {text} { string map {& &amp; < &lt; > &gt; \" &quot;} $text }

# About as wide as a text is in the widest of the usual fonts.
proc plot::extent {text size} { expr {0.57 * $size * [string length $text]} }

# The text in lines that are at most so wide.
proc plot::lines {text size room} {
  set lines {}
  set line {}
  foreach word [split $text] {
    if {$line ne "" && [extent "$line $word" $size] > $room} { lappend lines $line; set line $word; continue }
    set line [expr {$line eq "" ? $word : "$line $word"}]
  }
  lappend lines $line
}

# A round distance between grid lines, so that there are at most `most` of them.
proc plot::step {span {most 10}} {
  if {!($span > 0)} { error "a span is above 0" }
  set rough [expr {$span / double($most)}]
  set power [expr {10.0 ** floor(log10($rough))}]
  foreach factor {1 2 2.5 5 10} {
    if {$factor * $power >= $rough * (1 - 1e-9)} { return [expr {$factor * $power}] }
  }
}

# What the legend has: {kind name colour}.
proc plot::legend {curves limits} {
  set entries [lmap curve $curves {
    list [expr {[llength $curve] > 3 ? [lindex $curve 3] : "line"}] [lindex $curve 0] [lindex $curve 1]
  }]
  if {$limits ne ""} { lappend entries {limit limit #c53030} }
  return $entries
}

proc plot::sample {kind x y colour} {
  switch $kind {
    points - crosses { sign $kind [expr {$x + 9}] $y $colour }
    limit { format {<path d="M%g %g h18" stroke="%s" stroke-width="2" stroke-dasharray="5 3"/>} $x $y $colour }
    default { format {<path d="M%g %g h18" stroke="%s" stroke-width="3"/>} $x $y $colour }
  }
}

proc plot::sign {kind x y colour} {
  if {$kind eq "points"} { return "<circle cx=\"$x\" cy=\"$y\" r=\"2.6\" fill=\"$colour\"/>" }
  set from [format "%.1f %.1f" [expr {$x - 4}] [expr {$y - 4}]]
  return "<path d=\"M$from l8 8 m-8 0 l8 -8\" stroke=\"$colour\" stroke-width=\"1.2\"/>"
}

proc plot::svg {title xLabel yLabel xRange yRange curves args} {
  variable width; variable field; variable left; variable right; variable bottom
  set given [dict merge {-about {} -marks {} -limits {} -lowest {} -note {}} $args]
  if {[dict size $given] != 5} { error "an option of plot::svg is -about, -marks, -limits, -lowest or -note" }
  lassign $xRange x0 x1 xStep
  lassign $yRange y0 y1 yStep yKind
  if {$x1 <= $x0 || $y1 <= $y0 || $xStep <= 0 || $yStep <= 0} { error "a range is {low high step}, low below high" }
  set room [expr {$width - $left - $right}]
  set out {}
  set y 8
  foreach line [lines $title 16 $room] {
    set y [expr {$y + 20}]
    append out "<text x=\"$left\" y=\"$y\" font-size=\"16\">[escape $line]</text>\n"
  }
  foreach text [dict get $given -about] {
    foreach line [lines $text 13 $room] {
      set y [expr {$y + 17}]
      append out "<text x=\"$left\" y=\"$y\" fill=\"#4a5568\">[escape $line]</text>\n"
    }
  }
  set x $left
  set y [expr {$y + 20}]
  foreach entry [legend $curves [dict get $given -limits]] {
    lassign $entry kind name colour
    set wide [expr {24 + [extent $name 13] + 18}]
    if {$x > $left && $x + $wide - 18 > $width - $right} { set x $left; set y [expr {$y + 18}] }
    append out "[sample $kind $x [expr {$y - 4}] $colour]<text x=\"[expr {$x + 24}]\" y=\"$y\">[escape $name]</text>\n"
    set x [format %g [expr {round($x + $wide)}]]
  }
  set top [expr {$y + ([dict get $given -marks] eq "" ? 14 : 28)}]
  set base [expr {$top + $field}]
  set xScale [expr {$room / double($x1 - $x0)}]
  set yScale [expr {$field / double($y1 - $y0)}]
  for {set i 0} {$x0 + $i * $xStep <= $x1 + 1e-9 * ($x1 - $x0)} {incr i} {
    set value [expr {$x0 + $i * $xStep}]
    set x [format %.1f [expr {$left + ($value - $x0) * $xScale}]]
    append out "<path d=\"M$x $top V$base\" stroke=\"#ddd\"/><text x=\"$x\" y=\"[expr {$base + 18}]\" text-anchor=\"middle\">[format %g $value]</text>\n"
  }
  for {set i 0} {$y0 + $i * $yStep <= $y1 + 1e-9 * ($y1 - $y0)} {incr i} {
    set value [expr {$y0 + $i * $yStep}]
    if {abs($value) < 1e-9 * ($y1 - $y0)} { set value 0 }
    set y [format %.1f [expr {$base - ($value - $y0) * $yScale}]]
    set name [format %g [expr {$yKind eq "log" ? 10.0 ** $value : $value}]]
    if {$i == 0 && [dict get $given -lowest] ne ""} { set name [dict get $given -lowest] }
    append out "<path d=\"M$left $y H[expr {$width - $right}]\" stroke=\"#ddd\"/><text x=\"[expr {$left - 8}]\" y=\"[expr {$y + 4}]\" text-anchor=\"end\">[escape $name]</text>\n"
  }
  append out "<text x=\"[expr {($left + $width - $right) / 2}]\" y=\"[expr {$base + 40}]\" text-anchor=\"middle\">[escape $xLabel]</text>\n"
  append out "<text transform=\"translate(18 [expr {($top + $base) / 2}]) rotate(-90)\" text-anchor=\"middle\">[escape $yLabel]</text>\n"
  foreach curve $curves {
    lassign $curve name colour points kind
    set places {}
    foreach {x y} $points {
      lappend places [format %.1f [expr {$left + ($x - $x0) * $xScale}]] \
        [format %.1f [expr {$base - (min(max($y, $y0), $y1) - $y0) * $yScale}]]
    }
    if {$kind in {points crosses}} {
      foreach {x y} $places { append out [sign $kind $x $y $colour] \n }
    } else {
      set path [lmap {x y} $places { string cat $x , $y }]
      append out "<polyline fill=\"none\" stroke=\"$colour\" stroke-width=\"1.4\" points=\"[join $path { }]\"/>\n"
    }
  }
  append out [upright [dict get $given -marks] $xRange $top $base]
  foreach limit [dict get $given -limits] {
    lassign $limit from to y
    append out [format {<path d="M%.1f %.1f H%.1f" stroke="#c53030" stroke-width="2" stroke-dasharray="5 3"/>} \
      [expr {$left + (max($from, $x0) - $x0) * $xScale}] [expr {$base - (min(max($y, $y0), $y1) - $y0) * $yScale}] \
      [expr {$left + (min($to, $x1) - $x0) * $xScale}]] \n
  }
  set height [expr {$base + $bottom}]
  if {[dict get $given -note] ne ""} {
    foreach line [lines [dict get $given -note] 12 $room] {
      append out "<text x=\"$left\" y=\"[expr {$height + 8}]\" font-size=\"12\" fill=\"#4a5568\">[escape $line]</text>\n"
      incr height 16
    }
    incr height 4
  }
  string cat [opening $width $height 13] $out "</svg>\n"
}

# The first lines of a picture on white. In a window that is too narrow it shrinks as far as its texts can be read, and moves
# sideways then.
proc plot::opening {width height font_size} {
  string cat "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"$width\" height=\"$height\" viewBox=\"0 0 $width $height\"" \
    " style=\"max-width:100%;height:auto;min-width:[expr {round(0.8 * $width)}]px\" font-family=\"sans-serif\"" \
    " font-size=\"$font_size\">\n<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n"
}

# Upright lines with their names above the field: to the side that has room, and none over the name before it.
proc plot::upright {marks xRange top base} {
  variable width; variable left; variable right
  lassign $xRange x0 x1
  set out {}
  set free $left
  foreach mark [lsort -real -index 0 $marks] {
    lassign $mark value name
    set x [expr {$left + ($value - $x0) * ($width - $left - $right) / double($x1 - $x0)}]
    set wide [extent $name 12]
    set start [expr {max($free, min($x - $wide / 2, $width - $right - $wide))}]
    set free [expr {$start + $wide + 10}]
    append out [format {<path d="M%.1f %g V%g" stroke="#2d3748" stroke-dasharray="2 3"/><text x="%.1f" y="%g" font-size="12">%s</text>} \
      $x [expr {$top - 4}] $base $start [expr {$top - 8}] [escape $name]] \n
  }
  return $out
}

# Pictures of svg below each other.
proc plot::stack pictures {
  set height 0
  set wide 0
  set out {}
  foreach picture $pictures {
    if {![regexp {viewBox="0 0 ([\d.]+) ([\d.]+)"} $picture -> its_width its_height]} { error "no picture of plot::svg" }
    append out [regsub {<svg ([^>]*) style="[^"]*"} $picture "<svg y=\"$height\" \\1"]
    set height [expr {$height + $its_height}]
    set wide [expr {max($wide, $its_width)}]
  }
  string cat [opening $wide $height 13] $out "</svg>\n"
}

# Magnitude in dB, not below the floor.
proc plot::decibels {magnitude floor} {
  expr {$magnitude > 0 ? max(20 * log10($magnitude), $floor) : $floor}
}

# Writes a file whole or not at all.
proc plot::write {path text} {
  set partial $path.[pid].part
  set file [open $partial w]
  try {
    puts -nonewline $file $text
    close $file
    file rename -force $partial $path
  } on error {message options} {
    catch { close $file }
    file delete -force $partial
    return -options $options $message
  }
}
