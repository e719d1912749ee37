# Our own code compiles without a warning, or not at all.
add_library(kelpo_warnings INTERFACE)
add_library(kelpo::warnings ALIAS kelpo_warnings)
target_compile_options(kelpo_warnings INTERFACE -Wall -Wextra -Wshadow -Wconversion -Werror)
