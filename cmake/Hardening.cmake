# kelpo::hardening is for what ships: a fault in it ends the program instead of serving an attacker. The stack is
# guarded, grows page by page and is not executable, jumps arrive where the compiler expects them, the tables that the
# loader fills are read-only once filled, calls of the C library check the size of their targets, programs are placed at
# random. kelpo::hardened_tools is the same for the programs, whose containers check their indices too: panels have other
# expectations of the driver's speed. tests/abi/hardening reads all that off the binaries.
include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

add_library(kelpo_hardening INTERFACE)
add_library(kelpo::hardening ALIAS kelpo_hardening)
set_target_properties(kelpo_hardening PROPERTIES INTERFACE_POSITION_INDEPENDENT_CODE ON)
target_compile_options(kelpo_hardening INTERFACE -fstack-protector-strong)
target_link_options(kelpo_hardening INTERFACE -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)

# What not every compiler has for every processor; a warning that it is ignored is as good as an error.
foreach(option stack-clash-protection cf-protection=full)
    string(MAKE_C_IDENTIFIER "KELPO_HAS_${option}" has)
    check_cxx_compiler_flag("-Werror -f${option}" ${has})
    if(${has})
        target_compile_options(kelpo_hardening INTERFACE -f${option})
    endif()
endforeach()

# The checks need an optimising compiler; the sanitizers have their own.
if(NOT CMAKE_BUILD_TYPE STREQUAL Debug AND NOT KELPO_SANITIZE)
    set(CMAKE_REQUIRED_FLAGS "-Werror -O2 -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3")
    check_cxx_source_compiles("#include <cstring>\nint main() { return 0; }" KELPO_HAS_FORTIFY_3)
    unset(CMAKE_REQUIRED_FLAGS)
    set(kelpo_fortify $<IF:$<BOOL:${KELPO_HAS_FORTIFY_3}>,3,2>)
    target_compile_options(kelpo_hardening INTERFACE -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=${kelpo_fortify})
endif()

add_library(kelpo_hardened_tools INTERFACE)
add_library(kelpo::hardened_tools ALIAS kelpo_hardened_tools)
target_link_libraries(kelpo_hardened_tools INTERFACE kelpo::hardening)
target_compile_definitions(kelpo_hardened_tools INTERFACE _GLIBCXX_ASSERTIONS)
