# In a cross build: emulated/NAME, for each program of the camera, is the script that stands for it in the simulated
# camera and starts it by the emulator. The emulator is found under the program's own name there, because "killall" goes by
# the name of what runs (camera/launcher/zvcamera/namespace.py puts all of it in place). A toolchain file without emulator
# builds what is installed and packed; it cannot be run here.
if(CMAKE_CROSSCOMPILING AND CMAKE_CROSSCOMPILING_EMULATOR)
  list(GET CMAKE_CROSSCOMPILING_EMULATOR 0 ZV_EMULATOR)
  find_program(ZV_EMULATOR_PATH ${ZV_EMULATOR} REQUIRED)
  foreach(name zvControl-cgi-bin zvStream zvControlD zvNetD zvBleD)
    file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/emulated/${name} @ONLY CONTENT [[#!/bin/sh
exec /usr/local/zarvo/target/emulator/@name@ -L @ZV_TARGET_ROOT@ /usr/local/zarvo/target/bin/@name@ "$@"
]])
    file(CHMOD ${CMAKE_BINARY_DIR}/emulated/${name} PERMISSIONS
      OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  endforeach()
  file(CREATE_LINK ${ZV_EMULATOR_PATH} ${CMAKE_BINARY_DIR}/emulated/emulator SYMBOLIC)
  file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/emulated/zvcam @ONLY CONTENT [[#!/bin/sh
exec @ZV_EMULATOR_PATH@ -L @ZV_TARGET_ROOT@ "${0%/*}/../zvcam" "$@"
]])
  file(CHMOD ${CMAKE_BINARY_DIR}/emulated/zvcam PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
endif()

# ZV_RUNNABLE_DIR: where tests find the camera's programs to start them by their path; in a cross build these are scripts
# that start them by the emulator.
set(ZV_RUNNABLE_DIR ${CMAKE_BINARY_DIR})
if(CMAKE_CROSSCOMPILING AND CMAKE_CROSSCOMPILING_EMULATOR)
  set(ZV_RUNNABLE_DIR ${CMAKE_BINARY_DIR}/runnable)
  foreach(name zvControl-cgi-bin zvStream zvControlD zvNetD zvBleD zvcam)
    file(CONFIGURE OUTPUT ${ZV_RUNNABLE_DIR}/${name} @ONLY CONTENT [[#!/bin/sh
exec @ZV_EMULATOR_PATH@ -L @ZV_TARGET_ROOT@ "${0%/*}/../@name@" "$@"
]])
    file(CHMOD ${ZV_RUNNABLE_DIR}/${name} PERMISSIONS
      OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  endforeach()
endif()
