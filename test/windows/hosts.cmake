# Runs the two hosts in the folder HOSTS with DLL, in the empty folder WORK. EMULATOR starts them where this system
# cannot.
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})

# run(<output pattern> <program> <argument>...): the program must succeed and its output must match the pattern.
function(run pattern)
  execute_process(COMMAND ${EMULATOR} ${ARGN} WORKING_DIRECTORY ${WORK}
                  OUTPUT_VARIABLE output ERROR_VARIABLE errors RESULT_VARIABLE result)
  if(NOT result EQUAL 0 OR NOT output MATCHES "${pattern}")
    list(JOIN ARGN " " command)
    message(FATAL_ERROR "${command}: ${result}\n${output}${errors}")
  endif()
  string(STRIP "${output}" output)
  message("${output}")
endfunction()

# expect_start(<file> <hexadecimal digits>): the file must begin with these bytes.
function(expect_start name digits)
  string(LENGTH ${digits} length)
  math(EXPR length "${length} / 2")
  file(READ ${WORK}/${name} start LIMIT ${length} HEX)
  if(NOT start STREQUAL digits)
    message(FATAL_ERROR "${name} begins with ${start}, not with ${digits}")
  endif()
endfunction()

run("48 x 32 LEDs measured" ${HOSTS}/import_host.exe .)
expect_start("Größe 屏幕.lum" 4c01000000)
expect_start("Größe 屏幕.png" 89504e47)

# Under Wine the whole file system is drive Z.
if(EMULATOR)
  set(DLL Z:${DLL})
endif()
run("48 x 32 LEDs, mean (29|30)[0-9][0-9]" ${HOSTS}/loadlibrary_host.exe ${DLL} "Größe 屏幕.lum" "kleines 屏幕.png")
expect_start("kleines 屏幕.png" 89504e47)
