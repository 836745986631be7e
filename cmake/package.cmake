# The demuxer as the package KelFLAC: library, headers, files for CMake and pkg-config. The installed
# folder can be moved as a whole.
include(CMakePackageConfigHelpers)

install(TARGETS kelflacfd EXPORT KelFLACTargets)
# First the headers to include, then those that they include, by their paths in the source tree.
install(DIRECTORY libextractor/include/kelflac DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
foreach(header flac/demuxer/kelflacf_fal.h flac/demuxer/kelflacfd.h
        flac/demuxer/kelflacfd_seen.h mfal/kelcmn_mfal.h mfal/kelcmn_mfal_memory.h)
    cmake_path(GET header PARENT_PATH folder)
    install(FILES libextractor/${header}
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kelflac/libextractor/${folder})
endforeach()

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/KelFLAC)
install(EXPORT KelFLACTargets NAMESPACE KelFLAC:: DESTINATION ${package_dir})
write_basic_package_version_file(KelFLACConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES cmake/KelFLACConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/KelFLACConfigVersion.cmake
    DESTINATION ${package_dir})

file(RELATIVE_PATH libdir_to_includedir ${CMAKE_INSTALL_FULL_LIBDIR} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
configure_file(cmake/kelflac.pc.in kelflac.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/kelflac.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
