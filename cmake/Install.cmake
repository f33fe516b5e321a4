# What `cmake --install` puts where. There are four components, of which debian/rules makes four packages:
#   jorvck        the checker, its pages, completion and configuration
#   jorvaudit     the complete check, its pages, completion and units
#   jorvshare     the share tool
#   storage-dev   what a storage library is compiled against
# The share tool, the configuration and the formats belong to the reference library: built with
# another, the project has none of them to install.

set(JORVCK_SYSTEMD_DIR lib/systemd/system CACHE STRING "Folder of systemd units, below the prefix")
# A program of /usr has its configuration in /etc; elsewhere it stays below the prefix, so that
# `cmake --install --prefix` never reaches out of it.
set(etc ${CMAKE_INSTALL_SYSCONFDIR})
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    set(etc ${CMAKE_INSTALL_FULL_SYSCONFDIR})
endif()
set(completions ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)

# --- storage-dev -------------------------------------------------------------------------------
include(CMakePackageConfigHelpers)
# Headers alone, the same for every machine.
set(config_dir ${CMAKE_INSTALL_DATADIR}/cmake/JorvStorage)

# A target of its own: the one that the project builds with carries the project's warnings.
add_library(jorv_storage_headers INTERFACE)
set_target_properties(jorv_storage_headers PROPERTIES EXPORT_NAME interface)
target_include_directories(jorv_storage_headers INTERFACE
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/jorv-storage>)
target_compile_features(jorv_storage_headers INTERFACE cxx_std_20)
# Both sides must agree on these: they change types and calls that cross the boundary.
target_compile_definitions(jorv_storage_headers INTERFACE
    _FILE_OFFSET_BITS=64 BOOST_FILESYSTEM_VERSION=3)
target_link_libraries(jorv_storage_headers INTERFACE Boost::headers)

install(TARGETS jorv_storage_headers EXPORT JorvStorageTargets COMPONENT storage-dev)
install(EXPORT JorvStorageTargets NAMESPACE JorvStorage:: DESTINATION ${config_dir}
    COMPONENT storage-dev)
install(DIRECTORY storage DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/jorv-storage
    COMPONENT storage-dev FILES_MATCHING PATTERN "*.h")
configure_package_config_file(cmake/JorvStorageConfig.cmake.in
    ${PROJECT_BINARY_DIR}/JorvStorageConfig.cmake INSTALL_DESTINATION ${config_dir})
# Before 1.0 any minor version may change the interface.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/JorvStorageConfigVersion.cmake
    COMPATIBILITY SameMinorVersion ARCH_INDEPENDENT)
install(FILES ${PROJECT_BINARY_DIR}/JorvStorageConfig.cmake
    ${PROJECT_BINARY_DIR}/JorvStorageConfigVersion.cmake
    DESTINATION ${config_dir} COMPONENT storage-dev)
install(FILES docs/storage-library.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libjorv-storage-dev
    COMPONENT storage-dev)
install(DIRECTORY examples/storage-library
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libjorv-storage-dev/examples COMPONENT storage-dev)

# Of the libraries whose headers are compiled into a program.
set(programs jorvck jorvaudit)
if(JORVCK_STORAGE STREQUAL "reference")
    list(APPEND programs jorvshare)
endif()
foreach(program IN LISTS programs)
    install(FILES NOTICES DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${program} COMPONENT ${program})
endforeach()

# --- jorvck ------------------------------------------------------------------------------------
install(TARGETS jorvck RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT jorvck)
install(FILES README.md docs/reliability.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/jorvck
    COMPONENT jorvck)
# The sections about lines are made from the catalogue.
add_executable(jorv_line_sections EXCLUDE_FROM_ALL man/line_sections.cpp)
target_link_libraries(jorv_line_sections PRIVATE jorvck::options)
set(manual ${PROJECT_BINARY_DIR}/man/jorvck.8)
add_custom_command(OUTPUT ${manual}
    COMMAND jorv_line_sections ${PROJECT_SOURCE_DIR}/man/jorvck.8.in ${manual}
    DEPENDS ${PROJECT_SOURCE_DIR}/man/jorvck.8.in jorv_line_sections VERBATIM)
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/man)
# Whoever builds the checker alone can install it.
add_custom_target(jorvck_manual DEPENDS ${manual})
add_dependencies(jorvck jorvck_manual)
install(FILES ${manual} DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 COMPONENT jorvck)
install(FILES packaging/completion/jorvck DESTINATION ${completions} COMPONENT jorvck)

# Makes a page of docs/formats into a manual page of section 5; configuration.md is jorv.toml(5).
function(install_format name component)
    set(title jorv-${name})
    if(name STREQUAL "configuration")
        set(title jorv.toml)
    endif()
    set(page ${PROJECT_SOURCE_DIR}/docs/formats/${name}.md)
    set(manual ${PROJECT_BINARY_DIR}/man/${title}.5)
    add_custom_command(OUTPUT ${manual}
        COMMAND ${PROJECT_SOURCE_DIR}/man/from-markdown ${title} ${JORVCK_RELEASED} ${page} ${manual}
        DEPENDS ${page} ${PROJECT_SOURCE_DIR}/man/from-markdown VERBATIM)
    add_custom_target(manual_${title} DEPENDS ${manual})
    add_dependencies(manuals manual_${title})
    install(FILES ${manual} DESTINATION ${CMAKE_INSTALL_MANDIR}/man5 COMPONENT ${component})
endfunction()
add_custom_target(manuals ALL)
add_dependencies(manuals jorvck_manual)

# --- jorvaudit ---------------------------------------------------------------------------------
install(TARGETS jorvaudit RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT jorvaudit)
install(FILES man/jorvaudit.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 COMPONENT jorvaudit)
install_format(audit-report jorvaudit)
install_format(audit-fleet jorvaudit)
install(FILES docs/formats/audit-fleet.schema.json docs/formats/audit-report.schema.json
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/jorvaudit COMPONENT jorvaudit)
install(PROGRAMS packaging/slurm/submit packaging/slurm/task
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/jorvaudit/examples/slurm COMPONENT jorvaudit)
install(FILES docs/fleet.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/jorvaudit COMPONENT jorvaudit)
install(FILES packaging/completion/jorvaudit DESTINATION ${completions} COMPONENT jorvaudit)
set(jorv_etc ${CMAKE_INSTALL_FULL_SYSCONFDIR})
foreach(unit jorvaudit@.service jorvaudit@.timer)
    configure_file(packaging/systemd/${unit}.in ${PROJECT_BINARY_DIR}/systemd/${unit} @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/systemd/${unit} DESTINATION ${JORVCK_SYSTEMD_DIR}
        COMPONENT jorvaudit)
endforeach()
install(FILES packaging/systemd/default RENAME jorvaudit
    DESTINATION ${etc}/default COMPONENT jorvaudit)

if(NOT JORVCK_STORAGE STREQUAL "reference")
    return()
endif()
# The library reads them in /etc and nowhere else; where that is not installed to, they are examples.
set(toml_dir ${CMAKE_INSTALL_DATADIR}/doc/jorvck/examples)
if(jorv_etc STREQUAL "/etc")
    set(toml_dir ${etc}/jorv)
endif()
install(FILES packaging/config/jorv.toml packaging/config/fstab DESTINATION ${toml_dir} COMPONENT jorvck)

file(GLOB pages CONFIGURE_DEPENDS docs/formats/*.md)
list(FILTER pages EXCLUDE REGEX "/audit-[a-z]+\\.md$")
foreach(page IN LISTS pages)
    cmake_path(GET page STEM name)
    # A page goes with the program that reads the format.
    if(name MATCHES "^(container|recipe|site)$")
        install_format(${name} jorvshare)
    else()
        install_format(${name} jorvck)
    endif()
endforeach()

# --- jorvshare ---------------------------------------------------------------------------------
install(TARGETS jorvshare RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT jorvshare)
install(FILES man/jorvshare.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT jorvshare)
install(FILES packaging/completion/jorvshare DESTINATION ${completions} COMPONENT jorvshare)
install(DIRECTORY examples/recipes DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/jorvshare/examples
    COMPONENT jorvshare)
