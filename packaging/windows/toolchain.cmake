# Programs for Windows, made here. packaging/windows/make-qt prints the folder that VORSEL_WINDOWS_QT names.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(tools x86_64-w64-mingw32)
set(CMAKE_CXX_COMPILER ${tools}-g++-posix)
set(CMAKE_RC_COMPILER ${tools}-windres)

set(VORSEL_WINDOWS_QT "$ENV{VORSEL_WINDOWS_QT}" CACHE PATH "Qt for Windows")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VORSEL_WINDOWS_QT)
if(NOT EXISTS "${VORSEL_WINDOWS_QT}/made-from")
  message(FATAL_ERROR "VORSEL_WINDOWS_QT has to name the folder that packaging/windows/make-qt prints")
endif()

set(CMAKE_FIND_ROOT_PATH "${VORSEL_WINDOWS_QT}" /usr/${tools})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The same sources give the same files: no paths of this machine, no times.
get_filename_component(source "${CMAKE_CURRENT_LIST_DIR}/../.." ABSOLUTE)
set(CMAKE_CXX_FLAGS_INIT "-ffile-prefix-map=${source}=.")
set(CMAKE_EXE_LINKER_FLAGS_INIT -Wl,--no-insert-timestamp)
