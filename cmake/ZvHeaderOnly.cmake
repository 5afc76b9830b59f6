# Some libraries are only headers (JSON, command line). A cross build takes them from the building machine, too. The
# cross compiler must not see that machine's /usr/include, so a folder of its own holds links to the libraries' folders.
# The configurations in cmake/header-only lead find_package to that folder.
if(CMAKE_CROSSCOMPILING)
  set(ZV_HEADER_ONLY ${CMAKE_BINARY_DIR}/header-only)
  file(MAKE_DIRECTORY ${ZV_HEADER_ONLY})
  foreach(folder nlohmann CLI)
    if(NOT EXISTS /usr/include/${folder})
      message(FATAL_ERROR "/usr/include/${folder} is missing: scripts/setup names the package")
    endif()
    file(CREATE_LINK /usr/include/${folder} ${ZV_HEADER_ONLY}/${folder} SYMBOLIC)
  endforeach()
  set(nlohmann_json_DIR ${CMAKE_SOURCE_DIR}/cmake/header-only)
  set(CLI11_DIR ${CMAKE_SOURCE_DIR}/cmake/header-only)
endif()
