# The sizes of an imported quasi-cyclic code, and the traps in them. Used by the two importers.
#
# What a matrix file says is its columns, its rows and, with P, the shifts. What gen_ldpc_params wants beside them is N
# and K in bits, and this is where people trip:
#
#   - N counts every column of the matrix. If some columns are punctured (never transmitted), the codeword on the air is
#     shorter than N, but the decoder still has the columns. Do not give the transmitted length as N: say how many
#     columns are punctured with -punctured, and the transmitted length, if you want it checked, with -n.
#   - K is not Kb. K is in bits, Kb in block columns: K = Kb x P. -kb takes columns and -k bits; a -k that is smaller than
#     P is almost surely a Kb, and is refused with that hint.
#   - Without either, K is taken as N - M, M being the rows: right for a matrix of full rank, as nearly all are. More is
#     possible if rows depend on others; less is not, and is refused.
#   - Every row and every column needs a circulant. A row without one at the end would not even count.

source [file join [file dirname [file normalize [info script]]] code_dict.tcl]
source [file join [file dirname [file normalize [info script]]] libraries.tcl]

namespace eval qc {}

# The dictionary of a code. `rows` and `columns` are those of the base matrix, `sm_array` its elements. Options: -kb
# columns, -k bits, -punctured columns, -n transmitted bits; all further words are keys and values of the dictionary.
proc qc::code {rows columns p sm_array args} {
  set options {-kb {} -k {} -punctured 0 -n {}}
  while {[string match -* [lindex $args 0]]} {
    set args [lassign $args option value]
    if {![dict exists $options $option]} { error "unknown option $option: use -k, -kb, -n or -punctured" }
    if {![code_dict::is_number $value 0]} { error "$option takes a number from 0, not \"$value\"" }
    dict set options $option [scan $value %d]
  }
  check_filled row $rows $sm_array
  check_filled col $columns $sm_array
  set n [expr {$columns * $p}]
  set k [size_of_information $rows $columns $p [dict get $options -kb] [dict get $options -k]]
  check_transmitted $columns $p [dict get $options -punctured] [dict get $options -n]
  code_dict::make $n $k $p $sm_array $args
}

# Each of the `count` rows or columns has to have a circulant.
proc qc::check_filled {direction count sm_array} {
  set filled {}
  foreach element $sm_array { dict set filled [dict get $element $direction] 1 }
  for {set i 0} {$i < $count} {incr i} {
    if {![dict exists $filled $i]} {
      error "block [expr {$direction eq {col} ? {column} : {row}}] $i (counted from 0) has no circulant"
    }
  }
}

proc qc::size_of_information {rows columns p kb k} {
  if {$kb ne {} && $k ne {} && $kb * $p != $k} {
    error "-kb $kb and -k $k do not agree: with P $p, Kb $kb means K [expr {$kb * $p}]"
  }
  if {$k ne {}} {
    if {$k < $p} { error "-k is in bits, and $k is less than one block of P $p: did you mean -kb $k, K [expr {$k * $p}]?" }
    if {$k % $p != 0} { error "K $k is no multiple of P $p: pad the information to whole blocks" }
    set kb [expr {$k / $p}]
  }
  if {$kb eq {}} { set kb [expr {$columns - $rows}] }
  if {$kb < 1 || $kb >= $columns} {
    error "Kb $kb does not fit a matrix of $columns columns and $rows rows: give -kb"
  }
  if {$rows > $columns} { error "$rows rows and only $columns columns: is the matrix transposed?" }
  if {$kb < $columns - $rows} {
    error "Kb $kb is too small: $rows rows of $columns columns leave a Kb of [expr {$columns - $rows}] at least"
  }
  expr {$kb * $p}
}

proc qc::check_transmitted {columns p punctured n} {
  if {$punctured >= $columns} { error "$punctured punctured columns leave nothing of $columns" }
  set sent [expr {($columns - $punctured) * $p}]
  if {$n ne {} && $n != $sent} {
    error "a codeword of $n bits on the air does not fit: $columns columns of P $p with $punctured punctured are $sent\
      bits. N is the full [expr {$columns * $p}] in any case"
  }
}

# P as a plain number.
proc qc::check_p {p} {
  if {![code_dict::is_number $p 2 512]} { error "P is a number from 2 to 512, not \"$p\"" }
  scan $p %d
}

# The lines of a text, whatever they end with.
proc qc::lines_of {text} { split [string map [list \r\n \n \r \n] $text] \n }

# Imports the file that the command line names and prints the dictionary, if `script` is what tclsh was started with.
proc qc::run_as_script {script importer} {
  global argv argv0
  if {![info exists argv0] || [file normalize $argv0] ne [file normalize $script]} return
  if {[llength $argv] < 2} {
    puts stderr "usage: tclsh [file tail $script] FILE P ?-kb columns? ?-k bits? ?-punctured columns? ?-n bits?"
    exit 2
  }
  libraries::told {
    set file [open [lindex $argv 0]]
    set text [read $file]
    close $file
    puts [$importer $text {*}[lrange $argv 1 end]]
  }
}
