# Where the power of a core goes: parameters are added group by group, and what each group adds is a bar.
#
#   tclsh power_breakdown.tcl ?LIB_DIR? OUT_DIR
#
# writes transceiver.svg and memory.svg into OUT_DIR and prints the figures. A core of your own: put its parameters into
# groups of {label {key value ...}} and call power::groups and power::svg.
source [file join [file dirname [file normalize [info script]]] plot.tcl]

namespace eval power {
  # The estimate as a number.
  proc watts {params kind} {
    set text [Ip_power_est_get_power_estimation $params $kind]
    if {[scan $text {%f(W)%n} number length] != 2 || $length != [string length $text]} {
      error "no estimate: $text"
    }
    return $number
  }

  # A list of {label watts}: what each group adds to those before it. A later value of a key replaces an earlier one.
  proc groups {kind groups} {
    set params {}
    set before 0
    lmap group $groups {
      lassign $group label added
      set params [dict merge $params $added]
      set now [watts $params $kind]
      set share [list $label [expr {$now - $before}]]
      set before $now
      set share
    }
  }

  proc total {shares} { ::tcl::mathop::+ {*}[lmap share $shares { lindex $share 1 }] }

  proc escaped {text} { string map {& &amp; < &lt; > &gt;} $text }

  # A picture of the shares: each bar begins where the one before it ends; one that saves power reaches back. `about` are
  # lines below the title, `notes` lines at the foot.
  proc svg {title shares {about {}} {notes {}}} {
    set total [total $shares]
    set row 26
    set left 250
    set width 420
    set y [expr {48 + 18 * [llength $about]}]
    set height [expr {$y + 16 + $row * ([llength $shares] + 1) + 18 * [llength $notes]}]
    set lines [list \
      [string trimright [plot::opening 760 $height 13]] \
      "<text x=\"16\" y=\"28\" font-size=\"16\" font-weight=\"bold\" fill=\"#1f2933\">[escaped $title]</text>"]
    foreach {at texts} [list 48 $about [expr {$height - 18 * [llength $notes]}] $notes] {
      foreach text $texts {
        lappend lines "<text x=\"16\" y=\"$at\" fill=\"#52606d\">[escaped $text]</text>"
        incr at 18
      }
    }
    set at 0
    foreach share [concat $shares [list [list total $total]]] {
      lassign $share label watts
      if {$label eq "total"} { set at 0 }
      set x [expr {$left + $width * min($at, $at + $watts) / $total}]
      set bar [expr {$width * abs($watts) / $total}]
      set text [expr {$y + 15}]
      lappend lines \
        "<text x=\"[expr {$left - 10}]\" y=\"$text\" text-anchor=\"end\" fill=\"#1f2933\">[escaped $label]</text>" \
        [format {<rect x="%.1f" y="%d" width="%.1f" height="18" fill="%s"/>} $x $y [expr {max($bar, 0.5)}] \
          [expr {$label eq "total" ? "#52606d" : "#2f7fc1"}]] \
        [format {<text x="%.1f" y="%d" fill="#1f2933">%.3f W</text>} [expr {$x + $bar + 6}] $text $watts]
      set at [expr {$at + $watts}]
      incr y $row
    }
    join [concat $lines [list </svg>]] \n
  }
}

# Four channels of 25.78 Gb/s over a lossy backplane.
set transceiver {
  {"at rest"            {Power_PART brvn3716-die-2LHP-e-S-es1 Power_GT_TYPE GTYP NUM_CHANNELS 4}}
  {"transmitters, PLL"  {TX_LINE_RATE 25.78125 TX_PLL_TYPE LCPLL}}
  {"receivers"          {RX_LINE_RATE 25.78125 RX_PLL_TYPE LCPLL RX_EQ_MODE LPM}}
  {"decision feedback"  {RX_EQ_MODE DFE}}
  {"20 dB of loss"      {INS_LOSS_NYQ 20}}
  {"64B66B coding"      {TX_DATA_ENCODING 64B66B RX_DATA_DECODING 64B66B}}
  {"64 and 128 bits wide" {TX_INT_DATA_WIDTH 64 RX_INT_DATA_WIDTH 64 TX_USER_DATA_WIDTH 128 RX_USER_DATA_WIDTH 128}}
  {"reference clock"    {TX_REFCLK_FREQUENCY 156.25 RX_REFCLK_FREQUENCY 156.25}}
  {"800 mV termination" {RX_TERMINATION_PROG_VALUE 800}}
}

# A 72-bit DDR4 interface at 2400 Mb/s on a data pin.
set memory {
  {"at rest"            {Power_PART brvn3716-die-2LHP-e-S-es1 Power_ControllerType DDR4_SDRAM}}
  {"clocks"             {C0_DDR4_TimePeriod 833 MMCM_CLK 3332 CLKFBOUT_MULT 4 CLKOUT0_DIVIDE 4 CLKOUTPHY_MODE VCO_2X}}
  {"72 data pins"       {C0_DDR4_DQ_WIDTH 72 C0_DDR4_DQS_WIDTH 9 nCK_PER_CLK 4}}
  {"address, command"   {Power_ADDR_WIDTH 17 C0_BANK_WIDTH 2 C0_BANK_GROUP_WIDTH 1 C0_CKE_WIDTH 1 USE_CS_PORT 1 C0_CS_WIDTH 1}}
  {"memory clock pins"  {C0_CK_WIDTH 1}}
  {"on-die termination" {C0_ODT_WIDTH 1}}
  {"nine devices"       {NUM_DEVICES 9}}
  {"a second rank"      {RANK_WIDTH 2}}
  {"512-bit AXI port"   {Axi_Selection true AXI_DATA_WIDTH 512}}
  {"ECC"                {MCS_ECC true}}
  {"debug signals"      {Debug_Signal Enable}}
}

if {[info exists argv0] && [file normalize $argv0] eq [file normalize [info script]]} {
  source [file join [file dirname [file normalize [info script]]] libraries.tcl]
  set libraries [libraries::folder]
  if {[llength $argv] != 1} {
    puts stderr "usage: tclsh power_breakdown.tcl ?LIB_DIR? OUT_DIR"
    exit 2
  }
  lassign $argv outDir
  load [file join $libraries libkdi_iptasks.so]
  foreach {name kind title limits groups} [list \
    transceiver GT "Four transceiver channels at 25.78 Gb/s" "20 dB of loss at half the line rate" $transceiver \
    memory MIG "A 72-bit DDR4 interface at 2400 Mb/s" "two ranks of nine devices" $memory] {
    set shares [power::groups $kind $groups]
    puts $title
    foreach share [concat $shares [list [list total [power::total $shares]]]] {
      puts [format {  %-22s %9.6f W} {*}$share]
    }
    libraries::told { set file [open [file join $outDir $name.svg] w] }
    puts $file [power::svg $title $shares \
      [list "on [dict get [lindex $groups 0 1] Power_PART]; $limits" "each bar is what its group adds to those above it"] \
      {"Junction at 25 C and the core voltage of the speed grade. A model, not measured."}]
    close $file
  }
}
