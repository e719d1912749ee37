# kelpo::hardening is for what ships, so that a fault in it ends the program instead of helping an attacker. The stack
# is guarded and not executable, the tables that the loader fills are read-only afterwards, calls of the C library check
# the size of their buffers, and programs are loaded at random addresses. tests/abi/hardening checks the binaries.
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

add_library(kelpo_hardening INTERFACE)
add_library(kelpo::hardening ALIAS kelpo_hardening)
set_target_properties(kelpo_hardening PROPERTIES INTERFACE_POSITION_INDEPENDENT_CODE ON)
target_compile_options(kelpo_hardening INTERFACE -fstack-protector-strong)
# The checks need an optimising compiler; the sanitizers have their own.
if(NOT CMAKE_BUILD_TYPE STREQUAL Debug AND NOT KELPO_SANITIZE)
    target_compile_options(kelpo_hardening INTERFACE -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
endif()
target_link_options(kelpo_hardening INTERFACE -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
