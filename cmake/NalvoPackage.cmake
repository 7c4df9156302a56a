# What is installed, and the Debian package.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set_target_properties(nalvo-convert PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
                                               EXPORT_NAME convert)
target_include_directories(nalvo-convert INTERFACE $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/include>
                                                   $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_compile_features(nalvo-convert INTERFACE cxx_std_20)
# The tool finds the library beside it wherever both are unpacked.
file(RELATIVE_PATH lib_from_bin /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
set_target_properties(nalvo PROPERTIES INSTALL_RPATH "$ORIGIN/${lib_from_bin}")

install(TARGETS nalvo RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
install(TARGETS nalvo-convert EXPORT NalvoTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT tool)
install(DIRECTORY ${CMAKE_SOURCE_DIR}/include/nalvo DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT tool)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Nalvo)
install(EXPORT NalvoTargets NAMESPACE Nalvo:: DESTINATION ${package_dir} COMPONENT tool)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/NalvoConfig.cmake.in ${CMAKE_BINARY_DIR}/package/NalvoConfig.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/package/NalvoConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/package/NalvoConfig.cmake ${CMAKE_BINARY_DIR}/package/NalvoConfigVersion.cmake
        DESTINATION ${package_dir} COMPONENT tool)

file(RELATIVE_PATH NALVO_PC_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(${CMAKE_CURRENT_LIST_DIR}/nalvo.pc.in ${CMAKE_BINARY_DIR}/package/nalvo.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/package/nalvo.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT tool)

install(FILES ${CMAKE_SOURCE_DIR}/docs/nalvo.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
install(FILES ${CMAKE_CURRENT_LIST_DIR}/completion.bash RENAME nalvo
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tool)
install(FILES ${CMAKE_SOURCE_DIR}/README.md ${CMAKE_SOURCE_DIR}/CHANGELOG.md ${CMAKE_SOURCE_DIR}/docs/formats.md
        DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT tool)
install(FILES ${CMAKE_SOURCE_DIR}/LICENSE RENAME copyright DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT tool)

# The package lands in the build folder, wherever cpack is run.
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR})
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME nalvo)
set(CPACK_PACKAGE_CONTACT "The Nalvo developers <nalvo@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "converts MAPI objects to Internet form and back")
set(CPACK_DEBIAN_PACKAGE_SECTION mail)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
include(CPack)
