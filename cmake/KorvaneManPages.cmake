# Manual pages of the installed programs, made by help2man from each
# program's --help and --version when the kit is built for packages;
# compressed with the gzip the packaging found.
find_program(KORVANE_HELP2MAN help2man REQUIRED)
set(KORVANE_MAN_DIR ${PROJECT_BINARY_DIR}/man)
file(MAKE_DIRECTORY ${KORVANE_MAN_DIR})

# The page of one program target (skipped when the target is not built), with
# its one-line summary, installed by the given component.
function(korvane_man_page target summary component)
  if(NOT TARGET ${target})
    return()
  endif()
  get_target_property(name ${target} OUTPUT_NAME)
  if(NOT name)
    set(name ${target})
  endif()
  set(page ${KORVANE_MAN_DIR}/${name}.1.gz)
  add_custom_command(OUTPUT ${page}
    COMMAND ${KORVANE_HELP2MAN} --no-info --section=1 "--name=${summary}" --output=${name}.1
            $<TARGET_FILE:${target}>
    COMMAND ${KORVANE_GZIP} -9nf ${name}.1
    WORKING_DIRECTORY ${KORVANE_MAN_DIR}
    DEPENDS ${target}
    VERBATIM)
  add_custom_target(${target}_man_page ALL DEPENDS ${page})
  install(FILES ${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT ${component})
endfunction()

korvane_man_page(korvane_main "depth images and point clouds from a stereo fisheye camera module"
  ${KORVANE_TOOLS_COMPONENT})
korvane_man_page(korvane_maintenance "service stereo camera modules: registers, GPIO, calibration, firmware"
  ${KORVANE_TOOLS_COMPONENT})
korvane_man_page(korvane_record "record a stereo camera module's frames losslessly" ${KORVANE_TOOLS_COMPONENT})
korvane_man_page(korvane_shm_read "read the left images a capturing process shares in memory"
  ${KORVANE_TOOLS_COMPONENT})
korvane_man_page(korvane-synthetic "write the synthetic stereo module's frames, calibration and ground truth"
  ${KORVANE_TOOLS_COMPONENT})
korvane_man_page(korvane_viewer "show a stereo camera module's left and right views" ${KORVANE_TOOLS_COMPONENT})
korvane_man_page(korvane-virtual-module "run a program against virtual stereo camera modules"
  ${KORVANE_VIRTUAL_MODULE_COMPONENT})
