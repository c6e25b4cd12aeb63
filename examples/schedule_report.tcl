# A schedule report of a 5G NR code: tclsh schedule_report.tcl ?LIB_DIR? OUT.html ?GRAPH? ?Z?
# The code runs in the order that is built in for its base graph, and is compared with plain packing, which is ascending
# column order where the core runs one operation per cycle (P above 64).
source [file join [file dirname [file normalize [info script]]] libraries.tcl]
set libraries [libraries::folder]
if {[llength $argv] < 1 || [llength $argv] > 3} {
  puts stderr "usage: tclsh schedule_report.tcl ?LIB_DIR? OUT.html ?GRAPH? ?Z?"
  exit 2
}
lassign [concat $argv [lrange {{} 1 384} [llength $argv] end]] output graph z
source [file join [file dirname [file normalize [info script]]] nr_code.tcl]
load [file join $libraries libkdi_iptasks.so]
load [file join $libraries libkdi_fectools.so]

set packing [list compress_packing 1 reorder_type [expr {$graph == 1 ? 2 : 3}] scale 12]
libraries::told { set code [nr::code $graph $z {*}$packing] }
set ordered [sd_fec::gen_ldpc_params [list "built-in order" $code]]
set plain [sd_fec::gen_ldpc_params [list "plain packing" [nr::code $graph $z scale 12]]]
set page [fectools::schedule_report sd_fec $ordered -compare $plain -clock 600 -iterations 8 \
  -title "5G NR base graph $graph, lifting size $z"]

libraries::told { set file [open $output w] }
puts -nonewline $file $page
close $file
puts "report: $output"
