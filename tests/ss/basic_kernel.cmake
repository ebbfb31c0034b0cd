# The kernel test includes the kernel templates and their generated catalogue.
target_include_directories(ss_basic_kernel_test PRIVATE ${CMAKE_BINARY_DIR}/vsl/generated_ss)
