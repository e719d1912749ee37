# Our own code compiles without a warning; where we build it ourselves (the presets), or not at all.
option(KELPO_WERROR "Take warnings for errors" OFF)
add_library(kelpo_warnings INTERFACE)
add_library(kelpo::warnings ALIAS kelpo_warnings)
target_compile_options(kelpo_warnings INTERFACE -Wall -Wextra -Wshadow -Wconversion $<$<BOOL:${KELPO_WERROR}>:-Werror>)
