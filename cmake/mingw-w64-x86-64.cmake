# Cross build with Debian's GNU toolchain for Windows (g++-mingw-w64-x86-64-win32).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(triple x86_64-w64-mingw32)
find_program(CMAKE_C_COMPILER NAMES ${triple}-gcc-win32 ${triple}-gcc REQUIRED)
find_program(CMAKE_CXX_COMPILER NAMES ${triple}-g++-win32 ${triple}-g++ REQUIRED)
find_program(CMAKE_RC_COMPILER NAMES ${triple}-windres REQUIRED)
find_program(CMAKE_DLLTOOL NAMES ${triple}-dlltool REQUIRED)
find_program(CMAKE_OBJCOPY NAMES ${triple}-objcopy REQUIRED)
find_program(CMAKE_STRIP NAMES ${triple}-strip REQUIRED)

set(CMAKE_FIND_ROOT_PATH /usr/${triple})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Everything links its own runtime: a program needs no file beside the system's.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")

# Programs built here run under Wine in the lab node (see the script).
set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/../lab/lab-node")
