# Packs what BUILD installs, unpacks it in a clean folder and uses it from there: the test programs TESTS run with the
# unpacked DLL and tool, and hosts are compiled against the unpacked package alone.
set(work "${BUILD}/archive-test")
file(REMOVE_RECURSE ${work})
file(MAKE_DIRECTORY ${work}/packed ${work}/unpacked)

# The preset is what docs/windows.md tells people to use. A build in another folder has no preset.
if(BUILD STREQUAL "${SOURCE}/build/windows")
  set(build_to_pack --preset windows)
else()
  set(build_to_pack -G ZIP --config ${BUILD}/CPackConfig.cmake)
endif()
execute_process(COMMAND ${CPACK} ${build_to_pack} -B ${work}/packed WORKING_DIRECTORY ${SOURCE}
                OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
file(GLOB archive ${work}/packed/*.zip)
list(LENGTH archive count)
if(NOT count EQUAL 1)
  message(FATAL_ERROR "one archive was expected: ${archive}")
endif()
file(ARCHIVE_EXTRACT INPUT ${archive} DESTINATION ${work}/unpacked)
file(GLOB package ${work}/unpacked/*)
if(NOT EXISTS ${package}/bin/dravix.dll)
  message(FATAL_ERROR "there is no bin/dravix.dll in ${archive}")
endif()

# From here on only the DLLs of the archive and those of Windows itself can be found.
set(ENV{DRAVIX_WINDOWS_DLLS} "")
execute_process(COMMAND ${EMULATOR} ${package}/bin/dravix.exe --version
                OUTPUT_VARIABLE version COMMAND_ERROR_IS_FATAL ANY)
message("dravix.exe --version: ${version}")

# Each test program is copied beside the archive's DLLs, because Windows looks for DLLs there first.
execute_process(COMMAND ${CMAKE_COMMAND} -DOBJDUMP=${OBJDUMP} -DLIST=${EXPORTS} -DDLL=${package}/bin/dravix.dll
                        -P ${CMAKE_CURRENT_LIST_DIR}/exports.cmake COMMAND_ERROR_IS_FATAL ANY)
set(ENV{DRAVIX_TOOL} ${package}/bin/dravix.exe)
foreach(test IN LISTS TESTS)
  file(COPY ${test} DESTINATION ${package}/bin)
  get_filename_component(name ${test} NAME)
  execute_process(COMMAND ${EMULATOR} ${package}/bin/${name} WORKING_DIRECTORY ${work}
                  OUTPUT_VARIABLE output ERROR_VARIABLE output RESULT_VARIABLE failed)
  file(REMOVE ${package}/bin/${name})
  if(failed)
    message(FATAL_ERROR "${name} fails with what the archive holds:\n${output}")
  endif()
  string(REGEX MATCH "\\[  PASSED  \\] ([0-9]+) tests" passed "${output}")
  message("${name} with what the archive holds: ${CMAKE_MATCH_1} passed")
endforeach()

# The pkg-config file must name what the archive holds, not what the building machine had.
file(READ ${package}/lib/pkgconfig/dravix.pc pkg_config)
if(pkg_config MATCHES "-[IL]/" OR NOT pkg_config MATCHES "-l(opencv_core[0-9]*)[ \n]")
  message(FATAL_ERROR "dravix.pc names folders of the building machine, or no OpenCV:\n${pkg_config}")
endif()
if(NOT EXISTS ${package}/lib/lib${CMAKE_MATCH_1}.dll.a OR NOT EXISTS ${package}/include/opencv4/opencv2/core.hpp)
  message(FATAL_ERROR "dravix.pc names an OpenCV that the archive does not hold:\n${pkg_config}")
endif()

execute_process(COMMAND ${CMAKE_COMMAND} -G Ninja -S ${SOURCE}/examples/windows -B ${work}/hosts
                        -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN} -DDRAVIX_WINDOWS_DEPS=${package}
                        -DCMAKE_PREFIX_PATH=${package} -DCMAKE_BUILD_TYPE=Release
                OUTPUT_VARIABLE output ERROR_VARIABLE output RESULT_VARIABLE failed)
if(NOT failed)
  execute_process(COMMAND ${CMAKE_COMMAND} --build ${work}/hosts
                  OUTPUT_VARIABLE output ERROR_VARIABLE output RESULT_VARIABLE failed)
endif()
if(failed)
  message(FATAL_ERROR "the hosts cannot be built with the unpacked package:\n${output}")
endif()

# The hosts are put beside the DLLs, as a shipped program would be.
file(COPY ${work}/hosts/import_host.exe ${work}/hosts/loadlibrary_host.exe DESTINATION ${package}/bin)
set(WORK ${work}/run)
set(HOSTS ${package}/bin)
set(DLL ${package}/bin/dravix.dll)
include(${HOSTS_SCRIPT})
