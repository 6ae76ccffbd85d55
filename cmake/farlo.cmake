# Settings and helpers that every part of the project shares.

option(FARLO_COVERAGE "count the lines and branches of the library that are run" OFF)

# The same sources give the same files in every folder: no file name in an object is absolute.
# Counts of a coverage build are found by their absolute names.
if(NOT FARLO_COVERAGE)
  add_compile_options(
    "$<$<COMPILE_LANGUAGE:C,CXX>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>"
    "$<$<COMPILE_LANGUAGE:C,CXX>:-ffile-prefix-map=${PROJECT_BINARY_DIR}=build>")
endif()

# Our own sources: all warnings, none let through.
add_library(farlo_warnings INTERFACE)
target_compile_options(farlo_warnings INTERFACE -Wall -Wextra -Wconversion -Wshadow -Werror)
target_compile_definitions(farlo_warnings INTERFACE UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX
                           _WIN32_WINNT=0x0A00)
# By default GCC collects garbage as soon as a source needs more memory than a precompiled
# header takes. A limit of half a gigabyte saves a tenth to a third of the compile time.
target_compile_options(farlo_warnings INTERFACE
                       $<$<COMPILE_LANG_AND_ID:CXX,GNU>:--param=ggc-min-heapsize=524288>)

# Links everything but the drivers. The GNU linker needs seconds for a program, LLVM's a tenth of a
# second, and it writes PDB files. GCC takes another linker only from a specs file.
add_library(farlo_fast_link INTERFACE)
find_program(FARLO_FAST_LINKER NAMES ld.lld)
if(FARLO_FAST_LINKER)
  set(fast_link_specs "${PROJECT_BINARY_DIR}/fast_link.specs")
  file(CONFIGURE OUTPUT "${fast_link_specs}" CONTENT "*linker:\n@FARLO_FAST_LINKER@\n\n" @ONLY)
  target_link_options(farlo_fast_link INTERFACE
                      $<$<LINK_LANG_AND_ID:CXX,GNU>:-specs=${fast_link_specs}>
                      $<$<LINK_LANG_AND_ID:C,GNU>:-specs=${fast_link_specs}>)
endif()

# What is no product for a cluster node: the lab, the agent and the benchmarks. Line numbers are
# all the debug information that they need; with all of it each lab program grows to 35 MB.
add_library(farlo_unshipped INTERFACE)
target_compile_options(farlo_unshipped INTERFACE -g1)
target_link_libraries(farlo_unshipped INTERFACE farlo_warnings farlo_fast_link)

# Tests: compiled far more often than their speed matters.
add_library(farlo_test_build INTERFACE)
target_compile_options(farlo_test_build INTERFACE -O0 -g1)
target_link_libraries(farlo_test_build INTERFACE farlo_warnings farlo_fast_link)

# The library's own sources, in a build that counts what of them is run (./run
# coverage): as they are written, since the optimiser adds and drops branches.
add_library(farlo_counted INTERFACE)
if(FARLO_COVERAGE)
  target_compile_options(farlo_counted INTERFACE -O0 --coverage)
  target_link_libraries(farlo_counted INTERFACE gcov)
endif()

# Header-only libraries of the host, each exposed alone: the host's include
# folder as a whole is not for the cross compiler.
function(farlo_host_headers target)
  set(folder "${PROJECT_BINARY_DIR}/host-headers/${target}")
  add_library(${target} INTERFACE)
  foreach(name IN LISTS ARGN)
    if(NOT EXISTS "/usr/include/${name}")
      message(FATAL_ERROR "/usr/include/${name} is missing; ./run build installs its package")
    endif()
    file(MAKE_DIRECTORY "${folder}")
    file(CREATE_LINK "/usr/include/${name}" "${folder}/${name}" SYMBOLIC)
  endforeach()
  target_include_directories(${target} SYSTEM INTERFACE "${folder}")
endfunction()

# farlo_precompile(TARGET [REUSE_FROM other]): compiles the headers that most sources begin
# with once. Targets that reuse them are compiled with the same options.
function(farlo_precompile target)
  if(FARLO_LINT)
    return()
  endif()
  if(ARGN)
    target_precompile_headers(${target} ${ARGN})
  else()
    target_precompile_headers(
      ${target} PRIVATE "$<$<COMPILE_LANGUAGE:CXX>:${PROJECT_SOURCE_DIR}/cmake/precompiled.h>")
  endif()
endfunction()

# A source that reads a command line does so once, and costs the optimiser more than
# any other.
function(farlo_command_line source)
  set_source_files_properties(${source} PROPERTIES COMPILE_OPTIONS -O0
                              SKIP_PRECOMPILE_HEADERS ON)
endfunction()

# farlo_tidy(FOLDER...): clang-tidy over the targets of these folders and of all below them,
# as the target "tidy" of the lint build.
function(farlo_tidy)
  set(stamps "")
  set(folders ${ARGN})
  while(folders)
    list(POP_FRONT folders folder)
    get_property(below DIRECTORY "${folder}" PROPERTY SUBDIRECTORIES)
    list(APPEND folders ${below})
    get_property(targets DIRECTORY "${folder}" PROPERTY BUILDSYSTEM_TARGETS)
    foreach(target IN LISTS targets)
      get_target_property(sources ${target} SOURCES)
      if(NOT sources MATCHES "[.]c(pp)?(;|$)")
        continue()
      endif()
      set(stamp "${PROJECT_BINARY_DIR}/tidy/${target}")
      add_custom_command(OUTPUT "${stamp}"
        COMMAND "${CMAKE_CURRENT_FUNCTION_LIST_DIR}/tidy-target" ${target} "${stamp}"
        DEPENDS $<TARGET_OBJECTS:${target}> "${CMAKE_CURRENT_FUNCTION_LIST_DIR}/../.clang-tidy"
                "${CMAKE_CURRENT_FUNCTION_LIST_DIR}/tidy-target"
        WORKING_DIRECTORY "${PROJECT_BINARY_DIR}" VERBATIM)
      list(APPEND stamps "${stamp}")
    endforeach()
  endwhile()
  file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/tidy")
  add_custom_target(tidy DEPENDS ${stamps})
endfunction()
