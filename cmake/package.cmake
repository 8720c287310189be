# What `cpack -G DEB` makes of the installed components: libktwt2, libktwt-dev and, with the tool, ktwt. scripts/package configures
# for /usr and runs it.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "Work Table Library maintainers <maintainers@ktwt.invalid>" CACHE STRING
    "Name and address of who looks after the packages")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
    WORLD_READ WORLD_EXECUTE)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/finish.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/triggers.cmake)
set(CPACK_KTWT_PACKAGING_DIR ${PROJECT_SOURCE_DIR}/packaging)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime development)
if(TARGET ktwt_tool)
    list(APPEND CPACK_COMPONENTS_ALL tool)
endif()

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# The libraries that the tool is linked with are not of an installed package while it is made.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(same_libraries "libktwt2 (= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libktwt2)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "typed rows on disk, written once and read often - libraries
The Work Table Library is for programs that produce more rows than they want
to keep in memory and need them again later in the same job. It keeps them in
files, sorts them on request, and reads them whole or in part, in both
directions.
.
This package has the library and the base services that it is linked with.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libktwt-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS ${same_libraries})
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "typed rows on disk, written once and read often - development files
The Work Table Library is for programs that produce more rows than they want
to keep in memory and need them again later in the same job.
.
This package has the headers, the static libraries, and what CMake and
pkg-config want to know of both.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME ktwt)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS ${same_libraries})
set(CPACK_DEBIAN_TOOL_DESCRIPTION "command-line tool for work tables
Makes work tables, lists of typed rows on disk, of CSV files; sorts, compares,
checks, copies and divides them; prints them as CSV, TSV, JSON, XML or text;
and removes what killed programs left.")

include(CPack)
