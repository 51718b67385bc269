include(CMakePackageConfigHelpers)

install(TARGETS VDIFrameworkCommon tavixhuddleslogger
    EXPORT VDIFrameworkCommonTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Development)
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT Development FILES_MATCHING PATTERN "*.h")
install(EXPORT VDIFrameworkCommonTargets
    NAMESPACE VDIFrameworkCommon::
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VDIFrameworkCommon COMPONENT Development)

configure_package_config_file(cmake/VDIFrameworkCommonConfig.cmake.in
    ${PROJECT_BINARY_DIR}/VDIFrameworkCommonConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VDIFrameworkCommon)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VDIFrameworkCommonConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/VDIFrameworkCommonConfig.cmake
    ${PROJECT_BINARY_DIR}/VDIFrameworkCommonConfigVersion.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VDIFrameworkCommon COMPONENT Development)

# Relative, so that the tree may be moved after it was installed.
file(RELATIVE_PATH VDI_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" VDI_PC_TO_PREFIX "${VDI_PC_TO_PREFIX}")
foreach(library VDIFrameworkCommon tavixhuddleslogger)
    configure_file(cmake/${library}.pc.in ${PROJECT_BINARY_DIR}/${library}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${library}.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Development)
endforeach()
