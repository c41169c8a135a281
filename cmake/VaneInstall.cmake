# SPDX-License-Identifier: MIT
# What `cmake --install` puts under the prefix: the kernel with its SONAME,
# the vane tool and the probe helper, the reference plug-ins with their
# configuration files beside the kernel (where the manager looks), the public
# headers under include/vane, a CMake package (Vane::ffvanek) and a
# pkg-config file; and the Debian package made from the same install.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS ffvanek vane_headers EXPORT VaneFormatKernelTargets
        LIBRARY DESTINATION lib RUNTIME DESTINATION bin)
install(TARGETS vane RUNTIME DESTINATION bin)

# Public headers: every header of the exported families and of the plug-in
# base classes, but nothing from a detail/ folder and not the manager's
# internal class.
foreach(dir IN LISTS VANE_PUBLIC_HEADER_DIRS)
  if(EXISTS ${PROJECT_SOURCE_DIR}/${dir})
    install(DIRECTORY ${dir}/ DESTINATION include/vane/${dir}
            FILES_MATCHING PATTERN "*.h"
            PATTERN "detail" EXCLUDE
            PATTERN "manager.h" EXCLUDE)
  endif()
endforeach()

install(EXPORT VaneFormatKernelTargets NAMESPACE Vane:: DESTINATION lib/cmake/VaneFormatKernel)
set(VANE_INSTALL_LIBDIR lib)
configure_package_config_file(cmake/VaneFormatKernelConfig.cmake.in
                              ${CMAKE_BINARY_DIR}/VaneFormatKernelConfig.cmake
                              INSTALL_DESTINATION lib/cmake/VaneFormatKernel PATH_VARS VANE_INSTALL_LIBDIR)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/VaneFormatKernelConfigVersion.cmake
                                 VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/VaneFormatKernelConfig.cmake ${CMAKE_BINARY_DIR}/VaneFormatKernelConfigVersion.cmake
        DESTINATION lib/cmake/VaneFormatKernel)

configure_file(cmake/ffvanek.pc.in ${CMAKE_BINARY_DIR}/ffvanek.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/ffvanek.pc DESTINATION lib/pkgconfig)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vane-format-kernel)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "Vane Format Kernel developers <vane@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Media-format core for audio and video editors and their format plug-ins")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
include(CPack)
