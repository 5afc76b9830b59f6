# The libraries that are headers alone (JSON, command line) come from the building machine also in a cross build. Its
# /usr/include must stay out of sight of the cross compiler, so their folders are linked into a folder of their own, and
# find_package is led to configurations that name this one (cmake/header-only).
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
