# Clang over the same Windows headers and the same C++ library: the second
# compiler, with which ./run lint checks the sources. It compiles and links nothing.
set(CMAKE_C_COMPILER clang CACHE STRING "the second compiler")
set(CMAKE_CXX_COMPILER clang++ CACHE STRING "the second compiler")
include("${CMAKE_CURRENT_LIST_DIR}/mingw-w64-x86-64.cmake")
set(CMAKE_C_COMPILER_TARGET ${triple})
set(CMAKE_CXX_COMPILER_TARGET ${triple})
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

find_program(FARLO_GNU_COMPILER NAMES ${triple}-g++-win32 ${triple}-g++ REQUIRED)
execute_process(COMMAND ${FARLO_GNU_COMPILER} -print-libgcc-file-name
                OUTPUT_VARIABLE gnu_folder OUTPUT_STRIP_TRAILING_WHITESPACE)
get_filename_component(gnu_folder "${gnu_folder}" DIRECTORY)

# Without -nostdlibinc clang would look into the host's headers as well.
set(CMAKE_C_FLAGS_INIT "-nostdlibinc -idirafter /usr/${triple}/include")
set(CMAKE_CXX_FLAGS_INIT "-nostdlibinc")
foreach(folder "" "/${triple}" "/backward")
  string(APPEND CMAKE_CXX_FLAGS_INIT " -isystem ${gnu_folder}/include/c++${folder}")
endforeach()
string(APPEND CMAKE_CXX_FLAGS_INIT " -idirafter /usr/${triple}/include")

# Some sources wait for a program that their target runs. Its link, for which the
# headers alone are not enough, does nothing.
set(CMAKE_C_LINKER_LAUNCHER "${CMAKE_COMMAND}" -E true CACHE STRING "what links")
set(CMAKE_CXX_LINKER_LAUNCHER "${CMAKE_COMMAND}" -E true CACHE STRING "what links")

# What clang can tell beside the warnings that both compilers know.
string(APPEND CMAKE_CXX_FLAGS_INIT
       " -Wcomma -Wdeprecated-copy-dtor -Wextra-semi -Wheader-hygiene -Wimplicit-fallthrough"
       " -Wnon-virtual-dtor -Wsuggest-override -Wunreachable-code")
