# kmath_kernel_object(<table> [compile options…])
#
# Compiles kernels/instance.cpp for one instruction set into the object library <table>, whose only
# symbol is the table of that name. The loops are vectorised by hand; the compiler's own vectoriser
# is off because GCC 12 fuses multiplications and additions in it even under -ffp-contract=off.
function(kmath_kernel_object table)
  add_library(${table} OBJECT kernels/instance.cpp)
  target_compile_definitions(${table} PRIVATE KMATH_INSTANCE=${table})
  target_compile_options(${table} PRIVATE ${ARGN} -fno-tree-vectorize -fno-tree-slp-vectorize)
  target_include_directories(${table} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${table} PRIVATE kmath_build_options)
  set_target_properties(${table} PROPERTIES POSITION_INDEPENDENT_CODE ON)
  set_property(GLOBAL APPEND PROPERTY KMATH_KERNEL_OBJECTS $<TARGET_OBJECTS:${table}>)
endfunction()
