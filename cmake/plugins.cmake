# The two reader plug-ins: the same objects, told apart by the factory.
set(RYX_READER_OBJECTS ryx_log ryx_stream ryx_events ryx_reader ryx_reports)

function(ryx_add_plugin name)
  add_library(${name} SHARED ${ARGN})
  target_link_libraries(${name} PRIVATE ${RYX_READER_OBJECTS})
  target_link_options(${name} PRIVATE
    -Wl,--version-script=${PROJECT_SOURCE_DIR}/reader/exports.map)
  set_target_properties(${name} PROPERTIES LINK_DEPENDS ${PROJECT_SOURCE_DIR}/reader/exports.map)
endfunction()

ryx_add_plugin(RyxProfilingReader reader/factory_base.cpp)
ryx_add_plugin(RyxGpuProfilingReader reader/factory_gpu.cpp)
target_link_libraries(RyxGpuProfilingReader PRIVATE ryx_gpu)
