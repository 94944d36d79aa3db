# What is installed is hardened with: qldapx_hardening for the sources of the library and of the
# programs, qldapx_hardened_program besides for the programs themselves.
#
# The C library's checked functions need the optimiser, and keep from a sanitizer what it looks for.
# Some compilers define their level themselves.
add_library(qldapx_hardening INTERFACE)
target_compile_options(qldapx_hardening INTERFACE -fstack-protector-strong -fcf-protection)
if(NOT QLDAPX_SANITIZE)
  target_compile_options(qldapx_hardening INTERFACE
    "$<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
endif()
target_link_options(qldapx_hardening INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack)

add_library(qldapx_hardened_program INTERFACE)
target_link_libraries(qldapx_hardened_program INTERFACE qldapx_hardening)
target_link_options(qldapx_hardened_program INTERFACE -pie)
