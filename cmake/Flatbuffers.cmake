# jorv_flatbuffers(TARGET SCHEMA...): generates <schema>_generated.h for each schema below the
# current folder and lets TARGET include it by its path from the project's root.

find_program(FLATC_PROGRAM flatc REQUIRED)

function(jorv_flatbuffers target)
    foreach(schema IN LISTS ARGN)
        cmake_path(RELATIVE_PATH schema BASE_DIRECTORY ${PROJECT_SOURCE_DIR})
        cmake_path(GET schema PARENT_PATH folder)
        cmake_path(GET schema STEM stem)
        set(output ${PROJECT_BINARY_DIR}/generated/${folder}/${stem}_generated.h)
        add_custom_command(
            OUTPUT ${output}
            COMMAND ${FLATC_PROGRAM} --cpp --scoped-enums
                    -I ${PROJECT_SOURCE_DIR} --keep-prefix
                    -o ${PROJECT_BINARY_DIR}/generated/${folder} ${PROJECT_SOURCE_DIR}/${schema}
            DEPENDS ${PROJECT_SOURCE_DIR}/${schema}
            COMMENT "Generating ${folder}/${stem}_generated.h"
            VERBATIM)
        list(APPEND outputs ${output})
    endforeach()
    target_sources(${target} PRIVATE ${outputs})
    add_custom_target(${target}_generated DEPENDS ${outputs})
    add_dependencies(generated_sources ${target}_generated)
    target_include_directories(${target} SYSTEM PUBLIC ${PROJECT_BINARY_DIR}/generated)
endfunction()

# For tools that parse the sources without building them.
add_custom_target(generated_sources)
