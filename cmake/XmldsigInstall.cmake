# Installation: the tool, both libraries, the public headers (under include/xmldsig, keeping their
# paths from the repository root), a relocatable CMake package and a pkg-config file.
#
# Include this file after the library targets and everything they link: the package's
# dependencies are read from the targets' link interfaces.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(XMLDSIG_CMAKE_DIR ${CMAKE_CURRENT_LIST_DIR})
set(XMLDSIG_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/xmldsig)
set(XMLDSIG_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/xmldsig)

# The classes a caller of the verifier handles. Their headers and everything those include are
# installed; nothing else is.
set(XMLDSIG_PUBLIC_HEADER_ROOTS
    dsig/ClsXmlDSig.h
    host/text/XString.h
    host/xml/ClsStringBuilder.h
    host/xml/ClsBinData.h
    host/xml/ClsStringArray.h
    host/crypto/ClsPublicKey.h
    host/xml/ClsXml.h
    host/cert/ClsXmlCertVault.h
    host/cms/ClsHttp.h
    host/cms/ClsJsonObject.h)

# Sets out to the headers reachable from the given ones through quoted includes (paths from the
# repository root). Editing any of them re-runs the configuration, so the list stays current.
function(xmldsig_header_closure out)
    set(pending ${ARGN})
    set(found)
    while(pending)
        list(POP_FRONT pending header)
        if(header IN_LIST found)
            continue()
        endif()
        set(path ${PROJECT_SOURCE_DIR}/${header})
        if(NOT EXISTS ${path})
            message(WARNING "xmldsig install: \"${header}\" is included by a public header "
                            "but is not a path from the repository root")
            continue()
        endif()
        list(APPEND found ${header})
        set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${path})
        file(STRINGS ${path} includes REGEX "^[ \t]*#[ \t]*include[ \t]*\"")
        foreach(line IN LISTS includes)
            string(REGEX REPLACE "^[ \t]*#[ \t]*include[ \t]*\"([^\"]+)\".*" "\\1" included "${line}")
            list(APPEND pending ${included})
        endforeach()
    endwhile()
    set(${out} ${found} PARENT_SCOPE)
endfunction()

set(roots)
foreach(header IN LISTS XMLDSIG_PUBLIC_HEADER_ROOTS)
    if(EXISTS ${PROJECT_SOURCE_DIR}/${header})
        list(APPEND roots ${header})
    else()
        message(STATUS "xmldsig install: ${header} does not exist yet, not installed")
    endif()
endforeach()
xmldsig_header_closure(XMLDSIG_PUBLIC_HEADERS ${roots})

set(internal ${XMLDSIG_PUBLIC_HEADERS})
list(FILTER internal INCLUDE REGEX "/detail/")
if(internal)
    list(JOIN internal ", " internal)
    message(STATUS "xmldsig install: public headers include internal helpers: ${internal}")
endif()

foreach(header IN LISTS XMLDSIG_PUBLIC_HEADERS)
    get_filename_component(subdir ${header} DIRECTORY)
    install(FILES ${PROJECT_SOURCE_DIR}/${header}
        DESTINATION ${XMLDSIG_INSTALL_INCLUDEDIR}/${subdir}
        COMPONENT development)
endforeach()

# Libraries and tool. The shared library is the package's main target, xmldsig::xmldsig.
set_target_properties(xmldsig_shared PROPERTIES EXPORT_NAME xmldsig)
set_target_properties(xmldsig_static PROPERTIES EXPORT_NAME xmldsig_static)
foreach(lib xmldsig_shared xmldsig_static)
    # The headers need C++17 in the caller too.
    target_compile_features(${lib} INTERFACE cxx_std_17)
endforeach()

install(TARGETS xmldsig_shared xmldsig_static EXPORT xmldsigTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
install(TARGETS xmldsig RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
install(EXPORT xmldsigTargets
    NAMESPACE xmldsig::
    DESTINATION ${XMLDSIG_INSTALL_CMAKEDIR}
    COMPONENT development)

# Dependencies of the installed targets, for find_dependency and pkg-config.
include(${XMLDSIG_CMAKE_DIR}/XmldsigDependencies.cmake)
xmldsig_collect_dependencies(xmldsig_shared xmldsig_static)

configure_package_config_file(${XMLDSIG_CMAKE_DIR}/xmldsigConfig.cmake.in
    ${PROJECT_BINARY_DIR}/xmldsigConfig.cmake
    INSTALL_DESTINATION ${XMLDSIG_INSTALL_CMAKEDIR})
# 0.x releases may break the interface between minor versions.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/xmldsigConfigVersion.cmake
    VERSION ${PROJECT_VERSION}
    COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/xmldsigConfig.cmake ${PROJECT_BINARY_DIR}/xmldsigConfigVersion.cmake
    DESTINATION ${XMLDSIG_INSTALL_CMAKEDIR}
    COMPONENT development)

# The .pc file finds its prefix from its own location, so `cmake --install --prefix` and
# DESTDIR staging both give a working file (unless the directories were given as absolute paths).
set(pc_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
    set(XMLDSIG_PC_PREFIX ${CMAKE_INSTALL_PREFIX})
    set(XMLDSIG_PC_LIBDIR ${CMAKE_INSTALL_LIBDIR})
else()
    file(RELATIVE_PATH up /root/${pc_dir} /root)
    string(REGEX REPLACE "/$" "" up "${up}")
    set(XMLDSIG_PC_PREFIX "\${pcfiledir}/${up}")
    set(XMLDSIG_PC_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
endif()
if(IS_ABSOLUTE ${CMAKE_INSTALL_INCLUDEDIR})
    set(XMLDSIG_PC_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR})
else()
    set(XMLDSIG_PC_INCLUDEDIR "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
configure_file(${XMLDSIG_CMAKE_DIR}/xmldsig.pc.in ${PROJECT_BINARY_DIR}/xmldsig.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/xmldsig.pc DESTINATION ${pc_dir} COMPONENT development)
