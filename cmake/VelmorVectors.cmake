# Vector code is written with Highway: each source that holds some is compiled once for each instruction set, and the
# best one is chosen when it is called.
find_package(hwy REQUIRED)
add_library(velmor_vectors INTERFACE)
target_link_libraries(velmor_vectors INTERFACE hwy::hwy)
# They are near to SSE4 and to AVX3, and each set costs the time of a compilation.
target_compile_definitions(velmor_vectors INTERFACE "HWY_DISABLED_TARGETS=(HWY_SSSE3|HWY_AVX3_DL)")
