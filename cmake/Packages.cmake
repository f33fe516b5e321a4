# `cpack -G DEB` in a build folder configured with the preset `package` makes the Debian packages: one
# per component of Install.cmake. scripts/make-packages does it all.

set(JORVCK_MAINTAINER "jorvck maintainers <maintainers@jorvck.example>" CACHE STRING
    "Maintainer of the packages, NAME <ADDRESS>")

set(CPACK_PACKAGE_NAME jorvck)
set(CPACK_PACKAGE_VENDOR "jorvck")
set(CPACK_PACKAGE_CONTACT ${JORVCK_MAINTAINER})
set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL jorvck jorvaudit storage-dev)
if(JORVCK_STORAGE STREQUAL "reference")
    list(APPEND CPACK_COMPONENTS_ALL jorvshare)
endif()
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/CompressManuals.cmake)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS OFF)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_JORVCK_PACKAGE_NAME jorvck)
set(CPACK_DEBIAN_JORVCK_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_JORVCK_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_JORVCK_PACKAGE_RECOMMENDS jorvaudit)
set(CPACK_DEBIAN_JORVCK_PACKAGE_SUGGESTS jorvshare)
set(CPACK_DEBIAN_JORVCK_DESCRIPTION "offline read-only checker for shares of the Jorv file system
jorvck checks the metadata of one share of the Jorv deduplicating file system
and reports each inconsistency as a line. It repairs nothing and writes
nothing to the share. jorvaudit runs it over every part of a share.")
set(scripts ${PROJECT_SOURCE_DIR}/packaging/debian)
set(CPACK_DEBIAN_JORVCK_PACKAGE_CONTROL_EXTRA ${scripts}/jorvck/postrm)
if(JORVCK_STORAGE STREQUAL "reference")
    file(WRITE ${PROJECT_BINARY_DIR}/packages/jorvck/conffiles "/etc/jorv/jorv.toml\n")
    list(APPEND CPACK_DEBIAN_JORVCK_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/packages/jorvck/conffiles)
endif()

set(CPACK_DEBIAN_JORVAUDIT_PACKAGE_NAME jorvaudit)
set(CPACK_DEBIAN_JORVAUDIT_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_JORVAUDIT_PACKAGE_SHLIBDEPS ON)
# It reads the checker's lines by the catalogue of its own version.
set(CPACK_DEBIAN_JORVAUDIT_PACKAGE_DEPENDS "jorvck (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(CPACK_DEBIAN_JORVAUDIT_PACKAGE_SUGGESTS jorvshare)
set(CPACK_DEBIAN_JORVAUDIT_DESCRIPTION "complete check of a share of the Jorv file system, with a report
jorvaudit runs the checker jorvck over every part of a share and reports what
was found, what was looked at and what was not, with the file of every finding
and what to do about it. A timer template runs it regularly.")
file(WRITE ${PROJECT_BINARY_DIR}/packages/jorvaudit/conffiles "/etc/default/jorvaudit\n")
set(CPACK_DEBIAN_JORVAUDIT_PACKAGE_CONTROL_EXTRA
    ${scripts}/jorvaudit/prerm;${scripts}/jorvaudit/postinst;${scripts}/jorvaudit/postrm;${PROJECT_BINARY_DIR}/packages/jorvaudit/conffiles)

set(CPACK_DEBIAN_JORVSHARE_PACKAGE_NAME jorvshare)
set(CPACK_DEBIAN_JORVSHARE_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_JORVSHARE_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_JORVSHARE_PACKAGE_SUGGESTS jorvck)
set(CPACK_DEBIAN_JORVSHARE_DESCRIPTION "makes shares of the Jorv file system and looks into them
jorvshare packs the files of a directory into a deduplicated share, writes
them back, shows stored structures field by field and, for testing, breaks one
named thing of a share and tells which lines jorvck then prints.")

set(CPACK_DEBIAN_STORAGE-DEV_PACKAGE_NAME libjorv-storage-dev)
set(CPACK_DEBIAN_STORAGE-DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_STORAGE-DEV_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_STORAGE-DEV_PACKAGE_DEPENDS "libboost-dev (>= 1.74)")
set(CPACK_DEBIAN_STORAGE-DEV_DESCRIPTION "interface of the storage library that jorvck works through
The headers that a storage library for jorvck implements, a CMake package that
finds them, the contract of each operation and a small example library.")

# What every package of the distribution has in its folder of documents.
find_program(GZIP_PROGRAM gzip REQUIRED)
set(changelog ${PROJECT_BINARY_DIR}/packages/changelog.Debian)
execute_process(COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C date -R -u -d ${JORVCK_RELEASED} OUTPUT_VARIABLE released
    OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
configure_file(packaging/debian/changelog.in ${changelog} @ONLY)
execute_process(COMMAND ${GZIP_PROGRAM} -9nkf ${changelog} COMMAND_ERROR_IS_FATAL ANY)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER ${component} upper)
    set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
    install(FILES ${changelog}.gz packaging/debian/copyright
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
endforeach()

include(CPack)
