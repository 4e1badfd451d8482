#include "common/base/AnyConvention.h"

// ebp remembers the stack pointer across the call, whatever the callee took off. The arguments start at an address
// that is a multiple of 16, as compilers expect it.
asm(R"(
    .text
    .globl _CallAnyConvention
    .def _CallAnyConvention; .scl 2; .type 32; .endef
_CallAnyConvention:
    .cfi_startproc
    pushl %ebp
    .cfi_def_cfa_offset 8
    .cfi_offset %ebp, -8
    movl %esp, %ebp
    .cfi_def_cfa_register %ebp
    pushl %esi
    pushl %edi
    .cfi_offset %esi, -12
    .cfi_offset %edi, -16
    movl 12(%ebp), %esi
    movl 16(%ebp), %ecx
    leal (,%ecx,4), %eax
    subl %eax, %esp
    andl $-16, %esp
    movl %esp, %edi
    cld
    rep movsl
    call *8(%ebp)
    leal -8(%ebp), %esp
    popl %edi
    popl %esi
    popl %ebp
    .cfi_restore %edi
    .cfi_restore %esi
    .cfi_restore %ebp
    .cfi_def_cfa %esp, 4
    ret
    .cfi_endproc
)");
