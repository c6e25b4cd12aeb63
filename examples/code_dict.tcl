# The dictionary of a code put together, its words checked. Used by nr_code.tcl and the importers.
#
# The compiler does not read keys that it does not know. A misspelt key, or an option behind the first key, would be lost
# without a word, so both are refused here.

namespace eval code_dict {
  variable keys {encode normalization scale no_packing compress_packing reorder_type enable_wgt1 disable_transforms
    skip_enc_compatibility no_final_parity max_schedule lat_ctrl}
}

# Whether `text` is a decimal number from `least` to `most`. Tcl alone would take 010 for 8.
proc code_dict::is_number {text least {most 999999999}} {
  expr {[regexp {^[0-9]{1,9}$} $text] && [scan $text %d] >= $least && [scan $text %d] <= $most}
}

# The dictionary of `n`, `k`, `p` and `sm_array`, and of `words`, which are further keys and values.
proc code_dict::make {n k p sm_array words} {
  variable keys
  foreach {key value} $words {
    if {$key in {n k p sm_array}} { error "the key $key is worked out here and cannot be given" }
    if {[string match -* $key]} { error "the option $key stands behind a key: options come first" }
    if {$key ni $keys} { error "unknown key $key: use [join [lrange $keys 0 end-1] {, }] or [lindex $keys end]" }
  }
  if {[llength $words] % 2 != 0} { error "no value for the key [lindex $words end]" }
  dict merge [dict create n $n k $k p $p sm_array $sm_array] $words
}
