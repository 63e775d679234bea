# How the libraries and the tool of this project are installed: each library as a package of its own.

include(CMakePackageConfigHelpers)

set(HTTPCLIENT_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake CACHE STRING "Directory of the CMake packages")

# httpclient_install_package(target DESCRIPTION text
#     [INCLUDE_DIRECTORY dir]
#     [PACKAGES name...] [PKGCONFIG name...]
#     [PRIVATE_PACKAGES name...] [PRIVATE_PKGCONFIG name...])
#
# Installs the library with its headers, a CMake package of its name whose target is tavrin::target, and a pkg-config
# file. PACKAGES and PKGCONFIG name what the headers need, for find_package and for pkg-config. What only the inside
# needs is private, and asked of a consumer only if the library is a static one, whose consumers link it themselves.
function(httpclient_install_package target)
    cmake_parse_arguments(ARG "" "DESCRIPTION;INCLUDE_DIRECTORY"
        "PACKAGES;PKGCONFIG;PRIVATE_PACKAGES;PRIVATE_PKGCONFIG" ${ARGN})
    if(NOT ARG_INCLUDE_DIRECTORY)
        set(ARG_INCLUDE_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}/include)
    endif()

    get_target_property(type ${target} TYPE)
    if(type STREQUAL "STATIC_LIBRARY")
        list(APPEND ARG_PACKAGES ${ARG_PRIVATE_PACKAGES})
    else()
        set(ARG_PRIVATE_PKGCONFIG "")
        # The libraries of one prefix find each other wherever that is.
        set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN")
    endif()

    install(TARGETS ${target} EXPORT ${target}Targets)
    install(DIRECTORY ${ARG_INCLUDE_DIRECTORY}/${target} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h")

    set(destination ${HTTPCLIENT_INSTALL_CMAKEDIR}/${target})
    install(EXPORT ${target}Targets NAMESPACE tavrin:: DESTINATION ${destination})

    set(PACKAGE_DEPENDENCIES "")
    foreach(package IN LISTS ARG_PACKAGES)
        if(package MATCHES "^httpclient_")
            # Usually installed beside this package, and found there even if only this one's place is known.
            string(APPEND PACKAGE_DEPENDENCIES
                "find_dependency(${package} ${PROJECT_VERSION} HINTS \"\${PACKAGE_PREFIX_DIR}\")\n")
        else()
            string(APPEND PACKAGE_DEPENDENCIES "find_dependency(${package})\n")
        endif()
    endforeach()
    configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/PackageConfig.cmake.in
        ${CMAKE_CURRENT_BINARY_DIR}/${target}Config.cmake
        INSTALL_DESTINATION ${destination} NO_SET_AND_CHECK_MACRO)
    write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/${target}ConfigVersion.cmake
        COMPATIBILITY SameMajorVersion)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${target}Config.cmake
        ${CMAKE_CURRENT_BINARY_DIR}/${target}ConfigVersion.cmake
        DESTINATION ${destination})

    # Relative paths, so that an installed tree may be moved and `cmake --install --prefix` holds.
    file(RELATIVE_PATH PKGCONFIG_TO_INCLUDE ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_FULL_INCLUDEDIR})
    list(TRANSFORM ARG_PKGCONFIG REPLACE "^(httpclient_.*)$" "\\1 >= ${PROJECT_VERSION}")
    list(JOIN ARG_PKGCONFIG ", " PKGCONFIG_REQUIRES)
    list(JOIN ARG_PRIVATE_PKGCONFIG ", " PKGCONFIG_REQUIRES_PRIVATE)
    configure_file(${PROJECT_SOURCE_DIR}/cmake/package.pc.in ${CMAKE_CURRENT_BINARY_DIR}/${target}.pc @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${target}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()

# httpclient_install_tool(target [MAN_PAGE file]): a program, which finds the libraries of its prefix.
function(httpclient_install_tool target)
    cmake_parse_arguments(ARG "" "MAN_PAGE" "" ${ARGN})
    file(RELATIVE_PATH libraries ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries}")
    install(TARGETS ${target})
    if(ARG_MAN_PAGE)
        install(FILES ${ARG_MAN_PAGE} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
    endif()
endfunction()
