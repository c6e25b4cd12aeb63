# A report with conflicts, errors and advice, opened in a headless browser and clicked through. Ends with 77 and the reason
# where there is no browser or no Python to drive it.
#
# IPTASKS_BROWSER in the environment names the browser, IPTASKS_PICTURES a folder for pictures of the page.
proc skip {why} {
  puts "not looked at: $why"
  exit 77
}

proc program {names} {
  foreach name $names {
    if {$name ne "" && [auto_execok $name] ne ""} { return [lindex [auto_execok $name] 0] }
  }
}

proc from_environment {name} { expr {[info exists ::env($name)] ? $::env($name) : ""} }

set browser [program [list [from_environment IPTASKS_BROWSER] chromium chromium-browser google-chrome]]
if {$browser eq ""} { skip "no chromium, chromium-browser or google-chrome in PATH, and no IPTASKS_BROWSER" }
set python [program python3]
if {$python eq ""} { skip "no python3, which drives the browser" }

foreach library {kdi_iptasks kdi_coretools} { load [file join $env(IPTASKS_LIB_DIR) lib$library.so] }
set core [coretools::open brenlo:ip:tavrel_cips:3.4 {part brvn1102-a625-2LHP-e-S}]
coretools::set $core PS_UART0_PERIPHERAL_ENABLE 1 PS_UART0_BAUD_RATE 9600 PS_UART0_PERIPHERAL_IO {PMC_MIO 0 .. 1} \
    PMC_QSPI_PERIPHERAL_ENABLE 1 PS_I2C0_PERIPHERAL_ENABLE 1 PMC_REF_CLK_FREQMHZ 99 CPM_PCIE0_MODES PCIE
close [file tempfile page report.html]
coretools::report $core $page
coretools::close $core

set look [file join [file dirname [file normalize [info script]]] look_at_page.py]
set isBad [catch {exec $python $look $browser $page {*}[from_environment IPTASKS_PICTURES] >@stdout 2>@stderr} why]
file delete $page
if {$isBad} {
  puts $why
  exit 1
}
