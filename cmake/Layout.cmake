# The build tree has the shape of dist/, so that a freshly built helper runs in place and the same
# relative run paths hold before and after installation.
set(TARVO_BIN_DIR bin)
set(TARVO_LIB_DIR lib/tarvo)
set(TARVO_HARDWARE_DIR lib/tarvo/frameworks)
set(TARVO_SIMULATED_DIR lib/tarvo/simulated)
set(TARVO_SHARE_DIR share/tarvo)

# Run paths are given by hand below, relative to the file itself: CMake's own would name this machine.
set(CMAKE_BUILD_WITH_INSTALL_RPATH ON)

# tarvo_place(target folder): builds the target into the folder of the tree and installs it there.
function(tarvo_place target folder)
  set_target_properties(${target} PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/${folder}
    LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/${folder})
  install(TARGETS ${target} RUNTIME DESTINATION ${folder} LIBRARY DESTINATION ${folder})
endfunction()

# tarvo_run_path(target path...): where the loader looks for the target's libraries. It is written as
# DT_RUNPATH, which LD_LIBRARY_PATH precedes: that is how the simulated set is chosen.
function(tarvo_run_path target)
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "${ARGN}")
  target_link_options(${target} PRIVATE "LINKER:--enable-new-dtags")
endfunction()

# tarvo_framework(target name set sources...): a device-facing library with the fixed name lib<name>.so
# in one of the two sets ("hardware" or "simulated"). Its interface is in the folder include/ beside the
# calling CMakeLists.txt.
function(tarvo_framework target name set)
  add_library(${target} SHARED ${ARGN})
  set_target_properties(${target} PROPERTIES OUTPUT_NAME ${name})
  if(set STREQUAL "simulated")
    tarvo_place(${target} ${TARVO_SIMULATED_DIR})
    tarvo_run_path(${target} "$ORIGIN" "$ORIGIN/..")
    target_link_libraries(${target} PRIVATE tarvo_lab)
  else()
    tarvo_place(${target} ${TARVO_HARDWARE_DIR})
    tarvo_run_path(${target} "$ORIGIN" "$ORIGIN/..")
  endif()
  target_include_directories(${target} PUBLIC ${CMAKE_CURRENT_SOURCE_DIR}/include)
  target_link_libraries(${target} PRIVATE tarvo_options)
endfunction()
