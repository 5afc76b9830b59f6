# The JSON library is only headers. A cross build takes it from the building machine, too. The cross compiler must not
# see that machine's /usr/include, so a folder of its own holds a link to the library's folder. The configuration in
# cmake/header-only leads find_package to it.
if(CMAKE_CROSSCOMPILING)
  set(ZV_HEADER_ONLY ${CMAKE_BINARY_DIR}/header-only)
  if(NOT EXISTS /usr/include/nlohmann)
    message(FATAL_ERROR "/usr/include/nlohmann is missing: scripts/setup names the package")
  endif()
  file(MAKE_DIRECTORY ${ZV_HEADER_ONLY})
  file(CREATE_LINK /usr/include/nlohmann ${ZV_HEADER_ONLY}/nlohmann SYMBOLIC)
  set(nlohmann_json_DIR ${CMAKE_SOURCE_DIR}/cmake/header-only)
endif()
