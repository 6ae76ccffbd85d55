# lab_driver(NAME SOURCES file.c... [INCLUDES folder...])
#
# Makes NAME.sys, a kernel driver of the lab, beside the programs. It is C, since
# the driver headers are; it gets the kernel's functions and nothing else.
function(lab_driver name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;INCLUDES")
  if(arg_UNPARSED_ARGUMENTS OR NOT arg_SOURCES)
    message(FATAL_ERROR "lab_driver(${name}): wrong arguments ${arg_UNPARSED_ARGUMENTS}")
  endif()
  set(common "${CMAKE_SOURCE_DIR}/lab/drivers")
  add_library(${name} MODULE ${arg_SOURCES} "${common}/irp.c")
  set_target_properties(${name} PROPERTIES PREFIX "" SUFFIX ".sys"
                        LIBRARY_OUTPUT_DIRECTORY "${FARLO_BIN_DIR}")
  target_include_directories(${name} PRIVATE "${common}" ${arg_INCLUDES})
  target_include_directories(${name} SYSTEM PRIVATE "${CMAKE_FIND_ROOT_PATH}/include/ddk")
  target_compile_options(${name} PRIVATE -mno-stack-arg-probe)
  target_link_options(${name} PRIVATE -nostdlib -Wl,--subsystem,native -Wl,-e,DriverEntry)
  target_link_libraries(${name} PRIVATE farlo_warnings ntoskrnl)
endfunction()
