# Run by cpack before it packs what was installed: gives all of it the date of the version, and folders the same rights
# whatever the umask.

if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
    execute_process(
        COMMAND dpkg-parsechangelog --file ${CMAKE_CURRENT_LIST_DIR}/debian/changelog --show-field Timestamp
        OUTPUT_VARIABLE date OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    set(ENV{SOURCE_DATE_EPOCH} ${date})
endif()
file(GLOB_RECURSE entries LIST_DIRECTORIES true ${CPACK_TEMPORARY_DIRECTORY}/*)
foreach(entry IN LISTS entries)
    if(IS_DIRECTORY ${entry})
        file(CHMOD ${entry} PERMISSIONS
            OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
    endif()
endforeach()
