# C++ sources as text, for the checks of this folder.

# The literals and comments of a source: a flat list of kind (string, raw, character, comment), first and last position
# and, for texts, the prefix-free content as written.
proc cpp_tokens {source} {
  set tokens {}
  set at 0
  while {[regexp -indices -start $at {//|/\*|"|'} $source found]} {
    set first [lindex $found 0]
    switch -- [string index $source $first] {
      / {
        set end [expr {[string index $source $first+1] eq "/" ? "\n" : "*/"}]
        set last [string first $end $source $first]
        if {$last < 0} { set last [string length $source] }
        lappend tokens comment $first [incr last [expr {[string length $end] - 1}]] {}
      }
      \" {
        if {[string index $source $first-1] eq "R"} {
          set open [string first ( $source $first]
          set close ")[string range $source $first+1 $open-1]\""
          set end [string first $close $source $open]
          set last [expr {$end + [string length $close] - 1}]
          lappend tokens raw $first $last [string range $source $open+1 $end-1]
        } else {
          regexp -indices -start $first {"(?:[^"\\]|\\.)*"} $source all
          set last [lindex $all 1]
          lappend tokens string $first $last [string range $source $first+1 $last-1]
        }
      }
      ' {
        # between digits it parts thousands
        if {[regexp {[0-9a-fA-F]} [string index $source $first-1]] && ![regexp {(^|[^\w])(L|u8?|U)$} [string range $source [expr {max(0, $first - 3)}] $first-1]]} {
          set last $first
        } else {
          regexp -indices -start $first {'(?:[^'\\]|\\.[^']*)'} $source all
          set last [lindex $all 1]
          lappend tokens character $first $last {}
        }
      }
    }
    set at [expr {$last + 1}]
  }
  return $tokens
}

# The source with every literal and comment blanked, so that each position stays what it was.
proc cpp_code {source} {
  set code {}
  set at 0
  foreach {kind first last content} [cpp_tokens $source] {
    append code [string range $source $at $first-1] [regsub -all {[^\n]} [string range $source $first $last] { }]
    set at [expr {$last + 1}]
  }
  return [append code [string range $source $at end]]
}

# The position of the brace that closes the one at `open`.
proc cpp_closing_brace {code open} {
  set depth 0
  for {set at $open} {[regexp -indices -start $at {[{}]} $code found]} {set at [expr {[lindex $found 0] + 1}]} {
    incr depth [expr {[string index $code [lindex $found 0]] eq "\{" ? 1 : -1}]
    if {$depth == 0} { return [lindex $found 0] }
  }
  error "a brace is not closed"
}

proc cpp_line {source position} { expr {[regexp -all {\n} [string range $source 0 $position-1]] + 1} }

proc read_text {path} {
  set file [open $path]
  fconfigure $file -encoding utf-8
  try { read $file } finally { close $file }
}

# All files below `folder` whose names match one of the patterns, in order.
proc files_below {folder args} {
  set found {}
  foreach pattern $args { lappend found {*}[glob -nocomplain -types f -directory $folder $pattern] }
  foreach below [glob -nocomplain -types d -directory $folder *] { lappend found {*}[files_below $below {*}$args] }
  lsort $found
}
