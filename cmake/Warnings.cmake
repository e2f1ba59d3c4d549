# What our own code is compiled with; generated code links without it.
add_library(dravixd_warnings INTERFACE)
target_compile_options(dravixd_warnings INTERFACE -Wall -Wextra -Wpedantic -Werror)
