#!/bin/sh
# Stubs through which a library calls an engine that is loaded when it is first needed: import_stubs.sh ENGINE.so OUT.S
#
# For each function that the engine exports, a hidden function of the same name that jumps to the engine's, which
# kdi_resolve_import looks up at the first call. Several threads may come first at once: each finds the same address, and
# a slot is aligned, so that it is read and written whole. x86-64 only; elsewhere engines are linked in the plain way.
set -eu
engine=$1
nm -D --defined-only --format=posix "$engine" | awk -v library="$(basename "$engine")" '
  $2 == "T" { names[++count] = $1 }
  END {
    print "# Made by import_stubs.sh from " library "."
    print "\t.text"
    for (i = 1; i <= count; ++i) {
      printf "\t.globl %s\n\t.hidden %s\n\t.type %s, @function\n%s:\n", names[i], names[i], names[i], names[i]
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
  }' > "$2.part"
mv "$2.part" "$2"
