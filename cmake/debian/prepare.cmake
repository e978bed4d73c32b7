# SPDX-License-Identifier: Apache-2.0
# CPack runs this over the files of the Debian packages before it packs them, a folder for each: the manual page is compressed and a
# changelog of Debian's form added, as Debian wants it.
file(GLOB pages ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/man/man*/*.[1-9])
foreach(page ${pages})
  execute_process(COMMAND gzip --best --no-name ${page} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(GLOB folders ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/doc/quiver*)
foreach(folder ${folders})
  get_filename_component(package ${folder} NAME)
  file(WRITE ${folder}/changelog
       "${package} (${CPACK_PACKAGE_VERSION}) unstable; urgency=low\n\n  * /usr/share/doc/quiver/CHANGELOG.md tells what changed.\n\n"
       " -- ${CPACK_PACKAGE_CONTACT}  ${date}\n")
  execute_process(COMMAND gzip --best --no-name ${folder}/changelog COMMAND_ERROR_IS_FATAL ANY)
endforeach()
