# Register writes back into named fields, and two images compared.
#
#   tclsh decode_image.tcl ?LIB_DIR? CORE WRITES.txt ?-encoder SLOTS?   lists one image
#   tclsh decode_image.tcl ?LIB_DIR? CORE LEFT.txt RIGHT.txt            lists what two differ in
#
# CORE is sd_fec or ldpc. A file of writes has one line for each: address and data in hexadecimal, then a comment, as
# fec::save_writes (fec_summary.tcl) and the demo write it. Whether a code is for the encoder does not show in its writes:
# -encoder names the slots of those that are, so that bit 17 of a compressed operation gets its right name.
source [file join [file dirname [file normalize [info script]]] libraries.tcl]
set libraries [libraries::folder]
if {[llength $argv] ni {2 3 4} || ([llength $argv] == 4 && [lindex $argv 2] ne {-encoder})} {
  puts stderr "usage: tclsh decode_image.tcl ?LIB_DIR? CORE WRITES.txt ?OTHER.txt | -encoder SLOTS?"
  exit 2
}
lassign $argv core left right slots
load [file join $libraries libkdi_iptasks.so]
load [file join $libraries libkdi_fectools.so]

proc read_writes {path} {
  set file [open $path]
  set lines [split [read $file] \n]
  close $file
  set writes {}
  set number 0
  foreach line $lines {
    incr number
    if {[string trim $line] eq {}} continue
    if {![regexp {^\s*(?:0[xX])?([0-9a-fA-F]+)\s+(?:0[xX])?([0-9a-fA-F]+)(?:\s|$)} $line -> address data]} {
      error "$path: line $number: no address and data: $line"
    }
    if {[string length $address] > 15 || [string length $data] > 15} {
      error "$path: line $number: more than 15 digits: $line"
    }
    lappend writes [list [scan $address %llx] [scan $data %llx] {}]
  }
  if {[llength $writes] == 0} { error "$path: no writes" }
  return $writes
}

libraries::told {
  if {[llength $argv] != 3} {
    puts -nonewline [fectools::list_image $core [read_writes $left] $slots]
  } else {
    set lines [fectools::diff_images $core [read_writes $left] [read_writes $right]]
    puts [expr {[llength $lines] == 0 ? "no difference" : [join $lines \n]}]
  }
}
