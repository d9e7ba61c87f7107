# Debian's libopencv-core-dev ships no CMake config: find the core header and library ourselves.
find_path(OpenCVCore_INCLUDE_DIR opencv2/core.hpp PATH_SUFFIXES opencv4)
find_library(OpenCVCore_LIBRARY opencv_core)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(OpenCVCore REQUIRED_VARS OpenCVCore_LIBRARY OpenCVCore_INCLUDE_DIR)

if(OpenCVCore_FOUND AND NOT TARGET OpenCV::core)
  add_library(OpenCV::core UNKNOWN IMPORTED)
  set_target_properties(OpenCV::core PROPERTIES
    IMPORTED_LOCATION "${OpenCVCore_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${OpenCVCore_INCLUDE_DIR}")
endif()
mark_as_advanced(OpenCVCore_INCLUDE_DIR OpenCVCore_LIBRARY)
