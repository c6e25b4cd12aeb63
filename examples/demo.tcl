# Two 5G NR codes from their base graphs to the register writes that load the core: tclsh demo.tcl ?LIB_DIR? OUT_DIR
source [file join [file dirname [file normalize [info script]]] libraries.tcl]
set libraries [libraries::folder]
if {[llength $argv] != 1} {
  puts stderr "usage: tclsh demo.tcl ?LIB_DIR? OUT_DIR"
  exit 2
}
lassign $argv output
set here [file dirname [file normalize [info script]]]
source [file join $here nr_code.tcl]
source [file join $here fec_summary.tcl]

load [file join $libraries libkdi_iptasks.so]
libraries::told { file mkdir $output }

foreach {title file codes} [list \
  "Base graph 1, lifting size 384, for the decoder" bg1_z384_decoder.txt \
    [list bg1 [nr::code 1 384]] \
  "Base graph 2, lifting size 52, for the encoder: its double diagonal is rewritten" bg2_z52_encoder.txt \
    [list bg2 [nr::code 2 52 encode 1 scale 12]]] {
  set result [sd_fec::gen_ldpc_params $codes]
  set path [file join $output $file]
  fec::save_writes $result $path
  puts "== $title\n[fec::summary $result]\n  register writes: $path\n"
}

puts "== The core itself"
foreach write [sd_fec::gen_core_params {din_words 1 dout_words 1 interrupts 1 axis_enable 1}] {
  lassign $write address data comment
  puts [format "  %02x %08x %s" $address $data $comment]
}
