# SPDX-License-Identifier: Apache-2.0

# install, find_package(corvane) and pkg-config corvane

set(CORVANE_INSTALL_HEADERS "${CMAKE_INSTALL_INCLUDEDIR}/libcorvane")
set(CORVANE_INSTALL_CMAKE "${CMAKE_INSTALL_LIBDIR}/cmake/corvane")

# The components are the packages: what runs, what is compiled against, the tool.
install(TARGETS corvane EXPORT corvaneTargets
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT runtime NAMELINK_COMPONENT development
    FILE_SET HEADERS DESTINATION "${CORVANE_INSTALL_HEADERS}" COMPONENT development)
install(EXPORT corvaneTargets NAMESPACE corvane:: DESTINATION "${CORVANE_INSTALL_CMAKE}" COMPONENT development)

configure_package_config_file(cmake/corvaneConfig.cmake.in "${PROJECT_BINARY_DIR}/corvaneConfig.cmake"
    INSTALL_DESTINATION "${CORVANE_INSTALL_CMAKE}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/corvaneConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/corvaneConfig.cmake" "${PROJECT_BINARY_DIR}/corvaneConfigVersion.cmake"
    DESTINATION "${CORVANE_INSTALL_CMAKE}" COMPONENT development)

# The .pc file finds its prefix from its own place, so that the installed folder can be moved.
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig"
    OUTPUT_VARIABLE CORVANE_PC_TO_PREFIX)
configure_file(cmake/corvane.pc.in "${PROJECT_BINARY_DIR}/corvane.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/corvane.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT development)

if(CORVANE_BUILD_TOOLS)
    install(TARGETS corvanectl RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT corvanectl)
    install(FILES "${PROJECT_BINARY_DIR}/tools/corvanectl/corvanectl.1" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT corvanectl)
    install(FILES "${PROJECT_BINARY_DIR}/tools/corvanectl/corvanectl.bash" RENAME corvanectl
        DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" COMPONENT corvanectl)
endif()
