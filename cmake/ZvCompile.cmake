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
