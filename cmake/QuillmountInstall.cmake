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
file(RELATIVE_PATH target /${CMAKE_INSTALL_BINDIR} /${bundle}/quillmount)
install(CODE "
    set(bin \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\")
    file(MAKE_DIRECTORY \"\${bin}\")
    file(CREATE_LINK ${target} \"\${bin}/quillmount\" SYMBOLIC)")
