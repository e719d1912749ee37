# Our own code compiles without a warning; where we build it ourselves (the presets), or not at all.
option(KELPO_WERROR "Take warnings for errors" OFF)
add_library(kelpo_warnings INTERFACE)
add_library(kelpo::warnings ALIAS kelpo_warnings)
# clang++ sees names that are the implementation's in a moment; clang-tidy's check for them looks at every system header.
target_compile_options(kelpo_warnings INTERFACE $<$<CXX_COMPILER_ID:Clang>:-Wreserved-identifier>)
target_compile_options(kelpo_warnings INTERFACE -Wall -Wextra -Wshadow -Wconversion $<$<BOOL:${KELPO_WERROR}>:-Werror>)
