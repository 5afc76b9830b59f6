# Run at an installation: what the shells read to complete the words of zvcam and zvcamera, where they look for it.
# program: zvcam of the build; sources: the folder of the Python package; share: the folder of the system.
set(places bash bash-completion/completions/@ zsh zsh/vendor-completions/_@ fish fish/vendor_completions.d/@.fish)
while(places)
  list(POP_FRONT places shell place)
  foreach(name zvcam zvcamera)
    string(REPLACE "@" ${name} path "${share}/${place}")
    get_filename_component(folder ${path} DIRECTORY)
    file(MAKE_DIRECTORY ${folder})
    if(name STREQUAL zvcam)
      set(command ${program} completion ${shell})
    else()
      set(command ${CMAKE_COMMAND} -E env PYTHONPATH=${sources} PYTHONDONTWRITEBYTECODE=1
        ZVCAMERA_COMMAND=zvcamera /usr/bin/python3 -m zvcamera.launcher_completion ${shell})
    endif()
    execute_process(COMMAND ${command} OUTPUT_FILE ${path} COMMAND_ERROR_IS_FATAL ANY)
    file(CHMOD ${path} PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  endforeach()
endwhile()
