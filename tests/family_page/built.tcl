# The family that docs/adding-a-family.md makes from nothing is one:
#   built.tcl SOURCE_DIR BUILT.cmake FOLDER CXX_COMPILER C_COMPILER TEST_TCLSH COMMAND_DOCS
#
# Takes the files of the page in their order, in FOLDER, which it makes anew; builds the package with them, runs their test,
# and has the reference written. BUILT.cmake says where the build has its objects and libraries (CMakeLists.txt).
lassign $argv root built folder cxx cc test_tclsh command_docs

proc read_text {path} { set file [open $path]; try { read $file } finally { close $file } }
proc write_text {path text} {
  file mkdir [file dirname $path]
  set file [open $path w]
  try { puts -nonewline $file $text } finally { close $file }
}

# The page's blocks behind the line "## One from nothing": path, kind and text of each.
proc blocks {page} {
  set found {}
  set path {}
  set kind {}
  foreach line [split [lindex [regexp -inline {\n## One from nothing\n(.*?)\n## } $page] 1] \n] {
    if {$kind ne {}} {
      if {$line eq "```"} { lappend found $path $kind $text; set kind {} } else { append text $line \n }
    } elseif {[regexp {^`([^`]+)`$} $line -> given]} {
      set path $given
    } elseif {[regexp {^```(\w+)$} $line -> kind]} {
      set text {}
    }
  }
  return $found
}

# The text with the lines that begin with + put between the others, which stand in it one behind the other, once.
# Blanks are as the layout has them.
proc added {text diff path} {
  set diff [split [string trimright $diff \n] \n]
  set old [lmap line $diff { if {[string index $line 0] eq "+"} continue; squeezed $line }]
  set lines [split $text \n]
  set places {}
  for {set at 0} {$at + [llength $old] <= [llength $lines]} {incr at} {
    set last [expr {$at + [llength $old] - 1}]
    if {[lmap line [lrange $lines $at $last] { squeezed $line }] eq $old} { lappend places $at }
  }
  if {[llength $places] != 1} { error "$path has [llength $places] places for\n[join $diff \n]" }
  set at [lindex $places 0]
  foreach line $diff {
    if {[string index $line 0] eq "+"} { set lines [linsert $lines $at [string range $line 1 end]] }
    incr at
  }
  return [join $lines \n]
}
proc squeezed {line} { string trim [regsub -all {\s+} $line { }] }

# Each entry of a folder, as a link to it.
proc link_all {from to {but {}}} {
  file mkdir $to
  foreach path [glob -directory $from *] {
    if {[file tail $path] ni $but} { file link -symbolic [file join $to [file tail $path]] $path }
  }
}

# A copy of the project as far as the package needs it: links, but for the folders that the page adds to. The families'
# build files stay behind, since their objects are there.
proc prepare {} {
  global root folder
  file delete -force $folder
  file mkdir $folder
  foreach name {cmake tools platform} { file link -symbolic $folder/$name $root/$name }
  set package shared/ip/tcltasks
  file mkdir $folder/$package
  file copy $root/$package/CMakeLists.txt $folder/$package
  foreach path [glob -type d -directory $root/$package *] {
    set family [file tail $path]
    if {$family eq "entry"} {
      file copy $path $folder/$package
    } else {
      link_all $path $folder/$package/$family CMakeLists.txt
    }
  }
  foreach path {docs/commands.md tests/contract/commands.txt tests/tcl/run.tcl} {
    file mkdir $folder/[file dirname $path]
    file copy $root/$path $folder/$path
  }
  file copy $root/tests/family_page/CMakeLists.txt $folder
}

proc run {what args} {
  if {[catch {exec {*}$args 2>@1} output]} { puts "$what: [join $args { }]\n$output"; exit 1 }
  return $output
}

prepare
set files 0
foreach {path kind text} [blocks [read_text $root/docs/adding-a-family.md]] {
  set now [expr {$kind eq "diff" ? [added [read_text $folder/$path] $text $path] : $text}]
  if {$kind ne "diff" && [file exists $folder/$path]} { error "$path is there already" }
  write_text $folder/$path $now
  incr files
}
run configure cmake -S $folder -B $folder/build -G Ninja -DCMAKE_CXX_COMPILER=$cxx -DCMAKE_C_COMPILER=$cc \
  -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-O0 -DBUILT=$built
run build cmake --build $folder/build
# The engines lie where the build has them: the package looks beside itself first.
foreach library [glob [file dirname $folder]/lib/lib*.so*] {
  if {![string match libkdi_iptasks.* [file tail $library]]} { file link -symbolic $folder/build/lib/[file tail $library] $library }
}
file mkdir $folder/build/share/iptasks
file link -symbolic $folder/build/share/iptasks/data $root/data
set env(IPTASKS_LIB_DIR) $folder/build/lib
set env(IPTASKS_SOURCE_DIR) $folder
file mkdir $folder/run
cd $folder/run
set told [run test $test_tclsh $folder/tests/tcl/run.tcl gauge.test]
if {![regexp {Total\s+(\d+)\s+Passed\s+(\d+)} $told -> total passed] || $total != $passed || $total < 5} { puts $told; exit 1 }
file mkdir $folder/reference
run reference $command_docs $folder/data/commands $folder/reference
if {[string first "gauge::decibels" [read_text $folder/reference/gauge.md]] < 0} { error "the reference has no page of the family" }
puts "$files blocks of the page, $passed tests"
