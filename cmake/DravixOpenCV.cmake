# Finds OpenCV's core, imgproc and imgcodecs as the targets opencv_core, opencv_imgproc and opencv_imgcodecs.
#
# Where OpenCV's own CMake package is installed, it is used. Debian ships that package only together with the whole of
# OpenCV, so otherwise the three libraries are found by their headers and names.
set(DRAVIX_OPENCV_MINIMUM 4.3)

find_package(OpenCV ${DRAVIX_OPENCV_MINIMUM} CONFIG QUIET COMPONENTS core imgproc imgcodecs)

if(NOT OpenCV_FOUND AND NOT TARGET opencv_core)
  find_path(DRAVIX_OPENCV_INCLUDE_DIR opencv2/core/version.hpp PATH_SUFFIXES opencv4)
  mark_as_advanced(DRAVIX_OPENCV_INCLUDE_DIR)
  if(NOT DRAVIX_OPENCV_INCLUDE_DIR)
    message(FATAL_ERROR "OpenCV ${DRAVIX_OPENCV_MINIMUM} or newer was not found: neither OpenCVConfig.cmake "
                        "nor opencv2/core/version.hpp (Debian: scripts/install-deps)")
  endif()
  set(OpenCV_VERSION "")
  foreach(part MAJOR MINOR REVISION)
    file(STRINGS ${DRAVIX_OPENCV_INCLUDE_DIR}/opencv2/core/version.hpp line
         REGEX "^#define CV_VERSION_${part} +[0-9]+")
    string(REGEX REPLACE "[^0-9]" "" number "${line}")
    list(APPEND OpenCV_VERSION ${number})
  endforeach()
  list(JOIN OpenCV_VERSION "." OpenCV_VERSION)
  if(OpenCV_VERSION VERSION_LESS DRAVIX_OPENCV_MINIMUM OR OpenCV_VERSION VERSION_GREATER_EQUAL 5)
    message(FATAL_ERROR "OpenCV ${OpenCV_VERSION} was found, ${DRAVIX_OPENCV_MINIMUM} or newer within 4.x is needed")
  endif()
  foreach(module core imgproc imgcodecs)
    find_library(DRAVIX_OPENCV_${module}_LIBRARY opencv_${module} REQUIRED)
    mark_as_advanced(DRAVIX_OPENCV_${module}_LIBRARY)
    add_library(opencv_${module} UNKNOWN IMPORTED)
    set_target_properties(opencv_${module} PROPERTIES
      IMPORTED_LOCATION ${DRAVIX_OPENCV_${module}_LIBRARY}
      INTERFACE_INCLUDE_DIRECTORIES ${DRAVIX_OPENCV_INCLUDE_DIR})
  endforeach()
  set_property(TARGET opencv_imgproc PROPERTY INTERFACE_LINK_LIBRARIES opencv_core)
  set_property(TARGET opencv_imgcodecs PROPERTY INTERFACE_LINK_LIBRARIES opencv_imgproc)
  set(OpenCV_INCLUDE_DIRS ${DRAVIX_OPENCV_INCLUDE_DIR})
endif()
