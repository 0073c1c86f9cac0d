# The reference of the public headers: `cmake --build <dir> --target reference` makes
# <dir>/reference/html/index.html with Doxygen.
find_program(DOXYGEN doxygen)
if(DOXYGEN)
  add_custom_target(reference
    COMMAND sh ${PROJECT_SOURCE_DIR}/docs/reference/make.sh ${PROJECT_SOURCE_DIR} ${CMAKE_C_COMPILER}
            ${DOXYGEN} ${PROJECT_BINARY_DIR}/reference
    COMMENT "Making reference/html/index.html"
    VERBATIM)
endif()
