# The house has one stair, and it goes down: includes.tcl SOURCE_DIR lists the includes that go another way, with file
# and line. What a library or a family may reach below itself is what its build file says that it links: LINKS of
# add_platform_library, ENGINES of add_family.
source [file join [file dirname [info script]] cpp.tcl]
set root [file normalize [lindex $argv 0]]

# ----------------------------------------------------------------------------------------------------------- the house

# Directions within a library. Of the devices, the solver has the figures of its models, and knows none.
set rooms {
  platform/ip/clocking     {platform/ip/clocking kdi/device/Clocking.h kdi/device/Power.h kdi/common/KdiNumber.h}
  platform/ip/clock_faces  {platform/ip/clock_faces platform/ip/clocking kdi/}
  platform/ip/power        {platform/ip/power kdi/}
}

# Sources that meet Tcl. All others are compiled and tested without an interpreter, so they may not even see its header.
set faces {
  shared/ip/tcltasks/entry/*  shared/ip/tcltasks/frame/*  shared/ip/tcltasks/*_commands.cpp
  shared/ip/tcltasks/fec/code_check.cpp shared/ip/tcltasks/fec/spec_reader.cpp  shared/ip/tcltasks/clocking/options.cpp
  shared/ip/tcltasks/psmodels/configuration_reader.cpp
  shared/ip/tcltasks/gtwiz/gtwiz_utils.cpp  shared/ip/tcltasks/gtwiz/settings_maps.cpp
  platform/tcl/*  platform/common/HTCTclInterp.cpp  platform/common/tcltasks.cpp  platform/common/kdi_commands.cpp
}

# What kind of place a path from an include root is, and whose: {door common}, {hostdoor common}, {inside ip},
# {package fec}, {top host}.
proc place {path} {
  if {[regexp {^(?:platform/include/)?kdi/(\w+)/host/} $path -> library]} { return [list hostdoor $library] }
  if {[regexp {^(?:platform/include/)?kdi/(\w+)/} $path -> library]} { return [list door $library] }
  if {[regexp {^platform/(\w+)/} $path -> library]} { return [list inside $library] }
  if {[regexp {^(?:shared/ip/)?tcltasks/(\w+)/} $path -> family]} { return [list package $family] }
  return [list top [lindex [file split $path] 0]]
}

# What stands below each library and family by their build files, and the libraries in an order in which each comes
# behind those that it links.
proc read_build_files {} {
  global root below
  foreach path [files_below $root/platform CMakeLists.txt] {
    set text [read_text $path]
    if {[regexp {\madd_(?:platform_)?library\((?:kdi|isl)_(\w+)} $text -> library]} {
      set below(library,$library) [linked [regexp -inline {\mLINKS\M[^)]*} $text]]
    }
  }
  foreach path [files_below $root/shared/ip/tcltasks CMakeLists.txt] {
    set text [read_text $path]
    if {[regexp {\madd_family\((\w+)} $text -> family]} {
      set below(family,$family) [concat tcl common [linked [regexp -inline {\mENGINES\M[^)]*} $text]]]
    }
  }
}
proc linked {words} { lmap {- library} [regexp -all -inline {\m(?:kdi|isl)_(\w+)} $words] { set library } }

proc circles {} {
  global below
  set left [lmap name [array names below library,*] { string range $name 8 end }]
  while {[llength $left] > 0} {
    set next [lmap library $left { if {[lmap other $below(library,$library) { if {$other ni $left} continue; set other }] ne {}} continue; set library }]
    if {[llength $next] == 0} { return [list "platform: [lsort $left] link each other in a circle"] }
    set left [lmap library $left { if {$library in $next} continue; set library }]
  }
  return {}
}

# Why `from` may not include `to`, both paths from the project's root or an include root; empty if it may.
proc fault {from to} {
  global below rooms
  lassign [place $from] kind mine
  lassign [place $to] what whose
  dict for {room reached} $rooms {
    if {[string match $room/* $from] && ![string match "kdi/common/*" $to] &&
        ![llength [lmap start $reached { if {![string match $start* $to]} continue; set start }]]} {
      return "$room reaches [join $reached {, }] alone"
    }
  }
  switch -- $kind {
    door - hostdoor - inside {
      if {$what eq "package" || $what eq "top"} { return "the platform knows nothing of what is above it" }
      if {$whose eq $mine} {
        if {$what eq "inside" && $kind ne "inside"} { return "a door shows nothing of what is behind it" }
        if {$what eq "hostdoor" && $kind eq "door"} { return "a door for everybody needs none for hosts" }
        return {}
      }
      if {$what ne "door"} { return "libraries meet at their doors (kdi/$whose/), those for hosts apart" }
      if {$whose ni $below(library,$mine)} { return "kdi_$mine does not link kdi_$whose" }
    }
    package {
      if {$what eq "package"} {
        if {$whose eq $mine || $mine eq "entry"} { return {} }
        if {$whose ne "frame"} { return "$mine knows the frame and itself, and not $whose" }
        return {}
      }
      if {$what ne "door"} { return "the package knows the doors of the platform, those for hosts apart" }
      if {$whose ni $below(family,$mine)} { return "$mine does not name kdi_$whose among its ENGINES" }
    }
    top {
      if {$mine eq "host" && $what eq "inside"} { return "hosts know the doors of the platform" }
      if {$mine in {host tools} && $what eq "top" && $whose ni [list $mine tools]} { return "$mine does not need $whose" }
    }
  }
  return {}
}

# -------------------------------------------------------------------------------------------------------- the includes

# The includes of a file: line, form ("quoted" or "angled"), name.
proc includes {path} {
  set source [read_text $path]
  set found {}
  foreach at [lmap {- at} [regexp -all -inline -indices {(?n)^[ \t]*#[ \t]*include[ \t]*([<"])} $source] { lindex $at 0 }] {
    if {![regexp {^.([^">\n]+)} [string range $source $at $at+200] -> name]} continue
    lappend found [cpp_line $source $at] [expr {[string index $source $at] eq "<" ? "angled" : "quoted"}] $name
  }
  return $found
}

# The file behind a quoted include, from the project's root; empty if there is none.
proc resolved {name} {
  foreach folder {{} platform/include/ shared/ip/} {
    if {[file isfile $::root/$folder$name]} { return $folder$name }
  }
  return {}
}

# Whether a file sees Tcl, through whatever it includes.
proc sees_tcl {path} {
  global sees includes
  if {![info exists sees($path)]} {
    set sees($path) 0
    foreach {line form name} $includes($path) {
      set file [resolved $name]
      if {$name eq "tcl.h" || ([info exists includes($file)] && [sees_tcl $file])} { set sees($path) 1; break }
    }
  }
  return $sees($path)
}

read_build_files
set faults [circles]
foreach folder {platform shared host tools tests bench} {
  foreach path [files_below $root/$folder *.h *.cpp *.c *.inc] {
    set name [string range $path [string length $root/] end]
    set includes($name) [includes $path]
  }
}
set count 0
foreach path [lsort [array names includes]] {
  foreach {line form name} $includes($path) {
    incr count
    set file [resolved $name]
    if {$form eq "angled" && $file eq {}} continue
    set fault [expr {$file eq {} ? "no such file from the root, platform/include or shared/ip" : [fault $path $name]}]
    if {$fault ne {}} { lappend faults "$path:$line: \"$name\": $fault" }
  }
  set is_face [llength [lmap face $faces { if {![string match $face $path]} continue; set face }]]
  if {[string match {[ps][lh]a*} $path] && [file extension $path] eq ".cpp" && !$is_face && [sees_tcl $path]} {
    lappend faults "$path:1: sees <tcl.h>, which is for the sources that meet scripts"
  }
}
puts [join $faults \n]
puts "$count includes, [llength $faults] faults"
exit [expr {[llength $faults] > 0 || $count == 0}]
