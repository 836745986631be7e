# What `cmake --install` puts where: the program and its manual page, the plug-in beside the
# platform's stand-in, and the demuxer as the package KelFLAC.
include(CMakePackageConfigHelpers)

set_target_properties(kelflac PROPERTIES INSTALL_RPATH "$ORIGIN/../${KELFLAC_PRIVATE_DIR}")
set_target_properties(kelflacextractor platform_media PROPERTIES INSTALL_RPATH "$ORIGIN")
set_target_properties(kelflacfd PROPERTIES EXPORT_NAME demuxer)

install(TARGETS kelflac RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES tools/kelflac/kelflac.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(TARGETS kelflacextractor platform_log platform_media extmediaformatdef
    LIBRARY DESTINATION ${KELFLAC_PRIVATE_DIR})

install(TARGETS kelflacfd EXPORT KelFLACTargets)
foreach(header flac/demuxer/kelflacf_fal.h flac/demuxer/kelflacfd.h mfal/kelcmn_mfal.h)
    get_filename_component(folder ${header} DIRECTORY)
    install(FILES libextractor/${header} DESTINATION include/kelflac/libextractor/${folder})
endforeach()

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/KelFLAC)
install(EXPORT KelFLACTargets NAMESPACE KelFLAC:: FILE KelFLACConfig.cmake
    DESTINATION ${package_dir})
write_basic_package_version_file(KelFLACConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/KelFLACConfigVersion.cmake DESTINATION ${package_dir})
