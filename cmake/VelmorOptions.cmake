# Build options, compiler settings shared by every target, and the summary that ends a configure run.

option(VELMOR_ASSERTIONS "Keep assertions in optimised builds; they are part of the contract" ON)
option(VELMOR_BUILD_TESTS "Build the tests" ${PROJECT_IS_TOP_LEVEL})
option(VELMOR_BUILD_EXAMPLES "Build the example programs, the demo among them" ${PROJECT_IS_TOP_LEVEL})
option(VELMOR_BUILD_BENCHMARKS "Build the benchmarks" OFF)
option(VELMOR_BUILD_FUZZERS "Build the fuzzers, which need clang" OFF)
option(VELMOR_BUILD_PYTHON "Build the Python package" ${PROJECT_IS_TOP_LEVEL})
include(CMakeDependentOption)
cmake_dependent_option(VELMOR_BUILD_WHEEL "Build the Python modules as a wheel has them, too" ${VELMOR_BUILD_TESTS}
    "VELMOR_BUILD_PYTHON" OFF)
# The plugin is built where what it needs is installed, unless told otherwise.
find_package(PkgConfig QUIET)
if(PkgConfig_FOUND)
    pkg_check_modules(GStreamer QUIET IMPORTED_TARGET gstreamer-video-1.0>=1.22 gstreamer-gl-1.0>=1.22)
endif()
if(GStreamer_FOUND AND PROJECT_IS_TOP_LEVEL)
    option(VELMOR_BUILD_GSTREAMER "Build the GStreamer plugin" ON)
else()
    option(VELMOR_BUILD_GSTREAMER "Build the GStreamer plugin" OFF)
endif()
if(VELMOR_BUILD_GSTREAMER AND NOT GStreamer_FOUND)
    message(FATAL_ERROR "velmor: the GStreamer plugin needs GStreamer 1.22 or later with its video and OpenGL libraries "
        "(libgstreamer-plugins-base1.0-dev), which are not installed")
endif()
option(VELMOR_WARNINGS_AS_ERRORS "Stop the build at a compiler warning" OFF)
set(VELMOR_SANITIZE "" CACHE STRING "Sanitizers to build with, such as address,undefined; empty for none")

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Build type" FORCE)
endif()

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON) # else what is installed keeps the length of the build's path

include(GNUInstallDirs)

# CMake puts -DNDEBUG into its optimised build types. Whether assertions are compiled is this project's own option.
foreach(config IN ITEMS RELEASE RELWITHDEBINFO MINSIZEREL)
    string(REGEX REPLACE "(^| )-DNDEBUG( |$)" " " CMAKE_CXX_FLAGS_${config} "${CMAKE_CXX_FLAGS_${config}}")
endforeach()

add_library(velmor_build_settings INTERFACE)
target_compile_options(velmor_build_settings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion
    -ffp-contract=off                                # stated arithmetic gives the same bits on every machine
    $<$<CXX_COMPILER_ID:GNU>:-fvect-cost-model=dynamic> # loops over pixels are vectorised at -O2 too, as clang does
    -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=       # assertions name files relative to the repository root
    $<$<BOOL:${VELMOR_WARNINGS_AS_ERRORS}>:-Werror>)
target_compile_definitions(velmor_build_settings INTERFACE
    $<$<NOT:$<BOOL:${VELMOR_ASSERTIONS}>>:NDEBUG>)
if(VELMOR_SANITIZE)
    target_compile_options(velmor_build_settings INTERFACE
        -fsanitize=${VELMOR_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer
        $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>) # g++ warns of its own <regex> where it adds its checks
    target_link_options(velmor_build_settings INTERFACE -fsanitize=${VELMOR_SANITIZE})
endif()

# Most faults of memory end the process before anybody makes use of them. The sanitizers see more, and their reports
# name files from the root of the file system on, by which the tests of the package tell its leaks from Python's.
if(NOT VELMOR_SANITIZE)
    target_compile_options(velmor_build_settings INTERFACE
        -fdebug-prefix-map=${PROJECT_SOURCE_DIR}/=       # debug information, whose sum is in each binary,
        -fdebug-prefix-map=${PROJECT_BINARY_DIR}=.       # is the same wherever it is built
        -fstack-protector-strong -fstack-clash-protection -Wformat -Werror=format-security
        $<$<STREQUAL:${CMAKE_SYSTEM_PROCESSOR},x86_64>:-fcf-protection>)
    target_compile_definitions(velmor_build_settings INTERFACE
        $<$<NOT:$<CONFIG:Debug>>:_FORTIFY_SOURCE=2>) # needs an optimised build
    target_link_options(velmor_build_settings INTERFACE -Wl,-z,relro -Wl,-z,now)
endif()

# The CPU operators call OpenCV's C interface, which is an optional part of OpenCV 4.
function(velmor_require_opencv_c_interface)
    include(CheckCXXSourceCompiles)
    set(CMAKE_REQUIRED_LIBRARIES opencv::core opencv::imgproc)
    check_cxx_source_compiles("
        #include <opencv2/core/core_c.h>
        #include <opencv2/imgproc/imgproc_c.h>
        int main() { IplImage image; cvInitImageHeader(&image, cvSize(1, 1), IPL_DEPTH_8U, 1); return image.nChannels - 1; }"
        VELMOR_OPENCV_HAS_C_INTERFACE)
    if(NOT VELMOR_OPENCV_HAS_C_INTERFACE)
        message(FATAL_ERROR "velmor: the installed OpenCV lacks its C interface "
            "(opencv2/core/core_c.h, opencv2/imgproc/imgproc_c.h), which the library is built on.")
    endif()
endfunction()

function(velmor_print_summary)
    message(STATUS "velmor ${PROJECT_VERSION}")
    message(STATUS "  build type                ${CMAKE_BUILD_TYPE}")
    foreach(name IN ITEMS ASSERTIONS BUILD_TESTS BUILD_EXAMPLES BUILD_BENCHMARKS BUILD_FUZZERS BUILD_PYTHON BUILD_WHEEL BUILD_GSTREAMER WARNINGS_AS_ERRORS SANITIZE)
        string(LENGTH "VELMOR_${name}" width)
        math(EXPR padding "26 - ${width}")
        string(REPEAT " " ${padding} gap)
        message(STATUS "  VELMOR_${name}${gap}${VELMOR_${name}}")
    endforeach()
    message(STATUS "  OpenCV                    ${OpenCVModules_VERSION}")
    message(STATUS "  install prefix            ${CMAKE_INSTALL_PREFIX}")
endfunction()
