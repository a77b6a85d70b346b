# Cross-compiling for 64-bit Windows with Debian's MinGW-w64 (posix threads, so
# that std::thread works). Programs are linked -static: they need nothing but
# the system's own libraries, under Windows and under Wine alike.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(BTCONF_MINGW_PREFIX x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${BTCONF_MINGW_PREFIX}-gcc-posix)
set(CMAKE_CXX_COMPILER ${BTCONF_MINGW_PREFIX}-g++-posix)
set(CMAKE_RC_COMPILER ${BTCONF_MINGW_PREFIX}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${BTCONF_MINGW_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
