option(TARVO_TESTS "Build the tests" ON)
option(TARVO_BENCHMARKS "Build the benchmarks" OFF)
set(TARVO_SANITIZE "" CACHE STRING "Sanitizers, as -fsanitize= takes them: address,undefined or thread")

# Everything that we compile takes these flags; headers of others come in as system headers.
add_library(tarvo_options INTERFACE)
target_include_directories(tarvo_options INTERFACE ${CMAKE_SOURCE_DIR})
target_compile_options(tarvo_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)

if(TARVO_SANITIZE)
  add_compile_options(-fsanitize=${TARVO_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${TARVO_SANITIZE})
endif()

# Headers that cost more than what includes them are read once for each target.
function(tarvo_precompile target)
  target_precompile_headers(${target} PRIVATE ${ARGN})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # Without it the compiler cache passes by what reads compiled headers.
    target_compile_options(${target} PRIVATE -fpch-preprocess)
    tarvo_sum_precompiled(${target} ${ARGN})
  endif()
endfunction()

# The compiler writes other bytes each time. What the cache shall go by is what the headers say.
function(tarvo_sum_precompiled target)
  list(TRANSFORM ARGN PREPEND "#include " OUTPUT_VARIABLE lines)
  list(JOIN lines "\n" text)
  set(folder ${CMAKE_CURRENT_BINARY_DIR}/CMakeFiles/${target}.dir)
  file(WRITE ${folder}/precompiled.cpp "${text}\n")
  execute_process(
    COMMAND ${CMAKE_CXX_COMPILER} -std=c++20 -E -dD -P ${folder}/precompiled.cpp
    OUTPUT_VARIABLE said COMMAND_ERROR_IS_FATAL ANY)
  string(SHA256 sum "${said}")
  file(WRITE ${folder}/cmake_pch.hxx.gch.sum "${sum}\n")
endfunction()
