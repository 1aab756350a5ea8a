# Finds what the Python module korvane needs: Debian's own interpreter (not
# one on PATH from elsewhere), its development files, NumPy and pybind11.
# Sets KORVANE_PYTHON_FOUND, and KORVANE_PYTHON_DIR (relative to the prefix)
# from the interpreter's own install schemes.
if(NOT DEFINED Python3_EXECUTABLE AND EXISTS /usr/bin/python3)
  set(Python3_EXECUTABLE /usr/bin/python3 CACHE FILEPATH "The Python interpreter the module is built for")
endif()
find_package(Python3 3.11 QUIET COMPONENTS Interpreter Development.Module NumPy)
if(Python3_FOUND)
  find_package(pybind11 CONFIG QUIET)
endif()

set(KORVANE_PYTHON_FOUND OFF)
if(Python3_FOUND AND pybind11_FOUND)
  set(KORVANE_PYTHON_FOUND ON)
endif()

# Debian's schemes: deb_system for /usr, posix_local for /usr/local, the plain
# posix_prefix for any other prefix.
function(korvane_python_install_dir out)
  set(script [=[
import os, sys, sysconfig
prefix = os.path.normpath(sys.argv[1])
schemes = sysconfig.get_scheme_names()
if prefix == "/usr" and "deb_system" in schemes:
    path = sysconfig.get_path("platlib", "deb_system", vars={"base": prefix, "platbase": prefix})
elif prefix == "/usr/local" and "posix_local" in schemes:
    path = sysconfig.get_path("platlib", "posix_local")
else:
    path = sysconfig.get_path("platlib", "posix_prefix", vars={"base": prefix, "platbase": prefix})
print(os.path.relpath(path, prefix), end="")
]=])
  execute_process(COMMAND ${Python3_EXECUTABLE} -c "${script}" ${CMAKE_INSTALL_PREFIX}
    OUTPUT_VARIABLE dir RESULT_VARIABLE failed)
  if(failed OR dir STREQUAL "")
    set(dir lib/python${Python3_VERSION_MAJOR}.${Python3_VERSION_MINOR}/site-packages)
  endif()
  set(${out} ${dir} PARENT_SCOPE)
endfunction()

# Worked out again at every configure, so that a new prefix takes effect.
set(KORVANE_PYTHON_INSTALL_DIR "" CACHE STRING
  "Where the module korvane is installed, relative to the prefix (empty: the interpreter's place for the prefix)")
if(KORVANE_PYTHON_FOUND)
  set(KORVANE_PYTHON_DIR ${KORVANE_PYTHON_INSTALL_DIR})
  if(NOT KORVANE_PYTHON_DIR)
    korvane_python_install_dir(KORVANE_PYTHON_DIR)
  endif()
endif()
