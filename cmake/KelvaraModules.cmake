# Helpers that keep the per-folder CMakeLists short.
#
# kelvara_core_module(<name> SOURCES ... [DEPENDS ...])
#   A GUI-free static library `kelvara_core_<name>` (QtCore, QtGui, OpenCV core, DCMTK allowed,
#   never QtWidgets). `kelvara_core` links every module.
#
# kelvara_add_test(<name> SOURCES ... LIBS ... [GUI])
#   A Qt Test executable registered with CTest. GUI tests need a display (make test runs the
#   suite under xvfb-run when there is none).

set_property(GLOBAL PROPERTY KELVARA_CORE_MODULES "")

function(kelvara_core_module name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  set(target kelvara_core_${name})
  add_library(${target} STATIC ${ARG_SOURCES})
  target_include_directories(${target} PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
  target_link_libraries(${target} PUBLIC Qt6::Core Qt6::Gui ${ARG_DEPENDS} PRIVATE kelvara_options)
  set_property(GLOBAL APPEND PROPERTY KELVARA_CORE_MODULES ${target})
endfunction()

function(kelvara_add_test name)
  cmake_parse_arguments(ARG "GUI" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  # The form header comes from kelvara_gui; tests never run uic themselves.
  set_target_properties(${name} PROPERTIES AUTOUIC OFF)
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} Qt6::Test kelvara_options)
  add_test(NAME ${name} COMMAND ${name})
  set(env "KELVARA_SOURCE_DIR=${PROJECT_SOURCE_DIR}")
  if(NOT ARG_GUI)
    list(APPEND env "QT_QPA_PLATFORM=offscreen")
  endif()
  set_tests_properties(${name} PROPERTIES ENVIRONMENT "${env}" TIMEOUT 600)
endfunction()
