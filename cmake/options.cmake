# SPDX-License-Identifier: Apache-2.0
# What every target shares: where headers are found, warnings, sanitizers. Links nothing.
add_library(ryx_options INTERFACE)
target_compile_features(ryx_options INTERFACE cxx_std_17)
target_compile_options(ryx_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor;-Woverloaded-virtual>)
# Nothing that is built says in which folder that was.
target_compile_options(ryx_options INTERFACE -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
target_include_directories(ryx_options INTERFACE
  ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src
  ${PROJECT_SOURCE_DIR}/tools)

set(RYX_SANITIZE "" CACHE STRING "Value for -fsanitize= in every target, or empty")
if(RYX_SANITIZE)
  # Log chunks may hold misaligned tables and scalars by design, so alignment is not checked.
  target_compile_options(ryx_options INTERFACE
    -fsanitize=${RYX_SANITIZE} -fno-sanitize=alignment -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  target_link_options(ryx_options INTERFACE -fsanitize=${RYX_SANITIZE})
  target_compile_definitions(ryx_options INTERFACE RYX_SANITIZED)
endif()
if(RYX_BUILD_FUZZERS)
  # Of headers, so it concerns whatever includes them; clang's option, as the fuzzers are.
  target_compile_options(ryx_options INTERFACE
    -fsanitize-ignorelist=${PROJECT_SOURCE_DIR}/fuzz/ignored_findings.txt)
endif()

# A library of one folder: ryx_add_library(NAME SOURCE...). What it includes of other folders it
# names with target_link_libraries, which its users inherit.
function(ryx_add_library name)
  add_library(${name} STATIC ${ARGN})
  target_link_libraries(${name} PUBLIC $<BUILD_INTERFACE:ryx_options>)
endfunction()
