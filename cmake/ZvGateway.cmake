# zv_gateway_program(TARGET LIBRARY...): links a program of the gateway, in the shape that is built. It has all handlers
# and, in the camera shape, exports libzvCommon by name. LIBRARY: what this program has beside the other ones.
function(zv_gateway_program target)
  target_link_libraries(${target} PRIVATE
    zv_compile
    ${ARGN}
    zv_control
    zv_command_ble
    zv_command_execute
    zv_command_analytics
  )
  if(ZV_STANDALONE)
    # Whole in itself: nothing is loaded beside it, so nothing is exported and only what is used is linked.
    target_link_libraries(${target} PRIVATE zvCtrlD_static csi_static zvCommon)
    # Processor time of the gateway, against a program without each of these two. One segment less to map: 0.96.
    target_link_options(${target} PRIVATE -static LINKER:-z,noseparate-code
      LINKER:-Map,$<TARGET_FILE:${target}>.map)
    # What a request runs of the libraries side by side: 0.94, with 38 page faults instead of 48.
    # (For ARM, in 5 pieces of 64 KiB instead of 13.)
    set(order ${CMAKE_SOURCE_DIR}/cmake/standalone/startup-${CMAKE_SYSTEM_PROCESSOR}.ld)
    if(EXISTS ${order})
      target_link_options(${target} PRIVATE LINKER:-T,${order})
      set_target_properties(${target} PROPERTIES LINK_DEPENDS ${order})
      set_property(GLOBAL PROPERTY ZV_STARTUP_ORDER ${order})
    endif()
  else()
    # The C++ library stands before the platform's: the loader searches the libraries in this order, and nearly all of
    # the names that it looks up while it starts the program are the C++ library's own. It makes 0.93 of the
    # instructions.
    target_link_libraries(${target} PRIVATE zvCommon stdc++ zvCtrlD csi)
    zv_export_names(${target} ${CMAKE_SOURCE_DIR}/libzvCommon/exports.txt)
    set_target_properties(${target} PROPERTIES
      # All of it, for the libraries loaded beside the program: what the program itself uses is only a part.
      LINK_LIBRARY_OVERRIDE "WHOLE_ARCHIVE,zvCommon"
      BUILD_WITH_INSTALL_RPATH ON
      INSTALL_RPATH "$ORIGIN:$ORIGIN/../lib")
  endif()
endfunction()
