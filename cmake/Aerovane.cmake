# Warnings, sanitizers, ccache, and the helpers that every target of the project is made with.

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
  # The build folder must not be part of the hash: the same object serves dev, checks and CI.
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env CCACHE_NOHASHDIR=1 CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} ${CCACHE_PROGRAM})
endif()

add_library(aerovane-options INTERFACE)
target_compile_options(aerovane-options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # Takes what an included source keeps in its anonymous namespace for a header's.
  target_compile_options(aerovane-options INTERFACE -Wno-subobject-linkage)
endif()
if(AEROVANE_SANITIZE)
  target_compile_options(aerovane-options INTERFACE
    -fsanitize=${AEROVANE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # GCC 12 loses track of std::variant under the sanitizers' instrumentation; the ordinary builds keep the warning.
    target_compile_options(aerovane-options INTERFACE -Wno-maybe-uninitialized)
  endif()
  target_link_options(aerovane-options INTERFACE -fsanitize=${AEROVANE_SANITIZE})
endif()

# aerovane_library(NAME FOLDERS folder... [LINK target...] [PRIVATE_LINK target...])
# A static library of all sources of the folders (not of their subfolders).
function(aerovane_library name)
  cmake_parse_arguments(ARG "" "" "FOLDERS;LINK;PRIVATE_LINK" ${ARGN})
  set(sources)
  foreach(folder IN LISTS ARG_FOLDERS)
    file(GLOB found CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${folder}/*.cpp)
    list(APPEND sources ${found})
  endforeach()
  if(sources)
    add_library(${name} STATIC ${sources})
    set(scope PUBLIC)
    target_link_libraries(${name} PRIVATE aerovane-options ${ARG_PRIVATE_LINK})
  else()
    add_library(${name} INTERFACE)
    set(scope INTERFACE)
  endif()
  target_include_directories(${name} ${scope} ${PROJECT_SOURCE_DIR}/Sources)
  target_link_libraries(${name} ${scope} ${ARG_LINK})
endfunction()

# aerovane_bus_interface(TARGET file.xml ADAPTOR header PROXY header)
# The two ends of a D-Bus interface, generated; the headers are included by the names given.
function(aerovane_bus_interface target interface)
  find_program(SDBUS_XML2CPP sdbus-c++-xml2cpp REQUIRED)
  cmake_parse_arguments(ARG "" "ADAPTOR;PROXY" "" ${ARGN})
  set(folder ${PROJECT_BINARY_DIR}/generated)
  foreach(header IN ITEMS ${ARG_ADAPTOR} ${ARG_PROXY})
    get_filename_component(parent ${folder}/${header} DIRECTORY)
    file(MAKE_DIRECTORY ${parent})
  endforeach()
  # From within the folder: the name of the file becomes part of what is generated.
  add_custom_command(OUTPUT ${folder}/${ARG_ADAPTOR} ${folder}/${ARG_PROXY}
    COMMAND ${SDBUS_XML2CPP} ${interface} --adaptor=${ARG_ADAPTOR} --proxy=${ARG_PROXY}
    WORKING_DIRECTORY ${folder} DEPENDS ${interface} VERBATIM)
  target_sources(${target} PRIVATE ${folder}/${ARG_ADAPTOR} ${folder}/${ARG_PROXY})
  target_include_directories(${target} SYSTEM PRIVATE ${folder})
endfunction()

# aerovane_qt_library(NAME FOLDERS folder... [RESOURCES file.qrc...] [LINK target...])
# The same with Qt's meta-object compiler and resource files.
function(aerovane_qt_library name)
  cmake_parse_arguments(ARG "" "" "FOLDERS;RESOURCES;LINK" ${ARGN})
  aerovane_library(${name} FOLDERS ${ARG_FOLDERS} LINK ${ARG_LINK})
  get_target_property(kind ${name} TYPE)
  if(NOT kind STREQUAL "INTERFACE_LIBRARY")
    set_target_properties(${name} PROPERTIES AUTOMOC ON AUTORCC ON)
    target_sources(${name} PRIVATE ${ARG_RESOURCES})
  endif()
endfunction()

# aerovane_test(NAME FOLDER folder LINK target... [LABELS label...] [OWN_MAIN])
# A GoogleTest binary of all sources of one folder under Tests/, built by the target "tests" and run by CTest.
function(aerovane_test name)
  cmake_parse_arguments(ARG "OWN_MAIN" "FOLDER" "LINK;LABELS" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${ARG_FOLDER}/*.cpp)
  if(NOT sources)
    return()
  endif()
  add_executable(${name} ${sources})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/Tests)
  target_link_libraries(${name} PRIVATE aerovane-options ${ARG_LINK} GTest::gmock)
  if(NOT ARG_OWN_MAIN)
    target_link_libraries(${name} PRIVATE GTest::gtest_main)
  endif()
  add_dependencies(tests ${name})
  aerovane_register_tests(${name} "${ARG_LABELS}")
endfunction()

# aerovane_register_tests(NAME LABELS): makes the tests of a GoogleTest binary known to CTest, each by its name. With
# a sanitizer, whose processes take long to start, a binary runs as a whole, in as many parts as keep two cores busy.
function(aerovane_register_tests name labels)
  if(AEROVANE_SANITIZE)
    set(parts 4)
    foreach(part RANGE 1 ${parts})
      math(EXPR index "${part} - 1")
      add_test(NAME ${name}-${part} COMMAND ${name} --gtest_brief=1)
      set_tests_properties(${name}-${part} PROPERTIES TIMEOUT 600 LABELS "${labels}"
        ENVIRONMENT "GTEST_TOTAL_SHARDS=${parts};GTEST_SHARD_INDEX=${index}")
    endforeach()
    return()
  endif()
  set(options NO_PRETTY_VALUES DISCOVERY_MODE PRE_TEST PROPERTIES TIMEOUT 300 LABELS "${labels}")
  gtest_discover_tests(${name} ${options})
endfunction()
