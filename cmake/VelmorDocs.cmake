# The target velmor_docs: the documentation as a site, in docs/html of the build folder. It ends with an error when a
# public class or member is not documented. The gallery's pictures are what the demo program makes of real frames.

find_package(Doxygen COMPONENTS doxygen)
if(NOT Doxygen_FOUND OR NOT VELMOR_BUILD_EXAMPLES OR NOT VELMOR_BUILD_PYTHON)
    message(STATUS
        "velmor: there is no target velmor_docs; it needs Doxygen, VELMOR_BUILD_EXAMPLES and VELMOR_BUILD_PYTHON")
    return()
endif()
find_program(VELMOR_AWK awk REQUIRED)
mark_as_advanced(VELMOR_AWK)

# The gallery: the demo's page of pictures, with the examples of each operator's class pages and docstrings
set(folder ${PROJECT_BINARY_DIR}/docs)
set(gallery ${folder}/gallery.md)
file(GLOB operators CONFIGURE_DEPENDS
    ${PROJECT_SOURCE_DIR}/cvprocess/*.h ${PROJECT_SOURCE_DIR}/cvprocess/gpuStdShaders/*.h
    ${PROJECT_SOURCE_DIR}/native/*.h)
list(FILTER operators EXCLUDE REGEX "/(GpuStdShaders|native/Filter)\.h$") # the filters' bases have examples too
set(docstrings ${PROJECT_SOURCE_DIR}/python/docstrings.md)
add_custom_command(OUTPUT ${folder}/demo/gallery.md
    COMMAND ${CMAKE_COMMAND} -E make_directory ${folder}
    # The driver is unloaded before its leaks could be told from the program's.
    COMMAND ${CMAKE_COMMAND} -E env ASAN_OPTIONS=detect_leaks=0
        $<TARGET_FILE:velmor_demo> --gallery --frames 50 --out ${folder}/demo > ${folder}/demo.log
    DEPENDS velmor_demo
    COMMENT "Making the gallery's pictures"
    VERBATIM)
add_custom_command(OUTPUT ${gallery}
    COMMAND ${VELMOR_AWK} -f ${PROJECT_SOURCE_DIR}/docs/gallery.awk
        ${operators} ${docstrings} ${folder}/demo/gallery.md > ${gallery}
    DEPENDS ${operators} ${docstrings} ${folder}/demo/gallery.md ${PROJECT_SOURCE_DIR}/docs/gallery.awk
    VERBATIM)

# The reference of the Python package, as the built package has it
set(reference ${folder}/python_reference.md)
file(GLOB scripts CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/python/src/velmor/*.py)
add_custom_command(OUTPUT ${reference}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${folder}
    COMMAND ${CMAKE_COMMAND} -E env PYTHONPATH=${PROJECT_BINARY_DIR}/python PYTHONDONTWRITEBYTECODE=1
        ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/python/reference.py > ${reference}
    DEPENDS velmor_python_core velmor_python_gl ${scripts} ${PROJECT_SOURCE_DIR}/python/reference.py
    COMMENT "Writing the reference of the Python package"
    VERBATIM)
add_custom_target(velmor_gallery DEPENDS ${gallery} ${reference})

set(DOXYGEN_PROJECT_NAME velmor)
set(DOXYGEN_OUTPUT_DIRECTORY ${folder})
set(DOXYGEN_STRIP_FROM_PATH ${PROJECT_SOURCE_DIR} ${folder})
set(DOXYGEN_STRIP_FROM_INC_PATH ${PROJECT_SOURCE_DIR})
set(DOXYGEN_FILE_PATTERNS *.h *.md *.dox)
set(DOXYGEN_EXCLUDE_PATTERNS */internal/*) # what is not installed
set(DOXYGEN_USE_MDFILE_AS_MAINPAGE ${PROJECT_SOURCE_DIR}/docs/mainpage.md)
set(DOXYGEN_IMAGE_PATH ${PROJECT_SOURCE_DIR}/docs ${folder}/demo/gallery)
foreach(library IN ITEMS MATH CORE IMAGEIO ANALYSIS NATIVE CVPROCESS GLSUPPORT CATALOGUE CATALOGUE_GL)
    list(APPEND DOXYGEN_PREDEFINED VELMOR_${library}_EXPORT=)
endforeach()
set(DOXYGEN_MACRO_EXPANSION YES)
set(DOXYGEN_EXPAND_ONLY_PREDEF YES)
set(DOXYGEN_JAVADOC_AUTOBRIEF YES)
set(DOXYGEN_TOC_INCLUDE_HEADINGS 2)
set(DOXYGEN_GENERATE_TREEVIEW YES)
set(DOXYGEN_HTML_EXTRA_STYLESHEET ${PROJECT_SOURCE_DIR}/docs/site.css)
set(DOXYGEN_HAVE_DOT NO)
set(DOXYGEN_QUIET YES)
set(DOXYGEN_WARN_AS_ERROR FAIL_ON_WARNINGS)

set(sources math core imageio cvprocess native glsupport catalogue docs CONTRIBUTING.md CHANGELOG.md)
list(TRANSFORM sources PREPEND ${PROJECT_SOURCE_DIR}/)
doxygen_add_docs(velmor_docs ${sources} ${gallery} ${reference} COMMENT "Making the documentation: ${folder}/html/index.html")
add_dependencies(velmor_docs velmor_gallery)
install(DIRECTORY ${folder}/html DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation
    OPTIONAL) # where it was made
