# Helpers shared by every subsystem's CMakeLists.

# Warnings every target of ours gets.
function(zl_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wno-unused-parameter)
endfunction()

# zl_add_gtest(NAME name SOURCES ... LIBS ... [GUI] [LABELS ...])
# One GoogleTest executable, registered with CTest test by test. The
# executable gets a main that builds a QCoreApplication (or, with GUI, an
# offscreen QGuiApplication) so that signals, timers and threads work.
function(zl_add_gtest)
  cmake_parse_arguments(T "GUI" "NAME" "SOURCES;LIBS;LABELS" ${ARGN})
  add_executable(${T_NAME} ${T_SOURCES})
  if(T_GUI)
    target_link_libraries(${T_NAME} PRIVATE zl_test_main_gui)
  else()
    target_link_libraries(${T_NAME} PRIVATE zl_test_main_core)
  endif()
  target_link_libraries(${T_NAME} PRIVATE ${T_LIBS} GTest::gtest GTest::gmock)
  zl_warnings(${T_NAME})
  # One label per test: a list would be split apart on its way through
  # the discovered tests' property file.
  set(label "${T_NAME}")
  if(T_LABELS)
    list(GET T_LABELS 0 label)
  endif()
  gtest_discover_tests(${T_NAME}
    DISCOVERY_TIMEOUT 60
    PROPERTIES LABELS "${label}" TIMEOUT 120)
endfunction()
