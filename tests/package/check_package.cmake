# Installs the built kit into a scratch prefix, then builds and runs a small
# project against it twice: through find_package(KorvaneSDK) and through
# pkg-config. Arguments: -DBUILD_DIR= -DSOURCE_DIR= -DWORK_DIR= -DEXPECTED_VERSION=
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}\n${out}\n${err}")
  endif()
  set(last_output "${out}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
# The installed programs find the kit's libraries by themselves.
run(${prefix}/bin/korvane-maintenance --version)
if(NOT last_output STREQUAL "korvane-maintenance ${EXPECTED_VERSION}\n")
  message(FATAL_ERROR "the installed maintenance tool did not run by itself: ${last_output}")
endif()
if(NOT EXISTS ${prefix}/include/korvane/camera/KorvaneVersion.h)
  message(FATAL_ERROR "the version header is not installed")
endif()
# Internal headers stay in the source tree.
foreach(internal camera/StorageText.h camera/StreamPipeline.h camera/CalibrationBlock.h
                 Extension_Unit_Class/Chip_Registry.h Extension_Unit_Class/Extension_Unit_Chip_Table.h
                 Extension_Unit_Class/List_Container.h Extension_Unit_Class/Extunit.h)
  if(EXISTS ${prefix}/include/korvane/${internal})
    message(FATAL_ERROR "internal header installed: ${internal}")
  endif()
endforeach()

run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/package/consumer -B ${WORK_DIR}/cmake-consumer
    -G Ninja -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/cmake-consumer)
set(ENV{LD_LIBRARY_PATH} ${prefix}/lib)
set(ENV{OPENCV_LOG_LEVEL} SILENT)
run(${WORK_DIR}/cmake-consumer/consumer)
if(NOT last_output MATCHES "consumer ok \\(kit ${EXPECTED_VERSION}\\)")
  message(FATAL_ERROR "the find_package consumer did not run: ${last_output}")
endif()
run(${WORK_DIR}/cmake-consumer/synthetic_consumer)
if(NOT last_output STREQUAL "synthetic consumer ok\n")
  message(FATAL_ERROR "the Korvane::synthetic consumer did not run: ${last_output}")
endif()
run(${WORK_DIR}/cmake-consumer/calibration_consumer)
if(NOT last_output STREQUAL "calibration consumer ok\n")
  message(FATAL_ERROR "the Korvane::calibration consumer did not run: ${last_output}")
endif()

set(ENV{PKG_CONFIG_PATH} ${prefix}/lib/pkgconfig)
run(pkg-config --cflags --libs korvane-sdk)
string(STRIP "${last_output}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(c++ -std=c++17 ${SOURCE_DIR}/tests/package/consumer/consumer.cpp ${flags}
    -o ${WORK_DIR}/pkgconfig-consumer)
run(${WORK_DIR}/pkgconfig-consumer)
if(NOT last_output MATCHES "consumer ok \\(kit ${EXPECTED_VERSION}\\)")
  message(FATAL_ERROR "the pkg-config consumer did not run: ${last_output}")
endif()
# Every installed header compiles on its own: it includes what it uses, and
# nothing it includes was left uninstalled.
file(GLOB_RECURSE headers ${prefix}/include/korvane/*.h)
list(LENGTH headers header_count)
if(header_count LESS 10)
  message(FATAL_ERROR "too few installed headers: ${headers}")
endif()
run(c++ -std=c++17 -fsyntax-only -Wall -Wextra -Werror -x c++ ${headers} ${flags})
message(STATUS "${header_count} installed headers compile alone")

message(STATUS "installed package works through find_package and pkg-config")
