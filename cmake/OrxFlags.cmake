# Compiler flags shared by every target. Results are defined to the bit, so every
# numerical file is compiled without contraction into FMA and without fast-math;
# the x86-64 baseline (SSE2) is the target, never the build machine's own ISA.
add_compile_options(
  -ffp-contract=off -fno-fast-math -fno-finite-math-only
  -Wall -Wextra
  -fvisibility=hidden
  $<$<COMPILE_LANGUAGE:CXX>:-fvisibility-inlines-hidden>)

if(ORX_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
endif()

# Executables name both libraries; keep them as dependencies even where the
# executable itself calls nothing from one of them.
add_link_options(-Wl,--no-as-needed)

# The kernel library exports only the system's C names (the version script
# hides everything else, C++ template instances included) and leaves the
# host services undefined, to be bound when a host loads it.
function(orx_kernel_library_exports target)
  set(map ${PROJECT_SOURCE_DIR}/cmake/orx_kernels.map)
  target_link_options(${target} PRIVATE -Wl,--version-script=${map})
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${map})
endfunction()

# Kernel code has no exceptions: nothing can throw across the C ABI.
set(ORX_KERNEL_CXX_FLAGS -fno-exceptions -fno-rtti)

# orx_generate_file(<name> <tool> <output> <consumer>): runs `<tool> <output>`
# at build time, as custom target <name>, before <consumer> is compiled
# (tables generated from their rule by a program in tools/). The caller adds
# the include directory.
function(orx_generate_file name tool output consumer)
  get_filename_component(dir ${output} DIRECTORY)
  add_custom_command(OUTPUT ${output}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${dir}
    COMMAND ${tool} ${output}
    DEPENDS ${tool}
    COMMENT "Generating ${output}")
  add_custom_target(${name} DEPENDS ${output})
  add_dependencies(${consumer} ${name})
endfunction()

# orx_kernel_objects(<name> <sources...>): an object library of
# liborx_kernels.so, compiled with the kernel flags, seeing the public headers,
# the source tree and the host-service declarations.
function(orx_kernel_objects name)
  add_library(${name} OBJECT ${ARGN})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/include
                                     PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/serv)
  target_compile_options(${name} PRIVATE ${ORX_KERNEL_CXX_FLAGS})
endfunction()
