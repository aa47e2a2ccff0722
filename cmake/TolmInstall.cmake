# Installs the shared library, its public headers, the CMake package and the pkg-config file.

include(CMakePackageConfigHelpers)

set(tolmPackageDir "${CMAKE_INSTALL_LIBDIR}/cmake/TolmRepository")
set(tolmIncludeDir "${CMAKE_INSTALL_INCLUDEDIR}/TolmRepository")

install(TARGETS tolmRepository EXPORT TolmRepositoryTargets)
foreach(floor IN ITEMS platform repository)
  install(
    DIRECTORY "${PROJECT_SOURCE_DIR}/${floor}"
    DESTINATION "${tolmIncludeDir}"
    FILES_MATCHING
    PATTERN "*.h"
    PATTERN "*_p.h" EXCLUDE)
endforeach()

install(
  EXPORT TolmRepositoryTargets
  NAMESPACE Tolm::
  DESTINATION "${tolmPackageDir}")
configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/TolmRepositoryConfig.cmake.in"
                              "${PROJECT_BINARY_DIR}/TolmRepositoryConfig.cmake"
                              INSTALL_DESTINATION "${tolmPackageDir}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/TolmRepositoryConfigVersion.cmake"
                                 COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/TolmRepositoryConfig.cmake"
              "${PROJECT_BINARY_DIR}/TolmRepositoryConfigVersion.cmake" DESTINATION "${tolmPackageDir}")

# The file finds its prefix from where it lies, so that an installation may be moved; one whose folders are given as
# absolute paths stays where it is.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(pkgConfigPrefix "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH pkgConfigPrefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" /)
  string(REGEX REPLACE "/$" "" pkgConfigPrefix "${pkgConfigPrefix}")
  set(pkgConfigPrefix "\${pcfiledir}/${pkgConfigPrefix}")
endif()
foreach(dir IN ITEMS LIBDIR INCLUDEDIR)
  set(pkgConfig${dir} "\${prefix}")
  cmake_path(APPEND pkgConfig${dir} "${CMAKE_INSTALL_${dir}}")
endforeach()
configure_file("${CMAKE_CURRENT_LIST_DIR}/TolmRepository.pc.in" "${PROJECT_BINARY_DIR}/TolmRepository.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/TolmRepository.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
