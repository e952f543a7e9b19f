# The three kinds of target of this project, each made from the sources of a folder.
include_guard()

# Collects the C++ sources of the current folder's FOLDER, less those of the other system.
function(orvix_sources out folder)
  get_filename_component(folder ${folder} ABSOLUTE)
  file(GLOB sources CONFIGURE_DEPENDS ${folder}/*.cpp)
  if(WIN32)
    list(FILTER sources EXCLUDE REGEX "_posix\\.cpp$")
  else()
    list(FILTER sources EXCLUDE REGEX "_win\\.cpp$")
  endif()
  set(${out} ${sources} PARENT_SCOPE)
endfunction()

# A static library NAME out of SOURCES that stands on the libraries in ARGN. Without a
# source it is only the way to what it stands on, so that an empty folder still configures.
function(orvix_library name sources)
  if(sources)
    add_library(${name} STATIC ${sources})
    set(scope PUBLIC)
  else()
    add_library(${name} INTERFACE)
    set(scope INTERFACE)
  endif()
  target_compile_features(${name} ${scope} cxx_std_20)
  target_include_directories(${name} ${scope} $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
  target_link_libraries(${name} ${scope} ${ARGN})
endfunction()

# A GoogleTest program test_FOLDER out of SOURCES, its cases known to ctest as FOLDER.Suite.Case
# with PROPERTIES. A folder without a test makes no program.
function(orvix_test folder)
  set(name test_${folder})
  cmake_parse_arguments(arg "" "" "SOURCES;LIBRARIES;DEFINITIONS;PROPERTIES" ${ARGN})
  if(NOT arg_SOURCES MATCHES "_test\\.cpp")
    return()
  endif()
  add_executable(${name} ${arg_SOURCES})
  target_compile_definitions(${name} PRIVATE ORVIX_SOURCE_DIR="${PROJECT_SOURCE_DIR}"
                                             ${arg_DEFINITIONS})
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} GTest::gtest_main GTest::gmock)
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
                       TEST_PREFIX ${folder}. NO_PRETTY_VALUES
                       PROPERTIES LABELS ${folder} ${arg_PROPERTIES})
endfunction()
