# Run by cpack between installing the components and packing them: adds and changes what a Debian package wants and an
# installation by hand does not.
find_program(GZIP gzip REQUIRED)
find_program(STRIP strip REQUIRED)

# Without the name and the time, so that the same input gives the same bytes.
function(compress file)
    execute_process(COMMAND ${GZIP} -9n ${file} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER ${component} prefix)
    set(installed ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/${component}${CPACK_PACKAGING_INSTALL_PREFIX})

    set(documents ${installed}/share/doc/${CPACK_DEBIAN_${prefix}_PACKAGE_NAME})
    file(MAKE_DIRECTORY ${documents})
    configure_file(${CPACK_KTWT_PACKAGING_DIR}/changelog.in ${documents}/changelog @ONLY)
    configure_file(${CPACK_KTWT_PACKAGING_DIR}/copyright ${documents}/copyright COPYONLY)
    compress(${documents}/changelog)

    file(GLOB pages ${installed}/share/man/man1/*.1)
    foreach(page IN LISTS pages)
        compress(${page})
    endforeach()

    # What a linker needs of an archive stays. The name of the compiler need not be in each file.
    file(GLOB_RECURSE archives ${installed}/*.a)
    file(GLOB_RECURSE programs ${installed}/bin/* ${installed}/lib/*.so.*.*)
    foreach(file IN LISTS archives programs)
        if(NOT IS_SYMLINK ${file})
            execute_process(COMMAND ${STRIP} --strip-debug --remove-section=.comment --enable-deterministic-archives ${file}
                COMMAND_ERROR_IS_FATAL ANY)
        endif()
    endforeach()
endforeach()
