# How tests are declared. The tests of a file XTest.cpp are in the suite X, or in suites whose names begin with X
# (tests/support/TestMain.cpp sees to that), and make up one CTest test, <kind>.X.

# velmor_test_environment(<variable>): what tests run with. Folders whose tests need whole stacks of allocations
# under the sanitizers set velmor_unwinds_slowly.
function(velmor_test_environment variable)
    # Mesa's cache of compiled shaders would answer "compiled" for a text that it compiled under other settings.
    set(environment MESA_SHADER_CACHE_DISABLE=true)
    if(VELMOR_SANITIZE)
        set(support ${PROJECT_SOURCE_DIR}/tests/support)
        list(APPEND environment LSAN_OPTIONS=suppressions=${support}/lsan.supp:print_suppressions=0)
        list(APPEND environment TSAN_OPTIONS=suppressions=${support}/tsan.supp:print_suppressions=0)
        # The runtime guesses where the thread-local memory of loaded libraries begins, and the leak checker crashes on
        # a wrong guess: whether there is one depends on the contents of the heap, down to the length of the build's path.
        set(asan_options intercept_tls_get_addr=0)
        # The quick way through a stack misses callers of OpenCV and GLib, and suppressions name them. The other way takes
        # several times as long.
        if(velmor_unwinds_slowly)
            string(APPEND asan_options :fast_unwind_on_malloc=0)
        endif()
        list(APPEND environment ASAN_OPTIONS=${asan_options})
    endif()
    set(${variable} "${environment}" PARENT_SCOPE)
endfunction()

# velmor_add_test_program(<name> SOURCES ... LIBRARIES ...): the executable velmor_<name>_tests
function(velmor_add_test_program name)
    cmake_parse_arguments(arg "" "" "SOURCES;LIBRARIES" ${ARGN})
    set(target velmor_${name}_tests)
    add_executable(${target} ${arg_SOURCES} ${PROJECT_SOURCE_DIR}/tests/support/TestMain.cpp)
    target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
    target_link_libraries(${target} PRIVATE ${arg_LIBRARIES} GTest::gtest velmor_build_settings)
    # For backtraces lines are enough, and the compiler is done a fifth sooner.
    target_compile_options(${target} PRIVATE $<$<CONFIG:Debug,RelWithDebInfo>:-g1>)
    # These headers take most of the time of a short test. Reading them once pays from a few sources on.
    list(LENGTH arg_SOURCES count)
    if(count GREATER 4)
        target_precompile_headers(${target} PRIVATE <gtest/gtest.h>)
        if(opencv::imgproc IN_LIST arg_LIBRARIES)
            target_precompile_headers(${target} PRIVATE <opencv2/imgproc.hpp>)
        endif()
    endif()
endfunction()

# velmor_add_suites(<kind> <target> [NAME <name>] [SWEEPS <suite> ...] [EXCEPT <suite> ...] [LAUNCHER ...]
#     [ENVIRONMENT ...] [LABELS ...]): the CTest tests <name>.<suite>, where the name is the kind unless given: one for
# each test file of the program and one for each sweep, which is a suite that takes long and is labelled thorough
function(velmor_add_suites kind target)
    cmake_parse_arguments(arg "" NAME "SWEEPS;EXCEPT;LAUNCHER;ENVIRONMENT;LABELS" ${ARGN})
    if(NOT arg_NAME)
        set(arg_NAME ${kind})
    endif()
    velmor_test_environment(environment)
    get_target_property(suites ${target} SOURCES)
    list(FILTER suites INCLUDE REGEX "^[^/]+Test\\.cpp$")
    list(TRANSFORM suites REPLACE "Test\\.cpp$" "")
    list(APPEND suites ${arg_SWEEPS})
    foreach(suite IN LISTS suites)
        if(suite IN_LIST arg_EXCEPT)
            continue()
        endif()
        # What begins with the name of another suite is that one's.
        set(longer ${suites})
        list(FILTER longer INCLUDE REGEX "^${suite}.")
        list(TRANSFORM longer REPLACE "(.+)" "\\1*:*/\\1*.*")
        list(JOIN longer ":" longer)
        set(labels ${kind} ${arg_LABELS})
        if(suite IN_LIST arg_SWEEPS)
            list(APPEND labels thorough)
        endif()
        set(test ${arg_NAME}.${suite})
        add_test(NAME ${test}
            COMMAND ${arg_LAUNCHER} $<TARGET_FILE:${target}> "--gtest_filter=${suite}*:*/${suite}*.*-${longer}")
        set_tests_properties(${test} PROPERTIES LABELS "${labels}" TIMEOUT 1200
            ENVIRONMENT "${environment};${arg_ENVIRONMENT}"
            FAIL_REGULAR_EXPRESSION "Running 0 tests")
    endforeach()
endfunction()

# velmor_add_tests(<kind> [NAME <program>] SOURCES ... LIBRARIES ... [SWEEPS ...] [EXCEPT ...] [LAUNCHER ...]): a test
# program, named after its kind unless told otherwise, and its CTest tests
function(velmor_add_tests kind)
    cmake_parse_arguments(arg "" NAME "SOURCES;LIBRARIES;SWEEPS;EXCEPT;LAUNCHER" ${ARGN})
    if(NOT arg_NAME)
        set(arg_NAME ${kind})
    endif()
    velmor_add_test_program(${arg_NAME} SOURCES ${arg_SOURCES} LIBRARIES ${arg_LIBRARIES})
    velmor_add_suites(${kind} velmor_${arg_NAME}_tests
        SWEEPS ${arg_SWEEPS} EXCEPT ${arg_EXCEPT} LAUNCHER ${arg_LAUNCHER})
endfunction()

# velmor_keep_driver_loaded(<target>): lets a leak checker tell what belongs to the graphics driver of a real context
function(velmor_keep_driver_loaded target)
    if(VELMOR_SANITIZE)
        target_sources(${target} PRIVATE ${PROJECT_SOURCE_DIR}/tests/support/KeepLoaded.cpp)
        set_target_properties(${target} PROPERTIES ENABLE_EXPORTS ON)
    endif()
endfunction()

# velmor_add_memcheck(<program> [EXCEPT <filter>] [SUPPRESSIONS <file> ...] [ENVIRONMENT ...]): a program of tests that
# need no driver once more, under valgrind.
# The sanitizers would be in its way. Children that death tests start are not followed.
function(velmor_add_memcheck program)
    cmake_parse_arguments(arg "" EXCEPT "SUPPRESSIONS;ENVIRONMENT" ${ARGN})
    list(TRANSFORM arg_SUPPRESSIONS PREPEND --suppressions=)
    if(VELMOR_ASSERTIONS AND NOT VELMOR_SANITIZE)
        add_test(NAME memcheck.${program}
            COMMAND valgrind --quiet --fair-sched=try --error-exitcode=99
                --leak-check=full --errors-for-leak-kinds=definite,indirect,possible
                --suppressions=${PROJECT_SOURCE_DIR}/tests/support/valgrind.supp ${arg_SUPPRESSIONS}
                $<TARGET_FILE:velmor_${program}_tests> --gtest_brief=1 --gtest_death_test_use_fork
                --gtest_filter=-${arg_EXCEPT})
        set_tests_properties(memcheck.${program} PROPERTIES LABELS "memcheck;soak" TIMEOUT 1200
            ENVIRONMENT "OPENCV_FOR_THREADS_NUM=1;${arg_ENVIRONMENT}")
    endif()
endfunction()
