# `cmake --install build/release --prefix /usr/local`: besides the programs, the
# manual page and the documents.
if(NOT WIN32)
  install(FILES man/numforge.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  install(CODE "file(CREATE_LINK numforge.1
    \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_MANDIR}/man1/numforge-x64.1\" SYMBOLIC)")
endif()
install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR} OPTIONAL)
