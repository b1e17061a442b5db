# Warnings for the project's own targets. The presets make them errors; a project that builds this one need not.
function(pxalog_strict_warnings target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast -Wcast-align -Woverloaded-virtual
    -Wconversion -Wsign-conversion -Wformat=2 -Wimplicit-fallthrough
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)
endfunction()
