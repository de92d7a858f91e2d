# What only the Windows build of the shared library needs.

# dravix_windows_dll(<target>): gives the DLL a version resource and, with every compiler, the name dravix.dll.
function(dravix_windows_dll target)
  enable_language(RC)
  configure_file(${PROJECT_SOURCE_DIR}/src/dravix.rc.in ${PROJECT_BINARY_DIR}/dravix.rc @ONLY)
  target_sources(${target} PRIVATE ${PROJECT_BINARY_DIR}/dravix.rc)
  set_target_properties(${target} PROPERTIES PREFIX "" SOVERSION "" VERSION "")
endfunction()

# dravix_install_windows_runtime(): installs the DLLs that dravix.dll needs, and the OpenCV that hosts compile with.
#
# This is done only for builds with the libraries of scripts/windows-deps. With vcpkg, hosts use vcpkg's folders.
function(dravix_install_windows_runtime)
  if(NOT DRAVIX_WINDOWS_DEPS)
    return()
  endif()
  file(GLOB libraries ${DRAVIX_WINDOWS_DEPS}/bin/*.dll)
  install(FILES ${libraries} DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
  install(DIRECTORY ${DRAVIX_WINDOWS_DEPS}/share/licenses/ DESTINATION share/licenses COMPONENT runtime)
  # cv::Mat appears in the C++ classes, so a host that uses them has to be compiled with the same OpenCV.
  install(DIRECTORY ${DRAVIX_WINDOWS_DEPS}/include/opencv4 DESTINATION include COMPONENT development)
  install(DIRECTORY ${DRAVIX_WINDOWS_DEPS}/lib/cmake/opencv4 DESTINATION lib/cmake COMPONENT development)
  file(GLOB libraries ${DRAVIX_WINDOWS_DEPS}/lib/libopencv_*.dll.a)
  install(FILES ${libraries} DESTINATION lib COMPONENT development)
endfunction()

# dravix_pack_windows(): lets `cpack` make one ZIP archive of all that is installed.
function(dravix_pack_windows)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_NAME dravix)
  set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
  set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
  set(CPACK_PACKAGE_FILE_NAME dravix-${PROJECT_VERSION}-windows-x86_64)
  set(CPACK_RESOURCE_FILE_README ${PROJECT_SOURCE_DIR}/docs/windows.md)
  set(CPACK_ARCHIVE_COMPONENT_INSTALL OFF)
  set(CPACK_VERBATIM_VARIABLES ON)
  include(CPack)
endfunction()
