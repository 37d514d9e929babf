# Writes the information dictionary. The Google client comes from the JSON file that Google's console hands out for a
# desktop client; without one there is none, and no account can be connected.
set(QUILLMOUNT_GOOGLE_CLIENT "${PROJECT_SOURCE_DIR}/google-client.json" CACHE FILEPATH
    "The JSON file of a Google OAuth client of the type desktop")

set(QUILLMOUNT_UPDATE_FEED "" CACHE STRING
    "Where the application may ask for newer versions (Platform/Linux/UpdateFeed.h); nowhere when empty")

set(QM_GOOGLE_CLIENT_ID "")
set(QM_GOOGLE_CLIENT_SECRET "")
if(EXISTS "${QUILLMOUNT_GOOGLE_CLIENT}")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${QUILLMOUNT_GOOGLE_CLIENT}")
    file(READ "${QUILLMOUNT_GOOGLE_CLIENT}" client)
    string(JSON QM_GOOGLE_CLIENT_ID ERROR_VARIABLE idError GET "${client}" installed client_id)
    string(JSON QM_GOOGLE_CLIENT_SECRET ERROR_VARIABLE secretError GET "${client}" installed client_secret)
    if(idError OR secretError)
        message(FATAL_ERROR "${QUILLMOUNT_GOOGLE_CLIENT} is not the file of a desktop client: ${idError}${secretError}")
    endif()
endif()
# Only an installed package may offer to change the machine: what it runs as root lies in the system's own folders then.
option(QUILLMOUNT_LOCATION_SETUP "Let the settings offer to set the drive up as a location; for packages in /usr" OFF)
set(QM_LOCATION_SETUP "")
if(QUILLMOUNT_LOCATION_SETUP)
    set(QM_LOCATION_SETUP "on request")
endif()
configure_file(${PROJECT_SOURCE_DIR}/Resources/Info.json.in ${PROJECT_BINARY_DIR}/bin/Info.json @ONLY
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE)
