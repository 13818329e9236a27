# Run by cpack on what it has installed, a folder for each component: what only Debian asks for.

# compress(FROM TO): without name and time, so that equal files stay equal.
function(compress from to)
  execute_process(COMMAND gzip -9n INPUT_FILE "${from}" OUTPUT_FILE "${to}"
    COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE "${from}")
endfunction()

string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
foreach(component ${CPACK_COMPONENTS_ALL})
  set(root "${CPACK_TEMPORARY_DIRECTORY}/${component}${CPACK_PACKAGING_INSTALL_PREFIX}")
  string(TOUPPER ${component} key)
  set(doc "${root}/share/doc/${CPACK_DEBIAN_${key}_PACKAGE_NAME}")
  file(RENAME "${root}/share/doc/veltro" "${doc}")
  file(RENAME "${doc}/LICENSE" "${doc}/copyright")
  compress("${doc}/CHANGELOG.md" "${doc}/changelog.gz")
  file(WRITE "${doc}/changelog" "veltro (${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) "
    "unstable; urgency=medium\n\n  * See changelog.gz.\n\n -- ${CPACK_PACKAGE_CONTACT}  ${date}\n")
  compress("${doc}/changelog" "${doc}/changelog.Debian.gz")
  file(GLOB pages "${root}/share/man/man1/*.1")
  foreach(page ${pages})
    compress("${page}" "${page}.gz")
  endforeach()
endforeach()
