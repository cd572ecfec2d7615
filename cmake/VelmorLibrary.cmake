# velmor_add_library(<name> SOURCES ... HEADERS ... [PUBLIC ...] [PRIVATE ...] [PC_REQUIRES ...] [PC_LIBS ...])
#
# Makes the shared library velmor_<name> (target velmor::<name>) with hidden visibility, its export macro
# VELMOR_<NAME>_EXPORT in <name>/Export.h, its install rules and its pkg-config file. The headers are installed with the
# paths that they have here. The objects stand in a target of their own, velmor_<name>_objects, so that tests can link
# them against another OpenGL. PC_REQUIRES and PC_LIBS are what a program that includes the headers needs beside the
# library: pkg-config packages and plain libraries.

include(GenerateExportHeader)

function(velmor_add_library name)
    cmake_parse_arguments(arg "" "" "SOURCES;HEADERS;PUBLIC;PRIVATE;PC_REQUIRES;PC_LIBS" ${ARGN})
    set(target velmor_${name})
    set(objects ${target}_objects)
    string(TOUPPER ${target}_EXPORT macro)
    set(generated ${PROJECT_BINARY_DIR}/generated)

    add_library(${objects} OBJECT ${arg_SOURCES})
    add_library(${target} SHARED $<TARGET_OBJECTS:${objects}>)
    add_library(velmor::${name} ALIAS ${target})
    generate_export_header(${target} EXPORT_MACRO_NAME ${macro} EXPORT_FILE_NAME ${generated}/${name}/Export.h)

    foreach(each IN ITEMS ${objects} ${target})
        target_include_directories(${each} PUBLIC
            $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
            $<BUILD_INTERFACE:${generated}>
            $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/velmor>)
        target_compile_features(${each} PUBLIC cxx_std_17)
        target_link_libraries(${each} PUBLIC ${arg_PUBLIC} PRIVATE ${arg_PRIVATE} $<BUILD_INTERFACE:velmor_build_settings>)
        set_target_properties(${each} PROPERTIES
            CXX_VISIBILITY_PRESET hidden
            VISIBILITY_INLINES_HIDDEN ON
            POSITION_INDEPENDENT_CODE ON)
    endforeach()
    set(exports ${PROJECT_SOURCE_DIR}/cmake/exports.map)
    target_link_options(${target} PRIVATE -Wl,--as-needed -Wl,--version-script=${exports})
    if(NOT VELMOR_SANITIZE)
        target_link_options(${target} PRIVATE -Wl,--no-undefined)
    endif()
    set_target_properties(${target} PROPERTIES
        EXPORT_NAME ${name}
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR}
        LINK_DEPENDS ${exports}
        INSTALL_RPATH $ORIGIN) # the libraries find each other wherever the installed tree is

    velmor_install_library(${name} HEADERS ${arg_HEADERS} REQUIRES ${arg_PC_REQUIRES} LIBS ${arg_PC_LIBS})
endfunction()
