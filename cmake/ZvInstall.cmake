# The installation has four components. cpack makes a Debian package of each, in packages/ of the build folder:
#
#   gateway       the control program, the resident one, web server snippets, files for init programs
#   platform      replacements of the closed libraries, for cameras without the maker's
#   camera        the simulated camera; not with ZV_CAMERA=OFF
#   development   headers, libzvCommon
#
# Fixed: the prefix. The programs look below this folder for each other and for their settings.
if(CMAKE_INSTALL_PREFIX_INITIALIZED_TO_DEFAULT)
  set(CMAKE_INSTALL_PREFIX /usr/local/zarvo CACHE PATH "Where the camera has its programs" FORCE)
endif()
# Where the system looks for commands, manual pages, completion and documents.
set(ZV_SYSTEM_PREFIX /usr CACHE PATH "Where the system has bin and share; /usr/local for an installation by hand")
set(share ${ZV_SYSTEM_PREFIX}/share)

# Not USE_SOURCE_PERMISSIONS: the sources have the permissions that the umask left when they were fetched.
set(executable PERMISSIONS ${ZV_EXECUTABLE})

install(TARGETS zvControl-cgi-bin zvControl-scgi RUNTIME DESTINATION bin COMPONENT gateway)
install(DIRECTORY camera/web/snippets/ DESTINATION share/web COMPONENT gateway PATTERN busybox-control ${executable})
install(DIRECTORY camera/init/ DESTINATION share/init COMPONENT gateway)

if(NOT ZV_STANDALONE)
  install(TARGETS zvCtrlD csi LIBRARY DESTINATION lib COMPONENT platform)
endif()

if(ZV_CAMERA)
  install(TARGETS zvControlD zvNetD zvBleD zvStream RUNTIME DESTINATION bin COMPONENT camera)
  install(DIRECTORY camera/settings/ DESTINATION etc COMPONENT camera FILES_MATCHING PATTERN settings.json)
  install(DIRECTORY camera/page camera/scenarios camera/web DESTINATION share/camera COMPONENT camera
    PATTERN busybox-control ${executable})
  install(DIRECTORY ${PROJECT_BINARY_DIR}/contract DESTINATION share/camera COMPONENT camera)
  install(DIRECTORY camera/zvcamera DESTINATION share/camera COMPONENT camera
    PATTERN __pycache__ EXCLUDE)
  # Compiled once, for all users: nobody may write there, and zvcam starts in a third of the time. The files are the
  # same wherever and whenever they are made.
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

  # What people call and read, where they look for it.
  file(RELATIVE_PATH up ${ZV_SYSTEM_PREFIX}/bin ${CMAKE_INSTALL_PREFIX}/bin)
  file(RELATIVE_PATH examples ${share}/doc/zvcontrol-camera/examples ${CMAKE_INSTALL_PREFIX}/share/camera/scenarios)
  file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/camera/links)
  foreach(program zvcam zvcamera)
    file(CREATE_LINK ${up}/${program} ${PROJECT_BINARY_DIR}/camera/links/${program} SYMBOLIC)
    install(FILES ${PROJECT_BINARY_DIR}/camera/links/${program} DESTINATION ${ZV_SYSTEM_PREFIX}/bin COMPONENT camera)
  endforeach()
  file(CREATE_LINK ${examples} ${PROJECT_BINARY_DIR}/camera/links/scenarios SYMBOLIC)
  install(FILES ${PROJECT_BINARY_DIR}/camera/links/scenarios docs/examples/client.py docs/examples/test_client.py
    DESTINATION ${share}/doc/zvcontrol-camera/examples COMPONENT camera)
  install(CODE "set(program \"${PROJECT_BINARY_DIR}/zvcam\")\nset(sources \"${PROJECT_SOURCE_DIR}/camera\")
    set(share \"\$ENV{DESTDIR}${share}\")" COMPONENT camera)
  install(SCRIPT cmake/packages/completion.cmake COMPONENT camera)
  install(DIRECTORY docs/ DESTINATION ${share}/doc/zvcontrol-camera COMPONENT camera
    FILES_MATCHING PATTERN *.md PATTERN openapi*.yaml PATTERN man EXCLUDE PATTERN examples EXCLUDE)
endif()

install(DIRECTORY libzvCommon/include/ platform/include/ DESTINATION include COMPONENT development)
install(TARGETS zvCommon ARCHIVE DESTINATION lib COMPONENT development)
install(FILES libzvCommon/exports.txt DESTINATION share/development COMPONENT development)
install(DIRECTORY docs/examples/beside DESTINATION ${share}/doc/zvcontrol-dev/examples COMPONENT development)
# By these, pkg-config and CMake find headers and library. Both go by the place that they lie in, so they are right in
# another root, too.
file(RELATIVE_PATH up ${share}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/packages/zvcommon.pc.in ${PROJECT_BINARY_DIR}/development/zvcommon.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/development/zvcommon.pc DESTINATION ${share}/pkgconfig COMPONENT development)
file(RELATIVE_PATH up ${share}/cmake/zvCommon ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/packages/zvCommonConfig.cmake.in ${PROJECT_BINARY_DIR}/development/zvCommonConfig.cmake @ONLY)
include(CMakePackageConfigHelpers)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/development/zvCommonConfigVersion.cmake
  COMPATIBILITY SameMajorVersion ARCH_INDEPENDENT)
install(FILES ${PROJECT_BINARY_DIR}/development/zvCommonConfig.cmake
  ${PROJECT_BINARY_DIR}/development/zvCommonConfigVersion.cmake
  DESTINATION ${share}/cmake/zvCommon COMPONENT development)

include(ZvPackages)
