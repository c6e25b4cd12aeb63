# A base matrix as plain text into the dictionary of gen_ldpc_params.
#
#   source import_base_matrix.tcl
#   sd_fec::gen_ldpc_params [qc::from_base_matrix $text 24 -kb 12]
#
# or: tclsh import_base_matrix.tcl FILE P ?option value ...?     prints the dictionary
#
# The text has one line for each block row, one shift for each block column, separated by blanks or commas. -1, . and -
# mean no circulant; an empty place between two commas is refused. 3+7 means two circulants. What follows a # is a
# comment. Options: see qc_sizes.tcl.

source [file join [file dirname [file normalize [info script]]] qc_sizes.tcl]

proc qc::from_base_matrix {text p args} {
  set p [check_p $p]
  set sm {}
  set row 0
  set width {}
  set number 0
  foreach line [lines_of $text] {
    incr number
    set line [string trim [regsub {#.*} $line {}]]
    if {[regexp {^[,;]|[,;]\s*[,;]|[,;]$} $line]} { error "line $number has an empty place: write -1 for no circulant" }
    set entries [regexp -all -inline {[^\s,;]+} $line]
    if {[llength $entries] == 0} continue
    if {$width eq {}} { set width [llength $entries] }
    if {[llength $entries] != $width} {
      error "line $number has [llength $entries] columns, and the lines before it have $width"
    }
    set col 0
    foreach entry $entries {
      if {$entry ni {-1 . -}} {
        set shifts {}
        foreach shift [split $entry +] {
          if {![code_dict::is_number $shift 0 [expr {$p - 1}]]} {
            error "line $number, column [expr {$col + 1}]: \"$entry\" is no shift from 0 to [expr {$p - 1}]\
              (a table for another P is reduced modulo P first)"
          }
          set shift [scan $shift %d]
          if {$shift in $shifts} {
            error "line $number, column [expr {$col + 1}]: two circulants of shift $shift cancel each other"
          }
          lappend shifts $shift
        }
        lappend sm [dict create row $row col $col shift $shifts]
      }
      incr col
    }
    incr row
  }
  if {$row == 0} { error "the text holds no matrix" }
  code $row $width $p $sm {*}$args
}

qc::run_as_script [info script] qc::from_base_matrix
