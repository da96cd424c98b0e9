# SPDX-License-Identifier: Apache-2.0
# Builds the page's template and makes a C++ source of it: run by the build, as
#   cmake -DNODE=... -DNPM=... -DSOURCE=page -DWORK=folder -DOUTPUT=page_template.cpp -DSTAMP=file
#         -P build_page.cmake
#
# Without node, or where npm cannot fetch what the page is built with, the source says so in place of
# the template: everything else works without it. The stamp is made only with a template, so that the
# next build tries again.
cmake_minimum_required(VERSION 3.25)

# Writes OUTPUT from the bytes of a file (or of none) and the reason why there is none.
function(write_source file reason)
  set(bytes "0")
  set(size 0)
  if(file)
    file(READ ${file} bytes HEX)
    string(LENGTH "${bytes}" size)
    math(EXPR size "${size} / 2")
    string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${bytes}")
    string(REGEX REPLACE "(0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,)"
           "\\1\n" bytes "${bytes}")
  endif()
  set(source "// Made by the build from page/.
#include \"exports/html/page_template.h\"

namespace ryx::profiling {
namespace {

const unsigned char kBytes[] = {
${bytes}
};

}  // namespace

std::string_view pageTemplate() {
  return std::string_view(reinterpret_cast<const char*>(kBytes), ${size});
}

std::string_view whyNoPageTemplate() { return \"${reason}\"; }

}  // namespace ryx::profiling
")
  set(before "")
  if(EXISTS ${OUTPUT})
    file(READ ${OUTPUT} before)
  endif()
  if(NOT before STREQUAL source)
    file(WRITE ${OUTPUT} "${source}")
  endif()
endfunction()

macro(do_without reason)
  message(WARNING "the HTML report is left out: ${reason}")
  write_source("" "${reason}")
  return()
endmacro()

if(NOT NODE OR NOT NPM)
  do_without("node and npm were not there when this was built")
endif()
execute_process(COMMAND ${NODE} --version OUTPUT_VARIABLE version OUTPUT_STRIP_TRAILING_WHITESPACE)
string(REGEX REPLACE "^v" "" version "${version}")
if(version VERSION_LESS 18)
  do_without("node ${version} was there when this was built, and 18 or later is needed")
endif()

# The build happens in a copy: the source tree stays as it is, and every build folder has its own.
file(MAKE_DIRECTORY ${WORK})
file(COPY ${SOURCE}/package.json ${SOURCE}/package-lock.json ${SOURCE}/build.mjs ${SOURCE}/src
     DESTINATION ${WORK})
file(SHA256 ${SOURCE}/package-lock.json lock)
set(installed ${WORK}/installed-${lock})
if(NOT EXISTS ${installed})
  execute_process(COMMAND ${NPM} ci --omit=dev --ignore-scripts --no-audit --no-fund --prefer-offline
                  WORKING_DIRECTORY ${WORK} RESULT_VARIABLE failed OUTPUT_QUIET ERROR_VARIABLE why)
  if(failed)
    message(STATUS "${why}")
    do_without("npm could not fetch what it is built with when this was built")
  endif()
  file(TOUCH ${installed})
endif()
execute_process(COMMAND ${NODE} build.mjs WORKING_DIRECTORY ${WORK} COMMAND_ERROR_IS_FATAL ANY)
write_source(${WORK}/build/template.html "")
file(TOUCH ${STAMP})
