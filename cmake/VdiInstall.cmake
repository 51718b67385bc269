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
if(VDI_BUILD_TOOLS)
    install(TARGETS vdi-agent RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Tools)
endif()
