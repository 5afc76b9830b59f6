# Compile options of every target: zv_compile (warnings, as errors unless ZV_WARNINGS_AS_ERRORS is OFF; sanitizers).

find_program(ZV_CCACHE ccache)
if(ZV_CCACHE)
  set(CMAKE_C_COMPILER_LAUNCHER ${ZV_CCACHE})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${ZV_CCACHE})
endif()

add_library(zv_compile INTERFACE)
target_compile_options(zv_compile INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(ZV_WARNINGS_AS_ERRORS)
  target_compile_options(zv_compile INTERFACE -Werror)
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
  # Part of -Wconversion for this compiler alone: it warns of the system's own constants, such as SA_RESETHAND.
  target_compile_options(zv_compile INTERFACE -Wno-sign-conversion)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # A false alarm of this compiler: a literal joined with a std::string, optimised (its bug 105651).
  target_compile_options(zv_compile INTERFACE -Wno-restrict)
endif()
target_compile_definitions(zv_compile INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)

# Both are clang's own: by the first, the programs of fuzz/ learn which way an input took; by the second,
# scripts/coverage counts.
if(ZV_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
if(ZV_COVERAGE)
  add_compile_options(-fprofile-instr-generate -fcoverage-mapping -fcoverage-mcdc)
  add_link_options(-fprofile-instr-generate)
endif()
if(ZV_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

# zv_harden(): what is built in this folder, and in those added from now on, is hardened as Debian hardens programs,
# but for "bind now" (zv_bind_now). docs/hardening.md tells what each flag costs. Without optimisation, and with the
# tools above, there is nothing to harden.
set(ZV_HARDENED OFF)
if(ZV_HARDENING AND CMAKE_BUILD_TYPE MATCHES "^(Release|RelWithDebInfo|MinSizeRel)$"
    AND NOT (ZV_SANITIZE OR ZV_FUZZ OR ZV_COVERAGE))
  set(ZV_HARDENED ON)
endif()
macro(zv_harden)
  if(ZV_HARDENED)
    add_compile_options(-Wformat-security -fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
    add_link_options(LINKER:-z,relro)
  endif()
endmacro()

# zv_bind_now(TARGET): the program's names are looked up when it starts, all of them. For what starts once.
function(zv_bind_now target)
  if(ZV_HARDENED)
    target_link_options(${target} PRIVATE LINKER:-z,now)
  endif()
endfunction()
