# The places of a C++ source at which something can be changed.
#
# A place is a dictionary: operator (the kind of change), first and last (the characters replaced), text (what replaces
# them); complete adds line, and the whole line as it was and as it becomes (old, new). Comments, texts and lines of the preprocessor
# are left alone. The sources are laid out by clang-format, so a blank on both sides tells < from a template's.

namespace eval mutation {
  variable swaps {
    comparison  {< <= <= < > >= >= > == != != ==}
    arithmetic  {+ - - + * / / * % * << >> >> << & | | & += -= -= += *= /= /= *= ++ -- -- ++}
    logic       {&& || || &&}
  }
  variable not_called {if for while switch catch return sizeof constexpr noexcept static_cast decltype alignof}
  variable not_a_statement {if for while switch do case default return const constexpr auto static using template typedef
    struct class enum union namespace typename public private protected throw delete else inline friend extern operator
    unsigned int bool double char void long short float mutable virtual explicit try catch static_assert goto}

  proc operators {} { return {comparison arithmetic logic constant condition loop statement return arguments} }

  proc read_file {path} {
    set channel [open $path]
    fconfigure $channel -encoding utf-8 -translation lf
    set text [read $channel]
    close $channel
    return $text
  }

  # Tokens as {kind first last}; kind is word, number, sign or opaque (a text or a character).
  proc tokens {text} {
    set rules {
      space   {\A\s+}
      comment {\A//[^\n]*}
      comment {\A/\*.*?\*/}
      opaque  {\A(?:u8|[uUL])?R"([^\s()\\]*)\(.*?\)\1"}
      opaque  {\A(?:u8|[uUL])?"(?:\\.|[^"\\\n])*"}
      opaque  {\A'(?:\\.[^']*|[^'\\\n])'}
      number  {\A(?:0[xX][0-9a-fA-F']+|[0-9][0-9']*(?:\.[0-9']*)?(?:[eE][-+]?[0-9]+)?)[uUlLfF]*}
      word    {\A[A-Za-z_]\w*}
      sign    {\A(?:<=>|<<=|>>=|\.\.\.|<<|>>|<=|>=|==|!=|&&|\|\||\+\+|--|\+=|-=|\*=|/=|%=|&=|\|=|\^=|->|::|.)}
    }
    set found {}
    set is_line_start 1
    for {set at 0} {$at < [string length $text]} {set at [expr {$last + 1}]} {
      if {$is_line_start && [regexp -start $at -indices {\A[ \t]*#(?:\\\n|[^\n])*} $text range]} {
        set last [lindex $range 1]
        set is_line_start 0
        continue
      }
      foreach {kind rule} $rules {
        if {[regexp -start $at -indices $rule $text range]} break
      }
      set last [lindex $range 1]
      set is_line_start [expr {$kind eq "space" && [string first \n [string range $text $at $last]] >= 0}]
      if {$kind ni {space comment}} { lappend found [list $kind $at $last] }
    }
    return $found
  }

  # For the index of each opening bracket, the index of the one that closes it.
  proc pairs {words} {
    set closing {( ) [ ] \{ \}}
    set open {}
    set pairs {}
    set i -1
    foreach word $words {
      incr i
      if {[dict exists $closing $word]} {
        lappend open $i
      } elseif {$word in {) ] \}} && $open ne {}} {
        dict set pairs [lindex $open end] $i
        set open [lrange $open 0 end-1]
      }
    }
    return $pairs
  }

  proc places {text} {
    variable swaps
    set tokens [tokens $text]
    set words [lmap token $tokens {
      if {[lindex $token 0] eq "opaque"} { string cat \" } else { string range $text {*}[lrange $token 1 2] }
    }]
    set pairs [pairs $words]
    set found {}
    for {set i 0} {$i < [llength $tokens]} {incr i} {
      lassign [lindex $tokens $i] kind first last
      set word [lindex $words $i]
      foreach place [concat [swaps_at $text $word $first $last] [constants_at $words $kind $word $first $last] \
                       [conditions_at $text $tokens $words $pairs $i] [statements_at $tokens $words $pairs $i] \
                       [returns_at $tokens $words $pairs $i] [arguments_at $text $tokens $words $pairs $i]] {
        lassign $place operator from to replacement
        lappend found [dict create operator $operator first $from last $to text $replacement]
      }
    }
    return $found
  }

  # Adds the line, before and after, to a place in a text: for the few that are tried, since it takes most of the time.
  proc complete {text place} {
    set first [dict get $place first]
    set last [dict get $place last]
    set begin [expr {[string last \n $text $first-1] + 1}]
    set end [string first \n $text [expr {max($first, $last)}]]
    if {$end < 0} { set end [string length $text] }
    set old [string range $text $begin $end-1]
    set new [string range $text $begin $first-1][dict get $place text][string range $text $last+1 $end-1]
    set squeeze {x { regsub -all {\s+} $x " " }}
    dict merge $place [list old [apply $squeeze $old] new [apply $squeeze $new] \
      line [expr {[regexp -all \n [string range $text 0 $begin-1]] + 1}]]
  }

  proc swaps_at {text word first last} {
    variable swaps
    set found {}
    dict for {operator changes} $swaps {
      if {![dict exists $changes $word]} continue
      set is_binary [regexp {^\s.*\s$} [string range $text $first-1 $last+1]]
      if {$is_binary || $word in {++ --}} { lappend found [list $operator $first $last [dict get $changes $word]] }
    }
    if {$word in {min max}} { lappend found [list comparison $first $last [expr {$word eq "min" ? "max" : "min"}]] }
    if {$word eq "!"} { lappend found [list condition $first $last ""] }
    return $found
  }

  proc constants_at {words kind word first last} {
    if {$word in {true false}} { return [list [list constant $first $last [expr {$word eq "true" ? "false" : "true"}]]] }
    if {$kind ne "number"} return
    return [list [list constant $first $last "($word + 1)"] [list constant $first $last "($word - 1)"]]
  }

  # Negated conditions, and loops that go one too far or end one too early.
  proc conditions_at {text tokens words pairs i} {
    if {[lindex $words $i] ni {if while for} || ![dict exists $pairs [expr {$i + 1}]]} return
    set close [dict get $pairs [expr {$i + 1}]]
    set semicolons {}
    for {set j [expr {$i + 2}]} {$j < $close} {incr j} {
      if {[dict exists $pairs $j]} { set j [dict get $pairs $j]; continue }
      if {[lindex $words $j] eq ";"} { lappend semicolons $j }
    }
    if {[lindex $words $i] eq "for"} {
      lassign $semicolons from to
      if {$to eq {} || $to == $from + 1} return
      set end [lindex $tokens $to 1]
      return [list [list loop $end [expr {$end - 1}] " - 1"] [list loop $end [expr {$end - 1}] " + 1"]]
    }
    set from [expr {$semicolons eq {} ? $i + 2 : [lindex $semicolons end] + 1}]
    set first [lindex $tokens $from 1]
    set last [lindex $tokens $close-1 2]
    return [list [list condition $first $last "!([string range $text $first $last])"]]
  }

  proc statements_at {tokens words pairs i} {
    variable not_a_statement
    set before [lindex $words $i-1]
    if {$before ni {; \{ \} ) else}} return
    set word [lindex $words $i]
    if {$word in $not_a_statement || !([lindex $tokens $i 0] eq "word" || $word in {++ -- * (})} return
    # A name, perhaps of several parts, and then another is a declaration.
    set j $i
    while {[lindex $words $j+1] eq "::"} { incr j 2 }
    set next [lindex $words $j+1]
    if {[lindex $tokens $i 0] eq "word" && $word ni {break continue} &&
        $next ni {( . -> \[ = += -= *= /= |= &= ^= <<= >>= ++ -- <<}} return
    for {set j $i} {$j < [llength $words]} {incr j} {
      if {[dict exists $pairs $j]} {
        if {[lindex $words $j] eq "\{"} return
        set j [dict get $pairs $j]
      } elseif {[lindex $words $j] eq ";"} {
        return [list [list statement [lindex $tokens $i 1] [lindex $tokens $j 2] "{}"]]
      } elseif {[lindex $words $j] in {\} )}} return
    }
  }

  # A function that returns at once.
  proc returns_at {tokens words pairs i} {
    variable not_called
    if {[lindex $words $i] ne "("  || ![dict exists $pairs $i] || [lindex $tokens $i-1 0] ne "word"} return
    if {[lindex $words $i-1] in $not_called} return
    set j [expr {[dict get $pairs $i] + 1}]
    while {[lindex $words $j] in {const noexcept override final &&}} { incr j }
    if {[lindex $words $j] ne "\{"} return
    set is_void 0
    set is_typed 0
    for {set k [expr {$i - 2}]} {$k >= 0 && [lindex $words $k] ni {; \} \{ ) :}} {incr k -1} {
      if {[lindex $words $k] eq "void"} { set is_void 1 }
      set is_typed 1
    }
    set at [expr {[lindex $tokens $j 2] + 1}]
    set what [expr {$is_void || !$is_typed ? " return;" : " return {};"}]
    return [list [list return $at [expr {$at - 1}] $what]]
  }

  # Two neighbouring arguments of a call change places.
  proc arguments_at {text tokens words pairs i} {
    variable not_called
    if {[lindex $words $i] ne "(" || ![dict exists $pairs $i] || [lindex $tokens $i-1 0] ne "word"} return
    if {[lindex $words $i-1] in [concat $not_called {min max swap}]} return
    set close [dict get $pairs $i]
    set starts [list [expr {$i + 1}]]
    for {set j [expr {$i + 1}]} {$j < $close} {incr j} {
      if {[dict exists $pairs $j]} { set j [dict get $pairs $j]; continue }
      if {[lindex $words $j] eq ";"} return
      if {[lindex $words $j] eq ","} { lappend starts [expr {$j + 1}] }
    }
    lappend starts [expr {$close + 1}]
    set found {}
    for {set n 0} {$n + 2 < [llength $starts]} {incr n} {
      lassign [lrange $starts $n $n+2] a b end
      set first [lindex $tokens $a 1]
      set left [string range $text $first [lindex $tokens $b-2 2]]
      set right [string range $text [lindex $tokens $b 1] [lindex $tokens $end-2 2]]
      if {$left eq $right} continue
      lappend found [list arguments $first [lindex $tokens $end-2 2] "$right, $left"]
    }
    return $found
  }
}
