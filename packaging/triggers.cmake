# Run by cpack on the finished packages. Those with shared libraries got scripts that call ldconfig; Debian has dpkg call it once
# for all packages of a run, on a trigger.
find_program(DPKG_DEB dpkg-deb REQUIRED)

foreach(package IN LISTS CPACK_PACKAGE_FILES)
    set(unpacked ${package}.unpacked)
    execute_process(COMMAND ${DPKG_DEB} --raw-extract ${package} ${unpacked} COMMAND_ERROR_IS_FATAL ANY)
    if(EXISTS ${unpacked}/DEBIAN/postinst)
        file(REMOVE ${unpacked}/DEBIAN/postinst ${unpacked}/DEBIAN/postrm)
        file(WRITE ${unpacked}/DEBIAN/triggers "activate-noawait ldconfig\n")
        execute_process(COMMAND ${DPKG_DEB} --root-owner-group --build ${unpacked} ${package} OUTPUT_QUIET
            COMMAND_ERROR_IS_FATAL ANY)
    endif()
    file(REMOVE_RECURSE ${unpacked})
endforeach()
