# Pages of data and the data say the same fields: data_pages.tcl SOURCE_DIR lists the fields of files that their page does not
# name, and the fields that a page's tables name and neither a file nor what reads it knows.
source [file join [file dirname [info script]] cpp.tcl]
set root [file normalize [lindex $argv 0]]

# Folder of data, and the pages that describe its files.
set described {
  bmg              {data/bmg/README.md}
  board            {data/board/README.md}
  ddr              {data/ddr/README.md}
  devices          {data/devices/README.md}
  ducddc           {data/ducddc/README.md}
  hard_controllers {data/hard_controllers/README.md}
  io               {data/io/README.md}
  memory           {data/memory/README.md}
  power            {data/power/README.md}
  software         {data/software/README.md docs/boot-program.md}
  tavrel           {data/tavrel/README.md docs/state-file.md}
  transceivers     {data/transceivers/README.md}
}

# Fields are words in small letters, in front of a colon. Names by which files look something up are none: what stands in the
# files in other letters, cores, devices, and what rules of registers may ask.
proc fields_of {text folder} {
  global root
  if {$folder eq "transceivers"} { regsub {"quantities": \{.*?\n  \}} $text {} text }
  set fields [dict create]
  foreach {- name} [regexp -all -inline {"([a-z]\w*)"\s*:} $text] {
    if {![file isdirectory $root/data/cores/$name] && ![file exists $root/data/devices/$name.json]} {
      dict set fields $name {}
    }
  }
  return $fields
}

# What a page has in the typeface of code: words, and words with a <part> that differs.
proc words_of {page} {
  set words {}
  set code [regexp -all -inline {`[^`]+`} $page]
  lappend code {*}[regexp -all -inline -line {^    .*$} $page]
  foreach piece $code { lappend words {*}[regexp -all -inline {[A-Za-z_](?:\w|<\w+>)*} $piece] }
  return [lsort -unique [regsub -all {<\w+>} $words *]]
}

# The first cells of tables whose heading begins with "Field".
proc table_fields {page} {
  set fields {}
  set in_table 0
  set of_fields 0
  foreach line [split $page \n] {
    if {[string index $line 0] ne "|"} { set in_table 0; continue }
    set cell [lindex [split $line |] 1]
    if {!$in_table} {
      set in_table 1
      set of_fields [string match { Field*} $cell]
    } elseif {$of_fields} {
      foreach {- name} [regexp -all -inline {`([A-Za-z_]\w*)`} $cell] { lappend fields $name }
    }
  }
  return $fields
}

set sources {}
foreach top {platform tools} {
  foreach path [files_below $root/$top *.cpp *.h] { append sources [read_text $path] \n }
}

set faults {}
set count 0
dict for {folder pages} $described {
  set page {}
  foreach name $pages { append page [read_text $root/$name] \n }
  set words [words_of $page]
  set known [dict create]
  foreach path [lsort [files_below $root/data/$folder *.json]] {
    if {[file tail $path] eq "schema.json"} continue
    dict for {field -} [fields_of [read_text $path] $folder] {
      if {[dict exists $known $field]} continue
      dict set known $field {}
      incr count
      set is_named 0
      foreach word $words { if {[string match $word $field]} { set is_named 1; break } }
      if {!$is_named} {
        lappend faults "[lindex $pages 0] does not name the field $field of [string range $path [string length $root/] end]"
      }
    }
  }
  foreach field [table_fields $page] {
    incr count
    if {![dict exists $known $field] && [string first \"$field\" $sources] < 0} {
      lappend faults "[lindex $pages 0] names the field $field, which nothing has or reads"
    }
  }
}
puts [join $faults \n]
if {$count < 300} { puts "only $count fields: the files are not where they were"; exit 1 }
exit [expr {[llength $faults] > 0}]
