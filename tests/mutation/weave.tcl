# Many mutants in one copy of the sources, of which a variable of the environment picks one when a program starts.
#
# A changed expression becomes (kdi_mutant(17) ? (changed) : (same)), a statement left out { if (!kdi_mutant(17)) same }.
# What cannot be chosen at run time (constants of the language, sizes, declarations), the compiler refuses; such mutants
# are built alone. Lines keep their numbers, so that an error tells whose it is.

namespace eval weave {
  variable stops {( [ \{ \} ; , ? : = += -= *= /= %= &= |= ^= <<= >>= return throw else case do}
  variable heads {if while for switch catch}
  variable fixed {constexpr consteval constinit static_assert template using enum case}

  variable header {// The number of the mutant that is asked for; 0, none of them, unless the environment says one.
#pragma once
#define _GLIBCXX_ASSERTIONS 1
#include <cstdlib>
}
  # What a change leaves behind is no error here.
  foreach warning {array-bounds bool-compare bool-operation dangling-else div-by-zero empty-body int-in-bool-context
    logical-not-parentheses maybe-uninitialized misleading-indentation nonnull overflow parentheses return-type sequence-point
    shift-count-negative shift-count-overflow sign-compare stringop-overflow stringop-overread tautological-compare
    type-limits uninitialized unused-but-set-parameter unused-but-set-variable unused-const-variable unused-function
    unused-label unused-parameter unused-value unused-variable pragmas} {
    append header "#pragma GCC diagnostic ignored \"-W$warning\"\n"
  }
  append header {static const int kdi_chosen_mutant =
    std::getenv("IPTASKS_MUTANT") == nullptr ? 0 : std::atoi(std::getenv("IPTASKS_MUTANT"));
inline bool kdi_mutant(int number) { return number == kdi_chosen_mutant; }
}

  # The text with the places (number to place) woven in; the first and the last line of each number; the numbers of those
  # that cannot be woven in, and of those that overlap with one that is.
  proc woven {text places include} {
    set tokens [mutation::tokens $text]
    set words [lmap token $tokens {
      if {[lindex $token 0] eq "opaque"} { string cat \" } else { string range $text {*}[lrange $token 1 2] }
    }]
    set closing [mutation::pairs $words]
    set opening [lreverse $closing]
    set edits {}
    set lines [dict create]
    set fixed {}
    set overlapping {}
    dict for {number place} $places {
      set edit [expr {[is_fixed $tokens $words $place] ? {} : [edit $text $tokens $words $closing $opening $number $place]}]
      if {$edit eq {}} { lappend fixed $number; continue }
      if {[overlaps $edits {*}[lrange $edit 0 1]]} { lappend overlapping $number; continue }
      lappend edits $edit
      dict set lines $number [lmap at [lrange $edit 0 1] { expr {[regexp -all \n [string range $text 0 $at]] + 1} }]
    }
    foreach edit [lsort -integer -decreasing -index 0 $edits] {
      lassign $edit first last replacement
      # A range may be empty, in front of first.
      set text [string range $text 0 $first-1]$replacement[string range $text $last+1 end]
    }
    return [list "#include \"$include\"\n#line 1\n$text" $lines $fixed $overlapping]
  }

  # Whether the statement is decided while it is compiled.
  proc is_fixed {tokens words place} {
    variable fixed
    if {[dict get $place operator] in {return statement}} { return 0 }
    for {set i [token_at $tokens [dict get $place first]]} {$i >= 0 && [lindex $words $i] ni {; \{ \}}} {incr i -1} {
      if {[lindex $words $i] in $fixed} { return 1 }
    }
    return 0
  }

  # Characters that touch count as well: two insertions at one place would not be told apart.
  proc overlaps {edits first last} {
    foreach edit $edits {
      lassign $edit from to
      if {$first <= $to + 1 && $from <= $last + 1} { return 1 }
    }
    return 0
  }

  # First and last character, and what replaces them; nothing if there is no expression.
  proc edit {text tokens words closing opening number place} {
    set chosen "kdi_mutant($number)"
    set first [dict get $place first]
    set last [dict get $place last]
    set changed [dict get $place text]
    set same [string range $text $first $last]
    switch [dict get $place operator] {
      return { return [list $first $last " if ($chosen)$changed"] }
      loop { return [list $first $last [string map [list 1 $chosen] $changed]] }
      statement { return [list $first $last "{ if (!$chosen) $same }"] }
      condition { if {$changed ne {}} { return [list $first $last "($chosen != bool($same))"] } }
    }
    lassign [expression $tokens $words $closing $opening $place] from to
    if {$from eq {}} return
    set same [string range $text $from $to]
    set before [string range $text $from $first-1]
    set behind [string range $text $last+1 $to]
    if {[string first // $before$same$behind] >= 0} return
    set changed [string map {\n " "} $before$changed$behind]
    return [list $from $to "($chosen ? ($changed) : ($same))"]
  }

  # The first and the last character of the expression that a place is in, as far as it goes without brackets, commas and
  # assignments; nothing if it is the head of a function.
  proc expression {tokens words closing opening place} {
    variable stops
    variable heads
    set from [token_at $tokens [dict get $place first]]
    set to [token_at $tokens [dict get $place last]]
    if {[dict get $place operator] eq "arguments"} {
      incr from -1
      while {[lindex $words $from] ne "(" || [dict get $closing $from] < $to} { incr from -1 }
      set to [dict get $closing $from]
    }
    for {set i [expr {$from - 1}]} {$i >= 0 && [lindex $words $i] ni $stops} {incr i -1} {
      if {[lindex $words $i] in {) ]} && [dict exists $opening $i]} {
        set open [dict get $opening $i]
        if {[lindex $words $open-1] in $heads} break
        set i $open
      }
      set from $i
    }
    for {set i [expr {$to + 1}]} {$i < [llength $words]} {incr i} {
      if {[lindex $words $i] in {( [ \{}} {
        if {![dict exists $closing $i]} break
        if {[lindex $words $i] eq "\{" && [lindex $words $i-1] in {) const noexcept override final}} return
        set i [dict get $closing $i]
      } elseif {[lindex $words $i] in $stops || [lindex $words $i] in {) ]}} break
      set to $i
    }
    return [list [lindex $tokens $from 1] [lindex $tokens $to 2]]
  }

  # The index of the token that a character is in.
  proc token_at {tokens character} {
    set low 0
    set high [expr {[llength $tokens] - 1}]
    while {$low < $high} {
      set middle [expr {($low + $high + 1) / 2}]
      if {[lindex $tokens $middle 1] <= $character} { set low $middle } else { set high [expr {$middle - 1}] }
    }
    return $low
  }
}
