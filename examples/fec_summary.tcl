# What a compiled code costs, from the result of gen_ldpc_params.
#
#   source fec_summary.tcl
#   puts [fec::summary [sd_fec::gen_ldpc_params $codes]]

namespace eval fec {}

# The figures of one code, from its part of "config": layers, stalls (a list), slots, pads, operations, work and stall
# cycles, and cycles per iteration.
proc fec::figures {config} {
  set p [dict get $config p]
  set mv [expr {($p + 127) / 128}]
  set stalls {}
  set work 0
  foreach word [dict get $config la_table] {
    lappend stalls [expr {($word >> 8) & 255}]
    incr work [expr {(($word & 127) + 1) * $mv}]
  }
  # The words of a compressed code's layers count its operations from bit 16 on. In a plain code with several operations
  # per cycle, bit 16 of an operation marks a slot without one (compressed, that bit ends a layer).
  set slots [dict get $config nqc]
  set pads 0
  if {[set counted [expr {[lindex [dict get $config la_table] end] >> 16}]] != 0} {
    set pads [expr {$slots - $counted}]
  } elseif {$p <= 64 && ![dict get $config no_packing]} {
    foreach word [dict get $config qc_table] { incr pads [expr {($word >> 16) & 1}] }
  }
  set stall [tcl::mathop::+ {*}$stalls]
  dict create layers [dict get $config nlayers] stalls $stalls slots $slots pads $pads \
    operations [expr {$slots - $pads}] work $work stall $stall cycles [expr {$work + $stall}]
}

# A readable page on all codes of a result.
proc fec::summary {result} {
  set lines [list "[dict size [dict get $result config]] code(s), [llength [dict get $result transactions]] register writes"]
  dict for {name config} [dict get $result config] {
    set f [figures $config]
    dict with config {
      lappend lines "" "code $name: N $n, K $k, P $p, rate [format %.3f [expr {double($k) / $n}]]" \
        "  dec_OK $dec_OK, enc_OK $enc_OK"
    }
    dict with f {
      lappend lines "  $layers layers, $operations operations in $slots slots ($pads pads)" \
        "  $cycles cycles per iteration: $work of work and $stall of stalls" \
        "  stalls per layer: $stalls"
    }
  }
  foreach note [lsearch -all -inline [split [dict get $result messages] \n] INFO:*] { lappend lines "  $note" }
  join $lines \n
}

# Writes the register writes to the file `path`: address, data and comment, one line each, numbers in hexadecimal.
proc fec::save_writes {result path} {
  set file [open $path w]
  try {
    foreach write [dict get $result transactions] {
      lassign $write address data comment
      puts $file [string trimright [format "%05llx %08llx %s" $address $data $comment]]
    }
  } finally {
    close $file
  }
}
