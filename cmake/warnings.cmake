# Warnings shared by every target of the project.
function(vx_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wno-unknown-pragmas)
endfunction()
