# The warnings that the project's own code is built with. The presets turn them into errors; a host that embeds the
# library gets none of them.
add_library(zorvane_warnings INTERFACE)
target_compile_options(zorvane_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor
                                                  -Woverloaded-virtual -Wimplicit-fallthrough)
