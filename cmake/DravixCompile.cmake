# How every target of this project is compiled. Consumers inherit none of it.
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  find_program(DRAVIX_CCACHE ccache)
  if(DRAVIX_CCACHE)
    set(CMAKE_C_COMPILER_LAUNCHER ${DRAVIX_CCACHE})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${DRAVIX_CCACHE})
  endif()
endif()

add_library(dravix_compile INTERFACE)
target_compile_features(dravix_compile INTERFACE cxx_std_20)
set_target_properties(dravix_compile PROPERTIES EXPORT_NAME compile)

if(MSVC)
  # /fp:precise: luminances must not depend on contraction or reordering.
  target_compile_options(dravix_compile INTERFACE /W4 /utf-8 /fp:precise /permissive-)
  if(DRAVIX_WERROR)
    target_compile_options(dravix_compile INTERFACE /WX)
  endif()
else()
  # No contraction: a fused multiply-add would change the last bit of a luminance.
  target_compile_options(dravix_compile INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wformat=2 -Wundef
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast>
    -ffp-contract=off)
  if(DRAVIX_WERROR)
    target_compile_options(dravix_compile INTERFACE -Werror)
  endif()
endif()

# dravix_setup(<target>): warnings, language level and hidden symbols, the same for every target.
function(dravix_setup target)
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:dravix_compile>)
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF C_STANDARD 99 C_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden C_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON)
endfunction()
