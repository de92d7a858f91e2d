# This file sets how every target of the project is compiled. Consumers inherit none of it.
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  find_program(DRAVIX_CCACHE ccache)
  if(DRAVIX_CCACHE)
    if(DRAVIX_PCH)
      # Without these two, ccache would not store what is compiled with precompiled headers.
      set(DRAVIX_CCACHE ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros ${DRAVIX_CCACHE})
    endif()
    set(CMAKE_C_COMPILER_LAUNCHER ${DRAVIX_CCACHE})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${DRAVIX_CCACHE})
  endif()
endif()

add_library(dravix_compile INTERFACE)
target_compile_features(dravix_compile INTERFACE cxx_std_20)
set_target_properties(dravix_compile PROPERTIES EXPORT_NAME compile)

if(MSVC)
  # With /fp:precise the compiler neither contracts nor reorders operations, so luminances keep their bits.
  target_compile_options(dravix_compile INTERFACE /W4 /utf-8 /fp:precise /permissive-)
  if(DRAVIX_WERROR)
    target_compile_options(dravix_compile INTERFACE /WX)
  endif()
else()
  # Contraction is off because a fused multiply-add would change the last bit of a luminance.
  target_compile_options(dravix_compile INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wformat=2 -Wundef
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast>
    -ffp-contract=off)
  if(DRAVIX_WERROR)
    target_compile_options(dravix_compile INTERFACE -Werror)
  endif()
endif()

include(DravixHardening)

# dravix_setup(<target>) gives a target the warnings, the language level and the hidden symbols that all targets share.
function(dravix_setup target)
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:dravix_compile>)
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF C_STANDARD 99 C_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden C_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON)
endfunction()

# dravix_precompile(<target> <argument>...) calls target_precompile_headers with DRAVIX_PCH and does nothing without.
#
# Only headers of other projects are precompiled, and only where that is faster: the headers of CLI11 and nlohmann-json
# consist of templates, and the time goes into their instances. A source file that forgets an include compiles all the
# same; the other builds and clang-tidy find it. With GCC 12 the option saves time, too, but warnings about the standard
# library's own code, which are hidden in system headers, come out of a precompiled one.
function(dravix_precompile target)
  if(NOT DRAVIX_PCH)
    return()
  endif()
  target_precompile_headers(${target} ${ARGN})
  # ccache asks for these: it compares the precompiled file's contents, which must not hold the time of day.
  target_compile_options(${target} PRIVATE
    $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-fpch-preprocess>
    "$<$<COMPILE_LANG_AND_ID:CXX,Clang>:SHELL:-Xclang -fno-pch-timestamp>")
endfunction()

# dravix_unity(<target>) compiles a target's sources in batches, which saves most of the time that the headers of the
# JSON library, the argument parser and GoogleTest take in every file. DRAVIX_UNITY turns it off, for example where one
# file is edited again and again. Names in unnamed namespaces must differ among the files of a target.
function(dravix_unity target)
  set_target_properties(${target} PROPERTIES UNITY_BUILD ${DRAVIX_UNITY} UNITY_BUILD_BATCH_SIZE 8)
endfunction()

# dravix_compile_quickly(<target>) compiles a target's own sources without optimization, which takes half the time. It is
# for tests, whose time goes into the code that they call.
function(dravix_compile_quickly target)
  if(NOT MSVC)
    set_target_properties(${target} PROPERTIES DRAVIX_COMPILED_QUICKLY ON)
    target_compile_options(${target} PRIVATE -O0)
  endif()
endfunction()
