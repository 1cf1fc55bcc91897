# Installation of TalSDK::Machines as a package: the CMake export and package config (for
# find_package(TalSDKMachines CONFIG)), its version file, and a pkg-config file. The library
# itself and its headers are installed by src/ and sdk/.

include(CMakePackageConfigHelpers)

set(TALSDK_PACKAGE_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/TalSDKMachines)

# Only TalSDK::Machines is exported. TalSDK_SDK is linked privately (and whole) into the
# shared library, so it appears neither in the export set nor in the link
# interface of the imported target: consumers link against the shared library alone.
install(EXPORT TalSDKMachinesTargets
        NAMESPACE TalSDK::
        FILE TalSDKMachinesTargets.cmake
        DESTINATION ${TALSDK_PACKAGE_CMAKE_DIR})

configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/TalSDKMachinesConfig.cmake.in
  ${PROJECT_BINARY_DIR}/package/TalSDKMachinesConfig.cmake
  INSTALL_DESTINATION ${TALSDK_PACKAGE_CMAKE_DIR})

# The SONAME carries major.minor (libTalSDK.Machines.so.0.1): the ABI is only kept within a
# minor version, so a request for 0.1 must not be satisfied by 0.2 even though the major
# version matches.
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/package/TalSDKMachinesConfigVersion.cmake
  VERSION ${PROJECT_VERSION}
  COMPATIBILITY SameMinorVersion)

install(FILES ${PROJECT_BINARY_DIR}/package/TalSDKMachinesConfig.cmake
              ${PROJECT_BINARY_DIR}/package/TalSDKMachinesConfigVersion.cmake
        DESTINATION ${TALSDK_PACKAGE_CMAKE_DIR})

# pkg-config wants absolute paths, and the prefix is only known when installing
# (`cmake --install --prefix` overrides CMAKE_INSTALL_PREFIX), so the file is written then.
foreach(dir IN ITEMS LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${dir}}")
    set(TALSDK_PC_${dir} "${CMAKE_INSTALL_${dir}}")
  else()
    set(TALSDK_PC_${dir} "\${prefix}/${CMAKE_INSTALL_${dir}}")
  endif()
endforeach()
install(CODE "
  set(TALSDK_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
  set(TALSDK_PC_LIBDIR [[${TALSDK_PC_LIBDIR}]])
  set(TALSDK_PC_INCLUDEDIR [[${TALSDK_PC_INCLUDEDIR}]])
  set(TALSDK_PC_VERSION [[${PROJECT_VERSION}]])
  configure_file([[${CMAKE_CURRENT_LIST_DIR}/TalSDKMachines.pc.in]]
                 [[${PROJECT_BINARY_DIR}/package/TalSDKMachines.pc]] @ONLY)
")
install(FILES ${PROJECT_BINARY_DIR}/package/TalSDKMachines.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
