# The libraries that are headers alone (JSON, command line) come from the building machine also in a cross build. Its
# /usr/include must stay out of sight of the cross compiler, so their folders are linked into a folder of their own.
if(CMAKE_CROSSCOMPILING)
  set(ZV_HEADER_ONLY ${CMAKE_BINARY_DIR}/header-only)
  foreach(library nlohmann CLI)
    if(NOT EXISTS /usr/include/${library})
      message(FATAL_ERROR "/usr/include/${library} is missing: scripts/setup names the package")
    endif()
    file(MAKE_DIRECTORY ${ZV_HEADER_ONLY})
    file(CREATE_LINK /usr/include/${library} ${ZV_HEADER_ONLY}/${library} SYMBOLIC)
  endforeach()
  include_directories(SYSTEM ${ZV_HEADER_ONLY})
endif()
