# Makes one C++ source of the parts of the report's page. Run as
#   cmake -D PAGE_DIR=... -D UPLOT_DIR=... -D OUTPUT=... -D SCRIPTS=a.js,b.js -P assemble_page.cmake
#
# page.html has a line `@PART@` for each part. The lines @TITLE@, @ANALYSIS@ and @DATA@ stay: they are filled in when a
# report is written.
file(READ ${PAGE_DIR}/page.html page)
file(READ ${PAGE_DIR}/style.css style)
file(READ ${UPLOT_DIR}/dist/uPlot.min.css uplot_style)
file(READ ${UPLOT_DIR}/dist/uPlot.iife.min.js uplot_script)
file(READ ${UPLOT_DIR}/LICENSE uplot_license)

string(REPLACE "," ";" scripts "${SCRIPTS}")
set(script "")
foreach(name IN LISTS scripts)
  file(READ ${PAGE_DIR}/${name} part)
  string(APPEND script "${part}\n")
endforeach()

foreach(part style uplot_style uplot_script uplot_license script)
  string(TOUPPER ${part} mark)
  if("${${part}}" MATCHES "</[sS][cC][rR][iI][pP][tT]|<!--")
    message(FATAL_ERROR "${part} holds a text that would end or confuse the element around it")
  endif()
  string(REPLACE "@${mark}@" "${${part}}" page "${page}")
endforeach()

# As numbers rather than as a string literal, because compilers limit the length of those.
string(RANDOM LENGTH 12 suffix)
file(WRITE ${OUTPUT}.${suffix} "${page}")
file(READ ${OUTPUT}.${suffix} bytes HEX)
file(REMOVE ${OUTPUT}.${suffix})
string(LENGTH "${bytes}" length)
math(EXPR length "${length} / 2")
string(REGEX REPLACE "(................................)" "\\1\n" bytes "${bytes}")
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${bytes}")
file(WRITE ${OUTPUT} "// Made by assemble_page.cmake from lab/report/page/; do not edit.
#include \"lab/report/page_template.h\"

namespace dravix::lab {
namespace {

constexpr unsigned char kBytes[] = {
${bytes}};

}  // namespace

std::string_view PageTemplate() {
  return {reinterpret_cast<const char*>(kBytes), ${length}};
}

}  // namespace dravix::lab
")
