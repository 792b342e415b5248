# Run by CPack on the installed files of each package: adds the changelog, and compresses it and the man page, as Debian
# requires. This is not part of the installation, which needs none of Debian's tools.
foreach(component ${CPACK_COMPONENTS_ALL})
  set(program torvy-${component})
  set(share ${CPACK_TEMPORARY_DIRECTORY}/${component}${CPACK_PACKAGING_INSTALL_PREFIX}/share)
  set(log ${share}/doc/${program}/changelog)
  execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/debian-changelog ${program} ${CPACK_PACKAGE_CONTACT}
                          ${CMAKE_CURRENT_LIST_DIR}/../CHANGELOG.md ${log}
                  COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND gzip -9n ${log} ${share}/man/man1/${program}.1 COMMAND_ERROR_IS_FATAL ANY)
endforeach()
