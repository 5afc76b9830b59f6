# zv_build_revision(TARGET): a static library that defines buildRevision (buildRevision.h), the revision of the
# sources. Every build looks the revision up again. The generated source, and the programs linked with it, change only
# when the revision does.
#
# Run as a script (cmake -P) with ZV_SOURCE and ZV_OUTPUT, this file writes the generated source.
if(CMAKE_SCRIPT_MODE_FILE STREQUAL CMAKE_CURRENT_LIST_FILE)
  cmake_minimum_required(VERSION 3.25)
  # A hook of another repository may have left variables for that repository in the environment.
  foreach(variable GIT_DIR GIT_WORK_TREE GIT_INDEX_FILE GIT_OBJECT_DIRECTORY GIT_ALTERNATE_OBJECT_DIRECTORIES
      GIT_COMMON_DIR GIT_CEILING_DIRECTORIES)
    unset(ENV{${variable}})
  endforeach()
  find_program(git git)
  set(revision "")
  set(cause "The sources stand in no repository (or git is missing)")
  if(git)
    # safe.directory: the sources may belong to another user; this only reads. ls-files: a repository around the sources
    # is theirs only if it tracks them.
    execute_process(COMMAND "${git}" -c safe.directory=* -C "${ZV_SOURCE}" ls-files --error-unmatch CMakeLists.txt
      RESULT_VARIABLE tracked OUTPUT_QUIET ERROR_QUIET)
    if(tracked EQUAL 0)
      execute_process(COMMAND "${git}" -c safe.directory=* -C "${ZV_SOURCE}" rev-parse --verify HEAD
        OUTPUT_VARIABLE revision OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_VARIABLE said ERROR_STRIP_TRAILING_WHITESPACE)
      set(cause "The sources' repository names no revision of 40 digits [${revision}${said}]")
    endif()
  endif()
  string(LENGTH "${revision}" length)
  if(NOT revision MATCHES "^[0-9a-f]+$" OR NOT length EQUAL 40)
    string(REPEAT 0 40 revision)
    message("${cause}: the program's build revision is ${revision}")
  endif()
  file(CONFIGURE OUTPUT "${ZV_OUTPUT}" @ONLY CONTENT
    "#include \"buildRevision.h\"\n\nextern const char buildRevision[41] = \"@revision@\";\n")
  return()
endif()

set(ZV_REVISION_SCRIPT ${CMAKE_CURRENT_LIST_FILE})

function(zv_build_revision target)
  set(source ${CMAKE_CURRENT_BINARY_DIR}/buildRevision.cpp)
  add_custom_target(${target}_now
    COMMAND ${CMAKE_COMMAND} -DZV_SOURCE=${CMAKE_SOURCE_DIR} -DZV_OUTPUT=${source} -P ${ZV_REVISION_SCRIPT}
    BYPRODUCTS ${source}
    COMMENT "Asking for the source revision"
    VERBATIM)
  add_library(${target} STATIC ${source})
  add_dependencies(${target} ${target}_now)
  target_include_directories(${target} PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
  target_link_libraries(${target} PRIVATE zv_compile)
endfunction()
