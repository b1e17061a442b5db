# Warnings for the project's own targets; a warning is an error.
function(pxalog_strict_warnings target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Werror -Wshadow -Wnon-virtual-dtor -Wold-style-cast -Wcast-align -Woverloaded-virtual
    -Wconversion -Wsign-conversion -Wformat=2 -Wimplicit-fallthrough
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)
endfunction()
