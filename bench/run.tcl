# Runs the benchmarks, each whatever came of those before it: run.tcl LIST, a file with a line for each: a name and a command.
# Says first on what machine, how busy, and how to read the rows; and last, which programs missed a bar or failed.
proc content {path} {
  set file [open $path]
  try { read $file } finally { close $file }
}
proc load {} { lrange [content /proc/loadavg] 0 2 }

set processors [regexp -all -inline -line {^model name\s*: (.*)$} [content /proc/cpuinfo]]
puts "Machine: [expr {[llength $processors] / 2}] x [expr {$processors eq {} ? {a processor that does not say what it is} : [lindex $processors 1]}], load [join [load]] (1, 5 and 15 minutes)
Each row holds ours, in the column `first`, against a peer, in `second`: medians in milliseconds of the processor unless the row says
otherwise, so that what else the machine does has little say. The two run in turn, and `ratio` is the median of the ratios of the pairs,
not the ratio of the medians. Below 1 ours is the faster one; a row is ok while its ratio is not above the bar. `noise` is what the
ratio may be off by; a bar within it is told as CLOSE, since chance would decide. A time without a peer stands against
sorting a million numbers, so that its bar holds on any machine."

set missed {}
set programs 0
foreach line [split [string trim [content [lindex $argv 0]]] \n] {
  set command [lassign $line name]
  flush stdout
  if {[catch { exec {*}$command >@stdout 2>@stderr }]} { lappend missed $name }
  incr programs
}
puts "\n$programs programs, load now [join [load]]"
if {$missed eq ""} { puts "every bar is kept"; exit 0 }
puts "bars missed, or no answer: [join $missed {, }]"
exit 1
