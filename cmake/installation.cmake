# An installation can be undone. The folders that it may make are looked at before it makes them;
# what was not there is noted in the build tree, and `uninstall` removes it when it is empty again.
set(manual_pages)
foreach(section 1 3 5 7)
  list(APPEND manual_pages ${CMAKE_INSTALL_MANDIR}/man${section})
endforeach()
set(QLDAPX_INSTALL_FOLDERS
  ${CMAKE_INSTALL_BINDIR} ${CMAKE_INSTALL_INCLUDEDIR}/qldapx ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  ${CMAKE_INSTALL_LIBDIR}/cmake/qldapx ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
  ${CMAKE_INSTALL_DOCDIR} ${manual_pages})
set(QLDAPX_NEW_FOLDERS ${PROJECT_BINARY_DIR}/install_new_folders.txt)
configure_file(${CMAKE_CURRENT_LIST_DIR}/note_new_folders.cmake.in note_new_folders.cmake @ONLY)
install(SCRIPT ${PROJECT_BINARY_DIR}/note_new_folders.cmake)

add_custom_target(uninstall
  COMMAND ${CMAKE_COMMAND} -D MANIFEST=${PROJECT_BINARY_DIR}/install_manifest.txt
          -D NEW_FOLDERS=${QLDAPX_NEW_FOLDERS} -P ${CMAKE_CURRENT_LIST_DIR}/uninstall.cmake
  VERBATIM)
