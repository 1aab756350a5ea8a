# Warnings for the project's own targets only. Clang also checks the lock
# annotations (camera/ThreadSafety.h) and fails the build on a breach.
function(korvane_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic)
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    target_compile_options(${target} PRIVATE -Wthread-safety -Werror=thread-safety)
  endif()
endfunction()
