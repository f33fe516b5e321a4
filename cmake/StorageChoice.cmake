# Refuses a choice of the storage library that cannot be meant, before anything is built.

if(NOT JORVCK_STORAGE MATCHES "^(reference|external)$")
    message(FATAL_ERROR "JORVCK_STORAGE is \"${JORVCK_STORAGE}\": it must be reference or external")
endif()

if(JORVCK_STORAGE STREQUAL "reference")
    if(JORV_STORAGE_INCLUDE_DIR OR JORV_STORAGE_LIBRARIES)
        message(FATAL_ERROR "JORV_STORAGE_INCLUDE_DIR and JORV_STORAGE_LIBRARIES are for"
            " -DJORVCK_STORAGE=external: with the reference library they would be ignored")
    endif()
    return()
endif()

if(NOT JORV_STORAGE_LIBRARIES)
    message(FATAL_ERROR "JORVCK_STORAGE is external: JORV_STORAGE_LIBRARIES must name the library")
endif()
foreach(library IN LISTS JORV_STORAGE_LIBRARIES)
    if(IS_ABSOLUTE "${library}" AND NOT EXISTS "${library}")
        message(FATAL_ERROR "JORV_STORAGE_LIBRARIES: ${library} is not there")
    endif()
endforeach()
if(JORV_STORAGE_INCLUDE_DIR AND NOT IS_DIRECTORY "${JORV_STORAGE_INCLUDE_DIR}/storage")
    message(FATAL_ERROR "JORV_STORAGE_INCLUDE_DIR: ${JORV_STORAGE_INCLUDE_DIR} holds no folder"
        " named storage, from which the checker includes \"storage/header_file.h\" and the like")
endif()
# An installed program must find a shared library outside of the system's folders again.
set(CMAKE_INSTALL_RPATH_USE_LINK_PATH ON)
