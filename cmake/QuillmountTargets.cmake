# Every target of the project is made through these, so that warnings and defines are the same everywhere.

# Applies the project's warnings, sanitizers and Qt defines to a target.
function(quillmount_options target)
    target_compile_features(${target} PRIVATE cxx_std_20)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
        -Woverloaded-virtual $<$<BOOL:${QUILLMOUNT_WARNINGS_AS_ERRORS}>:-Werror>)
    target_compile_definitions(${target} PRIVATE QT_NO_CAST_FROM_ASCII QT_NO_URL_CAST_FROM_STRING QT_NO_KEYWORDS
        QT_NO_NARROWING_CONVERSIONS_IN_CONNECT QT_NO_FOREACH QT_DISABLE_DEPRECATED_BEFORE=0x060400)
    target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND QUILLMOUNT_SANITIZE)
        # GCC's flow analysis sees phantom null pointers in instrumented standard-library code.
        target_compile_options(${target} PRIVATE -Wno-maybe-uninitialized -Wno-null-dereference)
    endif()
endfunction()

# quillmount_library(name SOURCES a.cpp b.h LINK Qt6::Core other)
function(quillmount_library name)
    cmake_parse_arguments(arg "" "" "SOURCES;LINK" ${ARGN})
    add_library(${name} STATIC ${arg_SOURCES})
    quillmount_options(${name})
    target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
    target_link_libraries(${name} PUBLIC ${arg_LINK})
endfunction()

# quillmount_qml_module(name URI Quillmount.Name SOURCES a.cpp b.h QML A.qml LINK … [RESOURCES …] [DEPENDENCIES Module …])
# A static library whose QML module is there for every program that links it. DEPENDENCIES are the modules of this project
# whose types its own use.
function(quillmount_qml_module name)
    cmake_parse_arguments(arg "" "URI" "SOURCES;QML;RESOURCES;LINK;DEPENDENCIES" ${ARGN})
    string(REPLACE "." "/" path ${arg_URI})
    string(REPLACE "." "_" symbol ${arg_URI})
    qt_add_qml_module(${name} STATIC NO_PLUGIN
        URI ${arg_URI} VERSION 1.0
        RESOURCE_PREFIX /qt-project.org/imports
        OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/qml/${path}
        IMPORT_PATH ${PROJECT_BINARY_DIR}/qml
        DEPENDENCIES QtQuick QtQuick.Templates ${arg_DEPENDENCIES}
        SOURCES ${arg_SOURCES} QML_FILES ${arg_QML} RESOURCES ${arg_RESOURCES})
    quillmount_options(${name})
    target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
    target_link_libraries(${name} PUBLIC Qt6::Quick ${arg_LINK})
    # Nothing names the functions that register the module: without this the linker leaves their objects out.
    foreach(function qml_register_types_${symbol} qInitResources_qmlcache_${name})
        string(LENGTH ${function} length)
        target_link_options(${name} INTERFACE LINKER:--undefined=_Z${length}${function}v)
    endforeach()
    # What Qt generates shadows names of its own.
    get_target_property(sources ${name} SOURCES)
    list(FILTER sources INCLUDE REGEX "^${PROJECT_BINARY_DIR}/")
    set_source_files_properties(${sources} PROPERTIES COMPILE_OPTIONS -Wno-shadow)
endfunction()

# quillmount_executable(name SOURCES main.cpp LINK …): lands in bin/, which is the application's bundle.
function(quillmount_executable name)
    cmake_parse_arguments(arg "" "" "SOURCES;LINK" ${ARGN})
    add_executable(${name} ${arg_SOURCES})
    quillmount_options(${name})
    target_link_libraries(${name} PRIVATE ${arg_LINK})
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
    add_dependencies(unit-tests ${name})
endfunction()

# All that the unit tests need, so that a sanitizer build makes no more than that.
add_custom_target(unit-tests)

# quillmount_test(name SOURCES … LINK … [LABELS unit|engine|mount|endtoend] [TIMEOUT seconds] [ENVIRONMENT a=b …])
# One Qt Test executable a feature; "unit" tests also run under the sanitizers.
function(quillmount_test name)
    cmake_parse_arguments(arg "" "TIMEOUT" "SOURCES;LINK;LABELS;ENVIRONMENT" ${ARGN})
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 60)
    endif()
    if(NOT arg_LABELS)
        set(arg_LABELS unit)
    endif()
    add_executable(${name} ${arg_SOURCES})
    quillmount_options(${name})
    target_link_libraries(${name} PRIVATE Qt6::Test ${arg_LINK})
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests)
    add_test(NAME ${name} COMMAND ${name})
    if("unit" IN_LIST arg_LABELS)
        add_dependencies(unit-tests ${name})
    endif()
    set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT} LABELS "${arg_LABELS}"
        ENVIRONMENT "QT_QPA_PLATFORM=offscreen;QUILLMOUNT_BIN=${PROJECT_BINARY_DIR}/bin;${arg_ENVIRONMENT}")
endfunction()
