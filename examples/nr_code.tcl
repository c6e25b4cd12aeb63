# 5G NR LDPC codes (3GPP TS 38.212, section 5.3.2) as dictionaries for gen_ldpc_params.
#
#   source nr_code.tcl
#   sd_fec::gen_ldpc_params [nr::code 1 384]                    base graph 1, lifting size 384, for the decoder
#   ldpc::gen_ldpc_params [nr::code 2 52 -kb 8 encode 1]        base graph 2 with 8 information columns, for the encoder
#
# Where people trip:
#   - N counts every column of the base graph, also the first two, which a transmitter never sends (they are punctured).
#     The decoder still has them and starts them as erasures. So N is 68 x Z for base graph 1 and not 66 x Z.
#   - K is Kb x Z with the Kb that the matrix has. With base graph 2 and fewer than 10 information columns in use, leave
#     the unused ones out (-kb): then K, N and the number of every later column shrink with them.
#   - The built-in orders of compressed packing (reorder_type 2 to 6) each belong to one graph and Kb. Another code's order
#     would leave operations out.
#   - The table holds values V, not shifts: the shift is V mod Z, with V from the column of the set that Z belongs to.

source [file join [file dirname [file normalize [info script]]] code_dict.tcl]

namespace eval nr {
  variable data [file join [file dirname [file normalize [info script]]] .. data ldpc]
  variable graphs {1 {columns 68 kb 22 rows 46} 2 {columns 52 kb 10 rows 42}}
  # The built-in order (reorder_type) of a base graph, by its number and Kb.
  variable orders {1,22 2 2,10 3 2,9 4 2,8 5 2,6 6}
}

# The lines of a table behind its heading, each split at its commas.
proc nr::table {name} {
  variable data
  set file [open [file join $data $name]]
  set lines [lrange [split [string trim [read $file]] \n] 1 end]
  close $file
  lmap line $lines { split $line , }
}

# All 51 lifting sizes, ascending.
proc nr::lifting_sizes {} {
  lsort -integer [lmap row [table nr_lifting_sizes.csv] { lindex $row 1 }]
}

# The set, 0 to 7, of a lifting size.
proc nr::set_of {z} {
  foreach row [table nr_lifting_sizes.csv] {
    if {[lindex $row 1] eq $z} { return [lindex $row 0] }
  }
  error "no lifting size of 5G NR: $z"
}

# The code of base graph `graph` and lifting size `z`. Options:
#   -kb N      information columns to keep (base graph 2: 6, 8, 9 or 10)
#   -rows N    use only the first N rows (4 or more) and the columns that they need: a higher-rate code
# All further words are keys and values of the code's dictionary, such as `encode 1` or `scale 12`.
proc nr::code {graph z args} {
  variable graphs
  if {![dict exists $graphs $graph]} { error "no base graph of 5G NR: $graph" }
  set shape [dict get $graphs $graph]
  set kb [dict get $shape kb]
  set rows [dict get $shape rows]
  while {[string match -* [lindex $args 0]]} {
    set args [lassign $args option value]
    switch -- $option {
      -kb {
        if {!($value in [expr {$graph == 1 ? {22} : {6 8 9 10}}])} { error "base graph $graph has no Kb of $value" }
        set kb $value
      }
      -rows {
        set most [dict get $shape rows]
        if {![code_dict::is_number $value 4 $most]} {
          error "base graph $graph can be cut to 4 to $most rows, not $value"
        }
        set rows [scan $value %d]
      }
      default { error "unknown option $option: use -kb or -rows" }
    }
  }
  set set [set_of $z]
  check_order $graph $kb $args
  set full [dict get $shape kb]
  set removed [expr {$full - $kb}]
  set sm {}
  foreach line [table nr_bg$graph.csv] {
    lassign $line row col
    if {$row >= $rows || ($col >= $kb && $col < $full)} continue
    if {$col >= $full} { incr col -$removed }
    lappend sm [dict create row $row col $col shift [expr {[lindex $line [expr {2 + $set}]] % $z}]]
  }
  code_dict::make [expr {($kb + $rows) * $z}] [expr {$kb * $z}] $z $sm $args
}

proc nr::check_order {graph kb words} {
  variable orders
  foreach {key value} $words {
    if {$key eq {reorder_type} && [code_dict::is_number $value 2] && $value != [dict get $orders $graph,$kb]} {
      error "reorder_type $value is not the order of base graph $graph with Kb $kb: use [dict get $orders $graph,$kb]"
    }
  }
}
