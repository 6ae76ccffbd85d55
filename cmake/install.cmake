# What "cmake --install" puts where. Components:
#
#   runtime   farlo.dll and the tools; all that a cluster node needs
#   sdk       what is needed to compile an agent, and the symbols of farlo.dll
#   lab       programs, DLLs, drivers and scenarios to run agents against, under Wine
#   symbols   the symbols of the tools and the lab
#
# The lab is apart from bin/: its ztbus3.dll and ZtCMD.DLL must never be beside a farlo.dll that
# runs on a cluster node, where those of the volume manager are meant.
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

# The import library for Microsoft's linker and LLVM's, from the list of exports.
find_program(LLVM_DLLTOOL NAMES llvm-dlltool llvm-dlltool-14 REQUIRED)
set(msvc_import "${CMAKE_ARCHIVE_OUTPUT_DIRECTORY}/farlo.lib")
set(exports "${PROJECT_SOURCE_DIR}/clitools/farlo/api/farlo.def")
add_custom_command(OUTPUT "${msvc_import}"
  COMMAND ${LLVM_DLLTOOL} -m i386:x86-64 -d "${exports}" -l "${msvc_import}"
  DEPENDS "${exports}" VERBATIM)
add_custom_target(farlo_msvc_import ALL DEPENDS "${msvc_import}")
add_dependencies(farlo_shipped farlo_msvc_import)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/farlo")
configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/farloConfig.cmake.in" "${PROJECT_BINARY_DIR}/farloConfig.cmake"
  INSTALL_DESTINATION "${package_dir}" PATH_VARS CMAKE_INSTALL_INCLUDEDIR CMAKE_INSTALL_LIBDIR
  NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/farloConfigVersion.cmake"
                                 COMPATIBILITY SameMajorVersion)
configure_file("${PROJECT_SOURCE_DIR}/cmake/farlo.pc.in" "${PROJECT_BINARY_DIR}/farlo.pc" @ONLY)

install(FILES "${PROJECT_SOURCE_DIR}/clitools/farlo/api/farlo.h"
              "${PROJECT_SOURCE_DIR}/clitools/farlo/api/farlo.hpp"
        DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT sdk)
install(FILES "${CMAKE_ARCHIVE_OUTPUT_DIRECTORY}/libfarlo.dll.a" "${msvc_import}" "${exports}"
        DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT sdk)
install(FILES "${PROJECT_BINARY_DIR}/farloConfig.cmake"
              "${PROJECT_BINARY_DIR}/farloConfigVersion.cmake"
        DESTINATION "${package_dir}" COMPONENT sdk)
install(FILES "${PROJECT_BINARY_DIR}/farlo.pc"
        DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT sdk)

install(FILES "${PROJECT_SOURCE_DIR}/packaging/sdk-readme.md" DESTINATION . RENAME README.md
        COMPONENT sdk)
install(FILES "${PROJECT_SOURCE_DIR}/CHANGELOG.md" "${PROJECT_SOURCE_DIR}/SECURITY.md"
        DESTINATION . COMPONENT sdk)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/docs/" DESTINATION docs COMPONENT sdk
        FILES_MATCHING PATTERN "*.md" PATTERN architecture.md EXCLUDE)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/examples" DESTINATION . COMPONENT sdk)
install(FILES "${PROJECT_SOURCE_DIR}/bindings/README.md"
              "${PROJECT_SOURCE_DIR}/clitools/farlo/api/farlo.json"
              "${PROJECT_SOURCE_DIR}/clitools/farlo/api/farlo.schema.json"
        DESTINATION bindings COMPONENT sdk)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/bindings/rust/farlo-sys" DESTINATION bindings/rust
        COMPONENT sdk)

install(FILES "${PROJECT_SOURCE_DIR}/THIRD-PARTY.md" DESTINATION . COMPONENT runtime)

if(FARLO_BUILD_LAB)
  install(PROGRAMS "${PROJECT_SOURCE_DIR}/lab/lab-node" DESTINATION lab COMPONENT lab)
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/lab/scenarios" DESTINATION lab COMPONENT lab)
  install(FILES "${PROJECT_SOURCE_DIR}/packaging/lab-readme.md" DESTINATION lab
          RENAME README.md COMPONENT lab)
  install(FILES "${PROJECT_SOURCE_DIR}/docs/lab.md" DESTINATION docs COMPONENT lab)
endif()
