#!/bin/sh
# Stubs through which a library calls an engine that is loaded when it is first needed:
#   import_stubs.sh ENGINE.so OUT.S OBJECT...
#   import_stubs.sh NAME=DOORS.txt OUT.S OBJECT...
#
# The second form knows the engine by the list of its doors and by the name that it will have, so that who calls it is
# built without it; the test `doors` holds the list to the library.
#
# For each function that the objects call and the engine exports, a hidden function of the same name that jumps to the
# engine's, which kdi_resolve_import looks up at the first call. Arguments of any number and kind, results and exceptions
# pass as in a plain call (vectors of more than 128 bits apart). Whatever else the objects need of the engine, no stub can
# stand for: data, and the table and type information of a class whose virtual functions are not all pure or inline. Then
# this fails and names them. x86-64 only; elsewhere engines are linked in the plain way.
set -eu
engine=$1
out=$2
shift 2
trap 'rm -f "$out.part"' EXIT
# What the engine is opened by, as by the loader that finds it among the needs of another library.
case $engine in
  *=*) name=${engine%%=*} ;;
  *) name=$(objdump -p "$engine" | awk '$1 == "SONAME" { print $2 }') ;;
esac
# The functions of a list are found by their words among what the objects need: each name as it is, behind an X that keeps
# c++filt from it, and in words.
exports() {
  case $engine in
    *=*)
      nm --undefined-only --format=posix "$@" | awk '$2 == "U" { print "X" $1 "\t" $1 }' | sort -u | c++filt |
        sed -e 's/std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >/std::string/g' \
          -e 's/std::basic_string_view<char, std::char_traits<char> >/std::string_view/g' |
        awk -F '\t' 'NR == FNR { door[$0]; next } $2 in door { print substr($1, 2) " T" }' "${engine#*=}" - ;;
    *) nm -D --defined-only --format=posix "$engine" ;;
  esac
}
{
  exports "$@"
  echo "objects:"
  nm -A --format=posix "$@"
} | awk -v library="${name:-$(basename "$engine")}" '
  $1 == "objects:" { in_objects = 1; next }
  !in_objects { kind[$1] = $2; exported[++exports] = $1; next }
  { object = $0; sub(/: [^ ]+ .*/, "", object); sub(/.*\//, "", object); sub(/^.*: /, "") }
  $2 == "U" { if (!($1 in user)) user[$1] = object; next }
  $2 ~ /[A-Zu]/ { defined[$1] = 1 }
  END {
    for (i = 1; i <= exports; ++i) {
      name = exported[i]
      if (!(name in user) || name in defined) continue
      if (kind[name] ~ /[TWi]/) names[++count] = name
      else refused = refused "  " name ", which " user[name] " needs\n"
    }
    if (refused) {
      printf "import_stubs.sh: %s: a stub carries calls of functions, not\n%s", library, refused | "c++filt >&2"
      close("c++filt >&2")
      exit 1
    }
    print "# Made by import_stubs.sh from " library "."
    print "\t.text"
    for (i = 1; i <= count; ++i) {
      # An odd address, in a pointer to a member, would be read as that of a virtual function.
      printf "\t.balign 2\n\t.globl %s\n\t.hidden %s\n\t.type %s, @function\n%s:\n", names[i], names[i], names[i], names[i]
      # r11 belongs to nobody across a call.
      printf "\tmovq .Lslot%d(%%rip), %%r11\n\ttestq %%r11, %%r11\n\tje 1f\n\tjmp *%%r11\n", i
      printf "1:\tleaq .Lname%d(%%rip), %%r11\n\tpushq %%r11\n\tleaq .Lslot%d(%%rip), %%r11\n\tjmp .Lresolve\n", i, i
      printf "\t.size %s, . - %s\n", names[i], names[i]
    }
    # On the stack: the name, above it the return address of the call. In r11: the slot. Whatever may carry an argument
    # is kept. Unwinding works from in here, for an engine that cannot be loaded is an exception.
    print ".Lresolve:\n\t.cfi_startproc\n\t.cfi_def_cfa_offset 16"
    print "\tpushq %rbp\n\t.cfi_def_cfa_offset 24\n\t.cfi_offset %rbp, -24\n\tmovq %rsp, %rbp\n\t.cfi_def_cfa_register %rbp"
    split("rdi rsi rdx rcx r8 r9 rax r10 r11", kept, " ")
    for (i = 1; i <= 9; ++i) print "\tpushq %" kept[i]
    print "\tandq $-16, %rsp\n\tsubq $128, %rsp"
    for (i = 0; i < 8; ++i) printf "\tmovups %%xmm%d, %d(%%rsp)\n", i, 16 * i
    print "\tleaq .Llibrary(%rip), %rdi\n\tmovq 8(%rbp), %rsi\n\tcall kdi_resolve_import"
    for (i = 0; i < 8; ++i) printf "\tmovups %d(%%rsp), %%xmm%d\n", 16 * i, i
    print "\tleaq -72(%rbp), %rsp\n\tpopq %r11\n\tmovq %rax, (%r11)\n\tmovq %rax, %r11"
    for (i = 8; i >= 1; --i) print "\tpopq %" kept[i]
    print "\tpopq %rbp\n\t.cfi_def_cfa %rsp, 16\n\taddq $8, %rsp\n\tjmp *%r11\n\t.cfi_endproc"
    print "\t.section .rodata\n.Llibrary:\t.string \"" library "\""
    for (i = 1; i <= count; ++i) printf ".Lname%d:\t.string \"%s\"\n", i, names[i]
    print "\t.bss\n\t.balign 8"
    for (i = 1; i <= count; ++i) printf ".Lslot%d:\t.zero 8\n", i
    print "\t.section .note.GNU-stack,\"\",@progbits"
  }' > "$out.part"
# Objects change all the time, and what they call seldom.
cmp -s "$out.part" "$out" || mv "$out.part" "$out"
