# Install rules: headers under include/velmor with the paths they have here, the CMake package, a pkg-config file each,
# the documents. Components: one for each library, development, documentation.

include(CMakePackageConfigHelpers)

set(VELMOR_INSTALL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/velmor)

# Called by velmor_add_library() in the folder of the library.
function(velmor_install_library name)
    cmake_parse_arguments(arg "" "" "HEADERS;REQUIRES;LIBS" ${ARGN})
    set(include_dir ${CMAKE_INSTALL_INCLUDEDIR}/velmor)
    string(REPLACE _ - package velmor-${name})
    file(RELATIVE_PATH room ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})

    install(TARGETS velmor_${name} EXPORT velmorTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${name} NAMELINK_COMPONENT development)
    foreach(header IN LISTS arg_HEADERS)
        get_filename_component(folder ${header} DIRECTORY)
        install(FILES ${header} DESTINATION ${include_dir}/${room}/${folder} COMPONENT development)
    endforeach()
    install(FILES ${PROJECT_BINARY_DIR}/generated/${name}/Export.h DESTINATION ${include_dir}/${name} COMPONENT development)

    list(JOIN arg_REQUIRES " " VELMOR_PC_REQUIRES)
    list(TRANSFORM arg_LIBS PREPEND "-l")
    list(JOIN arg_LIBS " " VELMOR_PC_LIBS)
    # Relative to the file itself, so that an installed tree can be moved.
    file(RELATIVE_PATH VELMOR_PC_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
    set(VELMOR_PC_NAME ${package})
    set(VELMOR_PC_LIBRARY velmor_${name})
    configure_file(${PROJECT_SOURCE_DIR}/cmake/velmor.pc.in ${PROJECT_BINARY_DIR}/${package}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${package}.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endfunction()

function(velmor_install_package)
    install(EXPORT velmorTargets NAMESPACE velmor::
        DESTINATION ${VELMOR_INSTALL_CMAKE_DIR} COMPONENT development)
    configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/velmorConfig.cmake.in
        ${PROJECT_BINARY_DIR}/velmorConfig.cmake
        INSTALL_DESTINATION ${VELMOR_INSTALL_CMAKE_DIR})
    write_basic_package_version_file(${PROJECT_BINARY_DIR}/velmorConfigVersion.cmake COMPATIBILITY SameMajorVersion)
    install(FILES
        ${PROJECT_BINARY_DIR}/velmorConfig.cmake
        ${PROJECT_BINARY_DIR}/velmorConfigVersion.cmake
        ${PROJECT_SOURCE_DIR}/cmake/FindOpenCVModules.cmake
        DESTINATION ${VELMOR_INSTALL_CMAKE_DIR} COMPONENT development)
    file(GLOB documents CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/*.md)
    install(FILES ${documents} DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation)
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation
        FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN "*.png" PATTERN "*.jpg")
endfunction()
