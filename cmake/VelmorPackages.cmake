# Debian packages, made by `cpack` in a build folder: one for each shared library, so that an application brings no more
# than it links, one with what building against them needs, and one with the documents.

set(VELMOR_DEBIAN_DIR ${PROJECT_SOURCE_DIR}/cmake/debian)

# velmor_add_package(<component> NAME <name> SECTION <section> DESCRIPTION <summary line, then lines of text>
#     [NEEDS <component>...] [DEPENDS <Debian dependencies>])
macro(velmor_add_package component)
    cmake_parse_arguments(package "" "NAME;SECTION;DESCRIPTION;DEPENDS" NEEDS ${ARGN})
    string(TOUPPER ${component} COMPONENT)
    list(APPEND CPACK_COMPONENTS_ALL ${component})
    set(CPACK_COMPONENT_${COMPONENT}_DESCRIPTION "${package_DESCRIPTION}")
    set(CPACK_COMPONENT_${COMPONENT}_DEPENDS ${package_NEEDS})
    set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_NAME ${package_NAME})
    set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_SECTION ${package_SECTION})
    set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_DEPENDS "${package_DEPENDS}")
    # What Debian asks of every package, and nobody else of an installed tree.
    install(FILES ${VELMOR_DEBIAN_DIR}/copyright ${PROJECT_BINARY_DIR}/changelog.gz
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package_NAME} COMPONENT ${component} EXCLUDE_FROM_ALL)
endmacro()

# velmor_add_library_package(<name> <description> [<other library>...])
macro(velmor_add_library_package name description)
    string(REPLACE _ - package libvelmor-${name})
    velmor_add_package(${name} NAME ${package}${PROJECT_VERSION_MAJOR} SECTION libs
        DESCRIPTION "${description}" NEEDS ${ARGN})
    set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_SHLIBDEPS ON)
    list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/${name})
    # CPack writes scripts that call ldconfig unless it is told of others. There are none: Debian has a trigger for it.
    set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_CONTROL_EXTRA ${VELMOR_DEBIAN_DIR}/triggers postinst postrm)
endmacro()

# velmor_add_python_package(<component> NAME ... SECTION ... DESCRIPTION ... NEEDS ... DEPENDS ...): what is installed
# with it is compiled by the Python that is there
macro(velmor_add_python_package component)
    velmor_add_package(${component} ${ARGN})
    set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_SHLIBDEPS ON)
    foreach(script IN ITEMS postinst prerm)
        configure_file(${VELMOR_DEBIAN_DIR}/python3-${script}.in ${PROJECT_BINARY_DIR}/debian/${component}/${script} @ONLY
            FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
        list(APPEND CPACK_DEBIAN_${COMPONENT}_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/debian/${component}/${script})
    endforeach()
endmacro()

function(velmor_configure_packages)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${VELMOR_DEBIAN_DIR}/changelog)
    find_program(VELMOR_GZIP gzip REQUIRED)
    mark_as_advanced(VELMOR_GZIP)
    execute_process(COMMAND ${VELMOR_GZIP} -9nc ${VELMOR_DEBIAN_DIR}/changelog
        OUTPUT_FILE ${PROJECT_BINARY_DIR}/changelog.gz COMMAND_ERROR_IS_FATAL ANY)

    velmor_add_library_package(math
"vectors, matrices and units for visual object tracking
Small dense matrices and vectors, eigenvalues of symmetric matrices, and
conversion of units.")
    velmor_add_library_package(core
"images, textures and colour models for visual object tracking
What the operators of velmor work on: images in main memory, descriptions of
textures, Gaussian mixtures of colours, colour histograms and blobs."
        math)
    velmor_add_library_package(imageio
"picture files for visual object tracking
Reads picture files into images of velmor and writes images to picture files.
No other library of velmor needs a codec."
        core)
    velmor_add_library_package(analysis
"operators on images in main memory for visual object tracking
Colour detection, colour histograms, moments of regions, motion segmentation
and face detection, without OpenGL."
        core math)
    velmor_add_library_package(native
"filters on pictures in main memory for visual object tracking
The filters of velmor without OpenGL: logic, colour conversion, Bayer mosaics,
edges, colour mixtures, counts and histograms, on the processor's vector units."
        core)
    velmor_add_library_package(cvprocess
"image filters on the GPU for visual object tracking
Filters that run as OpenGL shaders over rectangle textures: logic, colour
conversion, Bayer mosaics, edges, colour mixtures, counts and histograms."
        core)
    velmor_add_library_package(catalogue
"operators by name for visual object tracking
A table of the operators of velmor, with what each takes, gives and is set
with, and makers by name of those on images in main memory. It needs no OpenGL."
        analysis native core math)
    velmor_add_library_package(catalogue_gl
"filters by name for visual object tracking
Makes the OpenGL filters of velmor by name."
        catalogue cvprocess)
    velmor_add_library_package(glsupport
"OpenGL without a window for visual object tracking
Rectangle textures, an OpenGL context without a display or a GPU, an adapter
for drivers that lack what the filters of velmor expect, and a guard for the
OpenGL state of an application."
        core)
    velmor_add_package(development NAME libvelmor-dev SECTION libdevel DESCRIPTION
"image operators for visual object tracking - development files
The headers of all velmor libraries, the CMake package and the pkg-config
files."
        NEEDS ${CPACK_COMPONENTS_ALL}
        DEPENDS "libboost-dev, libgl-dev, libglew-dev, libopencv-core-dev")
    velmor_add_package(documentation NAME velmor-doc SECTION doc DESCRIPTION
"image operators for visual object tracking - documents
The guide to the velmor libraries, and what their operators cost.")
    set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_ARCHITECTURE all)
    if(VELMOR_BUILD_PYTHON)
        find_package(Python3 REQUIRED COMPONENTS Interpreter)
        math(EXPR next "${Python3_VERSION_MINOR} + 1")
        # Modules are for one version of Python.
        set(python "python3 (>= 3.${Python3_VERSION_MINOR}~), python3 (<< 3.${next}), python3-numpy")
        velmor_add_python_package(python NAME python3-velmor SECTION python DESCRIPTION
"image operators for visual object tracking - Python
Filters, colour models, histograms, regions, motion and faces on arrays of
numpy, whose memory is shared. It needs no OpenGL."
            NEEDS catalogue analysis native core math
            DEPENDS "${python}")
        velmor_add_python_package(python_gl NAME python3-velmor-gl SECTION python DESCRIPTION
"image filters on the GPU for visual object tracking - Python
Filters that run as OpenGL shaders, over textures made of arrays of numpy, and
an OpenGL context without a display or a GPU: the module velmor.gl."
            NEEDS python catalogue_gl catalogue cvprocess analysis glsupport native core math
            DEPENDS "${python}")
    endif()
    if(VELMOR_BUILD_GSTREAMER)
        velmor_add_package(gstreamer NAME gstreamer1.0-velmor SECTION libs DESCRIPTION
"image operators for visual object tracking - GStreamer plugin
Elements for pipelines of video: filters, masks of colours, regions, motion
and faces."
            NEEDS catalogue_gl catalogue cvprocess analysis glsupport native core math)
        set(CPACK_DEBIAN_GSTREAMER_PACKAGE_SHLIBDEPS ON)
    endif()
    install(FILES ${VELMOR_DEBIAN_DIR}/libvelmor-dev.lintian-overrides RENAME libvelmor-dev
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides COMPONENT development EXCLUDE_FROM_ALL)

    set(CPACK_GENERATOR DEB)
    set(CPACK_DEB_COMPONENT_INSTALL ON)
    set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
    set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
    set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
    set(CPACK_DEBIAN_PACKAGE_SOURCE velmor)
    set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
    set(CPACK_PACKAGE_CONTACT "velmor maintainers <maintainers@velmor.example>")
    set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
    set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
    set(CPACK_STRIP_FILES ON)
    set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/BeforePackaging.cmake)
    set(CPACK_VERBATIM_VARIABLES ON)
    include(CPack)
endfunction()
