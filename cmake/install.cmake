# What `cmake --install` adds to the demuxer's package: the program, its manual page, and the plug-in
# with the platform's stand-in.
set_target_properties(kelflac PROPERTIES INSTALL_RPATH "$ORIGIN/../${KELFLAC_PRIVATE_DIR}")
set_target_properties(kelflacextractor platform_media PROPERTIES INSTALL_RPATH "$ORIGIN")

install(TARGETS kelflac RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES tools/kelflac/kelflac.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(TARGETS kelflacextractor platform_log platform_media extmediaformatdef
    LIBRARY DESTINATION ${KELFLAC_PRIVATE_DIR})
