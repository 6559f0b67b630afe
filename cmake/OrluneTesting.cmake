# Test registration. Every test runs through tests/run-isolated, which gives it
# a fresh HOME and XDG folders of its own, so tests never see each other's
# settings, logs or databases. The X server and the sound server come from the
# harness, scripts/private-session (one session for a whole ctest run).
# Every test links orlune_testsupport (tests/common).

# Registers an executable's command with CTest, isolated, with the usual properties.
function(_orlune_register_test name timeout labels)
  add_test(NAME ${name} COMMAND ${PROJECT_SOURCE_DIR}/tests/run-isolated ${name} ${ARGN})
  if(NOT timeout)
    set(timeout 300)
  endif()
  if(NOT labels)
    set(labels fast)
  endif()
  set_tests_properties(${name} PROPERTIES TIMEOUT ${timeout} LABELS "${labels}"
    ENVIRONMENT "ORLUNE_TEST_ROOT=${PROJECT_BINARY_DIR}/test-homes;ORLUNE_BIN=$<TARGET_FILE:orlune>")
endfunction()

# orlune_add_qtest(NAME n SOURCES a.cpp ... LIBS lib ... [LABELS l ...] [TIMEOUT s])
# One QtTest executable, registered with CTest.
function(orlune_add_qtest)
  cmake_parse_arguments(T "" "NAME;TIMEOUT" "SOURCES;LIBS;LABELS" ${ARGN})
  add_executable(${T_NAME} ${T_SOURCES})
  target_link_libraries(${T_NAME} PRIVATE orlune_testsupport Qt6::Test ${T_LIBS})
  target_compile_definitions(${T_NAME} PRIVATE
    ORLUNE_SOURCE_DIR="${PROJECT_SOURCE_DIR}"
    ORLUNE_BINARY_DIR="${PROJECT_BINARY_DIR}")
  _orlune_register_test(${T_NAME} "${T_TIMEOUT}" "${T_LABELS}" $<TARGET_FILE:${T_NAME}>)
endfunction()

# orlune_add_qmltest(NAME n DIR <folder of tst_*.qml> [IMPORTS dir ...] [LIBS lib ...]
#                    [SETUP class SOURCES a.cpp ...] [LABELS l ...] [TIMEOUT s])
# Qt Quick Test, one executable per folder of QML test cases: a generated main
# (QUICK_TEST_MAIN) that runs every tst_*.qml of DIR, with IMPORTS as extra
# QML import folders (the product's QML modules, for one). With SETUP the main
# is QUICK_TEST_MAIN_WITH_SETUP with that class, declared in <class>.h beside
# the calling CMakeLists.txt and built from SOURCES.
function(orlune_add_qmltest)
  cmake_parse_arguments(T "" "NAME;DIR;TIMEOUT;SETUP" "IMPORTS;LIBS;LABELS;SOURCES" ${ARGN})
  get_filename_component(dir ${T_DIR} ABSOLUTE)
  set(main ${CMAKE_CURRENT_BINARY_DIR}/${T_NAME}_main.cpp)
  if(T_SETUP)
    file(CONFIGURE OUTPUT ${main} CONTENT
      "#include <QtQuickTest>\n#include \"${T_SETUP}.h\"\nQUICK_TEST_MAIN_WITH_SETUP(${T_NAME}, ${T_SETUP})\n")
  else()
    file(CONFIGURE OUTPUT ${main} CONTENT "#include <QtQuickTest>\nQUICK_TEST_MAIN(${T_NAME})\n")
  endif()
  add_executable(${T_NAME} ${main} ${T_SOURCES})
  target_include_directories(${T_NAME} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
  target_link_libraries(${T_NAME} PRIVATE orlune_testsupport Qt6::QuickTest Qt6::Qml Qt6::Quick ${T_LIBS})
  target_compile_definitions(${T_NAME} PRIVATE QUICK_TEST_SOURCE_DIR="${dir}")
  set(imports)
  foreach(import ${T_IMPORTS})
    get_filename_component(import ${import} ABSOLUTE)
    list(APPEND imports -import ${import})
  endforeach()
  _orlune_register_test(${T_NAME} "${T_TIMEOUT}" "${T_LABELS}" $<TARGET_FILE:${T_NAME}> ${imports})
endfunction()

# orlune_add_webtest(NAME n SOURCES a.cpp ... [LIBS lib ...] [LABELS l ...] [TIMEOUT s])
# A QtTest executable that starts the real program with -webdebug and drives
# its web views over the remote debugging port (WebDebugPages in tests/common
# finds the pages). The port is fixed, so web tests take turns; the views show
# on the shared screen.
function(orlune_add_webtest)
  cmake_parse_arguments(T "" "NAME;TIMEOUT" "SOURCES;LIBS;LABELS" ${ARGN})
  if(NOT T_LABELS)
    set(T_LABELS slow)
  endif()
  orlune_add_qtest(NAME ${T_NAME} SOURCES ${T_SOURCES} LIBS Qt6::Network ${T_LIBS}
                   LABELS ${T_LABELS} TIMEOUT ${T_TIMEOUT})
  add_dependencies(${T_NAME} orlune)
  set_tests_properties(${T_NAME} PROPERTIES RESOURCE_LOCK "webdebug;xscreen")
endfunction()
