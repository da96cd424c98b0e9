# Compiler settings shared by every target: one interface target, linked by all of them.
add_library(ryx_options INTERFACE)
target_compile_options(ryx_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual)
target_include_directories(ryx_options INTERFACE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)

set(RYX_SANITIZE "" CACHE STRING "Value for -fsanitize= in every target, or empty")
if(RYX_SANITIZE)
  # Log chunks may hold misaligned tables and scalars by design, so alignment is not checked.
  target_compile_options(ryx_options INTERFACE
    -fsanitize=${RYX_SANITIZE} -fno-sanitize=alignment -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  target_link_options(ryx_options INTERFACE -fsanitize=${RYX_SANITIZE})
endif()
