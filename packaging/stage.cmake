# Run by cpack when the packages' files are in place, in a folder for each component: adds the changelog, compresses
# what Debian wants compressed, and sets the permissions that Debian wants, whatever the umask.
set(stage ${CPACK_TEMPORARY_INSTALL_DIRECTORY})
foreach(documents "runtime/usr/share/doc/savesettings" "development/usr/share/doc/libzu-dev")
  execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/changelog.sh ${CPACK_DEBIAN_PACKAGE_RELEASE} ${CPACK_PACKAGE_CONTACT}
    INPUT_FILE ${CMAKE_CURRENT_LIST_DIR}/../CHANGELOG.md OUTPUT_FILE ${stage}/${documents}/changelog.Debian
    COMMAND_ERROR_IS_FATAL ANY)
endforeach()
file(GLOB_RECURSE files ${stage}/*/usr/share/man/* ${stage}/*/changelog.Debian)
execute_process(COMMAND gzip -9n ${files} COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND chmod -R u=rwX,go=rX ${stage} COMMAND_ERROR_IS_FATAL ANY)
