# Finds single OpenCV modules by header and library, as targets opencv::<module>.
#
# OpenCV's own CMake package names every module, graphics toolkits and video libraries included, and distributions
# ship it only beside all of them. This library needs a few modules, and asks for those alone.

find_path(OpenCVModules_INCLUDE_DIR opencv2/core/version.hpp PATH_SUFFIXES opencv4)
mark_as_advanced(OpenCVModules_INCLUDE_DIR)

if(OpenCVModules_INCLUDE_DIR)
    file(STRINGS ${OpenCVModules_INCLUDE_DIR}/opencv2/core/version.hpp version_lines
        REGEX "#define CV_VERSION_(MAJOR|MINOR|REVISION) +[0-9]+")
    string(REGEX REPLACE "[^0-9;]+" "" version_numbers "${version_lines}")
    list(JOIN version_numbers "." OpenCVModules_VERSION)
endif()

foreach(module IN LISTS OpenCVModules_FIND_COMPONENTS)
    find_library(OpenCVModules_${module}_LIBRARY opencv_${module})
    mark_as_advanced(OpenCVModules_${module}_LIBRARY)
    if(OpenCVModules_${module}_LIBRARY AND OpenCVModules_INCLUDE_DIR)
        set(OpenCVModules_${module}_FOUND TRUE)
        if(NOT TARGET opencv::${module})
            add_library(opencv::${module} UNKNOWN IMPORTED)
            set_target_properties(opencv::${module} PROPERTIES
                IMPORTED_LOCATION ${OpenCVModules_${module}_LIBRARY}
                INTERFACE_INCLUDE_DIRECTORIES ${OpenCVModules_INCLUDE_DIR})
        endif()
    endif()
endforeach()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(OpenCVModules
    REQUIRED_VARS OpenCVModules_INCLUDE_DIR
    VERSION_VAR OpenCVModules_VERSION
    HANDLE_COMPONENTS)
