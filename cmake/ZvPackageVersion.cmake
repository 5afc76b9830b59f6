# zv_package_version(SOURCE BUILD RELEASE): sets, for the programs as the folder BUILD holds them,
#
#   ZV_PACKAGE_VERSION   1.2.0-1 for the revision that the tag v1.2.0 names, and where no repository tells a revision;
#                        1.2.0+git261121225743.9480302-1 for one between releases: above 1.2.0-1 and below 1.2.1-1,
#                        and above what was built of an older revision. Two digits of the year: the file name of the
#                        longest package has to stay below 80 characters with the longest name of a processor.
#   ZV_PACKAGE_TIME      when that revision was made, in seconds since 1970; without a repository $SOURCE_DATE_EPOCH,
#                        else now
#
# RELEASE is the version in CMakeLists.txt. Asked when packages are made and when files are installed, not before: the
# programs may have been built anew since they were configured.
function(zv_package_version source build release)
  file(STRINGS ${build}/src/zvControl/buildRevision.cpp line REGEX "\"[0-9a-f]+\"")
  string(REGEX MATCH "[0-9a-f]{40}|\"([0-9a-f]+)\"" found "${line}")
  set(revision ${CMAKE_MATCH_1})
  set(git git -c safe.directory=* -C ${source})
  set(told 1)
  if(NOT revision MATCHES "^0+$")
    execute_process(COMMAND ${CMAKE_COMMAND} -E env TZ=UTC0 ${git} log -1 --date=format-local:%y%m%d%H%M%S
      --abbrev=7 "--format=%ct %cd.%h" ${revision}
      RESULT_VARIABLE told OUTPUT_VARIABLE answer OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  endif()
  if(NOT told EQUAL 0)
    set(time $ENV{SOURCE_DATE_EPOCH})
    if(NOT time)
      string(TIMESTAMP time "%s" UTC)
    endif()
    set(ZV_PACKAGE_VERSION ${release}-1 PARENT_SCOPE)
    set(ZV_PACKAGE_TIME ${time} PARENT_SCOPE)
    return()
  endif()
  string(REGEX MATCH "^([0-9]+) (.*)$" answer "${answer}")
  set(ZV_PACKAGE_TIME ${CMAKE_MATCH_1} PARENT_SCOPE)
  set(ZV_PACKAGE_VERSION ${release}+git${CMAKE_MATCH_2}-1 PARENT_SCOPE)
  execute_process(COMMAND ${git} rev-parse --verify --quiet "refs/tags/v${release}^{commit}"
    OUTPUT_VARIABLE tagged OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  if(tagged STREQUAL revision)
    set(ZV_PACKAGE_VERSION ${release}-1 PARENT_SCOPE)
  endif()
endfunction()
