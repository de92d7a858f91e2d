# What makes a mistake in the code hard to exploit. It is built into optimized builds of every target, and
# test/package/check_hardening and test/windows/hardening.cmake read it back from the built files.
#
# Sanitizers and coverage (build type None) go without: the sanitizers find the same mistakes and more.
include(CheckCXXCompilerFlag)
include(CheckPIESupported)
check_pie_supported(LANGUAGES C CXX)  # so that POSITION_INDEPENDENT_CODE reaches the linking of programs

set(optimized $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)

if(MSVC)
  # Stack cookies (/GS) are on by default. The linker adds what Windows checks: no execution of data, load addresses
  # that are hard to guess, calls only to functions (control-flow guard), returns only to callers (CET).
  target_compile_options(dravix_compile INTERFACE $<${optimized}:/guard:cf>)
  target_link_options(dravix_compile INTERFACE
    /NXCOMPAT /DYNAMICBASE /HIGHENTROPYVA $<${optimized}:/guard:cf> $<${optimized}:/CETCOMPAT>)
elseif(MINGW)
  # The linker's defaults, written down. This compiler has neither control-flow guard nor a mark for CET, and its C
  # library does not check the sizes of buffers (_FORTIFY_SOURCE).
  target_link_options(dravix_compile INTERFACE LINKER:--nxcompat,--dynamicbase,--high-entropy-va)
  # Stack cookies. Left to itself the compiler would link a DLL for them that hosts do not have.
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libssp.a
                  OUTPUT_VARIABLE ssp OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(EXISTS "${ssp}")
    target_compile_options(dravix_compile INTERFACE $<${optimized}:-fstack-protector-strong>)
    target_link_libraries(dravix_compile INTERFACE $<${optimized}:${ssp}>)
  endif()
else()
  # Stack cookies, large frames that touch every page, sizes of buffers checked in the C library. The last of these needs
  # optimization, which the sources of tests go without.
  set(fortified $<AND:${optimized},$<NOT:$<BOOL:$<TARGET_PROPERTY:DRAVIX_COMPILED_QUICKLY>>>>)
  target_compile_options(dravix_compile INTERFACE
    $<${optimized}:-fstack-protector-strong>
    "$<${fortified}:SHELL:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>")
  check_cxx_compiler_flag(-fstack-clash-protection DRAVIX_HAS_STACK_CLASH_PROTECTION)
  if(DRAVIX_HAS_STACK_CLASH_PROTECTION)
    target_compile_options(dravix_compile INTERFACE $<${optimized}:-fstack-clash-protection>)
  endif()
  # Jumps and returns only to where the program means them to go, on processors that check it.
  check_cxx_compiler_flag(-fcf-protection=full DRAVIX_HAS_CF_PROTECTION)
  if(DRAVIX_HAS_CF_PROTECTION)
    target_compile_options(dravix_compile INTERFACE $<${optimized}:-fcf-protection=full>)
  endif()
  if(NOT APPLE)
    # The tables of foreign functions are filled before the program runs and read-only then; data is not executed.
    target_link_options(dravix_compile INTERFACE LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
  endif()
endif()
