# Plans of interfaces with their pictures: a memory controller in silicon, its pins as constraints, and what a part has.
#
#   tclsh interface_plans.tcl ?LIB_DIR? PART TYPE SETTINGS ?FILE.svg?
#
# TYPE is soft_DDR4, hard_DDR4, hard_DDR5 or xphy_io, SETTINGS a dictionary (docs/io-planning.md). Where there is no plan, it
# says what stands in the way, and what has one.
#
#   tclsh interface_plans.tcl brvn6112-c2209-2LHP-e-S hard_DDR5 'CONTROLLER DDRMC5_1 ECC true' ddr5.svg
#   tclsh interface_plans.tcl brvn3716-b1764-2LHP-e-S xphy_io 'MEMORY_TYPE QDRIV DATA_WIDTH 36' qdr.svg
#   tclsh interface_plans.tcl brvn3716-b1764-2LHP-e-S soft_DDR4 'DATA_WIDTH 72 BANKS 700'
#
# A converter of 16 lanes with its clock, which is xphy_io of buses:
#
#   tclsh interface_plans.tcl brvn3716-b1764-2LHP-e-S xphy_io 'DATA_RATE 1600 DIFF_IO_STD LVDS15
#     BUSES {adc {WIDTH 16 DIFFERENTIAL 1 STROBE dco} dco {ROLE Strobe DIFFERENTIAL 1}}' converter.svg
source [file join [file dirname [file normalize [info script]]] libraries.tcl]
set libraries [libraries::folder]
if {[llength $argv] ni {3 4}} {
  puts stderr "usage: tclsh interface_plans.tcl ?LIB_DIR? PART TYPE SETTINGS ?FILE.svg?"
  exit 2
}
lassign $argv part type settings file
load [file join $libraries libkdi_iptasks.so]
load [file join $libraries libkdi_iotools.so]
libraries::told { xphy_io::Ip_xphy_io_loadPkg -instance_name interface -part $part }

# What the type's commands are: a plan, and its strobes.
proc plan {type settings} {
  switch -- $type {
    soft_DDR4 {
      set options [concat {*}[lmap {name value} $settings { list -[string tolower $name] $value }]]
      return [xphy_io::Ip_soft_DDR4_defaultIOPlanning interface {*}$options]
    }
    xphy_io { return [xphy_io::memory_io_v1::Ip_xphy_io_defaultIOPlanning interface interface . $settings] }
    hard_DDR4 - hard_DDR5 { return [xphy_io::memory_io_v1::Ip_${type}_defaultIOPlanning interface interface . $settings] }
  }
  error "type \"$type\": soft_DDR4, hard_DDR4, hard_DDR5 or xphy_io"
}
proc strobes {type settings plan} {
  set scope [expr {$type eq "soft_DDR4" ? "xphy_io" : "xphy_io::memory_io_v1"}]
  ${scope}::Ip_${type}_getStrobeToDataNibbles interface interface . $settings $plan
}

if {[catch { plan $type $settings } plan]} {
  puts stderr $plan
  if {![catch { iotools::why $type $settings -part $part } why]} {
    foreach one [dict get $why obstacles] { puts stderr "  in the way: [dict get $one text]" }
    foreach one [dict get $why nearest] { puts stderr "  would do: [dict get $one text]" }
  }
  exit 1
}
set strobes [strobes $type $settings $plan]

set banks [lsort -unique -integer [lmap {port place} $plan { lindex [split $place ,] 0 }]]
puts "[dict size $plan] ports in banks [join $banks {, }], [dict size $strobes] strobes"
dict for {strobe nibbles} $strobes { puts "  $strobe clocks $nibbles" }
foreach {port place} [lsort -stride 2 -dictionary $plan] {
  lassign [split $place ,] bank lane nibble site ball standard
  puts "set_property -dict {PACKAGE_PIN $ball IOSTANDARD $standard} \[get_ports {$port}\]"
}
if {$file ne ""} {
  libraries::told { set out [open $file w] }
  fconfigure $out -encoding utf-8
  puts -nonewline $out [iotools::picture $plan -part $part -strobes $strobes -title "$type on $part\nasked for: $settings"]
  close $out
}
