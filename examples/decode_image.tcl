# Register writes back into named fields, and two images compared.
#
#   tclsh decode_image.tcl LIB_DIR CORE WRITES.txt               lists one image
#   tclsh decode_image.tcl LIB_DIR CORE LEFT.txt RIGHT.txt       lists the fields in which two differ
#
# CORE is sd_fec or ldpc. A file of writes has one line for each: address and data in hexadecimal, then a comment, as
# fec::save_writes (fec_summary.tcl) and the demo write it.
if {[llength $argv] ni {3 4}} {
  puts stderr "usage: tclsh decode_image.tcl LIB_DIR CORE WRITES.txt ?OTHER.txt?"
  exit 2
}
lassign $argv libraries core left right
load [file join $libraries libkdi_iptasks.so]
load [file join $libraries libkdi_fectools.so]

proc read_writes {path} {
  set file [open $path]
  set lines [split [string trim [read $file]] \n]
  close $file
  set writes {}
  set number 0
  foreach line $lines {
    incr number
    if {[scan $line {%llx %llx} address data] != 2} { error "$path: line $number: no address and data: $line" }
    lappend writes [list $address $data {}]
  }
  return $writes
}

if {$right eq {}} {
  puts -nonewline [fectools::list_image $core [read_writes $left]]
} else {
  set lines [fectools::diff_images $core [read_writes $left] [read_writes $right]]
  puts [expr {[llength $lines] == 0 ? "no difference" : [join $lines \n]}]
}
