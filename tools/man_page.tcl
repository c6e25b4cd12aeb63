# The manual page of a program, made of what it says of itself: man_page.tcl PROGRAM NAME VERSION OUT.1.gz [WORD...]
#
# `PROGRAM WORD... --help` is either in sections, headings in capitals and text behind blanks, in which a line of seven blanks
# before lines of fourteen is what those explain; or it begins with `usage:`, and then it stays as it is.
lassign $argv program name version out
set words [lrange $argv 4 end]
set help [exec $program {*}$words --help]

proc escaped {line} {
  set line [string map {\\ \\e - \\-} $line]
  expr {[string index $line 0] in {. '} ? "\\&$line" : $line}
}
proc as_it_is {lines} { concat .nf [lmap line $lines { escaped $line }] .fi }

# Paragraphs, and terms with their explanations.
proc running {lines} {
  set page {}
  set was_explained 0
  set next [concat [lrange $lines 1 end] [list {}]]
  foreach line $lines behind $next {
    if {[string trim $line] eq ""} { lappend page .PP; set was_explained 0; continue }
    regexp {^ *} $line blanks
    regexp {^ *} $behind blanks_behind
    set is_term [expr {[string length $blanks] == 7 && [string length $blanks_behind] == 14}]
    if {$is_term} { lappend page .TP }
    if {!$is_term && [string length $blanks] == 7 && $was_explained} { lappend page .PP }
    set was_explained [expr {[string length $blanks] == 14}]
    lappend page [expr {$is_term ? "\\fB[escaped [string trim $line]]\\fR" : [escaped [string trim $line]]}]
  }
  return $page
}

set sections {}
if {[regexp {^usage: (.*)\n\n(.*)\nExit status: (.*)$} $help -> synopsis options status]} {
  regsub -all -line {^       } $synopsis {} synopsis
  set sections [list NAME [list "       $name - $env(MAN_SUMMARY)"] SYNOPSIS [split $synopsis \n] \
    OPTIONS [split $options \n] {EXIT STATUS} [list "       $status"]]
} else {
  set heading {}
  foreach line [split $help \n] {
    if {[regexp {^[A-Z][A-Z ]*$} $line]} { set heading $line; dict set sections $heading {}; continue }
    dict lappend sections $heading $line
  }
}

set page [list ".TH \"[string toupper $name]\" 1 \"\" \"iptasks $version\" \"iptasks\""]
dict for {heading lines} $sections {
  while {[string trim [lindex $lines end]] eq "" && [llength $lines] > 0} { set lines [lrange $lines 0 end-1] }
  lappend page ".SH $heading"
  if {$heading eq "NAME"} {  # the name that a page is found by has no blanks in it
    lappend page [escaped [regsub "^[join [concat [lindex [split $name -] 0] $words]] " [string trim [join $lines]] "$name "]]
  } elseif {$heading in {SYNOPSIS EXAMPLE} || ($heading eq "OPTIONS" && [string match usage:* $help])} {
    lappend page {*}[as_it_is [lmap line $lines { regsub {^       } $line {} }]]
  } else {
    lappend page {*}[running $lines]
  }
}
lappend page ".SH SEE ALSO" "The documents of iptasks, in share/doc/iptasks of the installation."
set file [open $out wb]
puts -nonewline $file [zlib gzip [encoding convertto utf-8 "[join $page \n]\n"] -level 9]
close $file
