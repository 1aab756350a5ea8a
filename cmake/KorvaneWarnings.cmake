# Warnings for the project's own targets only.
function(korvane_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic)
endfunction()
