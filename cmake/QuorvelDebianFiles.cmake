# CPack runs this on the installed tree before it packs it: adds the files that Debian's policy
# requires, and strips and compresses what it requires.

set(usr "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr")
set(doc "${usr}/share/doc/quorvel")
set(debian "${CMAKE_CURRENT_LIST_DIR}/../packaging/debian")

# Without the name and the time of the file, so that the same sources make the same package.
function(compress file)
    execute_process(COMMAND gzip --best --no-name "${file}" COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# The whole text of the licence is in every Debian system; "copyright" points to it.
file(REMOVE "${doc}/LICENSE")
configure_file("${debian}/copyright" "${doc}/copyright" COPYONLY
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
configure_file("${debian}/changelog" "${doc}/changelog.Debian" COPYONLY
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
configure_file("${debian}/lintian-overrides" "${usr}/share/lintian/overrides/quorvel" COPYONLY
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
file(RENAME "${doc}/CHANGELOG.md" "${doc}/changelog")

file(GLOB manuals "${usr}/share/man/man1/*.1")
foreach(file IN LISTS manuals ITEMS "${doc}/changelog" "${doc}/changelog.Debian")
    compress("${file}")
endforeach()

# Debug information would be most of the package. CPack's own stripping leaves these sections.
execute_process(COMMAND strip --remove-section=.comment --remove-section=.note
    "${usr}/bin/quorvel" "${usr}/bin/quorvel-cli" COMMAND_ERROR_IS_FATAL ANY)
