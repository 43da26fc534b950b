# One place for what all our targets share: warnings, strict Qt strings, include root.
add_library(vorsel_options INTERFACE)
target_compile_definitions(vorsel_options INTERFACE
  QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_CAST_FROM_BYTEARRAY QT_NO_URL_CAST_FROM_STRING
  QT_NO_KEYWORDS QT_STRICT_ITERATORS QT_DEPRECATED_WARNINGS)
target_compile_options(vorsel_options INTERFACE -Wall -Wextra -Wshadow -Wconversion -Werror)
target_include_directories(vorsel_options INTERFACE "${PROJECT_SOURCE_DIR}")

# vorsel_library(<folder> SOURCES ... LINKS ...): the static library vorsel_<folder>, alias Vorsel::<folder>.
function(vorsel_library folder)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  add_library(vorsel_${folder} STATIC ${ARG_SOURCES})
  add_library(Vorsel::${folder} ALIAS vorsel_${folder})
  set_target_properties(vorsel_${folder} PROPERTIES AUTOMOC ON AUTOUIC ON AUTORCC ON)
  target_link_libraries(vorsel_${folder} PUBLIC ${ARG_LINKS} PRIVATE vorsel_options)
  target_include_directories(vorsel_${folder} PUBLIC "${PROJECT_SOURCE_DIR}")
endfunction()

# vorsel_test(<folder>.<subject> SOURCES ... LINKS ...): a Qt Test program run without a display.
function(vorsel_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  string(REPLACE "." "_" target "tst_${name}")
  add_executable(${target} ${ARG_SOURCES} "${PROJECT_SOURCE_DIR}/tests/sanitizers.cpp")
  set_target_properties(${target} PROPERTIES AUTOMOC ON)
  target_link_libraries(${target} PRIVATE ${ARG_LINKS} Qt5::Test vorsel_options)
  target_link_options(${target} PRIVATE -fno-lto) # tests are linked often
  add_test(NAME ${name} COMMAND ${target})
  set_tests_properties(${name} PROPERTIES TIMEOUT 300 ENVIRONMENT "QT_QPA_PLATFORM=offscreen")
endfunction()
