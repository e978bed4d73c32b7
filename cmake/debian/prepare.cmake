# SPDX-License-Identifier: Apache-2.0
# CPack runs this over the files of a Debian package before it packs them: the manual page is compressed and a changelog of Debian's
# form added, as Debian wants it, and every file gets the time of the sources, so that the same sources give the same package.
# `make package` names the time; CPack itself reads it for the archive's own entries:
#
#   SOURCE_DATE_EPOCH=1700000000 cpack --config build/CPackConfig.cmake
# One folder for each package.
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
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(COMMAND find ${CPACK_TEMPORARY_DIRECTORY} -exec touch --no-dereference --date=@$ENV{SOURCE_DATE_EPOCH} {} +
                  COMMAND_ERROR_IS_FATAL ANY)
endif()
