# A small plotter: curves over a linear frequency axis, as SVG. Source it; it draws nothing by itself.
#
#   plot::svg TITLE XLABEL YLABEL XRANGE YRANGE CURVES   -> the picture's text
#
# A range is {low high step}, step being the distance of the grid lines. A fourth word `log` behind YRANGE says that y are
# logarithms to base ten: the grid then shows what they are of. CURVES is a list of {name colour points}, points a
# list of x y x y ...; what is outside the y range is drawn at its edge.
namespace eval plot {
  variable width 860 height 420 left 64 right 20 top 44 bottom 52
}

proc plot::escape {text} { string map {& &amp; < &lt; > &gt; \" &quot;} $text }

proc plot::svg {title xLabel yLabel xRange yRange curves} {
  variable width; variable height; variable left; variable right; variable top; variable bottom
  lassign $xRange x0 x1 xStep
  lassign $yRange y0 y1 yStep yKind
  if {$x1 <= $x0 || $y1 <= $y0 || $xStep <= 0 || $yStep <= 0} { error "a range is {low high step}, low below high" }
  set xScale [expr {($width - $left - $right) / double($x1 - $x0)}]
  set yScale [expr {($height - $top - $bottom) / double($y1 - $y0)}]
  set base [expr {$height - $bottom}]
  set out "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 $width $height\" font-family=\"sans-serif\" font-size=\"12\">\n"
  append out "<rect width=\"$width\" height=\"$height\" fill=\"white\"/>\n"
  append out "<text x=\"$left\" y=\"20\" font-size=\"15\">[escape $title]</text>\n"
  for {set i 0} {$x0 + $i * $xStep <= $x1 * (1 + 1e-9)} {incr i} {
    set value [expr {$x0 + $i * $xStep}]
    set x [format %.1f [expr {$left + ($value - $x0) * $xScale}]]
    append out "<path d=\"M$x $top V$base\" stroke=\"#ddd\"/><text x=\"$x\" y=\"[expr {$base + 18}]\" text-anchor=\"middle\">[format %g $value]</text>\n"
  }
  for {set i 0} {$y0 + $i * $yStep <= $y1 + 1e-9} {incr i} {
    set value [expr {$y0 + $i * $yStep}]
    set y [format %.1f [expr {$base - ($value - $y0) * $yScale}]]
    append out "<path d=\"M$left $y H[expr {$width - $right}]\" stroke=\"#ddd\"/><text x=\"[expr {$left - 8}]\" y=\"[expr {$y + 4}]\" text-anchor=\"end\">[format %g [expr {$yKind eq "log" ? 10.0 ** $value : $value}]]</text>\n"
  }
  append out "<text x=\"[expr {($left + $width - $right) / 2}]\" y=\"[expr {$height - 12}]\" text-anchor=\"middle\">[escape $xLabel]</text>\n"
  append out "<text transform=\"translate(16 [expr {($top + $base) / 2}]) rotate(-90)\" text-anchor=\"middle\">[escape $yLabel]</text>\n"
  set key $left
  foreach curve $curves {
    lassign $curve name colour points
    set path {}
    foreach {x y} $points {
      set px [expr {$left + ($x - $x0) * $xScale}]
      set py [expr {$base - (min(max($y, $y0), $y1) - $y0) * $yScale}]
      lappend path [format "%.1f,%.1f" $px $py]
    }
    append out "<polyline fill=\"none\" stroke=\"$colour\" stroke-width=\"1.4\" points=\"[join $path { }]\"/>\n"
    append out "<path d=\"M$key 34 h18\" stroke=\"$colour\" stroke-width=\"3\"/><text x=\"[expr {$key + 23}]\" y=\"38\">[escape $name]</text>\n"
    incr key [expr {44 + 8 * [string length $name]}]
  }
  append out "</svg>\n"
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
