# Translates what the installed library targets link into the forms a consumer needs:
#   XMLDSIG_FIND_DEPENDENCIES    find_dependency() lines for xmldsigConfig.cmake
#   XMLDSIG_PC_REQUIRES_PRIVATE  pkg-config module names for xmldsig.pc
#   XMLDSIG_PC_LIBS_PRIVATE      extra linker flags for xmldsig.pc
# Reading the targets (rather than keeping a second list here) means a library linked in
# CMakeLists.txt reaches the package without another edit, as long as its target is known below.

set(XMLDSIG_DEPENDENCIES_FILE ${CMAKE_CURRENT_LIST_FILE})

# Known imported targets: the CMake package (and version) that defines each, and its pkg-config
# module ("" when it has none).
macro(xmldsig_known_dependency target package module)
    set(xmldsig_package_${target} "${package}")
    set(xmldsig_module_${target} "${module}")
endmacro()
xmldsig_known_dependency(EXPAT::EXPAT "EXPAT" expat)
xmldsig_known_dependency(OpenSSL::Crypto "OpenSSL 3" libcrypto)
xmldsig_known_dependency(OpenSSL::SSL "OpenSSL 3" libssl)
xmldsig_known_dependency(CURL::libcurl "CURL" libcurl)
xmldsig_known_dependency(nlohmann_json::nlohmann_json "nlohmann_json 3" nlohmann_json)
xmldsig_known_dependency(Threads::Threads "Threads" "")
xmldsig_known_dependency(LibXml2::LibXml2 "LibXml2" libxml-2.0)

function(xmldsig_collect_dependencies)
    set(packages)
    set(modules)
    set(libs_private)
    foreach(lib IN LISTS ARGN)
        get_target_property(linked ${lib} INTERFACE_LINK_LIBRARIES)
        if(NOT linked)
            continue()
        endif()
        foreach(item IN LISTS linked)
            # A static library's private dependencies appear as $<LINK_ONLY:...>.
            string(REGEX REPLACE "^\\$<LINK_ONLY:(.*)>$" "\\1" item "${item}")
            if(NOT DEFINED xmldsig_package_${item})
                message(WARNING "xmldsig install: ${lib} links \"${item}\", which the installed "
                                "package does not know how to find; add it to "
                                "${XMLDSIG_DEPENDENCIES_FILE}")
                continue()
            endif()
            list(APPEND packages "${xmldsig_package_${item}}")
            list(APPEND modules ${xmldsig_module_${item}})
            if(item STREQUAL "Threads::Threads")
                list(APPEND libs_private ${CMAKE_THREAD_LIBS_INIT})
            endif()
        endforeach()
    endforeach()
    list(REMOVE_DUPLICATES packages)
    list(REMOVE_DUPLICATES modules)
    list(REMOVE_DUPLICATES libs_private)

    set(lines "")
    foreach(package IN LISTS packages)
        string(APPEND lines "find_dependency(${package})\n")
    endforeach()
    list(JOIN modules " " requires)
    list(JOIN libs_private " " libs_private)
    set(XMLDSIG_FIND_DEPENDENCIES "${lines}" PARENT_SCOPE)
    set(XMLDSIG_PC_REQUIRES_PRIVATE "${requires}" PARENT_SCOPE)
    set(XMLDSIG_PC_LIBS_PRIVATE "${libs_private}" PARENT_SCOPE)
endfunction()
