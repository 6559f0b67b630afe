# orlune_add_qtest(NAME n SOURCES a.cpp ... LIBS lib ... [LABELS l ...] [TIMEOUT s])
#
# Builds one QtTest executable and registers it with CTest. Every test runs
# through tests/run-isolated, which gives it a fresh HOME and XDG folders of
# its own, so tests never see each other's settings, logs or databases.
# The X server and the sound server come from the harness (scripts/test-env).
function(orlune_add_qtest)
  cmake_parse_arguments(T "" "NAME;TIMEOUT" "SOURCES;LIBS;LABELS" ${ARGN})
  add_executable(${T_NAME} ${T_SOURCES})
  target_link_libraries(${T_NAME} PRIVATE Qt6::Test orlune_constants ${T_LIBS})
  # Helpers shared by the tests of every folder.
  target_include_directories(${T_NAME} PRIVATE ${PROJECT_SOURCE_DIR}/tests/common)
  target_compile_definitions(${T_NAME} PRIVATE
    ORLUNE_SOURCE_DIR="${PROJECT_SOURCE_DIR}"
    ORLUNE_BINARY_DIR="${PROJECT_BINARY_DIR}")
  add_test(NAME ${T_NAME}
    COMMAND ${PROJECT_SOURCE_DIR}/tests/run-isolated ${T_NAME} $<TARGET_FILE:${T_NAME}>)
  if(NOT T_TIMEOUT)
    set(T_TIMEOUT 300)
  endif()
  if(NOT T_LABELS)
    set(T_LABELS fast)
  endif()
  set_tests_properties(${T_NAME} PROPERTIES TIMEOUT ${T_TIMEOUT} LABELS "${T_LABELS}"
    ENVIRONMENT "ORLUNE_TEST_ROOT=${PROJECT_BINARY_DIR}/test-homes;ORLUNE_BIN=$<TARGET_FILE:orlune>")
endfunction()
