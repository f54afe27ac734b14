# What every target of the project is compiled with: link to project_options.

add_library(project_options INTERFACE)
target_include_directories(project_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(project_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor> $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>
    -Wno-psabi)
option(KORVA_WARNINGS_AS_ERRORS "Treat warnings as errors" ON)
if(KORVA_WARNINGS_AS_ERRORS)
    target_compile_options(project_options INTERFACE -Werror)
endif()

set(KORVA_SANITIZER "" CACHE STRING "Sanitizers for the whole build, as -fsanitize= takes them")
if(KORVA_SANITIZER)
    add_compile_options(-fsanitize=${KORVA_SANITIZER} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${KORVA_SANITIZER})
endif()

# korva_add_tests(NAME sources...): a GoogleTest program whose tests CTest finds by themselves.
function(korva_add_tests name)
    find_package(GTest REQUIRED)
    include(GoogleTest)
    add_executable(${name} ${ARGN})
    target_link_libraries(${name} PRIVATE project_options GTest::gmock_main)
    # Nearly half of a test's compile time is GoogleMock
    target_precompile_headers(${name} PRIVATE "$<$<COMPILE_LANGUAGE:CXX>:<gmock/gmock.h$<ANGLE-R>>")
    # They are built more often than run, and what they test is optimised
    target_compile_options(${name} PRIVATE -O0)
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST PROPERTIES TIMEOUT 120)
endfunction()
