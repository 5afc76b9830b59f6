# The installation has four components. cpack makes a Debian package of each, in packages/ of the build folder:
#
#   gateway       the control program, the resident one, web server snippets, files for init programs
#   platform      replacements of the closed libraries, for cameras without the maker's
#   camera        the simulated camera
#   development   headers, libzvCommon
#
# Fixed: the prefix. The programs look below this folder for each other and for their settings.
if(CMAKE_INSTALL_PREFIX_INITIALIZED_TO_DEFAULT)
  set(CMAKE_INSTALL_PREFIX /usr/local/zarvo CACHE PATH "Where the camera has its programs" FORCE)
endif()

# Not USE_SOURCE_PERMISSIONS: the sources have the permissions that the umask left when they were fetched.
set(executable PERMISSIONS ${ZV_EXECUTABLE})

install(TARGETS zvControl-cgi-bin zvControl-scgi RUNTIME DESTINATION bin COMPONENT gateway)
install(DIRECTORY camera/web/snippets/ DESTINATION share/web COMPONENT gateway PATTERN busybox-control ${executable})
install(DIRECTORY camera/init/ DESTINATION share/init COMPONENT gateway)

set(components gateway camera development)
if(NOT ZV_STANDALONE)
  install(TARGETS zvCtrlD csi LIBRARY DESTINATION lib COMPONENT platform)
  list(APPEND components platform)
endif()

install(TARGETS zvControlD zvNetD zvBleD zvStream RUNTIME DESTINATION bin COMPONENT camera)
install(DIRECTORY camera/settings/ DESTINATION etc COMPONENT camera FILES_MATCHING PATTERN settings.json)
install(DIRECTORY camera/page camera/scenarios camera/web DESTINATION share/camera COMPONENT camera
  PATTERN busybox-control ${executable})
install(DIRECTORY ${PROJECT_BINARY_DIR}/contract DESTINATION share/camera COMPONENT camera)
install(DIRECTORY camera/zvcamera DESTINATION share/camera COMPONENT camera
  PATTERN __pycache__ EXCLUDE)
# Compiled once, for all users: nobody may write there, and zvcam starts in a third of the time. The files are the same
# wherever and whenever they are made.
install(CODE [[
  set(folder "${CMAKE_INSTALL_PREFIX}/share/camera/zvcamera")
  execute_process(COMMAND /usr/bin/python3 -I -m compileall -q -f --invalidation-mode unchecked-hash
    -s "$ENV{DESTDIR}${folder}" -p "${folder}" "$ENV{DESTDIR}${folder}")
  file(CHMOD_RECURSE "$ENV{DESTDIR}${folder}" FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ
    DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
]] COMPONENT camera)
install(PROGRAMS ${PROJECT_BINARY_DIR}/camera/installed/zvcam DESTINATION bin COMPONENT camera)
install(FILES ${PROJECT_BINARY_DIR}/camera/installed/version.txt DESTINATION share/camera COMPONENT camera)
install(PROGRAMS camera/zvcamera.sh DESTINATION bin RENAME zvcamera COMPONENT camera)

install(DIRECTORY libzvCommon/include/ platform/include/ DESTINATION include COMPONENT development)
install(TARGETS zvCommon ARCHIVE DESTINATION lib COMPONENT development)
install(FILES libzvCommon/exports.txt DESTINATION share/development COMPONENT development)

set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL ${components})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGE_NAME zvcontrol)
set(CPACK_PACKAGE_CONTACT "The maintainers of zvControl <maintainers@localhost>")
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/ZvPackageFolders.cmake)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
if(CMAKE_CROSSCOMPILING)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${ZV_DEBIAN_ARCHITECTURE})
endif()

# These are the versions of the distribution that builds the packages. They are written down, not computed: a machine
# that builds for another processor has no packages of that processor to ask. tests/e2e/test_packages.py runs the
# programs with only these packages.
set(runtime "libc6 (>= 2.36), libgcc-s1 (>= 12), libstdc++6 (>= 12)")

set(CPACK_DEBIAN_GATEWAY_PACKAGE_NAME zvcontrol-gateway)
set(CPACK_COMPONENT_GATEWAY_DESCRIPTION
  "Control gateway of the camera\n CGI program that answers the control URL space, and the same as a resident program.")
if(ZV_STANDALONE)
  set(CPACK_DEBIAN_GATEWAY_PACKAGE_NAME zvcontrol-gateway-standalone)
  set(CPACK_DEBIAN_GATEWAY_PACKAGE_PROVIDES zvcontrol-gateway)
  set(other_shape zvcontrol-gateway)
  set(CPACK_DEBIAN_GATEWAY_PACKAGE_RECOMMENDS psmisc)
else()
  set(other_shape zvcontrol-gateway-standalone)
  # Recommended only: the libraries may be the maker's and killall that of busybox, and those belong to no package.
  set(CPACK_DEBIAN_GATEWAY_PACKAGE_DEPENDS "${runtime}")
  set(CPACK_DEBIAN_GATEWAY_PACKAGE_RECOMMENDS "zvcontrol-platform, psmisc")
endif()
# Both packages have the program in the same place, so installing one removes the other.
set(CPACK_DEBIAN_GATEWAY_PACKAGE_CONFLICTS ${other_shape})
set(CPACK_DEBIAN_GATEWAY_PACKAGE_REPLACES ${other_shape})

set(CPACK_DEBIAN_PLATFORM_PACKAGE_NAME zvcontrol-platform)
set(CPACK_DEBIAN_PLATFORM_PACKAGE_DEPENDS "${runtime}")
set(CPACK_COMPONENT_PLATFORM_DESCRIPTION
  "Replacements of the camera's closed libraries\n libzvCtrlD and libcsi, for cameras that do not bring the maker's.")

set(CPACK_DEBIAN_CAMERA_PACKAGE_NAME zvcontrol-camera)
string(JOIN ", " CPACK_DEBIAN_CAMERA_PACKAGE_DEPENDS
  "${runtime}"
  zvcontrol-gateway
  "zvcontrol-platform | zvcontrol-gateway-standalone"
  bubblewrap
  lighttpd
  psmisc
  python3-aiohttp
  python3-click
  python3-seccomp
  python3-yaml
  "python3 (>= 3.10)")
set(CPACK_COMPONENT_CAMERA_DESCRIPTION
  "Simulated camera\n Daemons, settings, scenarios and a launcher (zvcamera) to develop and test against.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME zvcontrol-dev)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
  "Headers and support library of the control gateway\n For libraries that are loaded beside the program.")

include(CPack)
