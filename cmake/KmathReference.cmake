# What is made from the public headers: `cmake --build <dir> --target containers_document` renews the
# tables of docs/containers.md, and the target `reference` makes <dir>/reference/html/index.html with
# Doxygen.
set(containers_document ${PROJECT_SOURCE_DIR}/docs/containers.md)
add_custom_target(containers_document
  COMMAND sh ${PROJECT_SOURCE_DIR}/docs/reference/container_tables.sh ${PROJECT_SOURCE_DIR}
          ${CMAKE_C_COMPILER} > container_tables.md
  COMMAND sh ${PROJECT_SOURCE_DIR}/tests/accuracy/insert_tables.sh ${containers_document}
          container_tables.md > containers.md
  COMMAND ${CMAKE_COMMAND} -E copy_if_different containers.md ${containers_document}
  WORKING_DIRECTORY ${PROJECT_BINARY_DIR}
  COMMENT "Renewing docs/containers.md"
  VERBATIM)

find_program(DOXYGEN doxygen)
if(DOXYGEN)
  add_custom_target(reference
    COMMAND sh ${PROJECT_SOURCE_DIR}/docs/reference/make.sh ${PROJECT_SOURCE_DIR} ${CMAKE_C_COMPILER}
            ${DOXYGEN} ${PROJECT_BINARY_DIR}/reference
    COMMENT "Making reference/html/index.html"
    VERBATIM)
  add_dependencies(reference containers_document)
endif()
