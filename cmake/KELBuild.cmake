# Build conventions shared by every module.
#
# A module is one folder with src/ (its .cpp files), an optional include/ (its public headers; the
# framework keeps these in SystemTS/PublicInterfaces instead) and tests/ (one GoogleTest executable).

set(KEL_WARNINGS -Wall -Wextra)
# g++ 12 at -O3 reports -Wrestrict on ordinary std::string concatenation inlined from libstdc++
# (a known false positive of that release); it says nothing about our code, so it is off there.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  list(APPEND KEL_WARNINGS -Wno-restrict)
endif()
if(KEL_WERROR)
  list(APPEND KEL_WARNINGS -Werror)
endif()

# The version header, generated from project() so that the version is written in one place.
configure_file(${CMAKE_CURRENT_LIST_DIR}/KELVersion.h.in ${PROJECT_BINARY_DIR}/generated/KELVersion.h @ONLY)

# Framework-wide header folders, and the generated ones.
set(KEL_FRAMEWORK_INCLUDES
    ${PROJECT_SOURCE_DIR}/SystemTS/PublicInterfaces
    ${PROJECT_SOURCE_DIR}/SystemTS/PrivateInterfaces
    ${PROJECT_BINARY_DIR}/generated)

# kel_module(NAME DIR [DEPS targets...])
# Makes the library NAME from DIR/src/*.cpp and, when DIR/tests holds .cpp files, the test executable
# NAME_test registered with CTest. A module with no sources yet is an interface library, so the tree
# configures while it grows.
function(kel_module NAME DIR)
  cmake_parse_arguments(M "" "" "DEPS" ${ARGN})
  set(abs ${PROJECT_SOURCE_DIR}/${DIR})
  file(GLOB srcs CONFIGURE_DEPENDS ${abs}/src/*.cpp)
  set(incs ${KEL_FRAMEWORK_INCLUDES})
  foreach(sub include LocalInterfaces)
    if(IS_DIRECTORY ${abs}/${sub})
      list(APPEND incs ${abs}/${sub})
    endif()
  endforeach()
  if(srcs)
    add_library(${NAME} STATIC ${srcs})
    target_include_directories(${NAME} PUBLIC ${incs})
    target_compile_options(${NAME} PRIVATE ${KEL_WARNINGS})
    target_link_libraries(${NAME} PUBLIC ${M_DEPS})
  else()
    add_library(${NAME} INTERFACE)
    target_include_directories(${NAME} INTERFACE ${incs})
    target_link_libraries(${NAME} INTERFACE ${M_DEPS})
  endif()

  file(GLOB tests CONFIGURE_DEPENDS ${abs}/tests/*.cpp)
  if(KEL_TESTS AND tests)
    add_executable(${NAME}_test ${tests})
    target_include_directories(${NAME}_test PRIVATE ${abs}/tests ${abs}/src)
    target_compile_options(${NAME}_test PRIVATE ${KEL_WARNINGS})
    target_link_libraries(${NAME}_test PRIVATE ${NAME} GTest::gmock GTest::gtest_main)
    target_compile_definitions(${NAME}_test PRIVATE
        KEL_SOURCE_DIR="${PROJECT_SOURCE_DIR}" KEL_BINARY_DIR="${PROJECT_BINARY_DIR}")
    gtest_discover_tests(${NAME}_test DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
        PROPERTIES LABELS ${NAME})
  endif()
endfunction()

# kel_command(NAME MAIN LIBRARY)
# The executable NAME from the thin MAIN on the module LIBRARY that holds its logic, installed to the
# binary folder. Its runtime needs libc and libstdc++ only: the unwinder is linked in, unused
# libraries dropped.
function(kel_command NAME MAIN LIBRARY)
  add_executable(${NAME} ${MAIN})
  target_compile_options(${NAME} PRIVATE ${KEL_WARNINGS})
  target_link_libraries(${NAME} PRIVATE ${LIBRARY})
  target_link_options(${NAME} PRIVATE -static-libgcc -Wl,--as-needed)
  install(TARGETS ${NAME} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endfunction()
