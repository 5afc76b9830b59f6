# The Debian packages: what their control files say, and the files that each of them has. tests/e2e/test_packages.py
# lets lintian judge them.
set(ZV_MAINTAINER "The maintainers of zvControl <maintainers@localhost>" CACHE STRING "Who answers for the packages")

# zv_package(COMPONENT PACKAGE SECTION RELATIONS ... [PAGES ...]): RELATIONS are pairs of a field's name in CPack's
# words and its value; {version} in it is the version of the packages. PAGES: manual pages, of docs/man. BINARIES,
# ARCHIVES: what is stripped, below the prefix.
set(CPACK_COMPONENTS_ALL "")
macro(zv_package component package section summary description)
  cmake_parse_arguments(arg "" "" "RELATIONS;PAGES;BINARIES;ARCHIVES" ${ARGN})
  set(component ${component})
  set(package ${package})
  string(TOUPPER ${component} upper)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package})
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section})
  set(CPACK_COMPONENT_${upper}_DESCRIPTION "${summary}\n${description}")
  set(relations ${arg_RELATIONS})
  while(relations)
    list(POP_FRONT relations field value)
    set(CPACK_DEBIAN_${upper}_PACKAGE_${field} "${value}")
  endwhile()
  set(pages "${arg_PAGES}")
  set(binaries "${arg_BINARIES}")
  set(archives "${arg_ARCHIVES}")
  set(script ${PROJECT_BINARY_DIR}/packages-files/${component}.cmake)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/packages/files.cmake.in ${script} @ONLY)
  install(SCRIPT ${script} COMPONENT ${component})
endmacro()

# These are the versions of the distribution that builds the packages. They are written down, not computed: a machine
# that builds for another processor has no packages of that processor to ask. tests/e2e/test_packages.py runs the
# programs with only these packages.
set(runtime "libc6 (>= 2.36), libgcc-s1 (>= 12), libstdc++6 (>= 12)")

set(answers "It is a CGI program: a web server starts it once for each request to the\n\
camera's control URL space. It asks the camera's daemons, over message\n\
queues and through a library, and writes one answer. The same is there as a\n\
resident program, for web servers that speak SCGI.")
# Both shapes have the program in the same place, so installing one removes the other.
if(ZV_STANDALONE)
  zv_package(gateway zvcontrol-gateway-standalone net "control gateway of a networked camera, in one static program"
    "${answers}\n.\nThis shape needs no library of the camera's. It speaks with the control\n\
daemon of zvcontrol-camera, or another one of the same protocol."
    RELATIONS PROVIDES "zvcontrol-gateway (= {version})" CONFLICTS zvcontrol-gateway REPLACES zvcontrol-gateway
      RECOMMENDS "psmisc | busybox" SUGGESTS httpd-cgi
    PAGES zvControl-cgi-bin.8 zvControl-scgi.8 BINARIES bin/zvControl-cgi-bin bin/zvControl-scgi)
else()
  # Its two libraries may be the maker's, which belong to no package of ours: whoever packs those lets the package
  # provide zvcontrol-closed-libraries.
  zv_package(gateway zvcontrol-gateway net "control gateway of a networked camera"
    "${answers}\n.\nThis shape loads the camera's own libraries, libzvCtrlD and libcsi. Packages\n\
of the maker's provide zvcontrol-closed-libraries; zvcontrol-platform has\nreplacements."
    RELATIONS DEPENDS "${runtime}, zvcontrol-platform (= {version}) | zvcontrol-closed-libraries"
      CONFLICTS zvcontrol-gateway-standalone REPLACES zvcontrol-gateway-standalone
      RECOMMENDS "psmisc | busybox" SUGGESTS httpd-cgi
    PAGES zvControl-cgi-bin.8 zvControl-scgi.8 BINARIES bin/zvControl-cgi-bin bin/zvControl-scgi)
  zv_package(platform zvcontrol-platform libs "replacements of a networked camera's closed libraries"
    "The control gateway loads libzvCtrlD and libcsi. On a real camera they are\n\
the maker's. These take their place where there are none: in the simulated\n\
camera, and in tests. Never install them over the maker's own."
    RELATIONS DEPENDS "${runtime}" PROVIDES zvcontrol-closed-libraries
    BINARIES lib/libzvCtrlD.so lib/libcsi.so)
endif()

if(ZV_CAMERA)
  string(JOIN ", " needed
    "${runtime}"
    "zvcontrol-gateway (= {version})"
    "zvcontrol-platform (= {version}) | zvcontrol-gateway-standalone (= {version})"
    bubblewrap
    lighttpd
    psmisc
    python3-aiohttp
    python3-click
    python3-seccomp
    python3-yaml
    "python3 (>= 3.10)")
  zv_package(camera zvcontrol-camera net "simulated networked camera to develop and test against"
    "The command zvcamera brings up a whole camera around the control gateway:\n\
daemons, a believable radio, a web server on the loopback interface. The\n\
command zvcam shows and changes it while it runs, and makes things go wrong\n\
on demand. Each camera lives in namespaces of its own. Any number of them run\n\
side by side, for any users. None is started by the installation."
    RELATIONS DEPENDS "${needed}" SUGGESTS "curl, python3-pytest"
    PAGES zvcam.1 zvcamera.1 zvcamera-scenario.5
    BINARIES bin/zvControlD bin/zvNetD bin/zvBleD bin/zvStream)
endif()

zv_package(development zvcontrol-dev libdevel "headers and support library of a camera's control gateway"
  "For libraries that are loaded beside the gateway and exchange messages\n\
through it, and for programs of their own that speak with the camera's\n\
daemons. pkg-config and CMake know the package as zvcommon and zvCommon."
  RELATIONS SUGGESTS "cmake | pkgconf"
  PAGES libzvCommon.3 zvErrno.3 zvHexdump.3 zvLog.3 zvMbox.3 zvModel.3 zvMsg.3 zvTlv.3 zvUtil.3 zvcontrol-messages.7
  ARCHIVES lib/libzvCommon.a)

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGE_NAME zvcontrol)
set(CPACK_PACKAGE_CONTACT "${ZV_MAINTAINER}")
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
# By DESTDIR: some files lie outside the prefix.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_BINARY_DIR}/packages-files/packing.cmake)
configure_file(${CMAKE_CURRENT_LIST_DIR}/packages/packing.cmake.in ${CPACK_PROJECT_CONFIG_FILE} @ONLY)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/ZvPackageFolders.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_BINARY_DIR}/packages-files/archives.cmake)
configure_file(${CMAKE_CURRENT_LIST_DIR}/packages/archives.cmake.in ${CPACK_POST_BUILD_SCRIPTS} @ONLY)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
if(CMAKE_CROSSCOMPILING)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${ZV_DEBIAN_ARCHITECTURE})
endif()

include(CPack)
