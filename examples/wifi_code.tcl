# LDPC codes of WiFi (IEEE Std 802.11, Annex F) as dictionaries for gen_ldpc_params.
#
#   source wifi_code.tcl
#   sd_fec::gen_ldpc_params [list wifi [wifi::code 1944 5/6]]                for the decoder
#   ldpc::gen_ldpc_params [list wifi [wifi::code 648 1/2 encode 1]]          for the encoder
#
# The codes that data/ldpc has: wifi::codes lists them. Nothing is punctured: a transmitter sends all N bits of a block, or
# shortens and repeats some of them, which is the affair of whoever fills the blocks.

source [file join [file dirname [file normalize [info script]]] import_base_matrix.tcl]

namespace eval wifi {
  variable data [file join [file dirname [file normalize [info script]]] .. data ldpc]
  variable columns 24  ;# block columns of each code
}

# {n rate n rate ...} of the codes that are there, ascending.
proc wifi::codes {} {
  variable data
  set codes {}
  foreach path [lsort -dictionary [glob -directory $data wifi_*.txt]] {
    scan [file tail $path] wifi_%d_%d_%d.txt n k of
    lappend codes $n $k/$of
  }
  return $codes
}

# The code of block length `n` and rate `rate`. All further words are keys and values of the code's dictionary.
proc wifi::code {n rate args} {
  variable data
  variable columns
  set path [file join $data wifi_${n}_[string map {/ _} $rate].txt]
  if {![string is digit -strict $n] || ![regexp {^\d/\d$} $rate] || ![file exists $path]} {
    error "no code of WiFi here with n $n and rate $rate: use [join [lmap {n rate} [codes] { string cat $n { } $rate }] {, }]"
  }
  set file [open $path]
  set text [read $file]
  close $file
  scan $rate %d/%d k of
  qc::from_base_matrix $text [expr {$n / $columns}] -kb [expr {$columns * $k / $of}] {*}$args
}
