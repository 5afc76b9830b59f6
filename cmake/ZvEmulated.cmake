# In a cross build, each program of the camera has a script emulated/NAME. In the simulated camera the script takes the
# program's place and starts it in the emulator. The emulator has the program's own name there, because "killall" goes
# by the name of the running file (camera/zvcamera/namespace.py puts all of it in place). With a toolchain file
# that names no emulator, the programs can be built, installed and packed, but not run here.
if(CMAKE_CROSSCOMPILING AND CMAKE_CROSSCOMPILING_EMULATOR)
  list(GET CMAKE_CROSSCOMPILING_EMULATOR 0 ZV_EMULATOR)
  find_program(ZV_EMULATOR_PATH ${ZV_EMULATOR} REQUIRED)
  foreach(name zvControl-cgi-bin zvControl-scgi zvStream zvControlD zvNetD zvBleD)
    file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/emulated/${name} @ONLY CONTENT [[#!/bin/sh
exec /usr/local/zarvo/target/emulator/@name@ -L @ZV_TARGET_ROOT@ /usr/local/zarvo/target/bin/@name@ "$@"
]])
    file(CHMOD ${CMAKE_BINARY_DIR}/emulated/${name} PERMISSIONS ${ZV_EXECUTABLE})
  endforeach()
  file(CREATE_LINK ${ZV_EMULATOR_PATH} ${CMAKE_BINARY_DIR}/emulated/emulator SYMBOLIC)
endif()

# ZV_RUNNABLE_DIR: the folder from which tests start the camera's programs. In a cross build it holds scripts that start
# them in the emulator.
set(ZV_RUNNABLE_DIR ${CMAKE_BINARY_DIR})
if(CMAKE_CROSSCOMPILING AND CMAKE_CROSSCOMPILING_EMULATOR)
  set(ZV_RUNNABLE_DIR ${CMAKE_BINARY_DIR}/runnable)
  foreach(name zvControl-cgi-bin zvControl-scgi zvStream zvControlD zvNetD zvBleD)
    file(CONFIGURE OUTPUT ${ZV_RUNNABLE_DIR}/${name} @ONLY CONTENT [[#!/bin/sh
exec @ZV_EMULATOR_PATH@ -L @ZV_TARGET_ROOT@ "${0%/*}/../@name@" "$@"
]])
    file(CHMOD ${ZV_RUNNABLE_DIR}/${name} PERMISSIONS ${ZV_EXECUTABLE})
  endforeach()
endif()
