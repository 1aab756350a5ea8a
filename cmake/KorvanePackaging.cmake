# Debian packages of the kit, made by CPack's DEB generator, one package per
# install component. scripts/build-packages.sh configures a build for /usr and
# runs CPack on it.

# The runtime package is named after the libraries' soname major, which is
# the project's major version.
set(KORVANE_RUNTIME_PACKAGE libkorvane${PROJECT_VERSION_MAJOR})
set(KORVANE_DEBIAN_SOURCE korvane-sdk)
set(KORVANE_DEBIAN_REVISION 1)
set(KORVANE_DEBIAN_MAINTAINER "Korvane SDK maintainers <maintainers@korvane.example>")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ${KORVANE_DEBIAN_SOURCE})
set(CPACK_PACKAGE_VENDOR "Korvane")
set(CPACK_PACKAGE_CONTACT "${KORVANE_DEBIAN_MAINTAINER}")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${KORVANE_DEBIAN_REVISION})
set(CPACK_DEBIAN_PACKAGE_SOURCE ${KORVANE_DEBIAN_SOURCE})
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${KORVANE_DEBIAN_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# Library dependencies come from dpkg-shlibdeps; it finds the kit's own
# libraries in the build tree (the packages depend on the runtime package by
# component dependency).
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
get_target_property(camera_dir korvane_camera BINARY_DIR)
get_target_property(control_dir korvane_control BINARY_DIR)
get_target_property(calibration_dir korvane_calibration BINARY_DIR)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${camera_dir} ${control_dir} ${calibration_dir})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY "=")
set(CPACK_COMPONENTS_ALL ${KORVANE_RUNTIME_COMPONENT} ${KORVANE_DEVELOPMENT_COMPONENT}
  ${KORVANE_TOOLS_COMPONENT} ${KORVANE_VIRTUAL_MODULE_COMPONENT})
if(KORVANE_BUILD_PYTHON)
  list(APPEND CPACK_COMPONENTS_ALL ${KORVANE_PYTHON_COMPONENT})
endif()

# The changelog every package carries, compressed as Debian wants it (no name
# or time in the gzip header, best compression).
set(KORVANE_DEBIAN_DOC_DIR ${PROJECT_BINARY_DIR}/debian)
string(TIMESTAMP KORVANE_DEBIAN_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(cmake/debian/changelog.in ${KORVANE_DEBIAN_DOC_DIR}/changelog.Debian @ONLY)
find_program(KORVANE_GZIP gzip REQUIRED)
execute_process(COMMAND ${KORVANE_GZIP} -9nkf changelog.Debian
  WORKING_DIRECTORY ${KORVANE_DEBIAN_DOC_DIR} COMMAND_ERROR_IS_FATAL ANY)

# One package: its name, section, dependencies written by hand (component
# dependencies and needs that are not libraries), and description (summary
# line first, "." between paragraphs). Installs its copyright and changelog.
function(korvane_debian_package component package section)
  cmake_parse_arguments(PARSE_ARGV 3 arg "" "" "COMPONENT_DEPENDS;DEPENDS;RECOMMENDS;DESCRIPTION")
  string(TOUPPER ${component} var)
  set(CPACK_DEBIAN_${var}_PACKAGE_NAME ${package} PARENT_SCOPE)
  set(CPACK_DEBIAN_${var}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  list(JOIN arg_DEPENDS ", " depends)
  set(CPACK_DEBIAN_${var}_PACKAGE_DEPENDS "${depends}" PARENT_SCOPE)
  list(JOIN arg_RECOMMENDS ", " recommends)
  set(CPACK_DEBIAN_${var}_PACKAGE_RECOMMENDS "${recommends}" PARENT_SCOPE)
  list(JOIN arg_DESCRIPTION "\n" description)
  set(CPACK_DEBIAN_${var}_DESCRIPTION "${description}" PARENT_SCOPE)
  set(CPACK_COMPONENT_${var}_DEPENDS ${arg_COMPONENT_DEPENDS} PARENT_SCOPE)
  install(FILES cmake/debian/copyright ${KORVANE_DEBIAN_DOC_DIR}/changelog.Debian.gz
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package} COMPONENT ${component})
endfunction()

# The library cache is brought up to date by dpkg's ldconfig trigger.
string(TOUPPER ${KORVANE_RUNTIME_COMPONENT} runtime_var)
set(CPACK_DEBIAN_${runtime_var}_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
korvane_debian_package(${KORVANE_RUNTIME_COMPONENT} ${KORVANE_RUNTIME_PACKAGE} libs
  # The network stream's GStreamer elements: appsrc and videoconvert (base),
  # rtph264pay and udpsink (good), x264enc (ugly).
  RECOMMENDS gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-plugins-ugly
  DESCRIPTION "stereo fisheye camera kit - shared libraries"
    "The libraries of the Korvane stereo camera kit: libkorvane_camera captures"
    "a module's side-by-side frames, rectifies its two fisheye views and turns"
    "them into disparity, depth images and point clouds; libkorvane_control"
    "talks to the module's controller chip (registers, GPIO, serial flash,"
    "firmware download); libkorvane_calibration calibrates a module from views"
    "of a printed chessboard or ChArUco board."
    "."
    "Also holds the small program the camera library parses settings files"
    "with before it loads them.")

korvane_debian_package(${KORVANE_DEVELOPMENT_COMPONENT} libkorvane-dev libdevel
  COMPONENT_DEPENDS ${KORVANE_RUNTIME_COMPONENT}
  # What the installed CMake package and the .pc file look for.
  DEPENDS libopencv-dev pkgconf
  DESCRIPTION "stereo fisheye camera kit - development files"
    "Headers, CMake package (find_package(KorvaneSDK)) and pkg-config file"
    "(korvane-sdk) for building programs against the Korvane stereo camera"
    "kit's libraries.")

korvane_debian_package(${KORVANE_TOOLS_COMPONENT} korvane-tools utils
  COMPONENT_DEPENDS ${KORVANE_RUNTIME_COMPONENT}
  DESCRIPTION "stereo fisheye camera kit - programs and udev rules"
    "The programs of the Korvane stereo camera kit: korvane-depth (capture,"
    "rectification, depth and point cloud on a module or on the built-in"
    "synthetic module), korvane-maintenance (service a module's registers,"
    "calibration and firmware), korvane-record, korvane-shm-read,"
    "korvane-synthetic and the example viewer korvane_viewer."
    "."
    "The udev rules give the modules' video nodes to the user at the seat and"
    "to the plugdev group.")

korvane_debian_package(${KORVANE_VIRTUAL_MODULE_COMPONENT} korvane-virtual-module devel
  # The launcher preloads umockdev's library into the program it runs.
  DEPENDS umockdev
  DESCRIPTION "stereo fisheye camera kit - virtual camera modules"
    "korvane-virtual-module runs a program against emulated camera modules"
    "(controller chip, serial flash, video node) for development and tests"
    "without hardware.")

if(KORVANE_BUILD_PYTHON)
  # Built for one interpreter version: the package asks for that one.
  set(python_version ${Python3_VERSION_MAJOR}.${Python3_VERSION_MINOR})
  math(EXPR python_next "${Python3_VERSION_MINOR} + 1")
  string(TOUPPER ${KORVANE_PYTHON_COMPONENT} python_var)
  set(CPACK_DEBIAN_${python_var}_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/python3-korvane/prerm)
  korvane_debian_package(${KORVANE_PYTHON_COMPONENT} python3-korvane python
    COMPONENT_DEPENDS ${KORVANE_RUNTIME_COMPONENT}
    DEPENDS "python3 (>= ${python_version})" "python3 (<< ${Python3_VERSION_MAJOR}.${python_next})" python3-numpy
    DESCRIPTION "stereo fisheye camera kit - Python module"
      "The module korvane: the Korvane stereo camera kit's cameras (capture,"
      "rectification, disparity, depth and point clouds as NumPy arrays), its"
      "synthetic stereo module and its control channel (module list,"
      "registers, GPIO, flash blocks), for Python 3.")
endif()

if(KORVANE_BUILD_MAN_PAGES)
  include(cmake/KorvaneManPages.cmake)
endif()

include(CPack)
