# lab_driver(NAME SOURCES file.c... [LIBRARIES target...])
#
# Makes NAME.sys, a kernel driver of the lab, beside the programs. It is C, since
# the driver headers are; it gets the kernel's functions and nothing else.
function(lab_driver name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBRARIES")
  if(arg_UNPARSED_ARGUMENTS OR NOT arg_SOURCES)
    message(FATAL_ERROR "lab_driver(${name}): wrong arguments ${arg_UNPARSED_ARGUMENTS}")
  endif()
  add_library(${name} MODULE ${arg_SOURCES})
  set_target_properties(${name} PROPERTIES PREFIX "" SUFFIX ".sys")
  target_link_options(${name} PRIVATE -nostdlib -Wl,--subsystem,native -Wl,-e,DriverEntry)
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} lab_irp lab_kernel_code ntoskrnl)
endfunction()

# Code that runs in the kernel.
add_library(lab_kernel_code INTERFACE)
target_include_directories(lab_kernel_code SYSTEM INTERFACE "${CMAKE_FIND_ROOT_PATH}/include/ddk")
target_compile_options(lab_kernel_code INTERFACE -mno-stack-arg-probe)
target_link_libraries(lab_kernel_code INTERFACE farlo_warnings)
