# Every text that a script or a user can see is produced by a test: texts.tcl SOURCE_DIR lists those that are not, with
# file and line.
#
# A text is what one expression of a source joins: literals that stand side by side, and those that `+` adds, with a gap
# for each value between them, for each conversion of a format and for each {word} or ${word} of a pattern. It is one if it
# has two words at least, with a blank within a literal. So keys, names, file names, format letters and words of data are
# none, nor are the literals of the preprocessor and of static_assert, which nobody sees at run time. What stands around the
# words (blanks, colons, quotes) belongs to them, but is not looked for, nor are backslashes, since some tests expect by a
# pattern: the tests compare all of it.
#
# A test produces what it expects: its literals (tests/unit), its script without the comments (tests/tcl), what is
# compared as a whole (tests/golden), and of data/commands what the tests run: results of examples, failures with their
# scripts, and the texts of a wrong number of words. All stretches of a text must stand in one of these, in order. That a test
# that holds a text also runs what says it is for the reader of the test to see.
source [file join [file dirname [info script]] cpp.tcl]
set root [file normalize [lindex $argv 0]]

# Texts that no test can produce, with ... for each gap, and why; one that has a test after all, or is gone, is a fault.
set untold {
  shared/ip/tcltasks/frame/engine_rows.h "the operation reads more words than the row allows"
    {the compiler evaluates the rows, and stops here}
  shared/ip/tcltasks/fec/fec_commands.cpp "Error processing input configuration"
    {the two generators return a fault, and have none as yet}
  shared/ip/tcltasks/fec/spec_reader.cpp "Error processing specification"
    {whether it is a dictionary was asked before, with a text of its own}
  shared/ip/tcltasks/clocking/options.cpp "-words <mandatory:list:>"
    {it is a pattern of options, which no one but their reader sees}
  platform/common/tcltasks.cpp "the command is longer than Tcl takes"
    {it takes a command of 2 GiB}
  platform/cores/rules/compiler.cpp "too many values at once"
    {it takes a million values in one rule, which has 65536 bytes at most}
  platform/cores/why/advice.cpp "advice that does not hold for ... ..."
    {what the search for advice promises itself: only a fault of it would tell}
  platform/rule_engine/content_cipher.cpp "the cipher library does not start"
    {it takes a system without random numbers}
  platform/rule_engine/elf_image.cpp " has a damaged section header"
    {its reader refuses such an image before}
  platform/rule_engine/elf_image.cpp " has a damaged header"
    {likewise}
  platform/rule_engine/quad.cpp "the registers hold no rate"
    {its numbers always fit: those of registers are short}
  platform/rule_engine/rule_engine_utilities.cpp "no reference clock of ... ... gives ... Gb/s with that numerator"
    {the two kinds that are asked have one for each of their rates}
  platform/cores/search/clock_search.cpp "the least sum has no settings"
    {what the search for clocks promises itself: only a fault of it would tell}
  host/driver_main.cpp "the library has no driver"
    {it takes a library of somebody else's in the package's place}
  host/dsptools/chain_search.cpp "no name of a chain: ..."
    {the names are those that the project makes}
  host/register_export.cpp "two registers would be called ...: a pattern can leave one out"
    {no core that is shipped has such names}
}

# Rooms that are being built: their texts are not looked at yet.
set later {}

# A gap in a text.
set gap \x1

# A literal's content as the program has it.
proc literal_text {kind content} {
  if {$kind eq "raw"} { return $content }
  subst -nocommands -novariables [string map {\\? ?} $content]
}

# What is between two literals: "side" (nothing), "added" (values that + adds), or "apart". Either literal may be the
# argument of std::string, of which `code` has the end, or the begin.
proc between {code} {
  if {[regexp {^\s*(?:u8|[RLuU])?$} $code]} { return side }
  regsub {\mstd::string\(\s*$} $code {} code
  if {[regexp {^\s*\+\s*$} $code]} { return side }
  if {![regexp {^\s*\+.*\+\s*$} $code]} { return apart }
  set depth 0
  foreach sign [regexp -all -inline {[][(){},;?]|<<|&&|\|\|} $code] {
    switch -- $sign {
      ( - \[ { incr depth }
      ) - \] { if {[incr depth -1] < 0} { return apart } }
      default { if {$depth == 0 || $sign in {\{ \} ;}} { return apart } }
    }
  }
  expr {$depth == 0 ? "added" : "apart"}
}

# The texts of a source: a flat list of line and text, gaps marked.
proc cpp_texts {source} {
  set texts {}
  set end -1
  foreach {kind first last content} [cpp_tokens $source] {
    if {$kind ni {string raw}} continue
    set words [literal_text $kind $content]
    set way apart
    if {$end >= 0} {
      set code [cpp_code [string range $source $end+1 $first-1]]
      if {$is_argument} { regsub {^\s*\)} $code {} code }
      set way [between $code]
    }
    switch -- $way {
      side { append text $words }
      added { append text $::gap $words }
      apart {
        if {$end >= 0} { lappend texts $line $text[gap_before $code] }
        set text $words
        set line [cpp_line $source $first]
      }
    }
    set is_argument [regexp {\mstd::string\(\s*R?$} [string range $source [expr {max(0, $first - 20)}] $first-1]]
    set end $last
  }
  if {$end >= 0} { lappend texts $line $text[gap_before [string range $source $end+1 end]] }
  return $texts
}
proc gap_before {code} { expr {[regexp {^\s*\+[^=]} $code] ? $::gap : {}} }

# The source without what nobody sees when it runs; lines stay where they are.
proc seen {source} {
  foreach pattern {{(?n)^[ \t]*#.*$} {\mstatic_assert\s*\((?:[^;"]|"(?:[^"\\]|\\.)*")*\);}} {
    set from 0
    while {[regexp -indices -start $from $pattern $source found]} {
      lassign $found first last
      set source [string replace $source $first $last [regsub -all {[^\n]} [string range $source $first $last] { }]]
      set from [expr {$last + 1}]
    }
  }
  return $source
}

# The stretches of a text between its gaps, without what surrounds their words.
proc stretches {text} {
  lmap stretch [split [with_gaps $text] $::gap] {
    set stretch [string trim [unfolded $stretch] { :;,."'()[]<>}]
    if {![regexp {[[:alpha:]]} $stretch]} continue
    set stretch
  }
}
proc with_gaps {text} {
  regsub -all {%[-+#0]*(?:\d+|\*)?(?:\.(?:\d+|\*)?)?(?:hh|ll|[hljztL])?[diouxXeEfFgGcs]|\$?\{\w+\}} $text $::gap
}
proc is_text {text} {
  expr {[regexp {\s} $text] && [llength [regexp -all -inline {\S*[[:alpha:]]\S*} [join [stretches $text] { }]]] > 1}
}

# What the tests compare with a part of a text each, and what they compare whole.
proc expected {} {
  global root
  set all {}
  foreach path [files_below $root/tests/unit *.cpp] { foreach {line text} [cpp_texts [seen [read_text $path]]] { lappend all $text } }
  foreach path [files_below $root/tests/tcl *.test] {
    set script [regsub -all -line {^\s*#.*$} [read_text $path] {}]
    lappend all [subst -nocommands -novariables $script]
  }
  foreach path [files_below $root/data/commands *.json] { lappend all {*}[commands_that_run [read_text $path]] }
  plain $all
}
proc golden {} { plain [lmap path [files_below $::root/tests/golden *] { read_text $path }] }
proc plain {texts} { join [lmap text $texts { if {![is_text $text]} continue; unfolded $text }] \n }
# On one line, without backslashes.
proc unfolded {text} { regsub -all {\s+} [string map {\\ {}} $text] { } }

# Of a file of data/commands, what its commands answer when the tests run them.
proc commands_that_run {json} {
  set texts {}
  foreach pattern {
    {"(?:result|pattern|wrong_count)": "((?:[^"\\]|\\.)*)"}
    {"text": "((?:[^"\\]|\\.)*)"[^{}]*"script"}
    {"script": [^{}]*"text": "((?:[^"\\]|\\.)*)"}
  } { foreach {- text} [regexp -all -inline $pattern $json] { lappend texts [subst -nocommands -novariables $text] } }
  return $texts
}

# Whether the stretches stand in the text, in order, not farther apart than a value is wide, and at the bounds of words:
# the first, and the last, unless a value follows it without a blank.
proc stands {stretches is_open text widest} {
  set at 0
  set head [lindex $stretches 0]
  while {[set at [string first $head $text $at]] >= 0} {
    set end [expr {$at + [string length $head]}]
    set is_there [expr {![regexp {^[[:alpha:]]{2}} [string range $text $at-1 $at]]}]
    foreach stretch [lrange $stretches 1 end] {
      if {!$is_there} break
      set next [string first $stretch [string range $text $end [expr {$end + $widest + [string length $stretch]}]]]
      set is_there [expr {$next >= 0}]
      set end [expr {$end + $next + [string length $stretch]}]
    }
    if {$is_there && ($is_open || ![regexp {^[[:alpha:]]{2}} [string range $text $end-1 $end]])} { return 1 }
    incr at
  }
  return 0
}

proc is_one_of {name patterns} {
  foreach pattern $patterns { if {[string match $pattern $name]} { return 1 } }
  return 0
}

set expected [expected]
set golden [golden]
set texts 0
set faults {}
foreach {name text why} $untold { set allowed([list $name $text]) 1 }
foreach top {shared platform host} {
  foreach path [files_below $root/$top *.cpp *.h *.inc *.c] {
    set name [string range $path [string length $root/] end]
    if {[is_one_of $name $later]} continue
    foreach {line text} [cpp_texts [seen [read_text $path]]] {
      if {![is_text $text]} continue
      set stretches [stretches $text]
      incr texts
      set is_open [regexp "\[\[:alpha:]]$gap\$" [with_gaps $text]]
      if {[stands $stretches $is_open $expected 100] || [stands $stretches $is_open $golden 20000]} continue
      set shown [string map [list $gap ... \n \\n] $text]
      if {[info exists allowed([list $name $shown])]} {
        set used([list $name $shown]) 1
      } else {
        lappend faults "$name:$line: no test produces \"$shown\""
      }
    }
  }
}
foreach one [array names allowed] {
  if {![info exists used($one)] && [file exists [file join $root [lindex $one 0]]]} {
    lappend faults "tests/checks/texts.tcl: no exception is needed for \"[lindex $one 1]\" of [lindex $one 0]"
  }
}
puts [join $faults \n]
puts "$texts texts, [llength $faults] faults"
exit [expr {[llength $faults] > 0 || $texts == 0}]
