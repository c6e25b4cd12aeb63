# Every unit test looks at a result: tests_assert.tcl SOURCE_DIR lists those that do not, and the places where random
# numbers come without the seed that repeats them. A function that does the looking for a test is called expect_...
source [file join [file dirname [info script]] cpp.tcl]
set root [file normalize [lindex $argv 0]]

# That something does not throw is not looked at alone.
set look {\m(?:(?:EXPECT|ASSERT)_(?!NO_THROW)\w+|ADD_FAILURE\w*|FAIL|_Exit|expect_\w+)[(<]}
set looking {(?:TEST(?:_F|_P)?\([^)]*\)|void expect_\w+\([^;{}]*\))[ \n]*\{}
set random {random_device|\mmt19937(?:_64)? +\w+[(\{]}

set tests 0
set faults {}
foreach path [files_below $root/tests *.cpp *.h] {
  set code [cpp_code [read_text $path]]
  set name [string range $path [string length $root/] end]
  foreach found [regexp -all -inline -indices $looking $code] {
    incr tests
    lassign $found first open
    if {![regexp $look [string range $code $open [cpp_closing_brace $code $open]]]} {
      set title [regsub -all {\s+} [string range $code $first $open-1] { }]
      lappend faults "$name:[cpp_line $code $first]: [string trim $title] looks at no result"
    }
  }
  if {$name eq "tests/support/random.h"} continue
  foreach found [regexp -all -inline -indices $random $code] {
    lappend faults "$name:[cpp_line $code [lindex $found 0]]: random numbers without their seed: test_support::Seeded tells it"
  }
}
puts [join $faults \n]
puts "$tests tests, [llength $faults] faults"
exit [expr {[llength $faults] > 0 || $tests == 0}]
