# A parity check matrix in AList form into the dictionary of gen_ldpc_params.
#
#   source import_alist.tcl
#   ldpc::gen_ldpc_params [qc::from_alist $text 27 -punctured 2]
#
# or: tclsh import_alist.tcl FILE P ?option value ...?     prints the dictionary
#
# AList (D. MacKay): the numbers of columns and rows; the largest column and row weights; the weight of each column; that
# of each row; for each column the rows of its ones, counted from 1 and filled up with 0; for each row its columns. The
# matrix has to consist of P x P blocks that are sums of circulant permutations; the first block that is not is named.
# Options: see qc_sizes.tcl.

source [file join [file dirname [file normalize [info script]]] qc_sizes.tcl]

# Takes one half of the file off the lines in `variable`: a line for each of `weights`, that many different entries from 1
# to `limit`. A line may be filled up with 0 to `widest` entries. `what` and `others` name lines and entries.
proc qc::alist_half {variable weights widest limit what others} {
  upvar 1 $variable lines
  set ones {}
  set index 0
  foreach weight $weights {
    incr index
    set lines [lassign $lines line]
    set entries [lsearch -all -inline -not -exact $line 0]
    if {[llength $entries] != $weight || [llength $line] > $widest} {
      error "$what $index: $weight ones are announced and \"$line\" is there"
    }
    foreach entry $entries {
      if {$entry < 1 || $entry > $limit} { error "$what $index: $entry is not from 1 to $limit" }
      if {[llength [lsearch -all -exact $entries $entry]] > 1} { error "$what $index names $others $entry twice" }
    }
    lappend ones $entries
  }
  return $ones
}

proc qc::from_alist {text p args} {
  set p [check_p $p]
  set lines [lmap line [lines_of [string trim $text]] {
    lmap word [regexp -all -inline {\S+} $line] {
      if {![code_dict::is_number $word 0]} { error "\"$word\" is no number from 0" }
      scan $word %d
    }
  }]
  if {[llength $lines] < 4} { error "the file ends within its heading" }
  set lines [lassign $lines sizes widest column_weights row_weights]
  lassign $sizes columns rows
  if {[llength $sizes] != 2 || [llength $widest] != 2} { error "the heading is \"$sizes\" and \"$widest\", not two pairs" }
  if {$columns < 1 || $rows < 1} { error "a matrix of $columns columns and $rows rows holds nothing" }
  if {[llength $column_weights] != $columns || [llength $row_weights] != $rows} {
    error "$columns column and $rows row weights are announced, [llength $column_weights] and [llength $row_weights] are there"
  }
  if {[llength $lines] != $columns + $rows} {
    error "[expr {$columns + $rows}] lines of ones are announced, [llength $lines] are there"
  }
  if {$columns % $p != 0 || $rows % $p != 0} {
    error "$columns columns and $rows rows are not whole blocks of P $p"
  }
  set by_column [alist_half lines $column_weights [lindex $widest 0] $rows column row]
  set by_row [alist_half lines $row_weights [lindex $widest 1] $columns row column]

  # A circulant of shift s has its ones at (i, (i + s) mod P): all P of them count for it, or it is none.
  set counts {}
  set ones {}
  set i 0
  foreach row $by_row {
    foreach entry $row {
      set j [expr {$entry - 1}]
      dict set ones $i,$j 1
      dict incr counts [list [expr {$i / $p}] [expr {$j / $p}] [expr {($j - $i) % $p}]]
    }
    incr i
  }
  check_columns $by_column $ones
  set sm {}
  foreach place [lsort -integer -index 0 [lsort -integer -index 1 [lsort -integer -index 2 [dict keys $counts]]]] {
    lassign $place row col shift
    if {[dict get $counts $place] != $p} {
      error "the block in block row $row and block column $col is no sum of circulants: of the diagonal of shift $shift,\
        [dict get $counts $place] of $p ones are there. Is P $p right?"
    }
    if {[lindex $sm end 1] eq $row && [lindex $sm end 3] eq $col} {
      lset sm end 5 [concat [lindex $sm end 5] $shift]
    } else {
      lappend sm [list row $row col $col shift $shift]
    }
  }
  code [expr {$rows / $p}] [expr {$columns / $p}] $p $sm {*}$args
}

# Both halves of the file have to tell the same matrix.
proc qc::check_columns {by_column ones} {
  set j 0
  set count 0
  foreach column $by_column {
    foreach entry $column {
      if {![dict exists $ones [expr {$entry - 1}],$j]} {
        error "column [expr {$j + 1}] names row $entry, which does not name the column"
      }
      incr count
    }
    incr j
  }
  if {$count != [dict size $ones]} { error "the columns hold $count ones and the rows [dict size $ones]" }
}

qc::run_as_script [info script] qc::from_alist
