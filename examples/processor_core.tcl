# A processor core from its first setting to what goes to a colleague: peripherals and clocks are set up, a conflict is
# explained and mended, and report and settings are written.
#
#   tclsh processor_core.tcl ?LIB_DIR? PART FOLDER
#
# FOLDER gets report.html (open it in a browser), settings.tcl and settings.json.
source [file join [file dirname [file normalize [info script]]] libraries.tcl]
set libraries [libraries::folder]
if {[llength $argv] != 2} {
  puts stderr "usage: tclsh processor_core.tcl ?LIB_DIR? PART FOLDER"
  exit 2
}
lassign $argv part folder
load [file join $libraries libkdi_iptasks.so]
load [file join $libraries libkdi_coretools.so]
libraries::told {
  file mkdir $folder
  set core [coretools::open brenlo:ip:pspmc:1.4 [list part $part]]
}

# A console, a network port, flash to boot from, and the reference clock of the board. The flash and the console want the
# same pads.
coretools::set $core PMC_REF_CLK_FREQMHZ 33.333
coretools::set $core PMC_QSPI_PERIPHERAL_ENABLE 1
coretools::set $core PS_UART0_PERIPHERAL_ENABLE 1 PS_UART0_PERIPHERAL_IO {PMC_MIO 0 .. 1} PS_UART0_BAUD_RATE 921600
coretools::set $core PS_ENET0_PERIPHERAL_ENABLE 1 PS_ENET0_PERIPHERAL_IO {PS_MIO 0 .. 11}

foreach clock {UART0 GEM0} {
  puts [format "%-6s %10s MHz asked for, %12s MHz made" $clock \
    [coretools::get $core PS_CRL_${clock}_REF_CTRL_FREQMHZ value] [coretools::get $core PS_CRL_${clock}_REF_CTRL_ACT_FREQMHZ value]]
}

# Tells what is wrong, and what would help; returns how many errors there are.
proc show_errors core {
  set errors [coretools::errors $core]
  dict for {parameter text} $errors {
    puts "$parameter: $text"
    foreach message [dict get [coretools::explain $core $parameter] messages] {
      foreach advice [dict get $message advice] {
        if {[dict get $advice outcome] ne "found"} continue
        foreach change [dict get $advice changes] {
          puts "  would clear it: [dict get $change parameter] [expr {[dict exists $change value] ? [dict get $change value] : {taken back}}]"
        }
      }
    }
  }
  dict size $errors
}
puts "[show_errors $core] error(s)"

# The console moves to other pads, the first that leave no error.
foreach pads [coretools::get $core PS_UART0_PERIPHERAL_IO range] {
  if {$pads eq "EMIO"} continue
  coretools::set $core PS_UART0_PERIPHERAL_IO $pads
  if {[dict size [coretools::errors $core]] == 0} break
  coretools::undo $core
}
puts "the console is at [coretools::get $core PS_UART0_PERIPHERAL_IO value]: [dict size [coretools::errors $core]] error(s)"

coretools::report $core [file join $folder report.html]
coretools::write $core script [file join $folder settings.tcl]
coretools::write $core json [file join $folder settings.json]
coretools::close $core
