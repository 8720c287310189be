# What `cmake --install` puts where, in three components: runtime (the shared libraries), development (what a program is built
# with) and tool (the command-line tool). All of it may be moved afterwards, as long as it stays together; what is built for
# /usr stays there, since the linker, the compilers and pkg-config know that place by themselves.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(for_system OFF)
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    set(for_system ON)
endif()

set(config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/ktwt)

# The shared libraries find each other, and the tool finds them, from where they are.
if(NOT for_system)
    file(RELATIVE_PATH libraries_from_tool ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    set_target_properties(ktwt PROPERTIES INSTALL_RPATH "$ORIGIN")
    if(TARGET ktwt_tool)
        set_target_properties(ktwt_tool PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries_from_tool}")
    endif()
endif()

install(TARGETS ktwt ktb EXPORT ktwt-shared-targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS ktwt_static ktb_static EXPORT ktwt-static-targets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
foreach(linkage shared static)
    install(EXPORT ktwt-${linkage}-targets NAMESPACE ktwt:: DESTINATION ${config_dir} COMPONENT development)
endforeach()

# Both folders hold public headers only; internal ones stand beside their sources.
install(DIRECTORY include/ktwt base/ktb DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development FILES_MATCHING PATTERN "*.h")

configure_package_config_file(cmake/ktwtConfig.cmake.in ktwtConfig.cmake INSTALL_DESTINATION ${config_dir}
    NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(ktwtConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ktwtConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/ktwtConfigVersion.cmake
    DESTINATION ${config_dir} COMPONENT development)

# For pkg-config, which knows nothing of C++: what g++ or clang++ adds by itself when it links.
set(cxx_runtime ${CMAKE_CXX_IMPLICIT_LINK_LIBRARIES})
list(FILTER cxx_runtime INCLUDE REGEX "^(stdc\\+\\+|c\\+\\+|m)$")
list(REMOVE_DUPLICATES cxx_runtime)
list(TRANSFORM cxx_runtime PREPEND "-l")
list(JOIN cxx_runtime " " cxx_runtime)
get_target_property(ktb_version ktb VERSION)
set(pc_prefix ${CMAKE_INSTALL_PREFIX})
if(NOT for_system)
    file(RELATIVE_PATH prefix_from_pc ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
    string(REGEX REPLACE "/$" "" pc_prefix "\${pcfiledir}/${prefix_from_pc}")
endif()
foreach(library ktwt ktb)
    configure_file(cmake/${library}.pc.in ${library}.pc @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${library}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endforeach()

if(TARGET ktwt_tool)
    install(TARGETS ktwt_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
endif()
# Debian's zsh reads the functions of packages there; everywhere else the place is the one that every zsh reads.
set(zsh_folder zsh/site-functions)
if(for_system AND EXISTS /etc/debian_version)
    set(zsh_folder zsh/vendor-completions)
endif()
if(TARGET ktwt_pages)
    set(pages ${PROJECT_BINARY_DIR}/tools/ktwt/pages)
    install(DIRECTORY ${pages}/man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool FILES_MATCHING PATTERN "*.1")
    install(FILES ${pages}/completions/ktwt.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME ktwt
        COMPONENT tool)
    install(FILES ${pages}/completions/_ktwt DESTINATION ${CMAKE_INSTALL_DATADIR}/${zsh_folder} COMPONENT tool)
    install(FILES ${pages}/completions/ktwt.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT tool)
endif()
