# Where we build our own code ourselves (the presets), a warning is an error.
option(KELPO_WERROR "Treat warnings as errors" OFF)
add_library(kelpo_warnings INTERFACE)
add_library(kelpo::warnings ALIAS kelpo_warnings)
# clang++ finds names that are reserved for the implementation at once; clang-tidy's check reads every system header.
target_compile_options(kelpo_warnings INTERFACE $<$<CXX_COMPILER_ID:Clang>:-Wreserved-identifier>)
target_compile_options(kelpo_warnings INTERFACE -Wall -Wextra -Wshadow -Wconversion $<$<BOOL:${KELPO_WERROR}>:-Werror>)
