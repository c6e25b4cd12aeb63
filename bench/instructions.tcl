# The fixed script of the instruction count: callgrind counts what it executes, the same on every run.
# tclsh instructions.tcl LIBRARY EXAMPLES_DIR
lassign $argv library examples
load $library
source [file join $examples nr_code.tcl]
foreach {graph z} {1 384 1 96 1 24 2 208 2 52 2 16} {
  sd_fec::gen_ldpc_params [nr::code $graph $z]
  ldpc::gen_ldpc_params [nr::code $graph $z]
}
