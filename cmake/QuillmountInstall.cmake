# What is product, and where it is installed. The executables find each other and the information dictionary beside
# themselves, so all lie in one folder, and a link in bin/ leads there.
include(GNUInstallDirs)
set(bundle ${CMAKE_INSTALL_LIBDIR}/quillmount)

install(TARGETS quillmount quillmount-mount RUNTIME DESTINATION ${bundle})
install(FILES ${PROJECT_BINARY_DIR}/bin/Info.json DESTINATION ${bundle}
    PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
install(FILES ${PROJECT_BINARY_DIR}/bin/Acknowledgements.txt DESTINATION ${bundle})
if(QUILLMOUNT_ENGINE)
    install(PROGRAMS ${QUILLMOUNT_ENGINE} RENAME QuillmountEngine DESTINATION ${bundle})
endif()

# What makes it an application of the desktop, under one name everywhere.
set(id com.orvane.quillmount)
install(FILES Packaging/${id}.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES Packaging/${id}.metainfo.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
install(FILES Resources/Symbols/AppIcon.svg RENAME ${id}.svg
    DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)
install(FILES Resources/Symbols/MenuBarIcon.svg RENAME ${id}-symbolic.svg
    DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/symbolic/apps)

# Polkit names the program by its path, which is the same wherever the rest lies. In other prefixes nothing finds it.
install(TARGETS quillmount-location RUNTIME DESTINATION libexec/quillmount)
install(FILES ${PROJECT_SOURCE_DIR}/Packaging/com.orvane.quillmount.policy DESTINATION share/polkit-1/actions)
file(RELATIVE_PATH target /${CMAKE_INSTALL_BINDIR} /${bundle}/quillmount)
install(CODE "
    set(bin \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\")
    file(MAKE_DIRECTORY \"\${bin}\")
    file(CREATE_LINK ${target} \"\${bin}/quillmount\" SYMBOLIC)")
