# The target velmor_docs: the documentation as a site, in docs/html of the build folder. It ends with an error when a
# public class or member is not documented.

find_package(Doxygen COMPONENTS doxygen)
if(NOT Doxygen_FOUND)
    message(STATUS "velmor: no Doxygen, so there is no target velmor_docs")
    return()
endif()

set(DOXYGEN_PROJECT_NAME velmor)
set(DOXYGEN_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/docs)
set(DOXYGEN_STRIP_FROM_PATH ${PROJECT_SOURCE_DIR})
set(DOXYGEN_STRIP_FROM_INC_PATH ${PROJECT_SOURCE_DIR})
set(DOXYGEN_FILE_PATTERNS *.h *.md *.dox)
set(DOXYGEN_EXCLUDE # what is not installed
    ${PROJECT_SOURCE_DIR}/glsupport/adapter
    ${PROJECT_SOURCE_DIR}/core/util/AnyBitSet.h
    ${PROJECT_SOURCE_DIR}/core/util/WholeFile.h)
set(DOXYGEN_USE_MDFILE_AS_MAINPAGE ${PROJECT_SOURCE_DIR}/docs/mainpage.md)
set(DOXYGEN_IMAGE_PATH ${PROJECT_SOURCE_DIR}/docs)
foreach(library IN ITEMS MATH CORE IMAGEIO CVPROCESS GLSUPPORT)
    list(APPEND DOXYGEN_PREDEFINED VELMOR_${library}_EXPORT=)
endforeach()
set(DOXYGEN_MACRO_EXPANSION YES)
set(DOXYGEN_EXPAND_ONLY_PREDEF YES)
set(DOXYGEN_JAVADOC_AUTOBRIEF YES)
set(DOXYGEN_TOC_INCLUDE_HEADINGS 2)
set(DOXYGEN_GENERATE_TREEVIEW YES)
set(DOXYGEN_HAVE_DOT NO)
set(DOXYGEN_QUIET YES)
set(DOXYGEN_WARN_AS_ERROR FAIL_ON_WARNINGS)

set(sources math core imageio cvprocess glsupport docs CONTRIBUTING.md CHANGELOG.md)
list(TRANSFORM sources PREPEND ${PROJECT_SOURCE_DIR}/)
doxygen_add_docs(velmor_docs ${sources} COMMENT "Making the documentation: ${PROJECT_BINARY_DIR}/docs/html/index.html")
