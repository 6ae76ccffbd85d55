# What every program, DLL and driver of the packages gets: a version resource, no symbols of its
# own, and its symbols in files beside it.

set(FARLO_SOURCE_DATE_EPOCH 0 CACHE STRING
    "time stamp of what ships, in seconds since 1970 (./run package: that of the commit)")

# Linked files with symbols. What ships is made from them, in FARLO_BIN_DIR. The linker records
# its output in the PDB, so this must be a folder of the build tree: then the name is relative.
set(FARLO_LINKED_DIR "${PROJECT_BINARY_DIR}/linked")

# All that ships.
add_custom_target(farlo_shipped)

# What programs print for --version.
configure_file(cmake/program_version.h.in generated/program_version.h @ONLY)
add_library(farlo_program_version INTERFACE)
target_include_directories(farlo_program_version INTERFACE "${PROJECT_BINARY_DIR}/generated")

# farlo_ship(TARGET DESCRIPTION COMPONENT DESTINATION)
#
# Makes FILE and its symbols in FARLO_BIN_DIR: FILE.debug (DWARF, found through FILE's debug link)
# and, for a program or DLL, a PDB. FILE is installed to DESTINATION with COMPONENT; its symbols
# with sdk if FILE is the library, else with symbols.
function(farlo_ship target description component destination)
  get_target_property(type ${target} TYPE)
  if(type STREQUAL EXECUTABLE)
    set(file_type VFT_APP)
    set(suffix .exe)
  elseif(type STREQUAL MODULE_LIBRARY)
    set(file_type VFT_DRV)
    set(suffix .sys)
  else()
    set(file_type VFT_DLL)
    set(suffix .dll)
  endif()
  get_target_property(name ${target} OUTPUT_NAME)
  if(NOT name)
    set(name ${target})
  endif()
  set(file ${name}${suffix})

  configure_file("${PROJECT_SOURCE_DIR}/cmake/version.rc.in"
                 "${CMAKE_CURRENT_BINARY_DIR}/${target}.rc" @ONLY)
  target_sources(${target} PRIVATE "${CMAKE_CURRENT_BINARY_DIR}/${target}.rc")
  if(FARLO_LINT)
    return()
  endif()

  # A time stamp would differ with each link, and the GNU linker's image base with the folder.
  target_link_options(${target} PRIVATE -Wl,--no-insert-timestamp)
  if(NOT type STREQUAL EXECUTABLE)
    target_link_options(${target} PRIVATE -Wl,--image-base,0x180000000)
  endif()

  set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${FARLO_LINKED_DIR}"
                        LIBRARY_OUTPUT_DIRECTORY "${FARLO_LINKED_DIR}")
  set(linked "${FARLO_LINKED_DIR}/${file}")
  set(shipped "${FARLO_BIN_DIR}/${file}")
  set(symbols "${shipped}.debug")
  set(stamped ${CMAKE_COMMAND} -E env SOURCE_DATE_EPOCH=${FARLO_SOURCE_DATE_EPOCH})
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND ${CMAKE_COMMAND} -E make_directory "${FARLO_BIN_DIR}"
    COMMAND ${stamped} ${CMAKE_OBJCOPY} --only-keep-debug "${linked}" "${symbols}"
    COMMAND ${stamped} ${CMAKE_STRIP} --strip-all -o "${shipped}" "${linked}"
    COMMAND ${stamped} ${CMAKE_OBJCOPY} "--add-gnu-debuglink=${symbols}" "${shipped}"
    BYPRODUCTS "${shipped}" "${symbols}" VERBATIM)

  # GCC writes no CodeView: the PDB contains the names of functions, no lines and no types.
  # The drivers are linked by the GNU linker, which records absolute file names in a PDB.
  if(NOT suffix STREQUAL .sys AND FARLO_FAST_LINKER AND CMAKE_GENERATOR MATCHES Ninja)
    set(pdb "${FARLO_BIN_DIR}/${name}.pdb")
    file(RELATIVE_PATH linked_pdb "${CMAKE_BINARY_DIR}" "${FARLO_LINKED_DIR}/${name}.pdb")
    target_link_options(${target} PRIVATE -Wl,--pdb=${linked_pdb}
                        -Wl,-Xlink=-pdbaltpath:${name}.pdb -Wl,-Xlink=-pdbsourcepath:.)
    add_custom_command(TARGET ${target} POST_BUILD
      COMMAND ${CMAKE_COMMAND} -E copy "${FARLO_LINKED_DIR}/${name}.pdb" "${pdb}"
      BYPRODUCTS "${pdb}" VERBATIM)
    list(APPEND symbols "${pdb}")
  endif()

  add_dependencies(farlo_shipped ${target})
  if(FARLO_INSTALL)
    if(target STREQUAL farlo)
      set(symbols_component sdk)
    else()
      set(symbols_component symbols)
    endif()
    install(PROGRAMS "${shipped}" DESTINATION "${destination}" COMPONENT ${component})
    install(FILES ${symbols} DESTINATION "${destination}" COMPONENT ${symbols_component})
  endif()
endfunction()
