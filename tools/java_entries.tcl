# What Java calls of the package, made from its tables:
#   java_entries.tcl DATA_DIR          checks the tables
#   java_entries.tcl DATA_DIR OUT_DIR  and writes names.c (the getters), pspmc.java (the class that declares them) and
#                                      entries.txt (every entry point by its name in C, and the body that it shares)
#
# A table with a fault writes nothing: each fault is told with file and line, each figure that is another with the rows that
# it comes from, and the status is 1.
#
# Getters with one key are one function under several names: the first of PSPMCParameters has the body, or else the first of
# PSXLParameters, or else the first of PSParameters.
set classes {PSPMCParameters PSXLParameters PSParameters}
set short {PSPMCParameters P PSXLParameters X PSParameters S}
set models {HACGCPSPMCCustomDRCModel HACGCPSXLCustomDRCModel}
set kinds {VALUE TYPE RANGE ENABLED VISIBLE DISPLAY_NAME DESCRIPTION ERRMSG UNKNOWN}
set cPrefix Java_ui_data_pspmc_pspmc_

proc lines {path} {
  set file [open $path]
  fconfigure $file -encoding utf-8 -translation lf
  set text [read $file]
  close $file
  if {![string match *\n $text]} { fault "$path: the last line has no end" }
  split [string trimright $text \n] \n
}
proc fault {text} { lappend ::faults $text }

# ----------------------------------------------------------------------------------------------------------- the names

# Sets key(class,getter), getters(class) in their order, settled(word) to the rows that say so.
proc read_names {path} {
  global key getters settled classes
  array set getters {PSPMCParameters {} PSXLParameters {} PSParameters {}}
  foreach word {given spelled twin derived} { set settled($word) 0 }
  set number 0
  foreach line [lines $path] {
    incr number
    if {$number == 1} {
      if {$line ne "class,getter,key,settled"} { fault "$path:1: the columns are class,getter,key,settled" }
      continue
    }
    set fields [split $line ,]
    if {[llength $fields] != 4} { fault "$path:$number: [llength $fields] fields, not 4"; continue }
    lassign $fields class getter itsKey how
    if {$class ni $classes} { fault "$path:$number: class \"$class\" is none of $classes"; continue }
    # Names as they stand in C: an underscore of Java's is written _1 there.
    if {![regexp {^get(?:[A-Za-z0-9]|_1)+$} $getter]} { fault "$path:$number: getter \"$getter\" is no name of an entry" }
    if {![regexp {^(?:[A-Z][A-Z0-9_]*|quad_usage_q[0-3]l[0-3])$} $itsKey]} { fault "$path:$number: key \"$itsKey\" is none" }
    if {![info exists settled($how)]} { fault "$path:$number: settled \"$how\" is none of [lsort [array names settled]]"; continue }
    if {[info exists key($class,$getter)]} { fault "$path:$number: a second row for $class $getter"; continue }
    set key($class,$getter) $itsKey
    lappend getters($class) $getter
    incr settled($how)
  }
}

# The class that has the body of a key, and its getter there.
proc find_bodies {} {
  global key getters body classes
  foreach class $classes {
    foreach getter $getters($class) {
      if {![info exists body($key($class,$getter))]} { set body($key($class,$getter)) [list $class $getter] }
    }
  }
}

# `what` counts `rows`, and is `expected`.
proc figure {what rows expected} {
  if {[llength $rows] == $expected} return
  set told [lrange [lsort $rows] 0 19]
  if {[llength $rows] > 20} { lappend told ... }
  fault "$what: [llength $rows] and not $expected: [join $told {, }]"
}

proc in_both {first second} { lmap name $first { if {$name ni $second} continue; set name } }

# Everything that is known of the table beside the names themselves.
proc check_figures {} {
  global key getters settled body classes short
  foreach class $classes count {429 608 575} bodies {421 555 161} {
    figure "getters of $class" $getters($class) $count
    figure "getters of $class with a body of their own" \
      [lmap itsKey [array names body] { if {[lindex $body($itsKey) 0] ne $class} continue; set itsKey }] $bodies
    set all([dict get $short $class]) [lsort $getters($class)]
  }
  set names [lsort -unique [concat $all(P) $all(S) $all(X)]]
  figure "names of getters" $names 757
  figure "names in PSPMCParameters and PSParameters" [in_both $all(P) $all(S)] 422
  figure "names in PSPMCParameters and PSXLParameters" [in_both $all(P) $all(X)] 408
  figure "names in PSParameters and PSXLParameters" [in_both $all(S) $all(X)] 429
  figure "names in all three classes" [in_both $all(P) [in_both $all(S) $all(X)]] 404
  set several [lmap name $names { if {($name in $all(P)) + ($name in $all(S)) + ($name in $all(X)) < 2} continue; set name }]
  figure "names in several classes" $several 451
  figure "names with an underscore" [lsearch -all -inline $names *_*] 102
  figure "names with several keys" [lmap name $names {
    set keys {}
    foreach class $classes { if {[info exists key($class,$name)]} { lappend keys $key($class,$name) } }
    if {[llength [lsort -unique $keys]] < 2} continue
    set name
  }] 395

  figure keys [array names body] 1137
  set alone [array names body]
  foreach {group count} {PSX_ 372 PS_ 281 PMC_ 260 PMCX_ 180 quad 16 SMON_ 12 SEM_ 8} {
    figure "keys that begin with $group" [lsearch -all -inline [array names body] $group*] $count
    set alone [lsearch -all -inline -not $alone $group*]
  }
  figure "keys of no group" $alone 8
  foreach itsKey {DESIGN_MODE GT_REFCLK_MHZ AURORA_LINE_RATE_GPBS DEVICE_INTEGRITY_MODE CMN_CONFIG_MODE PL_ACP_CLUSTER_CTRL} {
    if {$itsKey ni $alone} { fault "no getter has the key $itsKey" }
  }

  # Where those without a body of their own have it, and by which name.
  foreach jump {P.P X.P.same X.P.other X.X S.P.same S.P.other S.X S.S} { set jumps($jump) {} }
  foreach class $classes {
    foreach getter $getters($class) {
      lassign $body($key($class,$getter)) its its_name
      if {$its eq $class && $its_name eq $getter} continue
      set jump [dict get $short $class].[dict get $short $its]
      if {$its eq "PSPMCParameters" && $class ne $its} {
        set same "PSPMCParameters,$getter"
        append jump [expr {[info exists key($same)] && $key($same) eq $key($class,$getter) ? ".same" : ".other"}]
      }
      lappend jumps($jump) "$class $getter"
    }
  }
  foreach {jump what count} {
    P.P {twins within PSPMCParameters} 8
    X.X {twins within PSXLParameters} 15
    S.S {twins within PSParameters alone} 0
    X.P.same {twins of PSXLParameters with the getter of that name in PSPMCParameters} 38
    X.P.other {twins of PSXLParameters with another name in PSPMCParameters} 0
    S.P.same {twins of PSParameters with the getter of that name in PSPMCParameters} 410
    S.P.other {twins of PSParameters with another name in PSPMCParameters} 0
    S.X {twins of PSParameters and PSXLParameters} 4
  } { figure $what $jumps($jump) $count }
  foreach {word count} {given 21 spelled 26 twin 472 derived 1093} {
    if {$settled($word) != $count} { fault "rows that are $word: $settled($word) and not $count" }
  }
}

# Keys that are fixed one by one.
proc check_given {} {
  global key
  foreach {class getter itsKey} {
    PSPMCParameters getDesignMode DESIGN_MODE
    PSXLParameters getDesignMode DESIGN_MODE
    PSPMCParameters getIrq13Enable PS_USE_IRQ_13
    PSPMCParameters getAceLite PS_USE_ACE_LITE
    PSParameters getAceLite PS_USE_ACE_LITE
    PSXLParameters getAceLite0 PSX_USE_ACE_LITE0
    PSPMCParameters getQspiMode PMC_QSPI_PERIPHERAL_MODE
    PSXLParameters getQspiMode PMCX_QSPI_PERIPHERAL_MODE
    PSPMCParameters getQspiClkSrc PMC_CRP_QSPI_REF_CTRL_SRCSEL
    PSXLParameters getQspiClkSrc PMCX_CRP_QSPI_REF_CTRL_SRCSEL
    PSPMCParameters getQspiActClk PMC_CRP_QSPI_REF_CTRL_ACT_FREQMHZ
    PSPMCParameters getPsPlCtiInput0 PS_FTM_CTI_IN_0
    PSPMCParameters getFtmCtiIn0Enable PS_FTM_CTI_IN_0
    PSParameters getSD1EMMCClk50SdrOtap PMC_SD1_EMMC_CLK_50_SDR_OTAP_DLY
    PSPMCParameters getTamperSUP96TO127EraseBram PMC_TAMPER_SUP_96_127_ERASE_BBRAM
    PSXLParameters getTamperSUP128TO151Enable PMCX_TAMPER_SUP_128_151_ENABLE
    PSXLParameters getAdmaCh0Coherency PSX_LPDMA0_COHERENCY
    PSPMCParameters getGtRefClk GT_REFCLK_MHZ
    PSXLParameters getI3cI2c0Div0 PSX_CRL_I3C_I2C0_REF_CTRL_DIVISOR0
    PSXLParameters getQuadQ0L1Usage quad_usage_q0l1
    PSPMCParameters getSysMonRefSrc SMON_REFERENCE_SOURCE
    PSPMCParameters getPowerPsLpdInterconnectLoad PS_LPD_INTERCONNECT_LOAD
    PSPMCParameters getSysMonCustomPreset DEVICE_INTEGRITY_MODE
  } {
    set found [expr {[info exists key($class,$getter)] ? $key($class,$getter) : "none"}]
    if {$found ne $itsKey} { fault "$class $getter: the key is $itsKey, not $found" }
  }
  # What other operations of the system read under these names.
  set keys [lmap {- itsKey} [array get key] { set itsKey }]
  foreach itsKey {
    SEM_CONFIG_MEM_SCAN SEM_CONFIG_NPI_SCAN SEM_NPI_GOLDEN_CHECKSUM_SW PS_NUM_FABRIC_RESETS PSX_NUM_FABRIC_RESETS
    PMC_SMAP_PERIPHERAL_IO PSX_HSDP_MODE PSX_HSDP_INGRESS_TRAFFIC PSX_HSDP_AURORA_LINE_RATE PSX_HSDP_REFCLK_FREQMHZ
    PSX_HSDP0_REFCLK PSX_HSDP1_REFCLK PSX_PCIE_RESET PSX_PCIE_ROOT_RESET1_IO PSX_PCIE_ROOT_RESET4_IO SMON_PMBUS_ADDRESS
    SMON_PMBUS_UNRESTRICTED SMON_ALARMS SMON_ENABLE_INT_VOLTAGE_MONITORING SMON_VOLTAGE_AVERAGING_SAMPLES
  } { if {$itsKey ni $keys} { fault "no getter has the key $itsKey" } }
}

# ------------------------------------------------------------------------------------------------------ the operations

# Returns rows of class, operation, result and parameters, the last a list of declarations in Java.
proc read_operations {path} {
  global models
  set types {void int boolean String String[]}
  set number 0
  set rows {}
  foreach line [lines $path] {
    incr number
    if {$number == 1} {
      if {$line ne "class,operation,result,parameters"} { fault "$path:1: the columns are class,operation,result,parameters" }
      continue
    }
    set fields [split $line ,]
    if {[llength $fields] != 4} { fault "$path:$number: [llength $fields] fields, not 4"; continue }
    lassign $fields class operation result parameters
    if {$class ni $models} { fault "$path:$number: class \"$class\" is none of $models" }
    if {![regexp {^[a-z][A-Za-z0-9]*$} $operation]} { fault "$path:$number: operation \"$operation\" is no name" }
    if {$result ni $types} { fault "$path:$number: result \"$result\" is none of $types" }
    set declared {}
    foreach parameter [expr {$parameters eq {} ? {} : [split $parameters \;]}] {
      set parameter [string trim $parameter]
      if {![regexp {^(?:int|boolean|String|String\[\]) [a-z][A-Za-z0-9]*$} $parameter]} {
        fault "$path:$number: \"$parameter\" is no parameter"
      }
      lappend declared $parameter
    }
    if {[info exists seen($class,$operation)]} { fault "$path:$number: a second row for $class $operation" }
    set seen($class,$operation) 1
    lappend rows [list $class $operation $result $declared]
  }
  foreach class $models count {13 10} {
    figure "operations of $class" [lmap name [array names seen $class,*] { string range $name [string length $class,] end }] $count
  }
  return $rows
}

# ------------------------------------------------------------------------------------------------------------- outputs

# Written when it is another, so that nothing is built anew for nothing.
proc write_text {path text} {
  if {[file exists $path]} {
    set file [open $path]
    fconfigure $file -translation lf
    set before [read $file]
    close $file
    if {$before eq $text} return
  }
  file mkdir [file dirname $path]
  set file [open $path.part w]
  fconfigure $file -translation lf
  puts -nonewline $file $text
  close $file
  file rename -force $path.part $path
}

proc in_c {class method} { return ${::cPrefix}${class}_1[string map {_ _1} $method] }
proc in_java {getter} { string map {_1 _} $getter }

proc names_c {} {
  global key getters body classes cPrefix
  set text "/* Made by java_entries.tcl from names.csv: one function for each key, and its other names. */\n"
  append text "#include <jni.h>\n#include <stddef.h>\n\n" \
    "__attribute__((visibility(\"hidden\"))) jstring psmodels_name_text(JNIEnv* env, char const* key, size_t length);\n\n" \
    "#define BODY(entry, key)                                                 \\\n" \
    "  JNIEXPORT jstring JNICALL $cPrefix##entry(JNIEnv* env, jclass type) { \\\n" \
    "    (void)type;                                                         \\\n" \
    "    return psmodels_name_text(env, key, sizeof key - 1);                \\\n" \
    "  }\n" \
    "#define TWIN(entry, body) \\\n" \
    "  JNIEXPORT jstring JNICALL $cPrefix##entry(JNIEnv*, jclass) __attribute__((alias(\"$cPrefix\" #body)));\n\n"
  foreach class $classes {
    foreach getter $getters($class) {
      set itsKey $key($class,$getter)
      set owner [join $body($itsKey) _1]
      set entry ${class}_1$getter
      append text [expr {$owner eq $entry ? "BODY($entry, \"$itsKey\")" : "TWIN($entry, $owner)"}] \n
    }
  }
  return $text
}

# name in C, name in C of the body
proc entries {operations} {
  global key getters body classes models kinds cPrefix
  set rows {}
  foreach class $classes {
    foreach getter $getters($class) {
      lappend rows "$cPrefix${class}_1$getter $cPrefix[join $body($key($class,$getter)) _1]"
    }
  }
  foreach model $models {
    foreach kind $kinds { lappend rows "[in_c get ${model}_$kind] [in_c get [lindex $models 0]_$kind]" }
  }
  foreach operation $operations {
    set name [in_c {*}[lrange $operation 0 1]]
    lappend rows "$name $name"
  }
  return [join [lsort $rows] \n]\n
}

proc pspmc_java {operations} {
  global getters models kinds
  set body {}
  foreach model $models {
    append body "  // Kinds of information on a parameter, for ${model}_getParamInfo.\n\n"
    foreach kind $kinds { append body "  public static native int get_${model}_${kind}();\n" }
    append body \n
  }
  append body "  // Operations of the models.\n\n"
  foreach operation $operations {
    lassign $operation class method result parameters
    append body "  public static native $result ${class}_${method}([join [linsert $parameters 0 {long model}] {, }]);\n"
  }
  foreach class {PSPMCParameters PSParameters PSXLParameters} {
    append body "\n  // Names of parameters: $class.\n\n"
    foreach getter $getters($class) { append body "  public static native String ${class}_[in_java $getter]();\n" }
  }
  string map [list %BODY% $body] {// Made by java_entries.tcl from names.csv and operations.csv.
package ui.data.pspmc;

/**
 * The native entry points of the package, one method each.
 *
 * <p>Getters return the name of a configuration parameter, so that no program spells one. The operations of a model take
 * its address, for which {@link Customisation#useModel} is there; an address of no live model of that class
 * gets the neutral answer: nothing, {@code false}, 0, an empty text or array, and -1 for a supply. What fails is a
 * {@link ui.frmwork.cmd.CommandFailedException} or {@link ui.frmwork.COutOfMemoryException}. Where several texts are
 * given or returned that belong together in pairs, they stand in one array, name, value, name, value. A null text is an
 * empty one.
 */
public final class pspmc {
  static {
    Libraries.load();
  }

  private pspmc() {}

%BODY%}
}
}

# ----------------------------------------------------------------------------------------------------------------- run

if {$argc < 1 || $argc > 2} {
  puts stderr "usage: java_entries.tcl DATA_DIR ?OUT_DIR?"
  exit 2
}
set faults {}
set data [lindex $argv 0]
if {[catch {
  read_names $data/names.csv
  find_bodies
  check_figures
  check_given
  set operations [read_operations $data/operations.csv]
} message options]} {
  if {[lindex [dict get $options -errorcode] 0] ne "POSIX"} { return -options $options $message }
  fault $message
}
if {[llength $faults] > 0} {
  puts stderr [join $faults \n]
  exit 1
}
if {$argc == 2} {
  set out [lindex $argv 1]
  write_text $out/names.c [names_c]
  write_text $out/entries.txt [entries $operations]
  write_text $out/ui/data/pspmc/pspmc.java [pspmc_java $operations]
}
