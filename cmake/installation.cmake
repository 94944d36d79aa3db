# An installation can be undone. Folders that other software uses, too, are looked at before anything
# is installed, and which of them are new is noted in the build tree: `uninstall` removes those, and
# the library's own, when they are empty again.
set(shared_folders
  ${CMAKE_INSTALL_BINDIR} ${CMAKE_INSTALL_INCLUDEDIR} ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  ${CMAKE_INSTALL_LIBDIR}/cmake ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
  ${CMAKE_INSTALL_DATADIR}/doc)
foreach(section RANGE 1 8)
  list(APPEND shared_folders ${CMAKE_INSTALL_MANDIR}/man${section})
endforeach()
set(folder_notes ${PROJECT_BINARY_DIR}/install_folders.txt)
configure_file(${CMAKE_CURRENT_LIST_DIR}/note_folders.cmake.in note_folders.cmake @ONLY)
install(SCRIPT ${PROJECT_BINARY_DIR}/note_folders.cmake)

add_custom_target(uninstall
  COMMAND ${CMAKE_COMMAND} -D MANIFEST=${PROJECT_BINARY_DIR}/install_manifest.txt
          -D FOLDER_NOTES=${folder_notes} -P ${CMAKE_CURRENT_LIST_DIR}/uninstall.cmake
  VERBATIM)
