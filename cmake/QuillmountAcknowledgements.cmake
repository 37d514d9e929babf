# Writes Acknowledgements.txt beside the executables: the licences of all that is linked into what is shipped. The engine's
# lie beside it, where Scripts/build-engine put them; those of the libraries are Debian's. Nothing runs again while the
# executables link the same libraries.
set(script ${PROJECT_SOURCE_DIR}/Scripts/acknowledgements)
set(libraries ${PROJECT_BINARY_DIR}/libraries.txt)
set(acknowledgements ${PROJECT_BINARY_DIR}/bin/Acknowledgements.txt)
set(engineLicences "")
if(QUILLMOUNT_ENGINE)
    cmake_path(REPLACE_FILENAME QUILLMOUNT_ENGINE Licences.txt OUTPUT_VARIABLE engineLicences)
    if(NOT EXISTS ${engineLicences})
        message(FATAL_ERROR "${engineLicences} is missing. Scripts/setup makes it, together with the engine.")
    endif()
endif()

add_custom_command(OUTPUT ${libraries}
    COMMAND ${script} libraries ${libraries} $<TARGET_FILE:quillmount> $<TARGET_FILE:quillmount-mount>
    DEPENDS ${script} quillmount quillmount-mount
    COMMENT "Listing the linked libraries" VERBATIM)
add_custom_command(OUTPUT ${acknowledgements}
    COMMAND ${script} join ${acknowledgements} ${libraries} ${engineLicences}
    DEPENDS ${script} ${libraries} ${engineLicences}
    COMMENT "Collecting licences" VERBATIM)
add_custom_target(acknowledgements ALL DEPENDS ${acknowledgements})
