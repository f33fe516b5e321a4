# Run by cpack over the tree of each package: Debian keeps its manual pages compressed.
file(GLOB_RECURSE manuals ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*.[1-9])
list(FILTER manuals INCLUDE REGEX "/man/man[1-9]/")
foreach(manual IN LISTS manuals)
    execute_process(COMMAND gzip -9nf ${manual} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
