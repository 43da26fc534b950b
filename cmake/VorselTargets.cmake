include(CheckLinkerFlag)

set(VORSEL_SANITIZE "" CACHE STRING "Build with sanitizers: address, thread, or fuzzer, which needs clang")
if(VORSEL_SANITIZE)
  add_compile_options(-O1 -g1 -fno-sanitize-recover=all -fno-omit-frame-pointer)
  if(VORSEL_SANITIZE STREQUAL "address")
    set(sanitizers -fsanitize=address,undefined)
  elseif(VORSEL_SANITIZE STREQUAL "thread")
    set(sanitizers -fsanitize=thread)
    # gcc 12 takes the data pointer of a QByteArray for that of the empty array, which has no bytes to read.
    add_compile_options(-Wno-stringop-overread)
  elseif(VORSEL_SANITIZE STREQUAL "fuzzer")
    set(sanitizers -fsanitize=fuzzer-no-link,address,undefined)
    add_compile_options(-O2 "-fsanitize-coverage-ignorelist=${PROJECT_SOURCE_DIR}/tests/fuzz/uncovered.txt")
  else()
    message(FATAL_ERROR "VORSEL_SANITIZE must be address, thread or fuzzer, not ${VORSEL_SANITIZE}")
  endif()
  add_compile_options(${sanitizers})
  add_link_options(${sanitizers})
endif()

# One place for what all our targets share: warnings, strict Qt strings, include root.
add_library(vorsel_options INTERFACE)
target_compile_definitions(vorsel_options INTERFACE
  QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_CAST_FROM_BYTEARRAY QT_NO_URL_CAST_FROM_STRING
  QT_NO_KEYWORDS QT_STRICT_ITERATORS QT_DEPRECATED_WARNINGS)
target_compile_options(vorsel_options INTERFACE -Wall -Wextra -Wshadow -Wconversion)
target_include_directories(vorsel_options INTERFACE "${PROJECT_SOURCE_DIR}")

# vorsel_find_programs(<found> <what> <program>...): sets <found> to whether all programs are installed. If one is
# missing, a message says that <what> is skipped.
function(vorsel_find_programs found what)
  set(${found} ON PARENT_SCOPE)
  foreach(program IN LISTS ARGN)
    find_program(VORSEL_PROGRAM_${program} ${program})
    mark_as_advanced(VORSEL_PROGRAM_${program})
    if(NOT VORSEL_PROGRAM_${program})
      message(STATUS "Skipping ${what}: ${program} not found")
      set(${found} OFF PARENT_SCOPE)
      return()
    endif()
  endforeach()
endfunction()

# vorsel_library(<folder> SOURCES ... LINKS ...): the static library vorsel_<folder>, alias Vorsel::<folder>.
function(vorsel_library folder)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  add_library(vorsel_${folder} STATIC ${ARG_SOURCES})
  add_library(Vorsel::${folder} ALIAS vorsel_${folder})
  set_target_properties(vorsel_${folder} PROPERTIES AUTOMOC ON AUTOUIC ON AUTORCC ON)
  target_link_libraries(vorsel_${folder} PUBLIC ${ARG_LINKS} PRIVATE vorsel_options)
  target_include_directories(vorsel_${folder} PUBLIC "${PROJECT_SOURCE_DIR}")
endfunction()

# What all test programs share. They are linked often, so use the faster linker where it is installed.
add_library(vorsel_test_options INTERFACE)
target_sources(vorsel_test_options INTERFACE "${PROJECT_SOURCE_DIR}/tests/sanitizers.cpp")
check_linker_flag(CXX -fuse-ld=gold VORSEL_HAS_GOLD)
target_link_options(vorsel_test_options INTERFACE $<$<BOOL:${VORSEL_HAS_GOLD}>:-fuse-ld=gold>)
target_link_libraries(vorsel_test_options INTERFACE vorsel_options)

# vorsel_test(<folder>.<subject> SOURCES ... LINKS ...): a Qt Test program run without a display.
function(vorsel_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  string(REPLACE "." "_" target "tst_${name}")
  add_executable(${target} ${ARG_SOURCES})
  set_target_properties(${target} PROPERTIES AUTOMOC ON)
  target_link_libraries(${target} PRIVATE ${ARG_LINKS} Qt5::Test vorsel_test_options)
  add_test(NAME ${name} COMMAND ${target} -silent)
  set_tests_properties(${name} PROPERTIES TIMEOUT 300 ENVIRONMENT "QT_QPA_PLATFORM=offscreen")
endfunction()

# vorsel_win32_program(<name> <source> [<header>...]): <name>.exe on the Windows half of the serial platform, without
# Qt. scripts/test-windows-serial runs it.
function(vorsel_win32_program name source)
  set(compiler x86_64-w64-mingw32-g++-posix)
  vorsel_find_programs(found ${name}.exe ${compiler})
  if(NOT found)
    return()
  endif()
  set(platform "${PROJECT_SOURCE_DIR}/transport/platform")
  set(program "${CMAKE_CURRENT_BINARY_DIR}/${name}.exe")
  add_custom_command(OUTPUT "${program}"
    COMMAND ${compiler} -std=c++17 -O2 -Wall -Wextra -Wshadow -Wconversion
            $<$<BOOL:${CMAKE_COMPILE_WARNING_AS_ERROR}>:-Werror> -static
            "-I${PROJECT_SOURCE_DIR}" "${CMAKE_CURRENT_SOURCE_DIR}/${source}" "${platform}/platform_win32.cpp"
            -lsetupapi -ladvapi32 -o "${program}"
    DEPENDS "${source}" ${ARGN} "${platform}/platform_win32.cpp" "${platform}/platform.h"
    COMMAND_EXPAND_LISTS VERBATIM)
  add_custom_target(${name} ALL DEPENDS "${program}")
endfunction()
