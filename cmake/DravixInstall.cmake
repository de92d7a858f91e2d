# What is installed: the library, the lab where it is built, the public headers, the CMake package and the pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS dravix EXPORT dravixTargets
  RUNTIME COMPONENT runtime LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE COMPONENT development INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
set(headers_left_out PATTERN lab EXCLUDE)
set(DRAVIX_HAS_LAB OFF)
if(TARGET dravix_lab)
  install(TARGETS dravix_lab EXPORT dravixTargets ARCHIVE COMPONENT development
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  set(headers_left_out "")
  set(DRAVIX_HAS_LAB ON)
endif()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/dravix DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT development FILES_MATCHING PATTERN "*.h" ${headers_left_out})

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/dravix)
install(EXPORT dravixTargets NAMESPACE dravix:: DESTINATION ${package_dir} COMPONENT development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/dravixConfig.cmake.in
  ${PROJECT_BINARY_DIR}/dravixConfig.cmake INSTALL_DESTINATION ${package_dir})
# Until 1.0 a new minor version may change the interface.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/dravixConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/dravixConfig.cmake ${PROJECT_BINARY_DIR}/dravixConfigVersion.cmake
  ${PROJECT_SOURCE_DIR}/cmake/DravixOpenCV.cmake DESTINATION ${package_dir} COMPONENT development)

# The pkg-config file finds the other folders from its own one, so that `cmake --install --prefix` may put the package
# anywhere. From an absolute library folder no fixed way leads to the prefix, so there the configured prefix stays.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(DRAVIX_PC_PREFIX ${CMAKE_INSTALL_PREFIX})
  set(DRAVIX_PC_LIBDIR ${CMAKE_INSTALL_LIBDIR})
else()
  file(RELATIVE_PATH way_up /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
  string(REGEX REPLACE "/$" "" way_up "${way_up}")
  set(DRAVIX_PC_PREFIX "\${pcfiledir}/${way_up}")
  set(DRAVIX_PC_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
endif()
if(IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
  set(DRAVIX_PC_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR})
else()
  set(DRAVIX_PC_INCLUDEDIR "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
# OpenCV's headers are given by their path because Debian's OpenCV may come without a pkg-config file of its own. The
# Windows archive brings its own OpenCV, whose libraries have its version in their names.
set(DRAVIX_PC_OPENCV_CORE opencv_core)
set(DRAVIX_PC_OPENCV_IMGPROC opencv_imgproc)
set(DRAVIX_PC_OPENCV_IMGCODECS opencv_imgcodecs)
if(DRAVIX_WINDOWS_DEPS)
  set(DRAVIX_PC_OPENCV_CFLAGS "-I\${includedir}/opencv4")
  file(GLOB opencv_core_library ${DRAVIX_WINDOWS_DEPS}/lib/libopencv_core*.dll.a)
  if(opencv_core_library)
    string(REGEX REPLACE "^.*/lib(opencv_core[0-9]*)\\.dll\\.a$" "\\1" DRAVIX_PC_OPENCV_CORE "${opencv_core_library}")
    string(REPLACE core imgproc DRAVIX_PC_OPENCV_IMGPROC ${DRAVIX_PC_OPENCV_CORE})
    string(REPLACE core imgcodecs DRAVIX_PC_OPENCV_IMGCODECS ${DRAVIX_PC_OPENCV_CORE})
  endif()
else()
  get_target_property(opencv_include_dirs opencv_core INTERFACE_INCLUDE_DIRECTORIES)
  list(TRANSFORM opencv_include_dirs PREPEND "-I")
  list(JOIN opencv_include_dirs " " DRAVIX_PC_OPENCV_CFLAGS)
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/dravix.pc.in ${PROJECT_BINARY_DIR}/dravix.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/dravix.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)
if(TARGET dravix_lab)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/dravix_lab.pc.in ${PROJECT_BINARY_DIR}/dravix_lab.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/dravix_lab.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT development)
endif()

# The tool is installed together with the library, so building the tool alone must make all that is installed.
if(TARGET dravix_tool)
  add_dependencies(dravix_tool dravix)
endif()

if(WIN32)
  include(DravixWindows)
  dravix_install_windows_runtime()
  dravix_pack_windows()
endif()
